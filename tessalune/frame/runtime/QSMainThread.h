// The way back to the host's main thread.
#pragma once

#include <tessalune/frame/runtime/VBComponent.h>

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>

namespace tessalune {

// Calls queued for the main thread, which is whichever thread the host calls Process on. There is
// one queue a process; see MainThread().
class TMainThread {
 public:
  // Queues AProc for the main thread and returns at once. It runs as a call into AObject: if
  // AObject has ended by then, it never runs. Any thread.
  void Execute(TComponent& AObject, std::function<void()> AProc);

  // Runs what is queued at this moment and returns how many calls ran. What a call throws leaves
  // through here; the calls behind it stay queued. If calls stay queued, OnWork is told again.
  std::size_t Process();

  // Waits until something is queued, ATimeout at the longest; true if something is.
  bool WaitForWork(std::chrono::nanoseconds ATimeout);

  // Sets what is told, on the queuing thread, whenever a call is queued while none was: wire it
  // into the host's own loop. An empty function tells nobody. AOnWork must not call back here.
  void SetOnWork(std::function<void()> AOnWork);

 private:
  struct TCall {
    TRef<TCallGate> Gate;
    std::function<void()> Proc;
  };

  std::optional<TCall> Next();
  void TellWork();  // inside the mutex

  std::mutex FMutex;
  std::condition_variable FQueued;
  std::deque<TCall> FCalls;
  std::function<void()> FOnWork;
};

TMainThread& MainThread();

}  // namespace tessalune
