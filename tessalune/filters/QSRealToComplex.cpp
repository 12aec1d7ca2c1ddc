#include <tessalune/filters/QSRealToComplex.h>
#include <tessalune/frame/runtime/QSCategories.h>
#include <tessalune/frame/runtime/QSComponentRegistry.h>

namespace tessalune {

// --- parts ---

TQSRealToComplex::TQSRealToComplex(TConstruct AConstruct)
    : TQSComplexJoin(AConstruct), FRealInputPin(*this), FImagInputPin(*this) {}

const TPublishedTable& TQSRealToComplex::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSRealToComplex",
                       .DisplayName = "Combines Real and Imaginary signals to Complex",
                       .Category = categories::Converters,
                       .Doc = "The complex stream of the given real and imaginary parts; a part "
                              "without a stream is 0."},
                      &TQSComplexJoin::Published())
          .Pin("RealInputPin", &TQSRealToComplex::RealInputPin, "The real parts.", true)
          .Pin("ImagInputPin", &TQSRealToComplex::ImagInputPin, "The imaginary parts.", true);
  return Table;
}

bool TQSRealToComplex::Calculate(std::span<const double* const> AInputs, TComplex* AOut,
                                 std::int32_t ACount) {
  ippsRealToCplx_64f(AInputs[0], AInputs[1], AOut, ACount);
  return true;
}

void QSRealToComplex::RegisterPkg() { RegisterComponents({ClassOf<TQSRealToComplex>()}); }

// --- the polar form ---

TQSPolarToCart::TQSPolarToCart(TConstruct AConstruct)
    : TQSComplexJoin(AConstruct), FMagnInputPin(*this), FPhaseInputPin(*this) {}

const TPublishedTable& TQSPolarToCart::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSPolarToCart",
                       .DisplayName = "Polar to Cartesian converter",
                       .Category = categories::Converters,
                       .Doc = "The complex stream of the given magnitudes and phases; it needs "
                              "both."},
                      &TQSComplexJoin::Published())
          .Pin("MagnInputPin", &TQSPolarToCart::MagnInputPin, "The magnitudes.", true)
          .Pin("PhaseInputPin", &TQSPolarToCart::PhaseInputPin, "The phases in radians.", true);
  return Table;
}

bool TQSPolarToCart::Calculate(std::span<const double* const> AInputs, TComplex* AOut,
                               std::int32_t ACount) {
  if (AInputs[0] == nullptr || AInputs[1] == nullptr) return false;
  ippsPolarToCart_64fc(AInputs[0], AInputs[1], AOut, ACount);
  return true;
}

void QSPolarToCart::RegisterPkg() { RegisterComponents({ClassOf<TQSPolarToCart>()}); }

}  // namespace tessalune
