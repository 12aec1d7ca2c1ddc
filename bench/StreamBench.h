// What the benchmarks of components share.
#pragma once

#include "Verify.h"

#include <tessalune/frame/streams/QSStreamPins.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <time.h>

namespace tessalune::bench {

inline std::string NameOf(const std::string& AWhat, std::int64_t ASize, const char* AWho) {
  return AWhat + '/' + std::to_string(ASize) + '/' + AWho;
}

inline benchmark::Counter PerSample(std::int64_t ASamples) {
  return {static_cast<double>(ASamples),
          benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert};
}

// Takes a stream in and keeps its last block.
template <class T>
class TTypedEnd {
 public:
  TRef<TQSTypedBuffer<T>> Last;
  TQSKLTypedSinkPin<TSampleTraits<T>::Type> Pin{
      TKLPinOwner{},
      [this](TKLBasicPin&, TKLBasicPin*, const TGUID&, IKLNotifyOperation& AOperation,
             TKLNotifyState) -> TKLNotifyResult {
        if (AOperation.IsType<TKLSuppliedBufferOperation>()) {
          Last = TQSTypedBuffer<T>::CreateUniversal(
              AOperation.GetInstance<TKLSuppliedBufferOperation>().Take());
        }
        return {};
      }};

  // Whether the last block has just these samples, bit for bit.
  bool Has(const std::vector<T>& ASamples) const {
    return Last && Last->GetSize() == static_cast<std::int32_t>(ASamples.size()) &&
           std::memcmp(Last->Read(), ASamples.data(), ASamples.size() * sizeof(T)) == 0;
  }
};
using TEnd = TTypedEnd<double>;

// Of this thread's own time: what other programs take does not count.
inline double ThreadSeconds() {
  timespec Time{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &Time);
  return static_cast<double>(Time.tv_sec) + 1e-9 * static_cast<double>(Time.tv_nsec);
}

template <class TPump>
double SecondsOf(TPump&& APump) {
  const double Before = ThreadSeconds();
  APump();
  return ThreadSeconds() - Before;
}

// Graph and loop by turns, so that both meet the same machine; the median of the differences.
template <class TGraph, class TLoop>
double SecondsAbovePlain(TGraph& AGraph, TLoop& ALoop, std::int32_t ASize) {
  const int Blocks = std::max(1, 65536 / ASize);
  std::vector<double> Differences;
  for (int Round = 0; Round < 101; ++Round) {
    const auto Repeat = [Blocks](auto& AWhat) {
      return SecondsOf([&] {
        for (int I = 0; I < Blocks; ++I) AWhat.Pump();
      });
    };
    const double Graph = Repeat(AGraph);
    Differences.push_back((Graph - Repeat(ALoop)) / Blocks);
  }
  std::nth_element(Differences.begin(), Differences.begin() + 50, Differences.end());
  return Differences[50];
}

// What components do and what a plain program would, for the same result.
struct TBeside {
  std::function<void()> Components;
  std::function<void()> Plain;
  std::function<bool()> IsSame;  // after either has run as often as the other
  std::shared_ptr<void> Kept;    // what they work on
};

// Measures both, each made anew by AMake, ASize samples at a time.
inline void RegisterBeside(const std::string& AName, const char* APlainName, std::int32_t ASize,
                           std::function<TBeside()> AMake) {
  struct TPump {
    const std::function<void()>& Work;
    void Pump() const { Work(); }
  };
  benchmark::RegisterBenchmark((AName + "/tessalune").c_str(), [=](benchmark::State& AState) {
    const TBeside It = AMake();
    for (int I = 0; I < 3; ++I) {
      It.Components();
      It.Plain();
    }
    Verify(It.IsSame(), AName);
    for (auto _ : AState) It.Components();
    AState.counters["s/sample"] = PerSample(ASize);
    const TPump Components{It.Components};
    const TPump Plain{It.Plain};
    AState.counters["above_plain_s/block"] = SecondsAbovePlain(Components, Plain, ASize);
  });
  benchmark::RegisterBenchmark((AName + '/' + APlainName).c_str(), [=](benchmark::State& AState) {
    const TBeside It = AMake();
    for (auto _ : AState) It.Plain();
    AState.counters["s/sample"] = PerSample(ASize);
  });
}

}  // namespace tessalune::bench
