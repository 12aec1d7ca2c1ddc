// Threads that components ask for.
#pragma once

#include <tessalune/frame/runtime/QSPropertyInfo.h>
#include <tessalune/frame/runtime/QSReference.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string_view>

namespace tessalune {

// How a thread is served beside others; in order from 0. Linux gives the levels above tpNormal only
// to privileged processes; without the privilege they are served as tpNormal.
enum class TThreadPriority : std::uint8_t {
  tpIdle,  // only when nobody else wants the processor
  tpLowest,
  tpLower,
  tpNormal,
  tpHigher,
  tpHighest,
  tpTimeCritical,
};
template <>
struct TEnumNames<TThreadPriority> {
  static constexpr std::array<std::string_view, 7> Names{
      "tpIdle", "tpLowest", "tpLower", "tpNormal", "tpHigher", "tpHighest", "tpTimeCritical"};
};

// A thread; its object lives on until both its owner and the thread itself have let go of it.
// Nobody waits for a thread's end: it calls into its component through the gate, so it can do
// nothing there once the component has ended.
class IThread : public IInterface {
 public:
  // Takes effect at once, or when the thread starts. Any thread.
  void SetPriority(TThreadPriority APriority);
  // True if called on this thread.
  bool IsCurrent() const;

 protected:
  IThread() = default;

  // Runs AWork on a new thread. Raises EQSException if the system has no more threads.
  // The stack is large (64 MiB, of which only what is used takes memory), since a block walks down
  // a graph as one chain of calls.
  void Launch(const char* AName, std::function<void()> AWork);

 private:
  struct TStart;
  static void* Main(void* AStart);
  void ApplyPriority();

  mutable std::mutex FMutex;
  bool FLaunched = false;
  unsigned long FHandle = 0;  // pthread_t
  int FSystemId = 0;          // 0 until the thread runs
  TThreadPriority FPriority = TThreadPriority::tpNormal;
};

// True if the calling thread's stack is nearly used up: less than 192 KiB are left, which a handler
// may well need.
bool IsStackNearlyFull() noexcept;

}  // namespace tessalune
