#include <tessalune/frame/streams/QSValuePins.h>

namespace tessalune {

TPinValue<std::int64_t> TKLInt64TimeRangedStatePin::Held() const {
  const ILockSection Section = Lock().ReadLock();
  return FHeld;
}

TKLNotifyResult TKLInt64TimeRangedStatePin::SetValue(std::int64_t AValue) {
  {
    const ILockSection Section = Lock().WriteLock();
    FHeld.Value = AValue;
  }
  return Notify(MakeRef<TKLTypedSuppliedOperation<std::int64_t>>(AValue));
}

TKLNotifyResult TKLInt64TimeRangedStatePin::SubmitValueRange(std::int64_t AValue, std::int64_t AMin,
                                                             std::int64_t AMax, double AMinTime,
                                                             double AMaxTime) {
  {
    const ILockSection Section = Lock().WriteLock();
    FHeld = {AValue, AMin, AMax, AMinTime, AMaxTime};
  }
  return Notify(
      MakeRef<TKLRangedSuppliedOperation<std::int64_t>>(AValue, AMin, AMax, AMinTime, AMaxTime));
}

// A value with a range reports where the other end stands; a plain one asks this end to go there.
TKLNotifyResult TKLInt64TimeRangedStatePin::Receive(TKLBasicPin* AOtherPin,
                                                    const TGUID& ADataTypeID,
                                                    IKLNotifyOperation& AOperation,
                                                    TKLNotifyState AState) {
  using TRanged = TKLRangedSuppliedOperation<std::int64_t>;
  using TPlain = TKLTypedSuppliedOperation<std::int64_t>;
  if (!AOperation.IsType<TPlain>()) {
    return TKLStatePin::Receive(AOtherPin, ADataTypeID, AOperation, AState);
  }
  const std::int64_t Value = AOperation.GetInstance<TPlain>().Value;
  {
    const ILockSection Section = Lock().WriteLock();
    FHeld.Value = Value;
    if (AOperation.IsType<TRanged>()) {
      const auto& Ranged = AOperation.GetInstance<TRanged>();
      FHeld = {Value, Ranged.Min, Ranged.Max, Ranged.MinTime, Ranged.MaxTime};
    }
  }
  if (FOnDataChange) FOnDataChange(Value);
  return {nrDataChanged};
}

}  // namespace tessalune
