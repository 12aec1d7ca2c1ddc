#include <tessalune/filters/QSFir.h>
#include <tessalune/frame/runtime/QSCategories.h>
#include <tessalune/frame/runtime/QSComponentRegistry.h>

namespace tessalune {

TQSFir::TQSFir(TConstruct AConstruct)
    : TQSCommonTapsFilter(AConstruct), FTaps(FLock, "Taps", [this] { Init(); }) {}

namespace {

constexpr TClassText FirText{
    .Use =
        R"(A finite impulse response of your own: taps from another design program, a measured response, a
moving average (n taps of 1 / n), a difference (1, -1), a delay (zeros and a 1), a matched filter
(the pattern reversed). For the usual low passes and bands take TQSLowPass and its kin, which
design their taps. Without taps it is a wire; zeros alone are a filter that gives zeros.)",
    .BadInput =
        R"(An infinity or a NaN reaches the outputs of its own and of the next taps but one, and no others. A
tap has to be a finite number.)",
    .Accuracy =
        R"(By sums, the error of an output is at most (taps + 1) 2^-53 of the sum of the magnitudes of its
products. With 128 taps or more, and blocks that are long enough, it is computed through spectra:
then the error is at most 12 log2(F) 2^-53 times the norms of the taps and of the frame of F
samples, so that a large sample errs its neighbours. There is no delay but the one that is in the
taps. Each sample takes as many multiplications as there are taps by sums, and by spectra a number
that grows with their logarithm.)",
    .Formulas = R"(    y[n] = h[0] x[n] + h[1] x[n - 1] + ... + h[m] x[n - m], h for `Taps`

Spectra by overlap-save.)",
    .SeeAlso = "TQSLowPass, TQSIir, TQSBiQuadIir, TQSCombFilter, TQSMedian",
    .Example =
        R"(A square wave and its moving average over eight samples: the edges become ramps.)",
};

}  // namespace

const TPublishedTable& TQSFir::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSFir",
                       .DisplayName = "Perform FIR Filter",
                       .Category = categories::Filters,
                       .Doc = "Each output is the sum of Taps[k] times the input k samples ago. "
                              "Without taps samples go through unchanged.",
                       .Text = FirText},
                      &TQSCommonTapsFilter::Published())
          .Object("Taps", &TQSFir::Taps, "The impulse response.")
          .DesignEntry("Design &Filter ...", "Taps")
          .OlderForm("FilterDesignInfo", "", &TQSFir::DropForm, "Text of a design tool.");
  return Table;
}

TQSTapsDesign TQSFir::IntInit(double) const { return {TQSFilterType::ftFIR, FTaps.Values(), {}}; }

void QSFir::RegisterPkg() { RegisterComponents({ClassOf<TQSFir>()}); }

}  // namespace tessalune
