// Pins and links: how components are joined, and how operations cross.
//
// Links may be made and taken off at any time, on any thread, while blocks flow. A sink that is
// linked to a stream that runs gets the stream's start first (with nsNewLink in the state), and a
// sink whose link goes while the stream runs gets a stop as the last word, when the block in
// progress has left it. An operation on its way meets no link that was made behind it, and none
// that was taken off. KLLinks.h tells how.
#pragma once

#include <tessalune/frame/pins/KLLinks.h>
#include <tessalune/frame/pins/KLOperations.h>
#include <tessalune/frame/runtime/QSFlagSet.h>
#include <tessalune/frame/runtime/QSGuid.h>
#include <tessalune/frame/runtime/VBComponent.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tessalune {

class TKLBasicPin;
class TKLSourcePin;

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

class TKLBasicPin : private TComponentPart {
 public:
  TKLBasicPin(const TKLBasicPin&) = delete;
  TKLBasicPin& operator=(const TKLBasicPin&) = delete;
  // Takes the links off. A pin of a host's own may go at any moment, in its own handler too: the
  // calls of other threads through it are waited for, and its handler is kept until the caller's
  // own have left. (Two threads that end each other's pins from inside their handlers cannot both
  // wait: one of them goes on while the other is still inside.)
  virtual ~TKLBasicPin();

  TKLPinDirection Direction() const { return FKind.Direction; }
  // False if the pin takes only one link.
  bool TakesManyLinks() const { return FKind.TakesManyLinks; }

  TLockComponent* Owner() const { return FOwner.Component; }
  // The name under which the owner publishes the pin; empty if it does not.
  std::string Name() const;
  // "Tone (TQSSignalGen).OutputPin".
  std::string Describe() const;

  // Links the two pins, whichever of them is the source. Raises EQSException if they do not fit or
  // the link would close a loop; the text names both pins, their types and what would fit.
  // If a stream runs, the sink gets its start, and what the sink throws then leaves through here;
  // there is no link in that case. Called from inside a link of the same sink that is going, the
  // new one opens when that one has gone; what is thrown then goes to the unhandled-exception hook.
  // Where both ends can carry several types, AType says which one the link carries, as long as it
  // lives, and with it all components that take over their input's type. Without it a pin that
  // carries one type decides, however far it is; between two that have a choice the sink's liking
  // counts, and the type may change when links elsewhere do.
  // A stop that the sink sends while it is told the start reaches the source behind that.
  void Connect(TKLBasicPin& AOther, const TKLDataType* AType = nullptr);
  // Why Connect would refuse; empty if it would not.
  std::optional<std::string> WhyNotConnect(TKLBasicPin& AOther, const TKLDataType* AType = nullptr);
  // Takes the link between the two off; nothing if there is none. When it returns, nothing is
  // inside the far end through the link and nothing will be, unless it was called from inside, or
  // the wait would have closed a circle: then that holds when those calls have left.
  void Disconnect(TKLBasicPin& AOther);
  void DisconnectAll();

  bool IsConnected() const noexcept { return FLinks->Count() > 0; }
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
  // A start and a stop are told to each link once, in the order in which they were sent, the stop
  // of a stream only to links that have heard of it.
  TKLNotifyResult Notify(IKLNotifyOperation& AOperation);
  TKLNotifyResult Notify(const TRef<IKLNotifyOperation>& AOperation) { return Notify(*AOperation); }

  // Sink pins of the same component from which this source pin's data derives. A pin that ends is
  // none any more.
  void AddFunctionSource(TKLBasicPin& ASink);
  // Sink pins of the same component whose type this source pin takes over; likewise.
  void AddDataTypeSource(TKLBasicPin& ASink);
  void RemoveDataTypeSource(TKLBasicPin& ASink);

 protected:
  // What other threads reach through links stands in this class and is no virtual function, since
  // they may be inside while the pin's end begins.
  struct TKind {
    TKLPinDirection Direction;
    bool TakesManyLinks = true;
    TKLTranslate Translate = nullptr;
  };
  TKLBasicPin(TKind AKind, TKLPinOwner AOwner, TKLDataTypes ATypes, TKLNotifyEvent AEvent);

  IChangeNotifyLock& Lock() const { return *FOwner.Lock; }

  // Sends across one link of ASender, which may have ended in the handlers behind those before it:
  // then the link is shut, and ASender is not touched. A block of ABlockType crosses under that
  // type if the sink takes it, else under the link's.
  static TKLNotifyResult SendAcross(TKLBasicPin* ASender, const TKLLink& ALink,
                                    IKLNotifyOperation& AOperation, TKLNotifyState AState,
                                    const TGUID* ABlockType = nullptr);
  // Runs ASend(link, state) for each link that is there now and returns the results together.
  template <class TSend>
  TKLNotifyResult ForEachLink(TSend&& ASend) const {
    const TKLLinkList::TReader Reader(*FLinks);
    TKLNotifyResult Result;
    for (std::size_t I = 0; I < Reader.Links.size(); ++I) {
      const bool IsLast = I + 1 == Reader.Links.size();
      Result |=
          ASend(*Reader.Links[I], IsLast ? TKLNotifyState{nsLastIteration} : TKLNotifyState{});
    }
    return Result;
  }

