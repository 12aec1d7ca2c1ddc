#include <tessalune/frame/streams/QSFilterSections.h>
#include <tessalune/frame/streams/QSTapsResponse.h>

#include <cmath>
#include <cstddef>

namespace tessalune {
namespace {

// A magnitude, as a number near 1 and a power of two, so that no chain leaves the range, and the
// phase as a direction.
struct TProduct {
  TQSExtended Value{1.0L, 0.0L};
  long Exponent = 0;

  void Multiply(const TQSExtended& AFactor, const TQSExtended& ADivisor) {
    Value = Value * (AFactor / ADivisor);
    const long double Size = std::fmax(std::fabs(Value.Re), std::fabs(Value.Im));
    if (!(Size > 0.0L) || !std::isfinite(Size)) return;
    const int Power = std::ilogb(Size);
    Value = {std::scalbn(Value.Re, -Power), std::scalbn(Value.Im, -Power)};
    Exponent += Power;
  }

  TQSResponse Response() const {
    return {static_cast<double>(std::scalbln(std::sqrt(Value.Norm()), Exponent)),
            static_cast<double>(std::atan2(Value.Im, Value.Re))};
  }
};

// c0 + c1 / z + ..., by Horner's rule.
TQSExtended Polynomial(std::span<const double> ATaps, const TQSExtended& AInverse) {
  TQSExtended Sum;
  for (std::size_t I = ATaps.size(); I-- > 0;) {
    Sum = Sum * AInverse;
    Sum.Re += static_cast<long double>(ATaps[I]);
  }
  return Sum;
}

}  // namespace

TQSResponse QSTapsResponse(TQSFilterType AType, std::span<const double> ATaps,
                           long double ARelative) {
  const TQSFrequencyPoint Point = TQSFrequencyPoint::FromRelative(ARelative);
  const TQSExtended Inverse{Point.Cos * Point.Cos - Point.Sin * Point.Sin,
                            -2.0L * Point.Sin * Point.Cos};
  TProduct Product;
  switch (AType) {
    case TQSFilterType::ftFIR:
      if (!ATaps.empty()) Product.Multiply(Polynomial(ATaps, Inverse), {1.0L, 0.0L});
      break;
    case TQSFilterType::ftIIR: {
      const std::size_t Count = ATaps.size() / 2;
      if (Count > 0)
        Product.Multiply(Polynomial(ATaps.first(Count), Inverse),
                         Polynomial(ATaps.subspan(Count, Count), Inverse));
      break;
    }
    case TQSFilterType::ftBiquadIIR:
      // Both are z times the polynomial, which the quotient does not see.
      for (; ATaps.size() >= 6; ATaps = ATaps.subspan(6))
        Product.Multiply(TQSQuadratic::FromCoefficients(ATaps[0], ATaps[1], ATaps[2]).At(Point),
                         TQSQuadratic::FromCoefficients(ATaps[3], ATaps[4], ATaps[5]).At(Point));
      break;
  }
  return Product.Response();
}

}  // namespace tessalune
