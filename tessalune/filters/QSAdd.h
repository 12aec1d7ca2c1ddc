// Sums and products of any number of streams, sample by sample. QSMultiInput.h tells how streams
// meet, how blocks are cut, and what happens where rates, starts and ends differ.
#pragma once

#include <tessalune/frame/streams/QSMultiInput.h>

#include <cstdint>
#include <span>

namespace tessalune {

// What the four have in common: a list of like inputs, from 2 to 10,000, that are joined in its
// order. An input that is not linked, or whose stream has ended or has not begun, is left out; what
// comes on one alone is passed on.
template <class T>
class TQSListMultiInput : public TQSTypedMultiInput<T, T> {
 public:
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  // Pins of class TQSKLQueuedSinkPin<T>; 2 by default.
  TKLPinListOwner& InputPins() { return FInputPins; }

 protected:
  explicit TQSListMultiInput(TConstruct AConstruct);
  bool Calculate(std::span<const T* const> AInputs, T* AOut, std::int32_t ACount) override;
  // AOut[n] = AFirst[n] joined with ASecond[n]; AOut may be AFirst.
  virtual void Join(const T* AFirst, const T* ASecond, T* AOut, std::int32_t ACount) = 0;

 private:
  TKLPinListOwner FInputPins;
};

extern template class TQSListMultiInput<double>;
extern template class TQSListMultiInput<TComplex>;

// The sum, added up in the order of the pins.
class TQSAdd : public TQSListMultiInput<double> {
 public:
  explicit TQSAdd(TConstruct AConstruct) : TQSListMultiInput(AConstruct) {}
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

 protected:
  void Join(const double* AFirst, const double* ASecond, double* AOut,
            std::int32_t ACount) override;
};

// The product, in the order of the pins.
class TQSMultiply : public TQSListMultiInput<double> {
 public:
  explicit TQSMultiply(TConstruct AConstruct) : TQSListMultiInput(AConstruct) {}
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

 protected:
  void Join(const double* AFirst, const double* ASecond, double* AOut,
            std::int32_t ACount) override;
};

class TQSAddComplex : public TQSListMultiInput<TComplex> {
 public:
  explicit TQSAddComplex(TConstruct AConstruct) : TQSListMultiInput(AConstruct) {}
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

 protected:
  void Join(const TComplex* AFirst, const TComplex* ASecond, TComplex* AOut,
            std::int32_t ACount) override;
};

class TQSMultiplyComplex : public TQSListMultiInput<TComplex> {
 public:
  explicit TQSMultiplyComplex(TConstruct AConstruct) : TQSListMultiInput(AConstruct) {}
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

 protected:
  void Join(const TComplex* AFirst, const TComplex* ASecond, TComplex* AOut,
            std::int32_t ACount) override;
};

namespace QSAdd {
void RegisterPkg();
}
namespace QSMultiply {
void RegisterPkg();
}
namespace QSAddComplex {
void RegisterPkg();
}
namespace QSMultiplyComplex {
void RegisterPkg();
}

}  // namespace tessalune
