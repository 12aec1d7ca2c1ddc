#include <tessalune/frame/runtime/QSCategories.h>
#include <tessalune/frame/runtime/QSComponentRegistry.h>
#include <tessalune/transforms/QSHaar.h>

#include <cstdint>
#include <utility>

namespace tessalune {

TQSHaar::TQSHaar(TConstruct AConstruct)
    : TLockComponent(AConstruct),
      FInputPin({*this, FLock},
                [this](TKLBasicPin&, TKLBasicPin*, const TGUID&, IKLNotifyOperation& AOperation,
                       TKLNotifyState) { return SinkDispatch(AOperation); }),
      FDetailOutputPin({*this, FLock}, SourceEvent()),
      FCoarseOutputPin({*this, FLock}, SourceEvent()) {
  FDetailOutputPin.AddFunctionSource(FInputPin);
  FCoarseOutputPin.AddFunctionSource(FInputPin);
}

namespace {

constexpr TClassText HaarText{
    .Use =
        R"(Splits a stream into a coarse half, the means of pairs, and a detail half, half their differences:
one level of a wavelet analysis. Put further ones behind `CoarseOutputPin` for further levels.
Edges stay sharp: details are large at steps and clicks and small elsewhere. TQSInverseHaar joins
the two again.)",
    .BadInput =
        R"(A NaN or an infinity reaches its pair in both bands. The lone sample of an odd block waits for the
next one, the last of a stream is dropped.)",
    .Accuracy =
        R"(Exact to one rounding. Both bands keep the rate of the input in their start, though they have half
as many samples. A few operations a pair; nothing while neither output is linked. Pairs do not
depend on the cut into blocks.)",
    .Formulas = R"(    coarse[k] = (x[2 k] + x[2 k + 1]) / 2
    detail[k] = (x[2 k + 1] - x[2 k]) / 2

(Haar 1910, "Zur Theorie der orthogonalen Funktionensysteme", Math. Annalen 69, scaled to means.))",
    .SeeAlso = "TQSInverseHaar, TQSDct, TQSLowPass",
    .Example = "A square wave with a click, its coarse and its detail half.",
};

}  // namespace

const TPublishedTable& TQSHaar::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSHaar",
                       .DisplayName = "Performs Haar Transform",
                       .Category = categories::Transforms,
                       .Doc = "Splits each block into the means and the half differences of its "
                              "pairs of samples. Both outputs keep the rate of the input, though "
                              "they have half as many samples.",
                       .Text = HaarText},
                      &TComponent::Published())
          .Pin("InputPin", &TQSHaar::InputPin, "The stream to split.", true)
          .Pin("DetailOutputPin", &TQSHaar::DetailOutputPin,
               "The high band: half the difference of each pair.", true)
          .Pin("CoarseOutputPin", &TQSHaar::CoarseOutputPin, "The low band: each pair's mean.",
               true);
  return Table;
}

TKLNotifyEvent TQSHaar::SourceEvent() {
  return GKLPassTroughDispatch(
      FInputPin, [this](TKLBasicPin&, TKLBasicPin*, const TGUID&, IKLNotifyOperation& AOperation,
                        TKLNotifyState) { return SinkDispatch(AOperation); });
}

TKLNotifyResult TQSHaar::SinkDispatch(IKLNotifyOperation& AOperation) {
  if (AOperation.IsType<TKLSuppliedBufferOperation>()) {
    InternalOperation(TQSRealBuffer::CreateUniversal(
        AOperation.GetInstance<TKLSuppliedBufferOperation>().Take()));
    return {};
  }
  if (AOperation.IsType<TKLStartOperation>()) FHasLone = false;
  return NotifyBoth(FDetailOutputPin, FCoarseOutputPin, AOperation);
}

