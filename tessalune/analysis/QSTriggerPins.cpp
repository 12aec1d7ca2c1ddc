#include <tessalune/analysis/QSTriggerPins.h>

#include <utility>

namespace tessalune {

TKLQSTriggerSinkPin::TKLQSTriggerSinkPin(TKLPinOwner AOwner, TKLQSTriggerEvent AEvent)
    : TQSKLSinkPin(
          std::move(AOwner), {&IKLQSTriggerDataStream},
          [Event = std::move(AEvent)](TKLBasicPin&, TKLBasicPin*, const TGUID&,
                                      IKLNotifyOperation& AOperation, TKLNotifyState) {
            if (Event && AOperation.IsType<TKLQSSuppliedTriggerDataOperation>()) {
              const auto& Trigger = AOperation.GetInstance<TKLQSSuppliedTriggerDataOperation>();
              Event(Trigger.Sender, Trigger.WasTriggeredExternally, Trigger.TriggerSample,
                    Trigger.SamplesBefore, Trigger.SampleInBuffer, Trigger.Level, Trigger.Edge);
            }
            return TKLNotifyResult{};
          }) {}

}  // namespace tessalune
