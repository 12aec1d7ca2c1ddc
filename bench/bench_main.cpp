#include <benchmark/benchmark.h>

#include <cstdio>
#include <exception>

int main(int argc, char** argv) try {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
} catch (const std::exception& Error) {
  std::fprintf(stderr, "%s\n", Error.what());
  return 1;
}
