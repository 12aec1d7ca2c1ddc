// Pins and links: how components are joined, and how operations cross.
//
// Links may be made and taken off at any time, also while blocks flow on other threads: an
// operation on its way ends on the links with which it began. A sink that is linked to a stream
// that runs gets the stream's start first (with nsNewLink in the state), and a sink whose link goes
// while the stream runs gets a stop.
#pragma once

#include <tessalune/frame/pins/KLOperations.h>
#include <tessalune/frame/runtime/QSFlagSet.h>
#include <tessalune/frame/runtime/QSGuid.h>
#include <tessalune/frame/runtime/VBComponent.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tessalune {

class TKLBasicPin;
class TKLSourcePin;

enum TKLNotifyStateFlag : std::uint8_t {
  nsNewLink,        // the operation is repeated for a link that was made after it was sent
  nsLastIteration,  // the last of the links that the operation crosses
};
using TKLNotifyState = TFlagSet<TKLNotifyStateFlag>;

enum TKLNotifyResultFlag : std::uint8_t {
  nrDataChanged,  // the receiver took the data in
};
using TKLNotifyResult = TFlagSet<TKLNotifyResultFlag>;

// A stream type: what the pins of a link agree on.
struct TKLDataType {
  TGUID ID;
  std::string_view Name;    // "real blocks", as messages say it
  std::int32_t SampleSize;  // bytes
  std::string_view Word{};  // "real", as files say it
};

// The types that a pin carries, those that it likes best first.
using TKLDataTypes = std::vector<const TKLDataType*>;

// A component's answer to an operation that arrives on one of its pins. ASender is the
// component's own pin, AOtherPin the one at the other end (null if there is none). Runs on the
// thread of whoever sent the operation, as a call into the component.
using TKLNotifyEvent = std::function<TKLNotifyResult(
    TKLBasicPin& ASender, TKLBasicPin* AOtherPin, const TGUID& ADataTypeID,
    IKLNotifyOperation& AOperation, TKLNotifyState AState)>;

// Whose pin it is: the component, and the lock that guards the pin's value and the state that its
// handler keeps. A pin of a host's own, made to feed or to watch a graph, belongs to no component.
struct TKLPinOwner {
  TKLPinOwner() = default;
  TKLPinOwner(TLockComponent& AComponent, TRef<IChangeNotifyLock> ALock)
      : Component(&AComponent), Lock(std::move(ALock)) {}

  TLockComponent* Component = nullptr;
  TRef<IChangeNotifyLock> Lock = MakeRef<IChangeNotifyLock>();
};

enum class TKLPinDirection : std::uint8_t { Source, Sink, State };

// One link, shared by the lists of both its pins.
class TKLLink final : public IInterface {
 public:
  TKLLink(TKLBasicPin& ASource, TKLBasicPin& ASink, const TKLDataType& AType,
          const TKLDataType* AWanted);
  TKLBasicPin& Source;
  TKLBasicPin& Sink;
  const TRef<TCallGate> SourceGate;
  const TRef<TCallGate> SinkGate;
  // The type in force; changes when links elsewhere narrow what the pins can carry.
  mutable std::atomic<const TKLDataType*> Type;
  const TKLDataType* const Wanted;  // the one that Connect was given; null if none

  TKLBasicPin& Other(const TKLBasicPin& APin) const { return &APin == &Source ? Sink : Source; }
};

class TKLBasicPin : private TComponentPart {
 public:
  TKLBasicPin(const TKLBasicPin&) = delete;
  TKLBasicPin& operator=(const TKLBasicPin&) = delete;
  virtual ~TKLBasicPin();

  virtual TKLPinDirection Direction() const = 0;
  // False if the pin takes only one link.
  virtual bool TakesManyLinks() const { return true; }

  TLockComponent* Owner() const { return FOwner.Component; }
  // The name under which the owner publishes the pin; empty if it does not.
  std::string Name() const;
  // "Tone (TQSSignalGen).OutputPin".
  std::string Describe() const;

  // Links the two pins, whichever of them is the source. Raises EQSException if they do not fit or
  // the link would close a loop; the text names both pins, their types and what would fit.
  // Where both ends can carry several types, AType says which one the link carries, as long as it
  // lives, and with it all components that take over their input's type. Without it a pin that
  // carries one type decides, however far it is; between two that have a choice the sink's liking
  // counts, and the type may change when links elsewhere do.
  void Connect(TKLBasicPin& AOther, const TKLDataType* AType = nullptr);
  // Why Connect would refuse; empty if it would not.
  std::optional<std::string> WhyNotConnect(TKLBasicPin& AOther, const TKLDataType* AType = nullptr);
  // Takes the link between the two off; nothing if there is none.
  void Disconnect(TKLBasicPin& AOther);
  void DisconnectAll();

