// The link by which snippet triggers work in step: what crosses it, and its two ends.
#pragma once

#include <tessalune/frame/runtime/QSPropertyInfo.h>
#include <tessalune/frame/streams/QSStreamPins.h>

#include <array>
#include <cstdint>
#include <functional>
#include <string_view>

namespace tessalune {

// The crossing of a level; in order from 0. A sample is high if it is above the level, and low
// else: one that is equal to the level, and a NaN, are low.
enum class TQSTriggerEdge : std::uint8_t {
  teRising,   // from low to high
  teFalling,  // from high to low
};
template <>
struct TEnumNames<TQSTriggerEdge> {
  static constexpr std::array<std::string_view, 2> Names{"teRising", "teFalling"};
};

inline constexpr TKLDataType IKLQSTriggerDataStream{TGUID("0C7F3A52-9B6D-4E18-A2F4-5D83E61B70C9"),
                                                    "snippet triggers", 0, "trigger"};

// A trigger, on its way from the component that has cut a snippet to those that shall cut theirs at
// the same place. It is a tick too.
class TKLQSSuppliedTriggerDataOperation final : public TKLSuppliedOperation {
 public:
  static constexpr TKLOperationClass Class{"TKLQSSuppliedTriggerDataOperation",
                                           &TKLSuppliedOperation::Class};
  TKLQSSuppliedTriggerDataOperation(TObject* ASender, bool AWasTriggeredExternally,
                                    std::int64_t ATriggerSample, std::int32_t ASamplesBefore,
                                    std::int32_t ASampleInBuffer, double ALevel,
                                    TQSTriggerEdge AEdge) noexcept
      : TKLSuppliedOperation(0, Class),
        Sender(ASender),
        TriggerSample(ATriggerSample),
        SamplesBefore(ASamplesBefore),
        SampleInBuffer(ASampleInBuffer),
        Level(ALevel),
        Edge(AEdge),
        WasTriggeredExternally(AWasTriggeredExternally) {}
  static TRef<TKLQSSuppliedTriggerDataOperation> Make(TObject* ASender,
                                                      bool AWasTriggeredExternally,
                                                      std::int64_t ATriggerSample,
                                                      std::int32_t ASamplesBefore,
                                                      std::int32_t ASampleInBuffer, double ALevel,
                                                      TQSTriggerEdge AEdge) {
    return MakeRef<TKLQSSuppliedTriggerDataOperation>(ASender, AWasTriggeredExternally,
                                                      ATriggerSample, ASamplesBefore,
                                                      ASampleInBuffer, ALevel, AEdge);
  }

  TObject* const Sender;             // null for a pin of a host's own
  const std::int64_t TriggerSample;  // position of the crossing, from the start of the stream
  const std::int32_t SamplesBefore;  // of the sender's snippet
  const std::int32_t SampleInBuffer;
  const double Level;  // of the sender
  const TQSTriggerEdge Edge;
  const bool WasTriggeredExternally;  // the sender was triggered by another one itself
};

// An output of triggers. It can be linked to clock inputs, which it ticks.
class TKLQSTriggerSourcePin : public TQSKLClockableSourcePin {
 public:
  explicit TKLQSTriggerSourcePin(TKLPinOwner AOwner, TKLNotifyEvent AEvent = {})
      : TQSKLClockableSourcePin(std::move(AOwner), {&IKLQSTriggerDataStream, &ClockTick},
                                std::move(AEvent)) {}

  // Sends a trigger with the pin's owner as the sender.
  TKLNotifyResult SendTrigger(bool AWasTriggeredExternally, std::int64_t APosition,
                              std::int32_t ASamplesBefore, std::int32_t ASampleInBuffer,
                              double ALevel, TQSTriggerEdge AEdge) {
    return Notify(TKLQSSuppliedTriggerDataOperation::Make(Owner(), AWasTriggeredExternally,
                                                          APosition, ASamplesBefore,
                                                          ASampleInBuffer, ALevel, AEdge));
  }
};

// What a trigger input calls, with what the operation carries.
using TKLQSTriggerEvent =
    std::function<void(TObject* ASender, bool AWasTriggeredExternally, std::int64_t ATriggerSample,
                       std::int32_t ASamplesBefore, std::int32_t ASampleInBuffer, double ALevel,
                       TQSTriggerEdge AEdge)>;

// An input of triggers.
class TKLQSTriggerSinkPin : public TQSKLSinkPin {
 public:
  TKLQSTriggerSinkPin(TKLPinOwner AOwner, TKLQSTriggerEvent AEvent);
};

}  // namespace tessalune
