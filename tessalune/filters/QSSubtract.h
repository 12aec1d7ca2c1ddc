// Differences and quotients of two streams, sample by sample. QSMultiInput.h tells how streams
// meet, how blocks are cut, and what happens where rates, starts and ends differ.
#pragma once

#include <tessalune/frame/streams/QSMultiInput.h>

#include <cstdint>
#include <span>

namespace tessalune {

// The first stream less the second. An input that is not linked, or whose stream has ended or has
// not begun, counts as 0: the first alone is passed on, the second alone is negated.
template <class T>
class TQSSubtractOf : public TQSTypedMultiInput<T, T> {
 public:
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  TQSKLQueuedSinkPin<T>& PositiveInputPin() { return FPositiveInputPin; }
  TQSKLQueuedSinkPin<T>& NegativeInputPin() { return FNegativeInputPin; }

 protected:
  explicit TQSSubtractOf(TConstruct AConstruct);
  bool Calculate(std::span<const T* const> AInputs, T* AOut, std::int32_t ACount) override;

 private:
  TQSKLQueuedSinkPin<T> FPositiveInputPin;
  TQSKLQueuedSinkPin<T> FNegativeInputPin;
};

// The first stream divided by the second. A divisor of 0 gives an infinity or, for 0 / 0 and for
// complex samples, no number. Without a divider, one that is not linked or whose stream has ended
// or has not begun, the divisible stream is passed on; without a divisible stream the output is 0
// for as long as the divider's goes on.
template <class T>
class TQSDivideOf : public TQSTypedMultiInput<T, T> {
 public:
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  TQSKLQueuedSinkPin<T>& DivisibleInputPin() { return FDivisibleInputPin; }
  TQSKLQueuedSinkPin<T>& DividerInputPin() { return FDividerInputPin; }

 protected:
  explicit TQSDivideOf(TConstruct AConstruct);
  bool Calculate(std::span<const T* const> AInputs, T* AOut, std::int32_t ACount) override;

 private:
  TQSKLQueuedSinkPin<T> FDivisibleInputPin;
  TQSKLQueuedSinkPin<T> FDividerInputPin;
};

extern template class TQSSubtractOf<double>;
extern template class TQSSubtractOf<TComplex>;
extern template class TQSDivideOf<double>;
extern template class TQSDivideOf<TComplex>;

class TQSSubtract : public TQSSubtractOf<double> {
 public:
  explicit TQSSubtract(TConstruct AConstruct) : TQSSubtractOf(AConstruct) {}
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }
};

class TQSSubtractComplex : public TQSSubtractOf<TComplex> {
 public:
  explicit TQSSubtractComplex(TConstruct AConstruct) : TQSSubtractOf(AConstruct) {}
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }
};

class TQSDivide : public TQSDivideOf<double> {
 public:
  explicit TQSDivide(TConstruct AConstruct) : TQSDivideOf(AConstruct) {}
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }
};

class TQSDivideComplex : public TQSDivideOf<TComplex> {
 public:
  explicit TQSDivideComplex(TConstruct AConstruct) : TQSDivideOf(AConstruct) {}
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }
};

namespace QSSubtract {
void RegisterPkg();
}
namespace QSSubtractComplex {
void RegisterPkg();
}
namespace QSDivide {
void RegisterPkg();
}
namespace QSDivideComplex {
void RegisterPkg();
}

}  // namespace tessalune
