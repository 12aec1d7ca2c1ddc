#include <tessalune/filters/QSFir.h>
#include <tessalune/frame/runtime/QSCategories.h>
#include <tessalune/frame/runtime/QSComponentRegistry.h>

namespace tessalune {

TQSFir::TQSFir(TConstruct AConstruct)
    : TQSCommonTapsFilter(AConstruct), FTaps(FLock, "Taps", [this] { Init(); }) {}

const TPublishedTable& TQSFir::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSFir",
                       .DisplayName = "Perform FIR Filter",
                       .Category = categories::Filters,
                       .Doc = "Each output is the sum of Taps[k] times the input k samples ago. "
                              "Without taps samples go through unchanged."},
                      &TQSCommonTapsFilter::Published())
          .Object("Taps", &TQSFir::Taps, "The impulse response.")
          .DesignEntry("Design &Filter ...", "Taps")
          .OlderForm("FilterDesignInfo", "", &TQSFir::DropForm, "Text of a design tool.");
  return Table;
}

TQSTapsDesign TQSFir::IntInit(double) const { return {TQSFilterType::ftFIR, FTaps.Values(), {}}; }

void QSFir::RegisterPkg() { RegisterComponents({ClassOf<TQSFir>()}); }

}  // namespace tessalune
