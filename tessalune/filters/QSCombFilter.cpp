#include <tessalune/filters/QSCombFilter.h>
#include <tessalune/frame/runtime/QSCategories.h>
#include <tessalune/frame/runtime/QSComponentRegistry.h>
#include <tessalune/primitives/QSBasicDispatcher.h>

#include <algorithm>
#include <new>

namespace tessalune {
namespace {

constexpr TPropertyInfo<double> CoefficientInfo{.Name = "Coefficient",
                                                .Default = 0.9,
                                                .Bounds = AtLeast(0.0),
                                                .Doc = "Factor of what is added."};
constexpr TPropertyInfo<std::uint32_t> DelayInfo{
    .Name = "Delay",
    .Default = 1000,
    .Unit = "samples",
    .Doc =
        "How far back what is added lies. With cfBack take blocks of at least so many samples: "
        "beyond, there is no direct path, and the output depends on how the stream is cut into "
        "blocks."};
constexpr TPropertyInfo<TQSCombFeed> FeedInfo{
    .Name = "Feed",
    .Default = TQSCombFeed::cfForward,
    .Doc = "Whether the past of the input (cfForward) or of the output (cfBack) is added."};

constexpr TClassText CombFilterText{
    .Use =
        R"(One echo (`cfForward`) or an endless row of them (`cfBack`). Over frequency that is a comb, with
teeth at multiples of rate / `Delay`: take `cfForward` to notch a hum and all of its harmonics out
or to double a voice, `cfBack` to let a series of harmonics ring, as a string or a pipe does.)",
    .BadInput =
        R"(With `cfBack` and a `Coefficient` of 1 or more the echoes grow without end. A NaN or an infinity
comes back every `Delay` samples: once with `cfForward`, for ever with `cfBack`, until a start, a
new `Delay` or `Feed`, or a setting of `Enabled` empties the past.

With `cfBack` and blocks shorter than `Delay` the filter is another one, without a direct path,
which depends on how the stream is cut. Take blocks of at least `Delay` samples, by `BufferSize`
of the source or by TQSRepack.)",
    .Accuracy =
        R"(One multiplication and one addition a sample, each rounded, whatever the delay. Memory for as many
samples as have come in, at most `Delay`. A stream begins with a past of zeros.)",
    .Formulas = R"(    cfForward  y[n] = x[n] + Coefficient x[n - Delay]
    cfBack     y[n] = x[n] + Coefficient y[n - Delay])",
    .SeeAlso = "TQSDelayLine, TQSFir, TQSIir, TQSRepack",
    .Example =
        R"(One pulse, and its echoes with `cfBack`, a delay of 40 samples and a coefficient of 0.7.)",
};

}  // namespace

const TPublishedTable& TQSCombFilter::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSCombFilter",
                       .DisplayName = "Perform Comb Filter over Signal",
                       .Category = categories::Filters,
                       .Doc = "The stream plus Coefficient times what it was Delay samples before, "
                              "at the input or at the output.",
                       .Text = CombFilterText},
                      &TQSCommonRealFilter::Published())
          .Property(CoefficientInfo, &TQSCombFilter::Coefficient, &TQSCombFilter::SetCoefficient)
          .Property(DelayInfo, &TQSCombFilter::Delay, &TQSCombFilter::SetDelay)
          .Property(FeedInfo, &TQSCombFilter::Feed, &TQSCombFilter::SetFeed);
  return Table;
}

void TQSCombFilter::SetCoefficient(double AValue) {
  NotifySetter(CoefficientInfo, FCoefficient, AValue);
}
void TQSCombFilter::SetDelay(std::uint32_t AValue) {
  NotifySetter(DelayInfo, FDelay, AValue, [this] { FForgets = true; });
}
void TQSCombFilter::SetFeed(TQSCombFeed AValue) {
  NotifySetter(FeedInfo, FFeed, AValue, [this] { FForgets = true; });
}
void TQSCombFilter::SetEnabled(bool AValue) {
  const ILockSection Section = WriteLock();
  TQSCommonRealFilter::SetEnabled(AValue);
  FForgets = true;
}

void TQSCombFilter::StreamStart() {
  TQSCommonRealFilter::StreamStart();
  FForgets = true;
}

void TQSCombFilter::FilterInternalOperation(const TRef<IQSRealBuffer>& AInBuffer,
                                            TRef<IQSRealBuffer>& AOutBuffer, bool&) {
  const std::int32_t Count = AInBuffer->GetSize();
  if (Count == 0) return;
  const std::int64_t Delay = FDelay;
  const bool Forgets = FForgets.load(std::memory_order_relaxed) && FForgets.exchange(false);
  if (Forgets || FPast.Size() != Delay) {
    FPast.Reset(sizeof(double));
    FPast.Resize(Delay);
  }
  const double* In = AInBuffer->Read();
  double* Out = AOutBuffer->Write();
  try {
    if (FFeed == TQSCombFeed::cfForward) {
      FeedForward(In, Out, Count);
    } else if (Delay <= Count) {
      FeedBack(In, Out, Count);
    } else {
      FeedBackBeyond(In, Out, Count);
    }
  } catch (const std::bad_alloc&) {
    throw EQSException(Describe() + ": there is no memory for a past of " +
                       NumberText(FPast.Size()) + " samples; make Delay smaller");
  }
}

void TQSCombFilter::FeedForward(const double* AIn, double* AOut, std::int32_t ACount) {
  const auto FromPast = static_cast<std::int32_t>(std::min<std::int64_t>(FPast.Size(), ACount));
  const std::int32_t FromBlock = ACount - FromPast;
  FPast.Pop(AOut, FromPast);
  std::copy_n(AIn, FromBlock, AOut + FromPast);
  ippsMulC_64f_I(FCoefficient, AOut, ACount);
  ippsAdd_64f_I(AIn, AOut, ACount);
  FPast.Push(AIn + FromBlock, FromPast);
}

// The past fits into the block.
void TQSCombFilter::FeedBack(const double* AIn, double* AOut, std::int32_t ACount) {
  const double Coefficient = FCoefficient;
  const auto Delay = static_cast<std::int32_t>(FPast.Size());
  FPast.Pop(AOut, Delay);
  ippsMulC_64f_I(Coefficient, AOut, Delay);
  ippsAdd_64f_I(AIn, AOut, Delay);
  std::copy(AIn + Delay, AIn + ACount, AOut + Delay);
  for (std::int32_t I = Delay; I < ACount; ++I) AOut[I] += Coefficient * AOut[I - Delay];
  FPast.Push(AOut + (ACount - Delay), Delay);
}

void TQSCombFilter::FeedBackBeyond(const double* AIn, double* AOut, std::int32_t ACount) {
  const auto Newest = TQSRealBuffer::CreateSize(ACount);
  double* Next = Newest->Write();
  FPast.CopyNewest(Next, ACount);
  ippsMulC_64f_I(FCoefficient, Next, ACount);
  ippsAdd_64f_I(AIn, Next, ACount);
  FPast.Pop(AOut, ACount);
  FPast.Push(Next, ACount);
}

void QSCombFilter::RegisterPkg() { RegisterComponents({ClassOf<TQSCombFilter>()}); }

}  // namespace tessalune
