#include <tessalune/frame/pins/KLLinks.h>
#include <tessalune/frame/pins/KLPins.h>
#include <tessalune/frame/pins/KLTopology.h>
#include <tessalune/frame/runtime/QSThread.h>

#include <algorithm>
#include <utility>

namespace tessalune {

// --- a link ---

TKLLink::TKLLink(TKLBasicPin& ASource, TKLBasicPin& ASink, const TKLDataType& AType,
                 const TKLDataType* AWanted)
    : Source(ASource),
      Sink(ASink),
      SourceGate(ASource.FGate),
      SinkGate(ASink.FGate),
      Turns(ASink.FTurns),
      Type(&AType),
      Wanted(AWanted),
      FTranslate(ASource.FKind.Translate) {}

// The start is told before the link opens, so it comes before the first block. What the stream does
// meanwhile passes the link by and is told in another round.
void TKLLink::Open() {
  const TCallScope Here(*SourceGate);
  const TCallScope There(*SinkGate);
  if (!Here || !There) return;  // one of them has ended, and has taken the link off
  try {
    TKLStream Seen;
    do {
      Seen = Source.Stream();
      Tell(Seen, {nsNewLink, nsLastIteration});
    } while (!OpenUnlessTold(Seen.Serial));
  } catch (...) {
    const TKLTopology::TGuard Guard;
    if (!IsOff) {
      FWasRefused = true;
      TKLTopology::TakeOff(*this);
    }
    throw;
  }
}

// False if starts or stops were sent behind ASerial: they have to be told first. A pin that has
// gone is not touched: it took the link off.
bool TKLLink::OpenUnlessTold(std::uint64_t ASerial) {
  const TKLTopology::TGuard Guard;
  if (IsOff) return true;
  const std::lock_guard Stream(Source.FStreamMutex);
  if (Source.FStream.Serial != ASerial) return false;
  Gate->Open();
  return true;
}

void TKLLink::Shut() {
  struct TGone {
    TKLLink& Link;
    ~TGone() { TKLTopology::Gone(Link); }
  } const Gone{*this};
  try {
    TellStop();
  } catch (...) {
    if (!FWasRefused) throw;  // else what the sink did not take of the start speaks for it
  }
}

TKLNotifyResult TKLLink::Tell(const TKLStream& AStream, TKLNotifyState AState) const {
  const bool Starts = AStream.Start != nullptr;
  std::uint64_t Before = FHeard.load();
  do {
    if (AStream.Serial <= Before >> SerialShift) return {};
  } while (!FHeard.compare_exchange_weak(
      Before, AStream.Serial << SerialShift | (Starts ? HeardStart : HeardNothing)));
  const bool MissedStop = AStream.LastStop > Before >> SerialShift && (Before & HeardStart) != 0;
  const bool Ends = Starts ? MissedStop : AStream.IsLone || (Before & HeardMask) != HeardNothing;
  TKLNotifyResult Result;
  std::exception_ptr Error;
  if (Ends) {
    try {
      Result |= Send(*MakeRef<TKLStopOperation>(), AState);
    } catch (...) {
      Error = std::current_exception();  // the start that follows is told all the same
    }
  }
  if (Starts) {
    const auto Form = FTranslate != nullptr ? FTranslate(*this, *AStream.Start) : AStream.Start;
    Result |= Send(*Form, AState);
  }
  if (Error) std::rethrow_exception(Error);
  return Result;
}

void TKLLink::TellStop() const {
  if ((FHeard.fetch_and(~HeardMask) & HeardStart) == 0) return;
  const TCallScope There(*SinkGate);
  if (There) Send(*MakeRef<TKLStopOperation>(), {nsLastIteration});
}

TKLNotifyResult TKLLink::Send(IKLNotifyOperation& AOperation, TKLNotifyState AState) const {
  Sink.RefuseFullStack();
  // The link may have outlived its source.
  const TCallScope Here(*SourceGate);
  return Sink.Receive(Here ? &Source : nullptr, Type.load(std::memory_order_relaxed)->ID,
                      AOperation, AState);
}

// --- turns ---

void TKLLinkTurns::Take(TRef<TKLLink> ALink, TWork AWork, bool AIsReady) {
  const std::lock_guard Lock(FMutex);
  FTurns.push_back({std::move(ALink), AWork, AIsReady});
}

void TKLLinkTurns::Ready(const TKLLink& ALink, bool ADoes) {
  const TRef<TKLLinkTurns> Alive(this);
  std::unique_lock Lock(FMutex);
  const auto Turn = Find(ALink, &TKLLink::Shut);
  if (Turn != FTurns.end()) Turn->IsReady = true;
  FChanged.notify_all();
  if (ADoes) DoLeft(Lock);
}

bool TKLLinkTurns::Do(const TKLLink& ALink, TWork AWork, TWaitKind AKind) {
  const TRef<TKLLinkTurns> Alive(this);
  std::exception_ptr Error;
  std::unique_lock Lock(FMutex);
  const auto Turn = [&] { return Find(ALink, AWork); };
  const auto CanGoOn = [&] { return CanDoFirst() || Turn() == FTurns.end(); };
  while (Turn() != FTurns.end()) {
    if (CanDoFirst()) {
      DoFirst(Lock, Turn() == FTurns.begin() ? &Error : nullptr);
      continue;
    }
    if (IsInside(Turn())) break;
    ++Turn()->Waiters;
    static_cast<void>(WaitUntilReady(
        AKind, Lock, FChanged,
        [this](TThreadKey AThread, const TCallFrame* AFrames) {
          return WaitsFor(AThread, AFrames);
        },
        CanGoOn));
    if (Turn() != FTurns.end()) --Turn()->Waiters;
    if (!CanGoOn()) break;
  }
  const bool IsDone = Turn() == FTurns.end();
  DoLeft(Lock);
  Lock.unlock();
  if (Error) std::rethrow_exception(Error);
  return IsDone;
}

TKLLinkTurns::TTurnList::iterator TKLLinkTurns::Find(const TKLLink& ALink, TWork AWork) {
  return std::find_if(FTurns.begin(), FTurns.end(), [&](const TTurn& AEach) {
    return AEach.Link.Get() == &ALink && AEach.Work == AWork;
  });
}

// True if ATurn cannot come before this thread has left what it is in.
bool TKLLinkTurns::IsInside(TTurnList::iterator ATurn) {
  if (FDoer == CurrentThreadKey()) return true;
  return std::any_of(FTurns.begin(), std::next(ATurn), [](const TTurn& AEach) {
    return !AEach.IsReady && IsInsideGate(*AEach.Link->Gate);
  });
}

bool TKLLinkTurns::WaitsFor(TThreadKey AThread, const TCallFrame* AFrames) {
  const std::lock_guard Lock(FMutex);
  if (FDoer != nullptr) return FDoer == AThread;
  return !FTurns.empty() && !FTurns.front().IsReady &&
         IsInsideGate(*FTurns.front().Link->Gate, AFrames);
}

// AError takes what the turn throws; without one it goes to the hook.
void TKLLinkTurns::DoFirst(std::unique_lock<std::mutex>& ALock, std::exception_ptr* AError) {
  const TRef<TKLLink> Link = FTurns.front().Link;
  const TWork Work = FTurns.front().Work;
  FDoer = CurrentThreadKey();
  ALock.unlock();
  try {
    (*Link.*Work)();
  } catch (...) {
    if (AError != nullptr) {
      *AError = std::current_exception();
    } else {
      ReportUnhandledException(nullptr);
    }
  }
  ALock.lock();
  FDoer = nullptr;
  FTurns.pop_front();
  FChanged.notify_all();
}

void TKLLinkTurns::DoLeft(std::unique_lock<std::mutex>& ALock) {
  while (CanDoFirst() && FTurns.front().Waiters == 0) DoFirst(ALock, nullptr);
}

// --- lists ---

TKLLinkList::~TKLLinkList() {
  for (const TLinks* Links : FReplaced) delete Links;
  delete FLinks.load();
}

void TKLLinkList::Add(const TRef<TKLLink>& ALink) {
  TLinks Links = Now();
  Links.push_back(ALink);
  Replace(std::move(Links));
}

void TKLLinkList::Remove(const TKLLink& ALink) {
  TLinks Links = Now();
  std::erase_if(Links, [&ALink](const TRef<TKLLink>& AEach) { return AEach.Get() == &ALink; });
  Replace(std::move(Links));
}

// A reader that comes after the exchange sees the new list, so once nobody but the pin is seen
// inside, nobody holds an old one.
void TKLLinkList::Replace(TLinks ALinks) {
  FCount.store(ALinks.size(), std::memory_order_relaxed);
  const TLinks* Old = FLinks.exchange(new TLinks(std::move(ALinks)));
  {
    const std::lock_guard Lock(FReplacedMutex);
    FReplaced.push_back(Old);
    FHasReplaced.store(true);
  }
  FreeReplaced(1);
}

// Frees what was replaced if no more than AHolders hold the object: the pin, and a reader that is
// about to leave.
void TKLLinkList::FreeReplaced(std::uint32_t AHolders) noexcept {
  std::vector<const TLinks*> Free;
  {
    const std::lock_guard Lock(FReplacedMutex);
    if (FIsAbandoned || FHolders.load() > AHolders) return;
    Free.swap(FReplaced);
    FHasReplaced.store(false);
  }
  for (const TLinks* Links : Free) delete Links;
}

void TKLLinkList::Abandon() noexcept {
  {
    const std::lock_guard Lock(FReplacedMutex);
    FIsAbandoned = true;
  }
  if (FHolders.fetch_sub(1) == 1) delete this;
}

}  // namespace tessalune