  // What runs on a source pin.
  TKLStream Stream() const;
  // Takes the links off, all or those with AOther only. False if some of them go later.
  bool RemoveLinks(const TKLBasicPin* AOther);

 private:
  friend class TKLLink;
  friend class TKLPinListOwner;
  friend struct TKLTopology;

  void InputsEnd() override;
  void OwnerEnds() override { RemoveLinks(nullptr); }
  std::optional<TKLStream> Sending(IKLNotifyOperation& AOperation);
  void BeginEnd();
  void IsSourceOf(TKLBasicPin& APin);
  void RefuseFullStack() const;
  const TKLDataType* TypeNamed(const TGUID& AID) const;
  TKLNotifyResult Receive(TKLBasicPin* AOtherPin, const TGUID& ADataTypeID,
                          IKLNotifyOperation& AOperation, TKLNotifyState AState) {
    return (*FEvent)(*this, AOtherPin, ADataTypeID, AOperation, AState);
  }

  const TKind FKind;
  const TKLPinOwner FOwner;
  const TRef<TCallGate> FGate;
  const TKLDataTypes FTypes;
  const std::shared_ptr<const TKLNotifyEvent> FEvent;
  const TRef<TKLLinkTurns> FTurns = MakeRef<TKLLinkTurns>();
  TKLLinkList* const FLinks = new TKLLinkList;
  std::vector<TKLBasicPin*> FFunctionSources;
  std::vector<TKLBasicPin*> FDataTypeSources;
  std::vector<TKLBasicPin*> FDerived;  // whose sources this pin is, or was
  bool FEnds = false;                  // takes no more links; under the topology's guard
  mutable std::mutex FStreamMutex;
  TKLStream FStream;
};

class TKLPin : public TKLBasicPin {
 protected:
  using TKLBasicPin::TKLBasicPin;
};

// The start of links; many sinks.
class TKLSourcePin : public TKLPin {
 public:
  TKLSourcePin(TKLPinOwner AOwner, TKLDataTypes ATypes, TKLNotifyEvent AEvent = {},
               TKLTranslate ATranslate = nullptr)
      : TKLSourcePin(TKind{.Direction = TKLPinDirection::Source, .Translate = ATranslate},
                     std::move(AOwner), std::move(ATypes), std::move(AEvent)) {}

  // True between a start that was sent and the stop that ends it.
  bool IsStreaming() const { return Stream().Start != nullptr; }

 protected:
  using TKLPin::TKLPin;
};

// The end of one link.
class TKLSinkPin : public TKLPin {
 public:
  TKLSinkPin(TKLPinOwner AOwner, TKLDataTypes ATypes, TKLNotifyEvent AEvent)
      : TKLSinkPin(TKind{.Direction = TKLPinDirection::Sink, .TakesManyLinks = false},
                   std::move(AOwner), std::move(ATypes), std::move(AEvent)) {}

 protected:
  using TKLPin::TKLPin;
};

// The end of many links.
class TKLMultiSinkPin : public TKLSinkPin {
 public:
  TKLMultiSinkPin(TKLPinOwner AOwner, TKLDataTypes ATypes, TKLNotifyEvent AEvent)
      : TKLSinkPin(TKind{.Direction = TKLPinDirection::Sink}, std::move(AOwner), std::move(ATypes),
                   std::move(AEvent)) {}
};

// A list of like pins, for components whose number of inputs or outputs is a property. Any thread.
class TKLPinListOwner {
 public:
  using TCreate = std::function<std::unique_ptr<TKLPin>()>;
  // AInfo is the count's row, by which the owner publishes the list (TPublishedTable::PinList): its
  // bounds, at least 1, hold the count, and the list begins with its default.
  TKLPinListOwner(TKLPinOwner AOwner, const TPropertyInfo<std::uint32_t>& AInfo, TCreate ACreate);

  std::uint32_t Count() const;
  // Creates pins at the end, or ends the last ones, their links with them; a pin with a call inside
  // that cannot be waited for ends later. Raises EQSException for a count out of bounds.
  void SetCount(std::uint32_t ACount);
  // Raises EQSException for an index beyond the list. The reference is good until a SetCount takes
  // the pin away: a host that counts and links on several threads has to keep the two apart.
  TKLPin& operator[](std::size_t AIndex) const;

 private:
  std::string Describe() const;
  bool MayEnd(TKLPin& APin);

  const TKLPinOwner FOwner;
  const TPropertyInfo<std::uint32_t> FInfo;
  const TCreate FCreate;
  // Not the component's lock: messages name pins while links everywhere stand still.
  mutable std::mutex FMutex;
  std::vector<std::unique_ptr<TKLPin>> FPins;
  std::vector<std::unique_ptr<TKLPin>> FRetired;  // taken from the list while calls were inside
};

// The dispatch of an output pin that passes what comes up from its sinks on to AInput, or, while
// AInput has no link, hands it to AOwnDispatch as if it had come to AInput. But a stop ends there:
// no stream runs without a link, or the link that goes tells the stop, when no block is inside.
TKLNotifyEvent GKLPassTroughDispatch(TKLPin& AInput, TKLNotifyEvent AOwnDispatch = {});

}  // namespace tessalune
