// Samples of the waveforms: what one costs, beside the plain loop that computes the definition.
// Each case compares its samples with the definition before it measures.
#include "Verify.h"

#include <tessalune/primitives/QSDispatcher.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <numbers>
#include <numeric>
#include <random>
#include <string>
#include <vector>

namespace tessalune::bench {
namespace {

constexpr double TwoPi = 2 * std::numbers::pi;
constexpr double Magnitude = 3.0;
constexpr double RelFreq = 0.0123;  // cycles a sample

using TSamples = std::vector<double>;

// What a waveform is, who makes it, and how to tell that it is right.
struct TWaveform {
  std::string Name;
  std::string Who;
  void (*Fill)(TSamples& ASamples);
  bool (*IsRight)(const TSamples& ASamples);
};

std::int32_t CountOf(const TSamples& ASamples) {
  return static_cast<std::int32_t>(ASamples.size());
}

double Cycles(std::size_t ASample) {
  const double Turns = RelFreq * static_cast<double>(ASample);
  return Turns - std::floor(Turns);
}

double ToneAt(std::size_t ASample) { return Magnitude * std::cos(TwoPi * Cycles(ASample)); }
double TriangleAt(std::size_t ASample) {
  return Magnitude * (std::fabs(4 * Cycles(ASample) - 2) - 1);
}
double SquareAt(std::size_t ASample) { return Cycles(ASample) < 0.5 ? -Magnitude : Magnitude; }

template <auto At>
void FillPlain(TSamples& ASamples) {
  for (std::size_t N = 0; N < ASamples.size(); ++N) ASamples[N] = At(N);
}

// All samples near the definition, by far more than rounding can move them. Of a wave that jumps,
// some may be off: where the jump falls on a sample, rounding decides on which side.
template <auto At, bool Jumps = false>
bool IsNear(const TSamples& ASamples) {
  std::size_t Off = 0;
  for (std::size_t N = 0; N < ASamples.size(); ++N) {
    if (!(std::fabs(ASamples[N] - At(N)) <= 1e-9)) ++Off;
  }
  return Off <= (Jumps ? 2 + ASamples.size() / 1000 : 0);
}

// Mean and variance within six standard errors of 0 and Magnitude^2.
bool IsNormal(const TSamples& ASamples) {
  const auto Count = static_cast<double>(ASamples.size());
  const double Mean = std::accumulate(ASamples.begin(), ASamples.end(), 0.0) / Count;
  double Square = 0;
  for (const double X : ASamples) Square += X * X / Count;
  constexpr double Variance = Magnitude * Magnitude;
  return std::fabs(Mean) <= 6 * Magnitude / std::sqrt(Count) &&
         std::fabs(Square - Variance) <= 6 * Variance * std::sqrt(2 / Count);
}

const TWaveform Waveforms[] = {
    {"tone", "tessalune",
     [](TSamples& Y) {
       double Phase = 0;
       ippsTone_Direct_64f(Y.data(), CountOf(Y), Magnitude, RelFreq, &Phase, 0);
     },
     IsNear<ToneAt>},
    {"tone", "plain", FillPlain<ToneAt>, IsNear<ToneAt>},
    {"triangle", "tessalune",
     [](TSamples& Y) {
       double Phase = 0;
       ippsTriangle_Direct_64f(Y.data(), CountOf(Y), Magnitude, RelFreq, 0, &Phase);
     },
     IsNear<TriangleAt>},
    {"triangle", "plain", FillPlain<TriangleAt>, IsNear<TriangleAt>},
    {"square", "tessalune",
     [](TSamples& Y) {
       double Phase = 0;
       ippsSquare_Direct_64f(Y.data(), CountOf(Y), Magnitude, RelFreq, 0, &Phase);
     },
     IsNear<SquareAt, true>},
    {"square", "plain", FillPlain<SquareAt>, IsNear<SquareAt, true>},
    {"gauss", "tessalune",
     [](TSamples& Y) {
       std::uint32_t Seed = 4711;
       ippsRandGauss_Direct_64f(Y.data(), CountOf(Y), 0, Magnitude, &Seed);
     },
     IsNormal},
    {"gauss", "std",
     [](TSamples& Y) {
       std::mt19937 Engine(4711);
       std::normal_distribution<double> Normal(0, Magnitude);
       std::generate(Y.begin(), Y.end(), [&] { return Normal(Engine); });
     },
     IsNormal},
};

std::string NameOf(const TWaveform& AWaveform, std::size_t ACount) {
  return AWaveform.Name + '/' + std::to_string(ACount) + '/' + AWaveform.Who;
}

void Measure(benchmark::State& AState, const TWaveform& AWaveform, std::size_t ACount) {
  TSamples Samples(ACount);
  AWaveform.Fill(Samples);
  Verify(AWaveform.IsRight(Samples), NameOf(AWaveform, ACount));
  for (auto _ : AState) {
    AWaveform.Fill(Samples);
    benchmark::DoNotOptimize(Samples.data());
    benchmark::ClobberMemory();
  }
  AState.counters["s/sample"] = benchmark::Counter(
      static_cast<double>(ACount),
      benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

const bool IsRegistered = [] {
  for (const TWaveform& Waveform : Waveforms)
    for (const std::size_t Count : {std::size_t{1024}, std::size_t{65536}}) {
      benchmark::RegisterBenchmark(NameOf(Waveform, Count).c_str(), Measure, Waveform, Count);
    }
  return true;
}();

}  // namespace
}  // namespace tessalune::bench
