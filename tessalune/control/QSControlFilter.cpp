#include <tessalune/control/QSControlFilter.h>

#include <string>
#include <utility>

namespace tessalune {

TQSControlFilter::TQSControlFilter(TConstruct AConstruct)
    : TQSCommonFilter(AConstruct),
      FOutputPin({*this, FOutputLock},
                 [this](TKLBasicPin& ASender, TKLBasicPin* AOtherPin, const TGUID& ADataTypeID,
                        IKLNotifyOperation& AOperation, TKLNotifyState AState) {
                   return SourceDispatch(ASender, AOtherPin, ADataTypeID, AOperation, AState);
                 }),
      FInputPin({*this, FInputLock},
                [this](TKLBasicPin& ASender, TKLBasicPin* AOtherPin, const TGUID& ADataTypeID,
                       IKLNotifyOperation& AOperation, TKLNotifyState AState) {
                  return SinkDispatch(ASender, AOtherPin, ADataTypeID, AOperation, AState);
                }) {
  FOutputPin.AddFunctionSource(FInputPin);
  FOutputPin.AddDataTypeSource(FInputPin);
}

const TPublishedTable& TQSControlFilter::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSControlFilter"}, &TQSBasicThreadedEnableFilter::Published())
          .Pin("OutputPin", &TQSControlFilter::OutputPin, "The stream that goes out.", true)
          .Pin("InputPin", &TQSControlFilter::InputPin, "The stream, of any sample type.", true);
  return Table;
}

TKLNotifyResult TQSControlFilter::SinkDispatch(TKLBasicPin&, TKLBasicPin*, const TGUID& ADataTypeID,
                                               IKLNotifyOperation& AOperation, TKLNotifyState) {
  if (AOperation.IsType<TKLStartSampleRateOperation>()) {
    SetSampleRate(AOperation.GetInstance<TKLStartSampleRateOperation>().Rate);
    StreamStart();
  } else if (AOperation.IsType<TKLSuppliedBufferOperation>()) {
    auto Block = TakeTypedBlock(AOperation.GetInstance<TKLSuppliedBufferOperation>(), ADataTypeID);
    return Block ? IntSingleBufferOperation(std::move(Block)) : TKLNotifyResult{};
  }
  return FOutputPin.Notify(AOperation);
}

TKLNotifyResult TQSControlFilter::SourceDispatch(TKLBasicPin& ASender, TKLBasicPin* AOtherPin,
                                                 const TGUID& ADataTypeID,
                                                 IKLNotifyOperation& AOperation,
                                                 TKLNotifyState AState) {
  if (FInputPin.IsConnected()) return FInputPin.Notify(AOperation);
  if (AOperation.IsType<TKLStopOperation>()) return {};  // as in GKLPassTroughDispatch
  return SinkDispatch(ASender, AOtherPin, ADataTypeID, AOperation, AState);
}

void TQSControlFilter::RefuseMemory(std::int64_t ABytes, std::string_view AAdvice) const {
  throw EQSException(Describe() + ": there is no memory for " + NumberText(ABytes) +
                     " bytes of samples; " + std::string(AAdvice));
}

TRef<IQSDataBuffer> TakeTypedBlock(TKLSuppliedBufferOperation& AOperation,
                                   const TGUID& ADataTypeID) {
  TRef<IQSDataBuffer> Block;
  VisitSampleType(ADataTypeID, [&](auto ATag) {
    using TBuffer = TQSTypedBuffer<typename decltype(ATag)::TSample>;
    Block = TBuffer::CreateUniversal(AOperation.Take());
  });
  return Block;
}

}  // namespace tessalune
