#include <tessalune/frame/runtime/QSMainThread.h>

#include <utility>

namespace tessalune {

TMainThread& MainThread() {
  static auto* Instance = new TMainThread;
  return *Instance;
}

void TMainThread::Execute(TComponent& AObject, std::function<void()> AProc) {
  const std::lock_guard Lock(FMutex);
  FCalls.push_back({TRef<TCallGate>(&AObject.Gate()), std::move(AProc)});
  if (FCalls.size() > 1) return;
  FQueued.notify_all();
  if (FOnWork) FOnWork();
}

std::size_t TMainThread::Process() {
  std::size_t Ran = 0;
  std::unique_lock Lock(FMutex);
  for (std::size_t Left = FCalls.size(); Left > 0 && !FCalls.empty(); --Left) {
    const TCall Call = std::move(FCalls.front());
    FCalls.pop_front();
    Lock.unlock();
    {
      const TCallScope Scope(*Call.Gate);
      if (Scope) {
        Call.Proc();
        ++Ran;
      }
    }
    Lock.lock();
  }
  return Ran;
}

bool TMainThread::WaitForWork(std::chrono::nanoseconds ATimeout) {
  std::unique_lock Lock(FMutex);
  return FQueued.wait_for(Lock, ATimeout, [this] { return !FCalls.empty(); });
}

void TMainThread::SetOnWork(std::function<void()> AOnWork) {
  const std::lock_guard Lock(FMutex);
  FOnWork = std::move(AOnWork);
}

}  // namespace tessalune
