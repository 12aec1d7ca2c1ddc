#pragma once

#include <tessalune/primitives/Ippptypes.h>

#include <atomic>
#include <barrier>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <thread>
#include <vector>

namespace tessalune::test {

template <class T>
bool HasSameBits(const std::vector<T>& A, const std::vector<T>& B) {
  return A.size() == B.size() && std::memcmp(A.data(), B.data(), A.size() * sizeof(T)) == 0;
}

// Threads that use one plan at once, each with its own data, and a buffer of ABufferSize bytes or
// none: ATransform(source, target, buffer). All start at the same moment and go on for a while, so
// that whatever they share by mistake shows. How many results differ from what the thread got
// alone.
template <class T, class TTransform>
int FailuresOfThreads(const std::vector<T>& ASource, std::size_t ATargetValues,
                      std::int32_t ABufferSize, TTransform ATransform) {
  constexpr std::size_t Threads = 4;
  constexpr int Rounds = 30;
  std::barrier Start(Threads);
  std::atomic<int> Failures = 0;
  const auto Run = [&](std::size_t AThread) {
    std::vector<T> Source = ASource;
    for (T& X : Source) X += static_cast<T>(AThread);
    std::vector<std::uint8_t> Buffer(static_cast<std::size_t>(ABufferSize));
    const auto TransformTo = [&](std::vector<T>& ATarget) {
      ATarget.assign(ATargetValues, T(4711));
      return ATransform(Source.data(), ATarget.data(), AThread % 2 == 0 ? Buffer.data() : nullptr);
    };
    std::vector<T> Alone, Target;
    for (std::size_t Turn = 0; Turn < Threads; ++Turn) {
      if (Turn == AThread && TransformTo(Alone) != ippStsNoErr) ++Failures;
      Start.arrive_and_wait();
    }
    for (int Round = 0; Round < Rounds; ++Round)
      if (TransformTo(Target) != ippStsNoErr || !HasSameBits(Target, Alone)) ++Failures;
  };
  {
    std::vector<std::jthread> Started;
    for (std::size_t Thread = 0; Thread < Threads; ++Thread) Started.emplace_back(Run, Thread);
  }
  return Failures;
}

}  // namespace tessalune::test