void TQSHaar::InternalOperation(TRef<IQSRealBuffer> AInBuffer) {
  if (!FDetailOutputPin.IsConnected() && !FCoarseOutputPin.IsConnected()) {
    FHasLone = false;
    return;
  }
  const double* In = AInBuffer->Read();
  const std::int32_t Size = AInBuffer->GetSize();
  if (Size == 0) return;
  const bool HasLone = FHasLone;
  const double Pair[2] = {FLone, In[0]};
  const std::int32_t Left = HasLone ? Size - 1 : Size;  // behind the sample that completes a pair
  FHasLone = Left % 2 != 0;
  FLone = In[Size - 1];
  const std::int32_t Pairs = Left / 2 + (HasLone ? 1 : 0);
  if (Pairs == 0) return;
  auto Detail = TQSRealBuffer::CreateSize(Pairs);
  auto Coarse = TQSRealBuffer::CreateSize(Pairs);
  double* High = Detail->Write();
  double* Low = Coarse->Write();
  if (HasLone) ippsWTHaarFwd_64f(Pair, 2, Low++, High++);
  ippsWTHaarFwd_64f(In + (Size - Left), Left - Left % 2, Low, High);
  AInBuffer = nullptr;
  if (FDetailOutputPin.IsConnected()) FDetailOutputPin.SubmitBuffer(std::move(Detail));
  if (FCoarseOutputPin.IsConnected()) FCoarseOutputPin.SubmitBuffer(std::move(Coarse));
}

// --- the inverse ---

TQSInverseHaar::TQSInverseHaar(TConstruct AConstruct)
    : TQSRealMultiInput(AConstruct), FDetailInputPin(*this), FCoarseInputPin(*this) {}

namespace {

constexpr TClassText InverseHaarText{
    .Use =
        R"(Joins the two halves of TQSHaar to a stream of twice as many samples; between them, details can be
weighted or thrown away, which takes noise and leaves edges.)",
    .BadInput =
        R"(A NaN or an infinity in either band reaches both samples of its pair. A band that is not linked,
or has ended or not begun, counts as zeros.)",
    .Accuracy =
        R"(Behind TQSHaar all samples come back within the last bit or two. Half a block of each band makes a
block; an odd `OutputBuffer.Size` is rounded up.)",
    .Formulas = R"(    x[2 k] = coarse[k] - detail[k]
    x[2 k + 1] = coarse[k] + detail[k])",
    .SeeAlso = "TQSHaar, TQSInverseDct, TQSAdd",
    .Example =
        R"(A tone under noise, and what comes back with the details at a fifth of their size.)",
};

}  // namespace

const TPublishedTable& TQSInverseHaar::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSInverseHaar",
                       .DisplayName = "Performs Inverse Haar Transform",
                       .Category = categories::Transforms,
                       .Doc = "Joins the two bands of TQSHaar again; one that is missing counts as "
                              "zeros.",
                       .Text = InverseHaarText},
                      &TQSRealMultiInput::Published())
          .Pin("DetailInputPin", &TQSInverseHaar::DetailInputPin, "The high band.", true)
          .Pin("CoarseInputPin", &TQSInverseHaar::CoarseInputPin, "The low band.", true);
  return Table;
}

bool TQSInverseHaar::Calculate(std::span<const double* const> AInputs, double* AOut,
                               std::int32_t ACount) {
  TRef<IQSRealBuffer> Zeros;
  const auto Band = [&](const double* ASamples) {
    if (ASamples != nullptr) return ASamples;
    Zeros = TQSRealBuffer::CreateSize(ACount);
    Zeros->Zero();
    return Zeros->Read();
  };
  const double* const Detail = Band(AInputs[0]);
  const double* const Coarse = Band(AInputs[1]);
  ippsWTHaarInv_64f(Coarse, Detail, AOut, 2 * ACount);
  return true;
}

void QSHaar::RegisterPkg() { RegisterComponents({ClassOf<TQSHaar>(), ClassOf<TQSInverseHaar>()}); }

}  // namespace tessalune
