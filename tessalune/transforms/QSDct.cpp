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

namespace {

constexpr TClassText DctText{
    .Use =
        R"(The cosine transform of each block, type II: it gathers a smooth block in a few values, so what is
coded, compared or thrown away can be chosen among them. The transform is orthonormal: the sum of
squares stays. Choose the blocks by TQSRepack. TQSInverseDct leads back.)",
    .BadInput =
        R"(A NaN or an infinity reaches all values of its block. A block without samples passes.)",
    .Accuracy =
        R"(The relative error of a block, root mean square, is below 2^-53 times 4 sqrt(N) for powers of two
up to 512, sqrt(N) + 2 for other lengths up to 100, 6 sqrt(log2 N) beyond. A few N log2(N)
operations a block. No block depends on another; a size that differs from that of the block before
costs the making of a plan.)",
    .Formulas = R"(With N the size of the block, s(0) = 1 / sqrt(N), else s(k) = sqrt(2 / N):

    y[k] = s(k) sum over n of x[n] cos(pi (2 n + 1) k / (2 N))

(Ahmed, Natarajan and Rao 1974, "Discrete cosine transform", IEEE Trans. Computers.))",
    .SeeAlso = "TQSInverseDct, TQSFourier, TQSHaar, TQSRepack",
    .Example =
        R"(One block of a slow curve, and its 100 cosine values: all but the first few are small.)",
};

}  // namespace

const TPublishedTable& TQSDct::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSDct",
                       .DisplayName = "Performs Discrete Cosine Transform",
                       .Category = categories::Transforms,
                       .Doc = "The orthonormal discrete cosine transform (type II) of each block.",
                       .Text = DctText},
                      &TQSCommonRealFilter::Published());
  return Table;
}

namespace {

constexpr TClassText InverseDctText{
    .Use =
        R"(Back from the values of TQSDct to samples, block by block: the transform of type III. Between the
two, values can be weighted, cut or rounded.)",
    .BadInput =
        R"(A NaN or an infinity reaches all values of its block. A block without samples passes.)",
    .Accuracy =
        R"(The relative error of a block, root mean square, is below 2^-53 times 4 sqrt(N) for powers of two
up to 512, sqrt(N) + 2 for other lengths up to 100, 6 sqrt(log2 N) beyond. A few N log2(N)
operations a block. No block depends on another; a size that differs from that of the block before
costs the making of a plan.)",
    .Formulas = R"(With N the size of the block, s(0) = 1 / sqrt(N), else s(k) = sqrt(2 / N):

    x[n] = sum over k of s(k) y[k] cos(pi (2 n + 1) k / (2 N)))",
    .SeeAlso = "TQSDct, TQSInverseFourier, TQSInverseHaar",
    .Example =
        R"(A curve under noise, and what comes back when cosine values below 1 are set to 0.)",
};

}  // namespace

const TPublishedTable& TQSInverseDct::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSInverseDct",
                       .DisplayName = "Performs Discrete Cosine Inverse Transform",
                       .Category = categories::Transforms,
                       .Doc = "Gives the blocks back that went into TQSDct (type III).",
                       .Text = InverseDctText},
                      &TQSCommonRealFilter::Published());
  return Table;
}

void QSDct::RegisterPkg() { RegisterComponents({ClassOf<TQSDct>(), ClassOf<TQSInverseDct>()}); }

}  // namespace tessalune
