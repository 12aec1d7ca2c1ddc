// Links: how they open, what they tell of a stream, how they go. For the pins' own use.
//
//   shut   from Connect on: in the lists of both pins, but nothing crosses. The start of a stream
//          that runs is told to the sink; a stop that the sink answers goes up when the link is
//          open.
//   open   operations cross, each as a call through the link's gate.
//   off    from Disconnect, or the end of a pin, on: in no list, and nothing enters any more. When
//          nothing is inside, the stop is told to a sink that has heard a start; then the link has
//          gone.
//
// So nothing is inside the far end through a link that has gone. Who takes a link off waits until
// it has gone, unless the caller is inside the link itself, or the wait would close a circle: then
// it goes when the last call leaves it, on that call's thread.
#pragma once

#include <tessalune/frame/pins/KLOperations.h>
#include <tessalune/frame/runtime/QSCalls.h>
#include <tessalune/frame/runtime/QSReference.h>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <exception>
#include <list>
#include <mutex>
#include <vector>

namespace tessalune {

class TKLBasicPin;
class TKLLink;
class TKLLinkTurns;
struct TKLDataType;

// What runs on a source pin: the start that was sent last, null if a stop followed it. Starts and
// stops are counted together, so that each link can tell which of them it has told.
struct TKLStream {
  TRef<IKLNotifyOperation> Start;
  std::uint64_t Serial = 0;    // of the last of them
  std::uint64_t LastStop = 0;  // of the last stop
  bool IsLone = false;         // a stop that was sent while no stream ran: passed on as it is
};

// An operation in the form of a link, where a pin carries several.
using TKLTranslate = TRef<IKLNotifyOperation> (*)(const TKLLink& ALink,
                                                  IKLNotifyOperation& AOperation);

// One link, shared by the lists of both its pins.
class TKLLink final : public IInterface {
 public:
  TKLLink(TKLBasicPin& ASource, TKLBasicPin& ASink, const TKLDataType& AType,
          const TKLDataType* AWanted);

  // Whole while a call is inside the link, and under the topology's guard while it is in the lists.
  TKLBasicPin& Source;
  TKLBasicPin& Sink;
  // Of the components, or of pins that belong to none.
  const TRef<TCallGate> SourceGate;
  const TRef<TCallGate> SinkGate;
  const TRef<TCallGate> Gate = MakeRef<TCallGate>(true);
  // What is told at the sink because of its links.
  const TRef<TKLLinkTurns> Turns;
  // The type in force; changes when links elsewhere narrow what the pins can carry.
  mutable std::atomic<const TKLDataType*> Type;
  const TKLDataType* const Wanted;  // the one that Connect was given; null if none
  bool IsOff = false;               // under the topology's guard

  TKLBasicPin& Other(const TKLBasicPin& APin) const { return &APin == &Source ? Sink : Source; }

  // Turns of the link, each done once. Open throws what the sink answers to the start; the link is
  // off then.
  void Open();
  void Shut();

  // Tells the sink what AStream has come to, unless it knows; as a call into the sink. The stop of
  // a stream goes only to a sink that has heard of it.
  TKLNotifyResult Tell(const TKLStream& AStream, TKLNotifyState AState) const;
  // A stop that the sink sends while the link is shut: kept until it opens, or dropped if it is
  // off. False if it has been opened meanwhile.
  bool KeepsStop() const;
  // Notes what is sent down the link beside starts and stops: behind data or ticks a stop will have
  // to follow, also without a start.
  void Hear(const IKLNotifyOperation& AOperation) const noexcept {
    if ((FHeard.load(std::memory_order_relaxed) & HeardMask) != HeardNothing) return;
    if (AOperation.IsType<TKLClockOperation>()) FHeard |= HeardData;
  }

 private:
  bool BeginTelling(TKLStream& AStream);
  bool OpenUnlessTold(std::uint64_t ASerial);
  void SendKeptStop() const;
  void TellStop() const;
  TKLNotifyResult Send(IKLNotifyOperation& AOperation, TKLNotifyState AState) const;

