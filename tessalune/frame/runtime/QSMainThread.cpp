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
  if (FCalls.size() == 1) TellWork();
}

std::size_t TMainThread::Process() {
  // Who is told of work only when there was none has to hear of what stays behind, also when a call
  // throws.
  struct TStaysBehind {
    TMainThread& Queue;
    ~TStaysBehind() {
      const std::lock_guard Lock(Queue.FMutex);
      if (!Queue.FCalls.empty()) Queue.TellWork();
    }
  } const StaysBehind{*this};
  std::size_t Ran = 0;
  std::size_t Left = 0;
  {
    const std::lock_guard Lock(FMutex);
    Left = FCalls.size();
  }
  for (; Left > 0; --Left) {
    const std::optional<TCall> Call = Next();
    if (!Call) break;
    const TCallScope Scope(*Call->Gate);
    if (!Scope) continue;
    Call->Proc();
    ++Ran;
  }
  return Ran;
}

std::optional<TMainThread::TCall> TMainThread::Next() {
  const std::lock_guard Lock(FMutex);
  if (FCalls.empty()) return std::nullopt;
  std::optional<TCall> Call(std::move(FCalls.front()));
  FCalls.pop_front();
  return Call;
}

void TMainThread::TellWork() {
  FQueued.notify_all();
  if (FOnWork) FOnWork();
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
