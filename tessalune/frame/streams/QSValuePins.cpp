#include <tessalune/frame/streams/QSValuePins.h>

#include <utility>

namespace tessalune {

struct TKLInt64TimeRangedStatePin::TState {
  const TRef<IChangeNotifyLock> Lock;
  const TDataChange OnDataChange;
  TPinValue<std::int64_t> Held{};

  TKLNotifyResult Receive(IKLNotifyOperation& AOperation);
};

TKLInt64TimeRangedStatePin::TKLInt64TimeRangedStatePin(TKLPinOwner AOwner,
                                                       TDataChange AOnDataChange)
    : TKLInt64TimeRangedStatePin(
          AOwner, {&IntegerValue},
          std::make_shared<TState>(TState{AOwner.Lock, std::move(AOnDataChange)})) {}

TKLInt64TimeRangedStatePin::TKLInt64TimeRangedStatePin(TKLPinOwner AOwner, TKLDataTypes ATypes,
                                                       const std::shared_ptr<TState>& AState)
    : TKLStatePin(std::move(AOwner), std::move(ATypes),
                  [AState](TKLBasicPin&, TKLBasicPin*, const TGUID&, IKLNotifyOperation& AOperation,
                           TKLNotifyState) { return AState->Receive(AOperation); }),
      FState(AState) {}

TPinValue<std::int64_t> TKLInt64TimeRangedStatePin::Held() const {
  const ILockSection Section = Lock().ReadLock();
  return FState->Held;
}

TKLNotifyResult TKLInt64TimeRangedStatePin::SetValue(std::int64_t AValue) {
  {
    const ILockSection Section = Lock().WriteLock();
    FState->Held.Value = AValue;
  }
  return Notify(MakeRef<TKLTypedSuppliedOperation<std::int64_t>>(AValue));
}

TKLNotifyResult TKLInt64TimeRangedStatePin::SubmitValueRange(std::int64_t AValue, std::int64_t AMin,
                                                             std::int64_t AMax, double AMinTime,
                                                             double AMaxTime) {
  {
    const ILockSection Section = Lock().WriteLock();
    FState->Held = {AValue, AMin, AMax, AMinTime, AMaxTime};
  }
  return Notify(
      MakeRef<TKLRangedSuppliedOperation<std::int64_t>>(AValue, AMin, AMax, AMinTime, AMaxTime));
}

// A value with a range reports where the other end stands; a plain one asks this end to go there.
TKLNotifyResult TKLInt64TimeRangedStatePin::TState::Receive(IKLNotifyOperation& AOperation) {
  using TRanged = TKLRangedSuppliedOperation<std::int64_t>;
  using TPlain = TKLTypedSuppliedOperation<std::int64_t>;
  if (!AOperation.IsType<TPlain>()) return {};
  const std::int64_t Value = AOperation.GetInstance<TPlain>().Value;
  {
    const ILockSection Section = Lock->WriteLock();
    Held.Value = Value;
    if (AOperation.IsType<TRanged>()) {
      const auto& Ranged = AOperation.GetInstance<TRanged>();
      Held = {Value, Ranged.Min, Ranged.Max, Ranged.MinTime, Ranged.MaxTime};
    }
  }
  if (OnDataChange) OnDataChange(Value);
  return {nrDataChanged};
}

}  // namespace tessalune