  bool IsConnected() const noexcept { return FLinkCount.load(std::memory_order_relaxed) > 0; }
  std::vector<TKLBasicPin*> ConnectedPins() const;
  // The type in force on the link with AOther; null if there is no link.
  const TKLDataType* LinkType(const TKLBasicPin& AOther) const;

  // The types among which that type was chosen, the one in force included, where nothing said it:
  // neither Connect, nor a link from which the source's component takes its type over.
  TKLDataTypes TypeChoice(const TKLBasicPin& AOther) const;

  // What the pin carries by itself, and what of it is left when the links around it are looked at.
  const TKLDataTypes& DataTypes() const { return FTypes; }
  TKLDataTypes PossibleTypes() const;

  // Hands the operation across all links, on this thread, and returns the handlers' results
  // together. What a handler throws leaves through here, and the links behind it are not served;
  // only a stop reaches all of them first, so that every stream that was begun is ended.
  TKLNotifyResult Notify(IKLNotifyOperation& AOperation);
  TKLNotifyResult Notify(const TRef<IKLNotifyOperation>& AOperation) { return Notify(*AOperation); }

  // Sink pins of the same component from which this source pin's data derives.
  void AddFunctionSource(TKLBasicPin& ASink);
  // Sink pins of the same component whose type this source pin takes over.
  void AddDataTypeSource(TKLBasicPin& ASink);
  void RemoveDataTypeSource(TKLBasicPin& ASink);

 protected:
  TKLBasicPin(TKLPinOwner AOwner, TKLDataTypes ATypes, TKLNotifyEvent AEvent);

  IChangeNotifyLock& Lock() const { return *FOwner.Lock; }

  // Sends across one link, with the link's type or, if it is not null, AType.
  TKLNotifyResult SendAcross(const TKLLink& ALink, IKLNotifyOperation& AOperation,
                             TKLNotifyState AState, const TKLDataType* AType = nullptr);
  // Runs ASend(link, state) for each link that is there now and returns the results together.
  template <class TSend>
  TKLNotifyResult ForEachLink(TSend&& ASend) {
    TLinkWalk Walk(*this);
    TKLNotifyResult Result;
    for (std::size_t I = 0; I < Walk.Links.size(); ++I) {
      const bool IsLast = I + 1 == Walk.Links.size();
      Result |= ASend(*Walk.Links[I], IsLast ? TKLNotifyState{nsLastIteration} : TKLNotifyState{});
    }
    Walk.TellGone();
    return Result;
  }

  // A link is being made: APublish opens it to operations. A link has gone.
  virtual void LinkMade(const TKLLink& /*ALink*/, const std::function<void()>& APublish) {
    APublish();
  }
  virtual void LinkGone(const TKLLink& /*ALink*/) {}
  // What is sent across a link in place of an operation that is no block.
  virtual TRef<IKLNotifyOperation> OperationFor(const TKLLink& /*ALink*/,
                                                IKLNotifyOperation& AOperation) const {
    return TRef<IKLNotifyOperation>(&AOperation);
  }
  // An operation is about to be sent by Notify.
  virtual void Sending(IKLNotifyOperation& /*AOperation*/) {}
  // What the pin itself does with an operation that arrives, before or instead of the handler.
  virtual TKLNotifyResult Receive(TKLBasicPin* AOtherPin, const TGUID& ADataTypeID,
                                  IKLNotifyOperation& AOperation, TKLNotifyState AState);

 private:
  friend class TKLLink;
  friend struct TKLTopology;
  using TLinks = std::vector<TRef<TKLLink>>;

  // Keeps the list of links that is in force from being freed.
  class TLinkReader {
   public:
    explicit TLinkReader(const TKLBasicPin& APin) noexcept : FPin(APin), Links(Enter(APin)) {}
    TLinkReader(const TLinkReader&) = delete;
    ~TLinkReader() {
      if (FPin.FReaders.fetch_sub(1) == 1 && FPin.FHasRetired.load()) FPin.FreeRetiredLinks();
    }

   private:
    static const TLinks& Enter(const TKLBasicPin& APin) noexcept {
      APin.FReaders.fetch_add(1);
      return *APin.FLinks.load();
    }
    const TKLBasicPin& FPin;

   public:
    const TLinks& Links;
  };

  // One operation's way across the links. A link that this thread takes off meanwhile is still
  // served, so its far end is told that it has gone only when the way is over.
  class TLinkWalk : public TLinkReader {
   public:
    explicit TLinkWalk(TKLBasicPin& APin) noexcept
        : TLinkReader(APin), FPin(APin), FOuter(Innermost) {
      SetInnermost(this);
    }
    ~TLinkWalk() {
      SetInnermost(FOuter);
      if (!FGone.empty()) RunReported(nullptr, [this] { TellGone(); });
    }

    // The outermost walk of this thread across APin's links; null if there is none.
    static TLinkWalk* Of(const TKLBasicPin& APin) noexcept;
    void Defer(const TRef<TKLLink>& ALink) { FGone.push_back(ALink); }
    void TellGone();

