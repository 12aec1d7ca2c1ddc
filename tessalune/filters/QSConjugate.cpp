#include <tessalune/filters/QSConjugate.h>
#include <tessalune/frame/runtime/QSCategories.h>
#include <tessalune/frame/runtime/QSComponentRegistry.h>

#include <algorithm>

namespace tessalune {
namespace {

constexpr TPropertyInfo<bool> FlipInfo{
    .Name = "Flip", .Default = false, .Doc = "Whether each block comes in reversed order, too."};

}  // namespace

const TPublishedTable& TQSConjugate::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSConjugate",
                       .DisplayName = "Computes Conjugate",
                       .Category = categories::Filters,
                       .Doc = "The complex conjugate of each sample."},
                      &TQSCommonComplexFilter::Published())
          .Property(FlipInfo, &TQSConjugate::Flip, &TQSConjugate::SetFlip);
  return Table;
}

void TQSConjugate::SetFlip(bool AValue) { NotifySetter(FlipInfo, FFlip, AValue); }

void TQSConjugate::FilterInternalOperation(const TRef<IQSComplexBuffer>& AInBuffer,
                                           TRef<IQSComplexBuffer>& AOutBuffer, bool&) {
  const TComplex* In = AInBuffer->Read();
  TComplex* Out = AOutBuffer->Write();
  const std::int32_t Count = AOutBuffer->GetSize();
  if (!FFlip) {
    ippsConj_64fc(In, Out, Count);
  } else if (In != Out) {
    ippsConjFlip_64fc(In, Out, Count);
  } else {
    // The primitive takes no overlap.
    std::reverse(Out, Out + Count);
    ippsConj_64fc(Out, Out, Count);
  }
}

void QSConjugate::RegisterPkg() { RegisterComponents({ClassOf<TQSConjugate>()}); }

}  // namespace tessalune
