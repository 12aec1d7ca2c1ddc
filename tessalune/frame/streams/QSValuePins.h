// Pins of single values: results, positions, ranges.
#pragma once

#include <tessalune/frame/pins/KLPins.h>
#include <tessalune/frame/streams/QSStreamTypes.h>

#include <cstdint>
#include <functional>
#include <memory>

namespace tessalune {

// A value type as a stream type.
template <class T>
struct TValueTraits;
template <>
struct TValueTraits<double> {
  static constexpr const TKLDataType& Type = RealValue;
};
template <>
struct TValueTraits<TComplex> {
  static constexpr const TKLDataType& Type = ComplexValue;
};
template <>
struct TValueTraits<std::int64_t> {
  static constexpr const TKLDataType& Type = IntegerValue;
};

// What a value pin holds: the value and, where its source tells them, the range in which the value
// moves and the times (in days) that the range's ends stand for.
template <class T>
struct TPinValue {
  T Value{};
  T Min{};
  T Max{};
  double MinTime = 0.0;
  double MaxTime = 0.0;
};

// An output that holds a value and sends each new one to its sinks as a
// TKLTypedSuppliedOperation<T>.
template <class T>
class TKLValueSourcePin : public TKLSourcePin {
 public:
  explicit TKLValueSourcePin(TKLPinOwner AOwner, TKLNotifyEvent AEvent = {})
      : TKLSourcePin(std::move(AOwner), {&TValueTraits<T>::Type}, std::move(AEvent)) {}

  T Value() const { return Held().Value; }
  TPinValue<T> Held() const {
    const ILockSection Section = Lock().ReadLock();
    return FHeld;
  }

  // Holds the value and sends it, on this thread. The pin's lock is not held while it is sent.
  TKLNotifyResult SetValue(T AValue) {
    {
      const ILockSection Section = Lock().WriteLock();
      FHeld.Value = AValue;
    }
    return Notify(MakeRef<TKLTypedSuppliedOperation<T>>(AValue));
  }

 protected:
  TKLNotifyResult SubmitRange(const TPinValue<T>& AValue) {
    {
      const ILockSection Section = Lock().WriteLock();
      FHeld = AValue;
    }
    return Notify(MakeRef<TKLRangedSuppliedOperation<T>>(AValue.Value, AValue.Min, AValue.Max,
                                                         AValue.MinTime, AValue.MaxTime));
  }

 private:
  TPinValue<T> FHeld;
};

// The same with a range.
template <class T>
class TKLRangedSourcePin : public TKLValueSourcePin<T> {
 public:
  using TKLValueSourcePin<T>::TKLValueSourcePin;
  TKLNotifyResult SubmitValueRange(T AValue, T AMin, T AMax) {
    return this->SubmitRange({AValue, AMin, AMax});
  }
};

// An input of values; the handler gets each as a TKLTypedSuppliedOperation<T>.
template <class T>
class TKLValueSinkPin : public TKLSinkPin {
 public:
  TKLValueSinkPin(TKLPinOwner AOwner, TKLNotifyEvent AEvent)
      : TKLSinkPin(std::move(AOwner), {&TValueTraits<T>::Type}, std::move(AEvent)) {}
};

// A value that both ends of a link may set: each end holds it, and tells its component when the
// other has changed it.
class TKLStatePin : public TKLSourcePin {
 public:
  TKLStatePin(TKLPinOwner AOwner, TKLDataTypes ATypes, TKLNotifyEvent AEvent)
      : TKLSourcePin(TKind{.Direction = TKLPinDirection::State}, std::move(AOwner),
                     std::move(ATypes), std::move(AEvent)) {}
};

// A state that is a position within a range, with times.
class TKLInt64TimeRangedStatePin : public TKLStatePin {
 public:
  using TDataChange = std::function<void(std::int64_t AValue)>;
  // AOnDataChange is called, on the thread of whoever set it, when a linked pin sets a value.
  TKLInt64TimeRangedStatePin(TKLPinOwner AOwner, TDataChange AOnDataChange);

  std::int64_t Value() const { return Held().Value; }
  TPinValue<std::int64_t> Held() const;
  // Asks the linked pins for another value.
  TKLNotifyResult SetValue(std::int64_t AValue);
  // Holds and sends a value with its range. AMinTime and AMaxTime are in days.
  TKLNotifyResult SubmitValueRange(std::int64_t AValue, std::int64_t AMin, std::int64_t AMax,
                                   double AMinTime, double AMaxTime);

 private:
  // What the handler reaches, which may outlive the pin.
  struct TState;
  TKLInt64TimeRangedStatePin(TKLPinOwner AOwner, TKLDataTypes ATypes,
                             const std::shared_ptr<TState>& AState);

  const std::shared_ptr<TState> FState;
};

using TKLRealSourcePin = TKLValueSourcePin<double>;
using TKLRealSinkPin = TKLValueSinkPin<double>;
using TKLComplexSourcePin = TKLValueSourcePin<TComplex>;
using TKLComplexSinkPin = TKLValueSinkPin<TComplex>;
using TKLRealRangedSourcePin = TKLRangedSourcePin<double>;
using TKLIntRangedSourcePin = TKLRangedSourcePin<std::int64_t>;
using TKLIntSinkPin = TKLValueSinkPin<std::int64_t>;

}  // namespace tessalune
