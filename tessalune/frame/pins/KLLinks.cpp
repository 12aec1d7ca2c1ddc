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
    while (BeginTelling(Seen)) {
      Tell(Seen, {nsNewLink, nsLastIteration});
      if (OpenUnlessTold(Seen.Serial)) break;
    }
  } catch (...) {
    const TKLTopology::TGuard Guard;
    if (!IsOff) {
      FWasRefused = true;
      TKLTopology::TakeOff(*this);
    }
    throw;
  }
  if (FKeepsStop) SendKeptStop();
}

// False if the link is off: there is nothing to tell, and the source may have gone. A stop that the
// sink sends from here on is meant for AStream.
bool TKLLink::BeginTelling(TKLStream& AStream) {
  const TKLTopology::TGuard Guard;
  if (IsOff) return false;
  FKeepsStop = false;
  AStream = Source.Stream();
  return true;
}

// False if starts or stops were sent behind ASerial: they have to be told first. A pin that has
// gone is not touched: it took the link off.
bool TKLLink::OpenUnlessTold(std::uint64_t ASerial) {
  const TKLTopology::TGuard Guard;
  if (IsOff) return true;
  const std::lock_guard Stream(Source.FStreamMutex);
  if (Source.FStream.Serial != ASerial) return false;
  FHasOpened = true;
  Gate->Open();
  return true;
}

bool TKLLink::KeepsStop() const {
  const TKLTopology::TGuard Guard;
  if (IsOff) return true;
  if (FHasOpened) return false;
  FKeepsStop = true;
  return true;
}

// Inside the source's gate.
void TKLLink::SendKeptStop() const {
  const TCallScope Way(*Gate);
  if (!Way) return;
  Source.Receive(&Sink, Type.load(std::memory_order_relaxed)->ID, *MakeRef<TKLStopOperation>(),
                 {nsLastIteration});
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
  // A host's own pin may have ended in the stop.
  if (Starts && !SinkGate->IsClosed()) {
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
  FTurns.push_back({std::move(ALink), AWork, AIsReady, AWork == &TKLLink::Open ? 1 : 0});
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
  const auto IsDone = [&] { return Turn() == FTurns.end(); };
  const auto CanGoOn = [&] { return IsDone() || MayDoFirst(Turn()); };
  if (!IsDone() && AWork != &TKLLink::Open) ++Turn()->Claims;
  while (!IsDone()) {
    if (MayDoFirst(Turn())) {
      DoFirst(Lock, Turn() == FTurns.begin() ? &Error : nullptr);
      continue;
    }
    if (ComesBehind(Turn(), CurrentThreadKey(), CurrentCallFrame)) break;
    static_cast<void>(WaitUntilReady(
        AKind, Lock, FChanged,
        [&](TThreadKey AThread, const TCallFrame* AFrames) {
          const std::lock_guard Other(FMutex);
          return !IsDone() && ComesBehind(Turn(), AThread, AFrames);
        },
        CanGoOn));
    if (!CanGoOn()) break;
  }
  if (!IsDone()) {
    --Turn()->Claims;
    // The turn has to wait for this thread, which may still wait for the calls inside the link.
    static_cast<void>(IsInsideGate(*ALink.Gate) ||
                      WaitUntilReady(
                          AKind, Lock, FChanged,
                          [&ALink](TThreadKey, const TCallFrame* AFrames) {
                            return IsInsideGate(*ALink.Gate, AFrames);
                          },
                          [&] { return IsDone() || Turn()->IsReady; }));
  }
  const bool WasDone = IsDone();
  DoLeft(Lock);
  Lock.unlock();
  if (Error) std::rethrow_exception(Error);
  return WasDone;
}

TKLLinkTurns::TTurnList::iterator TKLLinkTurns::Find(const TKLLink& ALink, TWork AWork) {
  return std::find_if(FTurns.begin(), FTurns.end(), [&](const TTurn& AEach) {
    return AEach.Link.Get() == &ALink && AEach.Work == AWork;
  });
}

// True if AOwn's thread may do the first turn: one that another thread has claimed is left to that
// one, to which belongs what it throws.
bool TKLLinkTurns::MayDoFirst(TTurnList::iterator AOwn) {
  return CanDoFirst() && (FTurns.front().Claims == 0 || AOwn == FTurns.begin());
}

// True if ATurn cannot come before AThread, whose calls AFrames are, has left what it is in.
bool TKLLinkTurns::ComesBehind(TTurnList::iterator ATurn, TThreadKey AThread,
                               const TCallFrame* AFrames) {
  if (FDoer == AThread) return true;
  return std::any_of(FTurns.begin(), std::next(ATurn), [AFrames](const TTurn& AEach) {
    return !AEach.IsReady && IsInsideGate(*AEach.Link->Gate, AFrames);
  });
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
  while (CanDoFirst() && FTurns.front().Claims == 0) DoFirst(ALock, nullptr);
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
