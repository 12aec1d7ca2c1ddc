// What the benchmarks of components share.
#pragma once

#include <tessalune/frame/streams/QSStreamPins.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
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
class TEnd {
 public:
  TRef<IQSRealBuffer> Last;
  TQSKLRealSinkPin Pin{{},
                       [this](TKLBasicPin&, TKLBasicPin*, const TGUID&,
                              IKLNotifyOperation& AOperation, TKLNotifyState) -> TKLNotifyResult {
                         if (AOperation.IsType<TKLSuppliedBufferOperation>()) {
                           Last = IQSRealBuffer::CreateUniversal(
                               AOperation.GetInstance<TKLSuppliedBufferOperation>().Take());
                         }
                         return {};
                       }};
};

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

}  // namespace tessalune::bench