   private:
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdangling-pointer"  // the destructor takes it back
    static void SetInnermost(TLinkWalk* AWalk) noexcept { Innermost = AWalk; }
#pragma GCC diagnostic pop
    static constinit thread_local TLinkWalk* Innermost __attribute__((tls_model("initial-exec")));

    TKLBasicPin& FPin;
    TLinkWalk* const FOuter;
    TLinks FGone;
  };

  static void TellGone(TLinks ALinks);
  void OwnerEnds() override { DisconnectAll(); }
  void ReplaceLinks(TLinks ALinks);
  void AddLink(const TRef<TKLLink>& ALink);
  bool RemoveLink(const TRef<TKLLink>& ALink);
  void FreeRetiredLinks() const noexcept;
  void RemoveLinks(const TKLBasicPin* AOther);

  const TKLPinOwner FOwner;
  const TRef<TCallGate> FGate;
  const TKLDataTypes FTypes;
  const TKLNotifyEvent FEvent;
  std::vector<TKLBasicPin*> FFunctionSources;
  std::vector<TKLBasicPin*> FDataTypeSources;

  // The links as an immutable list that readers use without a lock. A list that was replaced is
  // freed when no reader is inside.
  std::atomic<const TLinks*> FLinks{new TLinks};
  std::atomic<std::uint32_t> FLinkCount{0};
  mutable std::atomic<std::uint32_t> FReaders{0};
  mutable std::atomic<bool> FHasRetired{false};
  mutable std::mutex FRetiredMutex;
  mutable std::vector<const TLinks*> FRetired;
};

class TKLPin : public TKLBasicPin {
 protected:
  using TKLBasicPin::TKLBasicPin;
};

// The start of links; many sinks.
class TKLSourcePin : public TKLPin {
 public:
  TKLSourcePin(TKLPinOwner AOwner, TKLDataTypes ATypes, TKLNotifyEvent AEvent = {})
      : TKLPin(std::move(AOwner), std::move(ATypes), std::move(AEvent)) {}
  ~TKLSourcePin() override;
  TKLPinDirection Direction() const override { return TKLPinDirection::Source; }

  // True between a start that was sent and the stop that ends it.
  bool IsStreaming() const;

 protected:
  void LinkMade(const TKLLink& ALink, const std::function<void()>& APublish) override;
  void LinkGone(const TKLLink& ALink) override;
  void Sending(IKLNotifyOperation& AOperation) override;

 private:
  struct TStream {
    TRef<IKLNotifyOperation> Start;  // null while no stream runs
    std::uint64_t Serial = 0;        // counts starts and stops
  };
  TStream Stream() const;

  mutable std::mutex FStreamMutex;
  TStream FStream;
};

// The end of one link.
class TKLSinkPin : public TKLPin {
 public:
  TKLSinkPin(TKLPinOwner AOwner, TKLDataTypes ATypes, TKLNotifyEvent AEvent)
      : TKLPin(std::move(AOwner), std::move(ATypes), std::move(AEvent)) {}
  TKLPinDirection Direction() const override { return TKLPinDirection::Sink; }
  bool TakesManyLinks() const override { return false; }
};

// The end of many links.
class TKLMultiSinkPin : public TKLSinkPin {
 public:
  using TKLSinkPin::TKLSinkPin;
  bool TakesManyLinks() const override { return true; }
};

// A list of like pins, for components whose number of inputs or outputs is a property. Any thread.
class TKLPinListOwner {
 public:
  using TCreate = std::function<std::unique_ptr<TKLPin>()>;
  // AInfo is the count's row, by which the owner publishes the list (TPublishedTable::PinList): its
  // bounds, at least 1, hold the count, and the list begins with its default.
  TKLPinListOwner(TKLPinOwner AOwner, const TPropertyInfo<std::uint32_t>& AInfo, TCreate ACreate);

  std::uint32_t Count() const;
  // Creates pins at the end, or ends the last ones, their links with them. Raises EQSException for
  // a count out of bounds.
  void SetCount(std::uint32_t ACount);
  // Raises EQSException for an index beyond the list.
  TKLPin& operator[](std::size_t AIndex) const;

 private:
  std::string Describe() const;

  const TKLPinOwner FOwner;
  const TPropertyInfo<std::uint32_t> FInfo;
  const TCreate FCreate;
  // Not the component's lock: messages name pins while links everywhere stand still.
  mutable std::mutex FMutex;
  std::vector<std::unique_ptr<TKLPin>> FPins;
};

// The dispatch of an output pin that passes what comes up from its sinks on to AInput, or, while
// AInput has no link, hands it to AOwnDispatch as if it had come to AInput.
TKLNotifyEvent GKLPassTroughDispatch(TKLPin& AInput, TKLNotifyEvent AOwnDispatch = {});

}  // namespace tessalune