  const TKLTranslate FTranslate;
  bool FWasRefused = false;
  bool FHasOpened = false;          // under the topology's guard
  mutable bool FKeepsStop = false;  // likewise, until it has opened
  // What the sink has heard since the last stop, and behind it the serial of what was told last.
  // Data that is heard while a start is told leaves both bits, which counts as a start.
  static constexpr std::uint64_t HeardNothing = 0;
  static constexpr std::uint64_t HeardData = 1;
  static constexpr std::uint64_t HeardStart = 2;
  static constexpr std::uint64_t HeardMask = 3;
  static constexpr unsigned SerialShift = 2;
  mutable std::atomic<std::uint64_t> FHeard{HeardNothing};
};

// The order in which a sink hears of its links: the stop of one before the start of the next, also
// where they change inside a call that the sink has not left yet.
class TKLLinkTurns final : public IInterface {
 public:
  using TWork = void (TKLLink::*)();

  // Under the topology's guard, which decides the order. A turn that is not ready waits for Ready;
  // who has taken an Open has to Do it.
  void Take(TRef<TKLLink> ALink, TWork AWork, bool AIsReady);
  // The link's turn may be done; ADoes: here and now, unless somebody waits to do it.
  void Ready(const TKLLink& ALink, bool ADoes);
  // Does the link's turn, or waits, as AKind, until it has been done; and what others have left.
  // False if it cannot be waited for: it is done later then, on the thread that it waits for; but
  // what is inside the link on other threads has left by then, if that could be waited for. What
  // the turn throws leaves through here if it is done on this thread, else through the
  // unhandled-exception hook.
  bool Do(const TKLLink& ALink, TWork AWork, TWaitKind AKind);

 private:
  struct TTurn {
    TRef<TKLLink> Link;
    TWork Work;
    bool IsReady;
    int Claims;  // of threads in Do, or on their way there: one of them does it
  };
  using TTurnList = std::list<TTurn>;

  TTurnList::iterator Find(const TKLLink& ALink, TWork AWork);
  bool CanDoFirst() const { return FDoer == nullptr && !FTurns.empty() && FTurns.front().IsReady; }
  bool MayDoFirst(TTurnList::iterator AOwn);
  bool ComesBehind(TTurnList::iterator ATurn, TThreadKey AThread, const TCallFrame* AFrames);
  void DoFirst(std::unique_lock<std::mutex>& ALock, std::exception_ptr* AError);
  void DoLeft(std::unique_lock<std::mutex>& ALock);

  std::mutex FMutex;
  std::condition_variable FChanged;
  TTurnList FTurns;
  TThreadKey FDoer = nullptr;  // who does the first turn
};

// A pin's links as an immutable list that readers use without a lock. A list that was replaced is
// freed when no reader is inside. The object outlives its pin for as long as somebody reads it.
class TKLLinkList final {
 public:
  using TLinks = std::vector<TRef<TKLLink>>;

  std::size_t Count() const noexcept { return FCount.load(std::memory_order_relaxed); }
  // Under the topology's guard, or by a reader.
  const TLinks& Now() const noexcept { return *FLinks.load(); }
  // Under the topology's guard.
  void Add(const TRef<TKLLink>& ALink);
  void Remove(const TKLLink& ALink);
  // The pin goes.
  void Abandon() noexcept;

  class TReader {
   public:
    explicit TReader(TKLLinkList& AList) noexcept : FList(AList), Links(Enter(AList)) {}
    TReader(const TReader&) = delete;
    ~TReader() { FList.Leave(); }

   private:
    static const TLinks& Enter(TKLLinkList& AList) noexcept {
      AList.FHolders.fetch_add(1);
      return AList.Now();
    }
    TKLLinkList& FList;

   public:
    const TLinks& Links;
  };

 private:
  ~TKLLinkList();
  void Replace(TLinks ALinks);
  void FreeReplaced(std::uint32_t AHolders) noexcept;
  void Leave() noexcept {
    if (FHasReplaced.load()) FreeReplaced(2);
    if (FHolders.fetch_sub(1) == 1) delete this;
  }

  std::atomic<const TLinks*> FLinks{new TLinks};
  std::atomic<std::size_t> FCount{0};
  std::atomic<std::uint32_t> FHolders{1};  // readers, and the pin
  std::atomic<bool> FHasReplaced{false};
  std::mutex FReplacedMutex;
  bool FIsAbandoned = false;
  std::vector<const TLinks*> FReplaced;
};

}  // namespace tessalune
