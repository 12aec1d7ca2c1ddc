#include <tessalune/frame/runtime/QSCalls.h>

#include <algorithm>
#include <utility>
#include <vector>

namespace tessalune {

constinit thread_local const TCallFrame* CurrentCallFrame = nullptr;

namespace {

std::uint64_t CountFrames(const TCallFrame* AFrames, const TCallGate* AGate) noexcept {
  std::uint64_t Count = 0;
  for (; AFrames != nullptr; AFrames = AFrames->Outer) Count += AFrames->Gate == AGate;
  return Count;
}

}  // namespace

bool IsInsideGate(const TCallGate& AGate, const TCallFrame* AFrames) noexcept {
  for (; AFrames != nullptr; AFrames = AFrames->Outer) {
    if (AFrames->Gate == &AGate) return true;
  }
  return false;
}

bool TCallGate::TryEnter() noexcept {
  if ((FState.fetch_add(OneCall) & Closed) == 0) return true;
  LeaveClosed();
  return false;
}

void TCallGate::Leave() noexcept {
  std::uint64_t State = FState.load(std::memory_order_relaxed);
  while ((State & Closed) == 0) {
    if (FState.compare_exchange_weak(State, State - OneCall)) return;
  }
  LeaveClosed();
}

// Counts down under the mutex, so that Close cannot miss the last call between its look at the
// count and its sleep, and so that the gate is not gone before the leaving thread is done with it.
void TCallGate::LeaveClosed() noexcept {
  const TRef<TCallGate> Alive(this);
  std::function<void()> OnDrained;
  {
    const std::lock_guard Lock(FMutex);
    if (FState.fetch_sub(OneCall) - OneCall == Closed) OnDrained = std::exchange(FOnDrained, {});
    FLeft.notify_all();
  }
  if (OnDrained) OnDrained();
}

bool TCallGate::BeginClose(std::function<void()> AOnDrained) {
  FState.fetch_or(Closed);
  const std::lock_guard Lock(FMutex);
  if (FState.load() == Closed) return true;
  FOnDrained = std::move(AOnDrained);
  return false;
}

void TCallGate::Close(TWaitKind AKind, std::function<void()> AOnDrained) {
  const TRef<TCallGate> Alive(this);
  FState.fetch_or(Closed);
  const std::uint64_t Own = CountFrames(CurrentCallFrame, this);
  std::unique_lock Lock(FMutex);
  WaitUntilReady(
      AKind, Lock, FLeft,
      [this](TThreadKey, const TCallFrame* AFrames) { return IsInsideGate(*this, AFrames); },
      [this, Own] { return FState.load() / OneCall <= Own; });
  if (FState.load() / OneCall > 0) {
    FOnDrained = std::move(AOnDrained);
    return;
  }
  Lock.unlock();
  AOnDrained();
}

namespace {

// A thread that is about to wait, for as long as the object lives. Made and destroyed with no
// other mutex held: the order is the circle's mutex first, then that of what is waited for.
class TWait {
 public:
  TWait(TWaitKind AKind, std::mutex& AMutex, std::condition_variable& AChanged,
        const TWaitsFor& AWaitsFor)
      : FKind(AKind), FMutex(AMutex), FChanged(AChanged), FWaitsFor(AWaitsFor) {
    const std::lock_guard Lock(CircleMutex());
    Blocked().push_back(this);
    std::vector<TWait*> Circle;
    while (!GivesWay() && FindCircle(Circle)) {
      (*std::min_element(Circle.begin(), Circle.end(), [](const TWait* ALeft, const TWait* ARight) {
        return ALeft->FKind < ARight->FKind;
      }))->GiveWay();
      Circle.clear();
    }
  }
  TWait(const TWait&) = delete;
  ~TWait() {
    const std::lock_guard Lock(CircleMutex());
    std::erase(Blocked(), this);
  }

  bool GivesWay() const noexcept { return FGivesWay.load(std::memory_order_acquire); }

 private:
  // One mutex for the process is enough: nobody who can go on comes here.
  static std::mutex& CircleMutex() {
    static auto* Mutex = new std::mutex;
    return *Mutex;
  }
  static std::vector<TWait*>& Blocked() {
    static auto* Waits = new std::vector<TWait*>;
    return *Waits;
  }

  // A wait that has given way leads nowhere.
  bool Leads(const TWait& ANext) const {
    return &ANext != this && !ANext.GivesWay() && FWaitsFor(ANext.FThread, ANext.FFrames);
  }

  // Extends APath, whose last wait is somebody that this thread waits for directly or through
  // others, until it leads back here.
  bool FindCircle(std::vector<TWait*>& APath) {
    TWait* Last = APath.empty() ? this : APath.back();
    if (APath.empty()) APath.push_back(this);
    for (TWait* Next : Blocked()) {
      if (!Last->Leads(*Next)) continue;
      if (Next == this) return true;
      if (std::find(APath.begin(), APath.end(), Next) != APath.end()) continue;
      APath.push_back(Next);
      if (FindCircle(APath)) return true;
      APath.pop_back();
    }
    return false;
  }

