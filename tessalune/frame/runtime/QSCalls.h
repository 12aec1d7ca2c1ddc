// Calls in progress, and waits that cannot hang.
//
// A component's end has to wait for the calls in progress in it, but never for its own caller; and
// the frame's threads wait for one another in a few ways: for a lock, for the calls in a component
// that ends or through a link that goes, for room in a filter's queue, for a filter's queue to run
// empty, for what has to be told first. Any of these alone is harmless; a circle of them would
// hang. So every wait is announced before it begins, and the one that would close a circle is found
// then and there. See WaitUntilReady.
#pragma once

#include <tessalune/frame/runtime/QSReference.h>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <exception>
#include <functional>
#include <mutex>

namespace tessalune {

class TCallGate;

// One call in progress, on the stack of the thread that makes it.
struct TCallFrame {
  TCallGate* Gate;
  const TCallFrame* Outer;
};

// The innermost call in progress on this thread.
extern constinit thread_local const TCallFrame* CurrentCallFrame
    __attribute__((tls_model("initial-exec")));

// Identifies a thread for as long as it lives: the address of a variable of its own.
using TThreadKey = const void*;
inline TThreadKey CurrentThreadKey() noexcept { return &CurrentCallFrame; }

// What a thread waits for. The order is the order of preference when a circle has to be broken:
// the first kind in it gives way.
enum class TWaitKind : std::uint8_t {
  Room,   // for room in a filter's queue; gives way by exceeding the queue's size
  Drain,  // for a queue to run empty; gives way by not waiting
  Turn,   // for what has to be told first; gives way by leaving its own to who tells that
  Calls,  // for calls in what ends or goes; gives way by letting its end be told when they leave
  Lock,   // for a component's lock; gives way by an EQSException
  Host,   // for calls in a handler of a host's own that ends and cannot wait; as Calls
};

// A door that calls enter and that knows how many are inside. Each component has one, for all that
// enters from its pins, its threads and the main thread's queue, and each link has one. It outlives
// what it leads to: who holds it by reference finds it closed when that has ended.
class TCallGate final : public IInterface {
 public:
  TCallGate() = default;
  // Closed until Open, if AIsClosed.
  explicit TCallGate(bool AIsClosed) : FState(AIsClosed ? Closed : 0) {}

  // Lets calls into a gate that was made closed; before any call of the two that close it.
  void Open() noexcept { FState.fetch_and(~Closed); }

  // Closes the gate for good and waits, as AKind, until the calls of other threads have left.
  // AOnDrained runs once, when the last call has left: inside Close, or, if the calling thread is
  // itself inside the gate or the wait had to give way, when the last call leaves.
  void Close(TWaitKind AKind, std::function<void()> AOnDrained);
  // The same without a wait: true if nothing is inside, and AOnDrained is not called; else it runs
  // when the last call leaves.
  bool BeginClose(std::function<void()> AOnDrained);

  bool IsClosed() const noexcept { return (FState.load() & Closed) != 0; }

 private:
  friend class TCallScope;
  static constexpr std::uint64_t Closed = 1;
  static constexpr std::uint64_t OneCall = 2;

  bool TryEnter() noexcept;
  void Leave() noexcept;
  void LeaveClosed() noexcept;

  std::atomic<std::uint64_t> FState{0};
  std::mutex FMutex;
  std::condition_variable FLeft;
  std::function<void()> FOnDrained;
};

// Enters a gate for the lifetime of the object; false if the gate was closed. The creator keeps
// the gate alive.
class TCallScope {
 public:
  explicit TCallScope(TCallGate& AGate) noexcept : FFrame{&AGate, CurrentCallFrame} {
    if (AGate.TryEnter()) {
      SetCurrentCallFrame(&FFrame);
    } else {
      FFrame.Gate = nullptr;
    }
  }
  TCallScope(const TCallScope&) = delete;
  ~TCallScope() {
    if (FFrame.Gate == nullptr) return;
    SetCurrentCallFrame(FFrame.Outer);
    FFrame.Gate->Leave();
  }
  explicit operator bool() const noexcept { return FFrame.Gate != nullptr; }

 private:
  // The compiler sees the address of a local object leave its scope; the destructor takes it back.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdangling-pointer"
  static void SetCurrentCallFrame(const TCallFrame* AFrame) noexcept { CurrentCallFrame = AFrame; }
#pragma GCC diagnostic pop

  TCallFrame FFrame;
};

// True if one of the calls in progress, this thread's unless told, entered AGate.
bool IsInsideGate(const TCallGate& AGate, const TCallFrame* AFrames = CurrentCallFrame) noexcept;

// Waits on AChanged until AReady() holds, and returns true; or returns false if this wait has to
// give way because it would be part of a circle. ALock holds the mutex of what is waited for; it
// is held again on return, but not all the time between. AWaitsFor tells of another blocked
// thread, given its key and its innermost call, whether the wait cannot end before that thread
// goes on. AReady is only called with the mutex held.
using TWaitsFor = std::function<bool(TThreadKey, const TCallFrame*)>;
bool WaitUntilReady(TWaitKind AKind, std::unique_lock<std::mutex>& ALock,
                    std::condition_variable& AChanged, const TWaitsFor& AWaitsFor,
                    const std::function<bool()>& AReady);

// Work that has to be done outside a lock, in the order that was decided inside it: a stream's
// starts and stops, each told to all sinks before the next.
class TTurns final : public IInterface {
 public:
  // Inside the lock: the next turn, for the calling thread. Each turn has to be run.
  std::uint64_t Take();
  // Outside it, on the same thread: runs AWork when all earlier turns are over. Other threads are
  // waited for; but inside the work of an earlier turn of this thread, AWork is left to that one to
  // run behind its own, and where the wait would close a circle, to the thread of the turn before.
  void Run(std::uint64_t ATurn, std::function<void()> AWork);
  // The same with AWork as a call into ADoor; nothing if that is closed by then.
  void Run(std::uint64_t ATurn, TRef<TCallGate> ADoor, std::function<void()> AWork);

 private:
  struct TTurn {
    std::uint64_t Number;
    TThreadKey Thread;
    bool Running = false;
    std::function<void()> Work{};  // left by Run
  };

  bool WaitForTurn(std::uint64_t ATurn, std::unique_lock<std::mutex>& ALock);
  bool LeaveToOther(std::uint64_t ATurn, const std::function<void()>& AWork);
  void RunNow(std::uint64_t ATurn, const std::function<void()>& AWork, std::exception_ptr& AError,
              std::unique_lock<std::mutex>& ALock);
  TTurn* NextLeft();

  std::mutex FMutex;
  std::condition_variable FOver;
  std::deque<TTurn> FTurns;  // those that are not over, in order
  std::uint64_t FLast = 0;
};

}  // namespace tessalune
