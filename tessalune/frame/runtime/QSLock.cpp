#include <tessalune/frame/runtime/QSException.h>
#include <tessalune/frame/runtime/QSLock.h>

#include <algorithm>
#include <exception>

namespace tessalune {

ILockSection::ILockSection(IChangeNotifyLock& ALock, bool AShared)
    : FLock(&ALock), FShared(AShared) {}

ILockSection::ILockSection(ILockSection&& AOther) noexcept = default;

ILockSection::~ILockSection() noexcept(false) {
  if (!FLock) return;
  std::exception_ptr Error;
  for (const auto& Event : FLock->Leave(FShared)) {
    try {
      Event();
    } catch (...) {
      // All events are told; the first that fails speaks for them.
      if (!Error) Error = std::current_exception();
    }
  }
  if (!Error) return;
  if (std::uncaught_exceptions() == 0) std::rethrow_exception(Error);
  try {
    std::rethrow_exception(Error);
  } catch (...) {
    ReportUnhandledException(nullptr);
  }
}

IChangeNotifyLock::IChangeNotifyLock(std::function<std::string()> ADescription,
                                     TRef<TPropertyChanges> AChanges)
    : FDescription(std::move(ADescription)), FChanges(std::move(AChanges)) {}

IChangeNotifyLock::IChangeNotifyLock(TRef<IChangeNotifyLock> AMain)
    : FDescription(AMain->FDescription), FChanges(AMain->FChanges), FMain(std::move(AMain)) {}

ILockSection IChangeNotifyLock::ReadLock() { return Take(TLevel::Read); }
ILockSection IChangeNotifyLock::WriteLock() { return Take(TLevel::Write); }
ILockSection IChangeNotifyLock::StopLock() { return Take(TLevel::Stop); }

ILockSection IChangeNotifyLock::Take(TLevel ALevel) {
  std::unique_lock Lock(FMutex);
  const TThreadKey Self = CurrentThreadKey();
  if (FOwner == Self) {
    ++FDepth;
    return {*this, false};
  }
  TWaiter Waiter{Self, ALevel, OwnReads(Self)};
  if (MayEnter(Waiter) && (FWaiters.empty() || Waiter.OwnReads > 0)) {
    Enter(Waiter);
  } else {
    WaitForGrant(Waiter, Lock);
  }
  return {*this, ALevel == TLevel::Read};
}

bool IChangeNotifyLock::MayEnter(const TWaiter& AWaiter) const {
  return FOwner == nullptr && (AWaiter.Level == TLevel::Read || FReads == AWaiter.OwnReads);
}

void IChangeNotifyLock::Enter(const TWaiter& AWaiter) {
  if (AWaiter.Level != TLevel::Read) {
    FOwner = AWaiter.Thread;
    FDepth = 1;
    return;
  }
  ++FReads;
  for (TReader& Reader : FReaders) {
    if (Reader.Thread == AWaiter.Thread) {
      ++Reader.Depth;
      return;
    }
  }
  FReaders.push_back({AWaiter.Thread, 1});
}

// Who reads already goes first, since nobody else can get in before it leaves; then who ends a
// stream; then by age.
void IChangeNotifyLock::Enqueue(TWaiter& AWaiter) {
  const auto Rank = [](const TWaiter* W) {
    return W->OwnReads > 0 ? 0 : W->Level == TLevel::Stop ? 1 : 2;
  };
  const auto Place = std::find_if(FWaiters.begin(), FWaiters.end(), [&](const TWaiter* Other) {
    return Rank(Other) > Rank(&AWaiter);
  });
  FWaiters.insert(Place, &AWaiter);
}

void IChangeNotifyLock::WaitForGrant(TWaiter& AWaiter, std::unique_lock<std::mutex>& ALock) {
  Enqueue(AWaiter);
  const bool Granted = WaitUntilReady(
      TWaitKind::Lock, ALock, FGranted,
      [this, &AWaiter](TThreadKey AThread, const TCallFrame*) {
        return BlockedBy(AWaiter, AThread);
      },
      [&AWaiter] { return AWaiter.Granted; });
  if (Granted) return;
  std::erase(FWaiters, &AWaiter);
  GrantWaiters();
  ALock.unlock();
  throw EQSException(
      Describe() +
      ": this thread cannot enter, because the thread that is inside waits for this one. Make the "
      "call where no other component is locked, for example through MainThread().Execute");
}

// Who was let in and has not woken up yet waits for nobody.
bool IChangeNotifyLock::BlockedBy(const TWaiter& AWaiter, TThreadKey AThread) {
  const std::lock_guard Lock(FMutex);
  return !AWaiter.Granted && IsInside(AThread);
}

void IChangeNotifyLock::GrantWaiters() {
  bool Granted = false;
  while (!FWaiters.empty() && MayEnter(*FWaiters.front())) {
    TWaiter& Waiter = *FWaiters.front();
    FWaiters.pop_front();
    Enter(Waiter);
    Waiter.Granted = Granted = true;
  }
  if (Granted) FGranted.notify_all();
}

int IChangeNotifyLock::OwnReads(TThreadKey AThread) const {
  for (const TReader& Reader : FReaders) {
    if (Reader.Thread == AThread) return Reader.Depth;
  }
  return 0;
}

IChangeNotifyLock::TEvents IChangeNotifyLock::Leave(bool AShared) {
  const std::lock_guard Lock(FMutex);
  const TThreadKey Self = CurrentThreadKey();
  if (!AShared) {
    if (--FDepth == 0) FOwner = nullptr;
  } else {
    --FReads;
    const auto Reader = std::find_if(FReaders.begin(), FReaders.end(),
                                     [Self](const TReader& R) { return R.Thread == Self; });
    if (--Reader->Depth == 0) FReaders.erase(Reader);
  }
  if (FOwner == nullptr && !FWaiters.empty()) GrantWaiters();
  return FEvents.empty() || IsInside(Self) ? TEvents{} : TakeEvents(Self);
}

IChangeNotifyLock::TEvents IChangeNotifyLock::TakeEvents(TThreadKey AThread) {
  TEvents Events;
  for (auto& [Thread, Event] : FEvents) {
    if (Thread == AThread) Events.push_back(std::move(Event));
  }
  std::erase_if(FEvents, [AThread](const auto& Entry) { return Entry.first == AThread; });
  return Events;
}

void IChangeNotifyLock::AfterRelease(std::function<void()> AEvent) {
  {
    const std::lock_guard Lock(FMutex);
    if (IsInside(CurrentThreadKey())) {
      FEvents.emplace_back(CurrentThreadKey(), std::move(AEvent));
      return;
    }
  }
  AEvent();
}

void IChangeNotifyLock::TellChange(std::string_view APath, std::string_view AName,
                                   TPropertyValue AValue) {
  std::string Path(APath);
  if (!Path.empty() && !AName.empty()) Path += '.';
  Path += AName;
  AfterRelease([Main = FMain, Tell = FChanges->Telling({std::move(Path), std::move(AValue)})] {
    if (Main) return Main->AfterRelease(Tell);
    Tell();
  });
}

}  // namespace tessalune