  void GiveWay() {
    FGivesWay.store(true, std::memory_order_release);
    const std::lock_guard Lock(FMutex);
    FChanged.notify_all();
  }

  const TWaitKind FKind;
  const TThreadKey FThread = CurrentThreadKey();
  const TCallFrame* const FFrames = CurrentCallFrame;
  std::mutex& FMutex;
  std::condition_variable& FChanged;
  const TWaitsFor& FWaitsFor;
  std::atomic<bool> FGivesWay{false};
};

}  // namespace

bool WaitUntilReady(TWaitKind AKind, std::unique_lock<std::mutex>& ALock,
                    std::condition_variable& AChanged, const TWaitsFor& AWaitsFor,
                    const std::function<bool()>& AReady) {
  bool GivesWay = false;
  while (!GivesWay && !AReady()) {
    ALock.unlock();
    {
      const TWait Wait(AKind, *ALock.mutex(), AChanged, AWaitsFor);
      ALock.lock();
      AChanged.wait(ALock, [&] { return AReady() || Wait.GivesWay(); });
      GivesWay = !AReady();
      ALock.unlock();
    }
    ALock.lock();
  }
  return !GivesWay;
}

std::uint64_t TTurns::Take() {
  const std::lock_guard Lock(FMutex);
  FTurns.push_back({++FLast, CurrentThreadKey()});
  return FLast;
}

void TTurns::Run(std::uint64_t ATurn, std::function<void()> AWork) {
  const TRef<TTurns> Alive(this);
  std::unique_lock Lock(FMutex);
  const bool Inside = std::any_of(FTurns.begin(), FTurns.end(), [](const TTurn& AEach) {
    return AEach.Running && AEach.Thread == CurrentThreadKey();
  });
  if (Inside) {
    for (TTurn& Turn : FTurns) {
      if (Turn.Number == ATurn) Turn.Work = std::move(AWork);
    }
    return;
  }
  std::exception_ptr Error;
  RunNow(ATurn, AWork, Error, Lock);
  while (const TTurn* Left = NextLeft()) {
    const std::function<void()> Work = Left->Work;
    RunNow(Left->Number, Work, Error, Lock);
  }
  Lock.unlock();
  if (Error) std::rethrow_exception(Error);
}

void TTurns::Run(std::uint64_t ATurn, TRef<TCallGate> ADoor, std::function<void()> AWork) {
  Run(ATurn, [Door = std::move(ADoor), Work = std::move(AWork)] {
    const TCallScope Call(*Door);
    if (Call) Work();
  });
}

// The first turn of this thread, if its work was left.
TTurns::TTurn* TTurns::NextLeft() {
  for (TTurn& Turn : FTurns) {
    if (Turn.Thread == CurrentThreadKey()) return Turn.Work ? &Turn : nullptr;
  }
  return nullptr;
}

// An earlier turn of this very thread, which it will run when it leaves another lock, is not waited
// for. False if the wait gave way.
bool TTurns::WaitForTurn(std::uint64_t ATurn, std::unique_lock<std::mutex>& ALock) {
  const auto IsBehind = [this, ATurn](auto AIsMeant) {
    return std::any_of(FTurns.begin(), FTurns.end(), [&](const TTurn& AOther) {
      return AOther.Number < ATurn && AIsMeant(AOther.Thread);
    });
  };
  return WaitUntilReady(
      TWaitKind::Turn, ALock, FOver,
      [this, &IsBehind](TThreadKey AThread, const TCallFrame*) {
        const std::lock_guard Lock(FMutex);
        return IsBehind([AThread](TThreadKey AOther) { return AOther == AThread; });
      },
      [&IsBehind, Self = CurrentThreadKey()] {
        return !IsBehind([Self](TThreadKey AOther) { return AOther != Self; });
      });
}

// To the thread of the last turn before that is another one's; false if there is none.
bool TTurns::LeaveToOther(std::uint64_t ATurn, const std::function<void()>& AWork) {
  TThreadKey Other = nullptr;
  for (TTurn& Turn : FTurns) {
    if (Turn.Number < ATurn && Turn.Thread != CurrentThreadKey()) Other = Turn.Thread;
    if (Turn.Number != ATurn || Other == nullptr) continue;
    Turn.Thread = Other;
    Turn.Work = AWork;
    FOver.notify_all();  // whoever waits behind it may be that thread
    return true;
  }
  return false;
}

void TTurns::RunNow(std::uint64_t ATurn, const std::function<void()>& AWork,
                    std::exception_ptr& AError, std::unique_lock<std::mutex>& ALock) {
  if (!WaitForTurn(ATurn, ALock) && LeaveToOther(ATurn, AWork)) return;
  const auto Own = [this, ATurn] {
    return std::find_if(FTurns.begin(), FTurns.end(),
                        [ATurn](const TTurn& AOther) { return AOther.Number == ATurn; });
  };
  Own()->Running = true;
  ALock.unlock();
  try {
    AWork();
  } catch (...) {
    // All turns are run; the first that fails speaks for them.
    if (!AError) AError = std::current_exception();
  }
  ALock.lock();
  FTurns.erase(Own());
  FOver.notify_all();
}

}  // namespace tessalune
