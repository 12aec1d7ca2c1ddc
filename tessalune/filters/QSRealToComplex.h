// From two real streams to a complex one. QSMultiInput.h tells how streams meet, how blocks are
// cut, and what happens where rates, starts and ends differ.
#pragma once

#include <tessalune/frame/streams/QSMultiInput.h>

#include <cstdint>
#include <span>

namespace tessalune {

using TQSComplexJoin = TQSTypedMultiInput<double, TComplex>;

// A stream of the given real and imaginary parts. A part that is not linked, or whose stream has
// ended or has not begun, is 0.
class TQSRealToComplex : public TQSComplexJoin {
 public:
  explicit TQSRealToComplex(TConstruct AConstruct);
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  TQSKLQueuedRealSinkPin& RealInputPin() { return FRealInputPin; }
  TQSKLQueuedRealSinkPin& ImagInputPin() { return FImagInputPin; }

 protected:
  bool Calculate(std::span<const double* const> AInputs, TComplex* AOut,
                 std::int32_t ACount) override;

 private:
  TQSKLQueuedRealSinkPin FRealInputPin;
  TQSKLQueuedRealSinkPin FImagInputPin;
};

// A stream of the given magnitudes and phases, in radians. A sample needs both: while one of them
// is not linked, or its stream has ended or has not begun, nothing is sent, and what comes on the
// other is passed over.
class TQSPolarToCart : public TQSComplexJoin {
 public:
  explicit TQSPolarToCart(TConstruct AConstruct);
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  TQSKLQueuedRealSinkPin& MagnInputPin() { return FMagnInputPin; }
  TQSKLQueuedRealSinkPin& PhaseInputPin() { return FPhaseInputPin; }

 protected:
  bool Calculate(std::span<const double* const> AInputs, TComplex* AOut,
                 std::int32_t ACount) override;

 private:
  TQSKLQueuedRealSinkPin FMagnInputPin;
  TQSKLQueuedRealSinkPin FPhaseInputPin;
};

namespace QSRealToComplex {
void RegisterPkg();
}
namespace QSPolarToCart {
void RegisterPkg();
}

}  // namespace tessalune
