#include <tessalune/filters/QSConjugate.h>
#include <tessalune/frame/runtime/QSCategories.h>
#include <tessalune/frame/runtime/QSComponentRegistry.h>

#include <algorithm>

namespace tessalune {
namespace {

constexpr TPropertyInfo<bool> FlipInfo{
    .Name = "Flip", .Default = false, .Doc = "Whether each block comes in reversed order, too."};

constexpr TClassText ConjugateText{
    .Use =
        R"(Mirrors complex samples at the real axis. The conjugate of a real signal's spectrum belongs to the
signal played backwards; multiplied with another spectrum by TQSMultiplyComplex it gives their
correlation. Of an analytic signal the conjugate has the negative frequencies. With `Flip` each
block is turned round too: the conjugate reversed is the matched filter of a block.)",
    .BadInput =
        R"(NaN and the infinities stay, with the sign of the imaginary part turned; so does the sign of a
zero.)",
    .Accuracy =
        R"(Exact. One step a sample; no delay. `Flip` works within each block by itself, so what it makes
depends on how the stream is cut; take TQSRepack before it.)",
    .Formulas = R"(    y[n] = re x[n] - i im x[n]
    Flip: y[n] = re x[N - 1 - n] - i im x[N - 1 - n], of a block of N samples)",
    .SeeAlso = "TQSMultiplyComplex, TQSFourier, TQSHilbert, TQSRepack",
    .Example =
        R"(The imaginary part of the analytic signal of a tone, before and behind the component.)",
};

}  // namespace

const TPublishedTable& TQSConjugate::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSConjugate",
                       .DisplayName = "Computes Conjugate",
                       .Category = categories::Filters,
                       .Doc = "The complex conjugate of each sample.",
                       .Text = ConjugateText},
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
