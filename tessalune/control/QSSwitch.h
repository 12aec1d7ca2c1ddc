#pragma once

#include <tessalune/frame/streams/QSStreamPins.h>

#include <cstdint>
#include <mutex>

namespace tessalune {

// A gate in a stream of any sample type. While Enabled, blocks go through by reference; while not,
// they end here. A start that comes meanwhile is kept and told when the gate opens; stops, and what
// concerns pumps, go through at any time. Closing tells the sinks nothing; one that asks whether
// there is a stream is told, while the gate is shut, not to wait for it.
//
// A block that is on its way when Enabled goes false still passes. When the gate opens with a start
// to tell, no block passes before the sinks have it; and where a block is on its way still, on
// another thread or further up on this one's stack, the start is told, and the gate opens, when
// that block has left.
class TQSSwitch : public TLockComponent {
 public:
  explicit TQSSwitch(TConstruct AConstruct);
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  TQSKLIntegerRealComplexBinarySourcePin& OutputPin() { return FOutputPin; }
  TQSKLIntegerRealComplexBinarySinkPin& InputPin() { return FInputPin; }

  // Default true. What a sink throws at the start that opening tells leaves through here; the gate
  // is open then.
  bool Enabled() const { return FEnabled; }
  void SetEnabled(bool AValue);

  // Whether each opening tells a start, so that what is behind the gate begins anew; its rate is
  // that of the last start that came, 0 before the first. Default false: only a start that came
  // while the gate was shut is told.
  bool ResetOnEnable() const { return FResetOnEnable; }
  void SetResetOnEnable(bool AValue);

 protected:
  virtual TKLNotifyResult SinkDispatch(TKLBasicPin& ASender, TKLBasicPin* AOtherPin,
                                       const TGUID& ADataTypeID, IKLNotifyOperation& AOperation,
                                       TKLNotifyState AState);

 private:
  TKLNotifyResult SourceDispatch(TKLBasicPin& ASender, TKLBasicPin* AOtherPin,
                                 const TGUID& ADataTypeID, IKLNotifyOperation& AOperation,
                                 TKLNotifyState AState);
  TKLNotifyResult Start(TKLStartSampleRateOperation& AOperation);
  TKLNotifyResult Stop(IKLNotifyOperation& AOperation);
  TKLNotifyResult Pass(TKLSuppliedBufferOperation& AOperation, const TGUID& ADataTypeID);
  void EnabledChanged();
  void Open();
  void Restart();

  TField<bool> FEnabled;
  TField<bool> FResetOnEnable;

  std::mutex FMutex;
  TRef<TCallGate> FWay;      // of the blocks; null while the gate is shut
  TRef<TCallGate> FLastWay;  // before it was shut: blocks may be inside
  bool FStartOperationIsCached = false;
  double FIncomingRate = 0.0;
  // Starts and stops, of the input and of openings, each to all sinks before the next.
  const TRef<TTurns> FTurns = MakeRef<TTurns>();

  TQSKLIntegerRealComplexBinarySourcePin FOutputPin;
  TQSKLIntegerRealComplexBinarySinkPin FInputPin;
};

namespace QSSwitch {
void RegisterPkg();
}

}  // namespace tessalune
