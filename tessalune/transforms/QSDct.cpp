#include <tessalune/frame/runtime/QSCategories.h>
#include <tessalune/frame/runtime/QSComponentRegistry.h>
#include <tessalune/transforms/QSDct.h>

namespace tessalune {
namespace {

// The two directions' primitives.
IppStatus Make(DCTFwdSpec_64f** APlan, std::int32_t ASamples) {
  return ippsDCTFwdInitAlloc_64f(APlan, ASamples, ippAlgHintAccurate);
}
IppStatus Make(DCTInvSpec_64f** APlan, std::int32_t ASamples) {
  return ippsDCTInvInitAlloc_64f(APlan, ASamples, ippAlgHintAccurate);
}
void Free(DCTFwdSpec_64f* APlan) { ippsDCTFwdFree_64f(APlan); }
void Free(DCTInvSpec_64f* APlan) { ippsDCTInvFree_64f(APlan); }
IppStatus Transform(const double* AIn, double* AOut, const DCTFwdSpec_64f* APlan) {
  return ippsDCTFwd_64f(AIn, AOut, APlan, nullptr);
}
IppStatus Transform(const double* AIn, double* AOut, const DCTInvSpec_64f* APlan) {
  return ippsDCTInv_64f(AIn, AOut, APlan, nullptr);
}

[[noreturn]] void RefuseSize(const TComponent& AComponent, std::int32_t ASamples) {
  throw EQSException(AComponent.Describe() + ": there is no memory to transform a block of " +
                     NumberText(ASamples) + " samples; send smaller blocks");
}

}  // namespace

template <class TSpec>
void TQSDctOf<TSpec>::TFree::operator()(TSpec* APlan) const {
  Free(APlan);
}

template <class TSpec>
void TQSDctOf<TSpec>::StreamStop() {
  TQSCommonRealFilter::StreamStop();
  FIntState = nullptr;
}

template <class TSpec>
void TQSDctOf<TSpec>::SetSamples(std::int32_t ASamples) {
  if (FIntState && FBufferSize == ASamples) return;
  FIntState = nullptr;
  TSpec* Plan = nullptr;
  if (Make(&Plan, ASamples) != ippStsNoErr) RefuseSize(*this, ASamples);
  FIntState.reset(Plan);
  FBufferSize = ASamples;
}

template <class TSpec>
void TQSDctOf<TSpec>::FilterInternalOperation(const TRef<IQSRealBuffer>& AInBuffer,
                                              TRef<IQSRealBuffer>& AOutBuffer, bool&) {
  const std::int32_t Samples = AInBuffer->GetSize();
  if (Samples == 0) return;
  SetSamples(Samples);
  if (Transform(AInBuffer->Read(), AOutBuffer->Write(), FIntState.get()) != ippStsNoErr) {
    RefuseSize(*this, Samples);
  }
}

template class TQSDctOf<DCTFwdSpec_64f>;
template class TQSDctOf<DCTInvSpec_64f>;

const TPublishedTable& TQSDct::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSDct",
                       .DisplayName = "Performs Discrete Cosine Transform",
                       .Category = categories::Transforms,
                       .Doc = "The orthonormal discrete cosine transform (type II) of each block."},
                      &TQSCommonRealFilter::Published());
  return Table;
}

const TPublishedTable& TQSInverseDct::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSInverseDct",
                       .DisplayName = "Performs Discrete Cosine Inverse Transform",
                       .Category = categories::Transforms,
                       .Doc = "Gives the blocks back that went into TQSDct (type III)."},
                      &TQSCommonRealFilter::Published());
  return Table;
}

void QSDct::RegisterPkg() { RegisterComponents({ClassOf<TQSDct>(), ClassOf<TQSInverseDct>()}); }

}  // namespace tessalune
