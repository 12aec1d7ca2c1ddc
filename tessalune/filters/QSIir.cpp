#include <tessalune/filters/QSIir.h>
#include <tessalune/frame/runtime/QSCategories.h>
#include <tessalune/frame/runtime/QSComponentRegistry.h>

namespace tessalune {
namespace {

constexpr TClassText CommonIirFilterText{
    .BadInput =
        R"(Whether the filter is stable is yours to see to: a pole outside the unit circle lets the output
grow without end. A NaN or an infinity stays in the filter's memory, and all that follows is NaN;
new coefficients or a new start end that when it lies more than 4,096 samples back. An A0 of 0
gives no filter.)",
};

}  // namespace

const TPublishedTable& TQSCommonIirFilter::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSCommonIirFilter", .Text = CommonIirFilterText},
                      &TQSCommonTapsFilter::Published())
          .OlderForm("FilterDesignInfo", "", &TQSCommonIirFilter::DropForm,
                     "Text of a design tool.");
  return Table;
}

// --- one direct form ---

TQSIir::TQSIir(TConstruct AConstruct)
    : TQSCommonIirFilter(AConstruct), FTaps(FLock, "Taps", [this] { Init(); }) {}

namespace {

constexpr TClassText IirText{
    .Use =
        R"(A recursive filter by the coefficients of its difference equation, from a textbook or another
design program, of low order: one-pole averages, resonators, DC blockers. From order 10 or so, and
for edges far below the sample rate sooner, rounded coefficients hardly say where the poles are:
take TQSBiQuadIir. In a graph file `Taps` holds B0, B1 and so on, then A0, A1 and so on, as many
of either.)",
    .Accuracy =
        R"(Each sample adds at most (2 order + 2) rounding errors of the sum of the magnitudes, which the
filter then treats as it treats its input. Coefficients are divided by A0 and used as they stand;
nothing is rearranged that would move a pole. Numbers below the range of normal doubles count as
0, so silence behind a signal costs no more than the signal. Two multiplications a pair and
sample.)",
    .Formulas = R"(    A0 y[n] = B0 x[n] + B1 x[n - 1] + ... - A1 y[n - 1] - A2 y[n - 2] - ...)",
    .SeeAlso = "TQSBiQuadIir, TQSFir, TQSLowPass, TQSCombFilter, TQSRemoveDC",
    .Example =
        R"(A square wave through the one-pole average y[n] = 0.1 x[n] + 0.9 y[n - 1]: each edge becomes a
curve that flattens out.)",
};

}  // namespace

const TPublishedTable& TQSIir::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSIir",
                       .DisplayName = "Perform IIR Filter",
                       .Category = categories::Filters,
                       .Doc = "A0 y[n] = B0 x[n] + B1 x[n - 1] + ... - A1 y[n - 1] - ... "
                              "Without coefficients samples go through unchanged.",
                       .Text = IirText},
                      &TQSCommonIirFilter::Published())
          .Object("Taps", &TQSIir::Taps,
                  "The coefficients, two pairs or more: B0 to B(n-1), then A0 to A(n-1).")
          .DesignEntry("Design &Filter ...", "Taps");
  return Table;
}

TQSTapsDesign TQSIir::IntInit(double) const { return {TQSFilterType::ftIIR, FTaps.Values(), {}}; }

void QSIir::RegisterPkg() { RegisterComponents({ClassOf<TQSIir>()}); }

// --- sections ---

TQSBiQuadIir::TQSBiQuadIir(TConstruct AConstruct)
    : TQSCommonIirFilter(AConstruct), FBiQuads(FLock, "BiQuads", [this] { Init(); }) {}

namespace {

constexpr TClassText BiQuadIirText{
    .Use =
        R"(A recursive filter of any order as a chain of sections of second order, the form in which
equalisers and designs of high order keep their digits. Each section has B0, B1, B2 for the input
and A0, A1, A2 for the output; in a graph file `BiQuads` holds these six of each section, one
section behind the other. B0 may be 0: such a section has a delay in it.)",
    .Accuracy =
        R"(As accurate as its sections: each adds at most six rounding errors of the sum of its magnitudes to
a sample. Five multiplications a section and sample; the sections run side by side in one vector,
and the results are those of the plain chain. Numbers below the range of normal doubles count as
0.)",
    .Formulas =
        R"(    A0 y[n] = B0 x[n] + B1 x[n - 1] + B2 x[n - 2] - A1 y[n - 1] - A2 y[n - 2], section by section)",
    .SeeAlso = "TQSIir, TQSLowPass, TQSBandPass, TQSFir",
    .Example =
        R"(One pulse into a resonator with its poles at 0.98 exp(+-i pi / 20): it rings at 200 Hz and dies
away.)",
};

}  // namespace

const TPublishedTable& TQSBiQuadIir::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSBiQuadIir",
                       .DisplayName = "Perform Bi Quad IIR Filter",
                       .Category = categories::Filters,
                       .Doc = "A chain of filters of second order. Without sections samples go "
                              "through unchanged.",
                       .Text = BiQuadIirText},
                      &TQSCommonIirFilter::Published())
          .Object("BiQuads", &TQSBiQuadIir::BiQuads,
                  "The sections in their order, six coefficients each: B0, B1, B2, A0, A1, A2.")
          .DesignEntry("Design &Filter ...", "BiQuads");
  return Table;
}

TQSTapsDesign TQSBiQuadIir::IntInit(double) const {
  return {TQSFilterType::ftBiquadIIR, FBiQuads.Values(), {}};
}

void QSBiQuadIir::RegisterPkg() { RegisterComponents({ClassOf<TQSBiQuadIir>()}); }

}  // namespace tessalune
