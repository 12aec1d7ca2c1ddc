#include <tessalune/frame/runtime/QSClock.h>

namespace tessalune {

void TWaker::Wake() {
  const std::lock_guard Lock(FMutex);
  FAwake = true;
  FChanged.notify_all();
}

class TSystemClock final : public IClock {
 public:
  TClockTime Now() override {
    return std::chrono::duration_cast<TClockTime>(
        std::chrono::steady_clock::now().time_since_epoch());
  }
  void WaitUntil(TClockTime ADeadline, TWaker& AWaker) override {
    std::unique_lock Lock(AWaker.FMutex);
    AWaker.FChanged.wait_until(Lock, std::chrono::steady_clock::time_point(ADeadline),
                               [&AWaker] { return AWaker.FAwake; });
    AWaker.FAwake = false;
  }
};

TRef<IClock> SystemClock() {
  static const auto* Clock = new TRef<IClock>(MakeRef<TSystemClock>());
  return *Clock;
}

TClockTime TManualClock::Now() {
  const std::lock_guard Lock(FMutex);
  return FNow;
}

void TManualClock::Attach() {
  const std::lock_guard Lock(FMutex);
  ++FBusy;
}

void TManualClock::Detach() {
  const std::lock_guard Lock(FMutex);
  --FBusy;
  FSettled.notify_all();
}

// A sleeper waits on its waker's condition for either of two flags. Whoever takes it off the list
// of sleepers, the clock or itself, counts it as busy again.
void TManualClock::WaitUntil(TClockTime ADeadline, TWaker& AWaker) {
  TSleeper Sleeper{ADeadline, AWaker};
  {
    const std::lock_guard Lock(FMutex);
    if (ADeadline <= FNow) return;
    FSleepers.push_back(&Sleeper);
    --FBusy;
    FSettled.notify_all();
  }
  {
    std::unique_lock Lock(AWaker.FMutex);
    AWaker.FChanged.wait(Lock, [&] { return AWaker.FAwake || Sleeper.Due; });
    AWaker.FAwake = false;
  }
  const std::lock_guard Lock(FMutex);
  if (std::erase(FSleepers, &Sleeper) > 0) ++FBusy;
}

void TManualClock::Advance(TClockTime ABy) {
  std::unique_lock Lock(FMutex);
  FSettled.wait(Lock, [this] { return FBusy == 0; });
  FNow += ABy;
  std::erase_if(FSleepers, [this](TSleeper* ASleeper) {
    if (ASleeper->Deadline > FNow) return false;
    ++FBusy;
    const std::lock_guard WakerLock(ASleeper->Waker.FMutex);
    ASleeper->Due = true;
    ASleeper->Waker.FChanged.notify_all();
    return true;
  });
  FSettled.wait(Lock, [this] { return FBusy == 0; });
}

}  // namespace tessalune
