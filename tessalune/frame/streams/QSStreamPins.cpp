#include <tessalune/frame/streams/QSStreamPins.h>

#include <algorithm>

namespace tessalune {

TKLNotifyResult TQSKLSourcePin::SubmitBuffer(TRef<IQSDataBuffer> ABuffer) {
  const bool OneType = DataTypes().size() == 1;
  const TGUID& TypeID = ABuffer->GetDataTypeID();
  const std::int32_t Size = ABuffer->GetSize();
  const auto Operation = MakeRef<TKLSuppliedBufferOperation>(std::move(ABuffer), Size);
  return ForEachLink([&](const TKLLink& ALink, TKLNotifyState AState) {
    if (AState.Has(nsLastIteration)) Operation->SetLastLink();
    return SendAcross(this, ALink, *Operation, AState, OneType ? nullptr : &TypeID);
  });
}

void TQSKLSourcePin::EndStop() { Notify(MakeRef<TKLStopOperation>()); }

TKLNotifyResult TQSKLSinkPin::MasterPump(TObject& APump) {
  return Notify(MakeRef<TKLMasterPumpOperation>(&APump));
}

TQSKLBinarySinkPin::TQSKLBinarySinkPin(TKLPinOwner AOwner, TKLNotifyEvent AEvent)
    : TQSKLSinkPin(std::move(AOwner),
                   {&BlockStream, &RealStream, &ComplexStream, &IntegerStream, &UnsignedStream},
                   std::move(AEvent)) {}

std::int32_t TQSKLChannelSourcePin::GetMaxSampleSize() {
  std::int32_t Largest = 0;
  ForEachLink([&Largest](const TKLLink& ALink, TKLNotifyState) {
    Largest = std::max(Largest, ALink.Type.load(std::memory_order_relaxed)->SampleSize);
    return TKLNotifyResult{};
  });
  return Largest;
}

TKLNotifyResult TQSKLComboRealSourcePin::SubmitBuffer(TRef<IQSDataBuffer> ABuffer) {
  const std::int32_t Size = ABuffer->GetSize();
  const auto Operation = MakeRef<TKLSuppliedBufferOperation>(std::move(ABuffer), Size);
  return ForEachLink([&](const TKLLink& ALink, TKLNotifyState AState) {
    if (AState.Has(nsLastIteration)) Operation->SetLastLink();
    if (ALink.Type.load(std::memory_order_relaxed) != &RealValue) {
      return SendAcross(this, ALink, *Operation, AState);
    }
    TKLNotifyResult Result;
    const auto Block = TQSRealBuffer::CreateUniversal(Operation->Value);
    for (std::int32_t I = 0; I < Block->GetSize(); ++I) {
      const auto Single = MakeRef<TKLTypedSuppliedOperation<double>>(Block->GetItem(I));
      Result |= SendAcross(this, ALink, *Single, AState);
    }
    return Result;
  });
}

TKLNotifyResult TQSKLComboRealSourcePin::SubmitReal(double AValue) {
  const auto Single = MakeRef<TKLTypedSuppliedOperation<double>>(AValue);
  return ForEachLink([&](const TKLLink& ALink, TKLNotifyState AState) {
    if (ALink.Type.load(std::memory_order_relaxed) == &RealValue) {
      return SendAcross(this, ALink, *Single, AState);
    }
    const auto Block = TQSRealBuffer::CreateData(&AValue, 1);
    return SendAcross(this, ALink, *MakeRef<TKLSuppliedBufferOperation>(Block, 1), AState);
  });
}

bool TQSKLComboRealSourcePin::HasBlockSinks() {
  bool Found = false;
  ForEachLink([&Found](const TKLLink& ALink, TKLNotifyState) {
    Found = Found || ALink.Type.load(std::memory_order_relaxed) == &RealStream;
    return TKLNotifyResult{};
  });
  return Found;
}

TRef<IKLNotifyOperation> TQSKLComboRealSourcePin::Translated(const TKLLink& ALink,
                                                             IKLNotifyOperation& AOperation) {
  const bool Single = ALink.Type.load(std::memory_order_relaxed) == &RealValue;
  if (Single && AOperation.IsType<TKLStartSampleRateOperation>()) {
    return MakeRef<TKLStartRateOperation>(
        AOperation.GetInstance<TKLStartSampleRateOperation>().Rate);
  }
  if (!Single && AOperation.IsType<TKLStartRateOperation>()) {
    return MakeRef<TKLStartSampleRateOperation>(
        AOperation.GetInstance<TKLStartRateOperation>().Rate);
  }
  return TRef<IKLNotifyOperation>(&AOperation);
}

bool TQSKLComboRealSinkPin::IsLinkedAs(const TKLDataType& AType) const {
  const auto Pins = ConnectedPins();
  return !Pins.empty() && LinkType(*Pins.front()) == &AType;
}

TKLClockMultiSinkPin::TKLClockMultiSinkPin(TKLPinOwner AOwner, TKLNotifyEvent AEvent)
    : TKLMultiSinkPin(
          std::move(AOwner),
          [] {
            TKLDataTypes Types = SampleTypes();
            Types.insert(Types.begin(), &ClockTick);
            Types.insert(Types.end(), {&RealValue, &ComplexValue, &IntegerValue});
            return Types;
          }(),
          std::move(AEvent)) {}

TKLNotifyResult NotifyBoth(TKLPin& AFirst, TKLPin& ASecond, IKLNotifyOperation& AOperation) {
  try {
    AFirst.Notify(AOperation);
  } catch (...) {
    if (AOperation.IsType<TKLStopOperation>()) ASecond.Notify(AOperation);
    throw;
  }
  return ASecond.Notify(AOperation);
}

}  // namespace tessalune
