#include <tessalune/filters/QSAbs.h>
#include <tessalune/frame/runtime/QSCategories.h>
#include <tessalune/frame/runtime/QSComponentRegistry.h>

namespace tessalune {

const TPublishedTable& TQSAbs::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSAbs",
                       .DisplayName = "Absolute Value Signal",
                       .Category = categories::Math,
                       .Doc = "The absolute value of each sample."},
                      &TQSCommonRealFilter::Published());
  return Table;
}

void TQSAbs::FilterInternalOperation(const TRef<IQSRealBuffer>& AInBuffer,
                                     TRef<IQSRealBuffer>& AOutBuffer, bool&) {
  AOutBuffer->AbsFrom(*AInBuffer);
}

void QSAbs::RegisterPkg() { RegisterComponents({ClassOf<TQSAbs>()}); }

}  // namespace tessalune
