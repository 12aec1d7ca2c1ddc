#include <tessalune/filters/QSRealToComplex.h>
#include <tessalune/frame/runtime/QSCategories.h>
#include <tessalune/frame/runtime/QSComponentRegistry.h>

namespace tessalune {

// --- parts ---

TQSRealToComplex::TQSRealToComplex(TConstruct AConstruct)
    : TQSComplexJoin(AConstruct), FRealInputPin(*this), FImagInputPin(*this) {}

namespace {

constexpr TClassText RealToComplexText{
    .Use =
        R"(Makes a complex stream from two real ones: the in-phase and the quadrature channel of a receiver,
two recorded channels for one complex transform, real samples for a component that takes complex
ones. With one input alone the other part is 0.)",
    .BadInput =
        R"(NaN and the infinities are taken over as they are. A part that is not linked, or whose stream has
ended or not begun, is 0.)",
    .Accuracy = "Exact: the numbers are copied.",
    .Formulas = "    y[n] = real[n] + i imag[n]",
    .SeeAlso = "TQSComplexToReal, TQSPolarToCart, TQSHilbert",
    .Example =
        R"(A cosine and a sine of 100 Hz are joined and told apart again as magnitude and phase: the
magnitude is 1, and the phase runs round.)",
};

}  // namespace

const TPublishedTable& TQSRealToComplex::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSRealToComplex",
                       .DisplayName = "Combines Real and Imaginary signals to Complex",
                       .Category = categories::Converters,
                       .Doc = "The complex stream of the given real and imaginary parts; a part "
                              "without a stream is 0.",
                       .Text = RealToComplexText},
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

namespace {

constexpr TClassText PolarToCartText{
    .Use =
        R"(Makes complex samples from magnitude and phase: an oscillator whose phase is a stream (phase and
frequency modulation), a spectrum that is put together from a magnitude and a phase response. It
undoes TQSCartToPolar.)",
    .BadInput =
        R"(A phase that is infinite or NaN gives NaN. A negative magnitude turns the sample by pi. A sample
needs both inputs: while one is not linked, or its stream has ended or not begun, nothing is sent,
and what comes on the other is passed over.)",
    .Accuracy =
        R"(Cosine and sine are within 1 unit in the last place of the C library's, for phases of any size;
each part is rounded once more by the product. One cosine and one sine a sample.)",
    .Formulas = R"(    re y[n] = magnitude[n] cos(phase[n])
    im y[n] = magnitude[n] sin(phase[n]))",
    .SeeAlso = "TQSCartToPolar, TQSRealToComplex, TQSSignalGen",
    .Example =
        R"(A constant magnitude with a phase that swings by 2 pi to either side: the real part is a tone with
frequency modulation.)",
};

}  // namespace

const TPublishedTable& TQSPolarToCart::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSPolarToCart",
                       .DisplayName = "Polar to Cartesian converter",
                       .Category = categories::Converters,
                       .Doc = "The complex stream of the given magnitudes and phases; it needs "
                              "both.",
                       .Text = PolarToCartText},
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
