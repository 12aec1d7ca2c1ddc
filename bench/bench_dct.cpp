// Discrete cosine transforms of types II and III beside FFTW's, which differ by factors. Each case
// compares its result with the definition before it measures.
#include "Verify.h"

#include <tessalune/primitives/QSDispatcher.h>

#include <benchmark/benchmark.h>
#if TESSALUNE_HAS_FFTW
#include <fftw3.h>
#endif

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <numbers>
#include <string>
#include <vector>

namespace tessalune::bench {
namespace {

using TSamples = std::vector<double>;

TSamples Source(std::size_t ACount) {
  TSamples Result(ACount);
  for (std::size_t N = 0; N < ACount; ++N)
    Result[N] = std::sin(static_cast<double>(N * N % 1009) + 0.5);
  return Result;
}

// Sum over n of x[n] w(n) cos(pi (2 i + 1) j / (2 N)), with n the first or the second of i and j.
double Sum(const TSamples& X, bool AForward, std::size_t AIndex) {
  const auto Count = static_cast<long double>(X.size());
  long double Result = 0;
  for (std::size_t N = 0; N < X.size(); ++N) {
    const std::size_t Time = AForward ? N : AIndex;
    const std::size_t Bin = AForward ? AIndex : N;
    const long double Weight = std::sqrt((Bin == 0 ? 1 : 2) / Count);
    const std::size_t Steps = (2 * Time + 1) * Bin % (4 * X.size());
    Result +=
        Weight * static_cast<long double>(X[N]) *
        std::cos(std::numbers::pi_v<long double> * static_cast<long double>(Steps) / (2 * Count));
  }
  return static_cast<double>(Result);
}

template <bool AForward>
void MeasureOurs(benchmark::State& AState, const std::string& AName, std::int32_t ALength) {
  const TSamples X = Source(static_cast<std::size_t>(ALength));
  TSamples Y(X.size());
  DCTFwdSpec_64f* Forward = nullptr;
  DCTInvSpec_64f* Inverse = nullptr;
  const auto Run = [&] {
    if constexpr (AForward)
      ippsDCTFwd_64f(X.data(), Y.data(), Forward, nullptr);
    else
      ippsDCTInv_64f(X.data(), Y.data(), Inverse, nullptr);
  };
  if constexpr (AForward)
    ippsDCTFwdInitAlloc_64f(&Forward, ALength, ippAlgHintAccurate);
  else
    ippsDCTInvInitAlloc_64f(&Inverse, ALength, ippAlgHintAccurate);
  Run();
  for (const std::size_t I : {std::size_t{0}, X.size() / 3, X.size() - 1})
    Verify(std::fabs(Y[I] - Sum(X, AForward, I)) <= 1e-11, AName);
  for (auto _ : AState) {
    Run();
    benchmark::DoNotOptimize(Y.data());
    benchmark::ClobberMemory();
  }
  if (Forward) ippsDCTFwdFree_64f(Forward);
  if (Inverse) ippsDCTInvFree_64f(Inverse);
}

#if TESSALUNE_HAS_FFTW
template <bool AForward>
void MeasureFftw(benchmark::State& AState, const std::string& AName, std::int32_t ALength) {
  TSamples X(static_cast<std::size_t>(ALength));
  TSamples Y(X.size());
  fftw_plan Plan = fftw_plan_r2r_1d(ALength, X.data(), Y.data(),
                                    AForward ? FFTW_REDFT10 : FFTW_REDFT01, FFTW_MEASURE);
  // Into the memory that the plan is made for.
  const TSamples Samples = Source(X.size());
  std::copy(Samples.begin(), Samples.end(), X.begin());
  fftw_execute(Plan);
  const auto Count = static_cast<double>(ALength);
  if (AForward)
    for (const std::size_t I : {X.size() / 3, X.size() - 1})
      Verify(std::fabs(Y[I] / std::sqrt(2 * Count) - Sum(X, true, I)) <= 1e-11, AName);
  for (auto _ : AState) {
    fftw_execute(Plan);
    benchmark::DoNotOptimize(Y.data());
    benchmark::ClobberMemory();
  }
  fftw_destroy_plan(Plan);
}
#endif

template <bool AForward>
void Register(const std::string& AWhat, std::int32_t ALength) {
  const std::string Name = AWhat + '/' + std::to_string(ALength) + '/';
  benchmark::RegisterBenchmark((Name + "tessalune").c_str(), MeasureOurs<AForward>, Name, ALength);
#if TESSALUNE_HAS_FFTW
  benchmark::RegisterBenchmark((Name + "fftw").c_str(), MeasureFftw<AForward>, Name, ALength);
#endif
}

const bool IsRegistered = [] {
  for (const std::int32_t Length : {8, 64, 512, 1000, 1024, 4096}) {
    Register<true>("dct2", Length);
    Register<false>("dct3", Length);
  }
  return true;
}();

}  // namespace
}  // namespace tessalune::bench
