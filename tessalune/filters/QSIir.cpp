#include <tessalune/filters/QSIir.h>
#include <tessalune/frame/runtime/QSCategories.h>
#include <tessalune/frame/runtime/QSComponentRegistry.h>

namespace tessalune {

const TPublishedTable& TQSCommonIirFilter::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSCommonIirFilter"}, &TQSCommonTapsFilter::Published())
          .OlderForm("FilterDesignInfo", "", &TQSCommonIirFilter::DropForm,
                     "Text of a design tool.");
  return Table;
}

// --- one direct form ---

TQSIir::TQSIir(TConstruct AConstruct)
    : TQSCommonIirFilter(AConstruct), FTaps(FLock, "Taps", [this] { Init(); }) {}

const TPublishedTable& TQSIir::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSIir",
                       .DisplayName = "Perform IIR Filter",
                       .Category = categories::Filters,
                       .Doc = "A0 y[n] = B0 x[n] + B1 x[n - 1] + ... - A1 y[n - 1] - ... "
                              "Without coefficients samples go through unchanged."},
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

const TPublishedTable& TQSBiQuadIir::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSBiQuadIir",
                       .DisplayName = "Perform Bi Quad IIR Filter",
                       .Category = categories::Filters,
                       .Doc = "A chain of filters of second order. Without sections samples go "
                              "through unchanged."},
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
