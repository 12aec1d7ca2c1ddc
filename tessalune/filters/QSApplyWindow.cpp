#include <tessalune/filters/QSApplyWindow.h>
#include <tessalune/frame/runtime/QSCategories.h>
#include <tessalune/frame/runtime/QSComponentRegistry.h>
#include <tessalune/primitives/QSBasicDispatcher.h>

#include <utility>

namespace tessalune {
namespace {

constexpr TPropertyInfo<TQSExtendedWindowType> WindowTypeInfo{
    .Name = "WindowType",
    .Default = TQSExtendedWindowType::xwtHanning,
    .Doc = "The window; with xwtNone blocks go through unchanged."};
constexpr TPropertyInfo<std::uint32_t> NumberTermsInfo{
    .Name = "NumberTerms",
    .Default = 4,
    .Bounds = Between(QSWindowCalculator::MinNumberTerms, QSWindowCalculator::MaxNumberTerms),
    .Doc = "Terms of xwtCosSum."};
constexpr TPropertyInfo<double> AlphaInfo{.Name = "Alpha",
                                          .Default = 1.0,
                                          .Design = Between(0.0, 1.0),
                                          .Doc = "The shape of xwtBlackman and xwtKaiser."};

constexpr TClassText ApplyWindowText{
    .Use =
        R"(Multiplies each block by a window that lets it begin and end softly: before a transform that has
no windows of its own, such as TQSDct or TQSGoertzOne, so that a tone between two bins does not
smear. The window spans the block: choose the blocks by TQSRepack. `xwtHanning` serves most
spectra, `xwtFlatTop` where the height of a line counts, `xwtCosSum` where weak lines stand beside
strong ones.)",
    .BadInput =
        R"(NaN and the infinities stay in their samples, but where the weight is 0, which makes NaN of an
infinity. An `Alpha` outside 0 to 1 counts as the nearer end. With `xwtNone` blocks go through
unchanged.)",
    .Accuracy =
        R"(Weights are within 8 rounding errors a term of a cosine sum, 4 of `xwtWelch`, 50 of `xwtKaiser`.
The windows are periodic, as spectra want them. One multiplication a sample; a window is computed
when a property or the size of the blocks changes, and then used again.)",
    .Formulas = R"(With t = n / N for a block of N samples:

    xwtBartlett  1 - |2 t - 1|
    xwtWelch     1 - (2 t - 1)^2
    xwtHanning   0.5 - 0.5 cos(2 pi t)
    xwtHamming   0.54 - 0.46 cos(2 pi t)
    xwtBlackman  0.5 - 0.08 Alpha - 0.5 cos(2 pi t) + 0.08 Alpha cos(4 pi t)
    xwtKaiser    I0(20 Alpha sqrt(1 - (2 t - 1)^2)) / I0(20 Alpha)
    xwtFlatTop   five cosine terms, ISO 18431-2
    xwtCosSum    NumberTerms cosine terms with the lowest side lobes: -98 dB with 4, -290 dB with 11

(Blackman and Tukey 1958; Kaiser 1974, IEEE ISCAS; Nuttall 1981, IEEE Trans. ASSP 29; Albrecht
2001, ICASSP.) `OnWindowCalculated` tells the gain sqrt(mean(w^2)).)",
    .SeeAlso = "TQSFourier, TQSDft, TQSGoertzOne, TQSDct, TQSRepack",
    .Example = "A tone in blocks of 200 samples under Hann's window.",
};

}  // namespace

const TPublishedTable& TQSApplyWindow::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSApplyWindow",
                       .DisplayName = "Applies Window over the Signal",
                       .Category = categories::Filters,
                       .Doc = "Each block multiplied by a window of its size.",
                       .Text = ApplyWindowText},
                      &TQSCommonRealFilter::Published())
          .Property(WindowTypeInfo, &TQSApplyWindow::WindowType, &TQSApplyWindow::SetWindowType)
          .Property(NumberTermsInfo, &TQSApplyWindow::NumberTerms, &TQSApplyWindow::SetNumberTerms)
          .Property(AlphaInfo, &TQSApplyWindow::Alpha, &TQSApplyWindow::SetAlpha)
          .Event("OnWindowCalculated", &TQSApplyWindow::SetOnWindowCalculated, {"Value"},
                 "A window was computed, with this gain.");
  return Table;
}

void TQSApplyWindow::SetWindowType(TQSExtendedWindowType AValue) {
  NotifySetter(WindowTypeInfo, FWindowType, AValue, [this] { Invalidate(); });
}
void TQSApplyWindow::SetNumberTerms(std::uint32_t AValue) {
  NotifySetter(NumberTermsInfo, FNumberTerms, AValue, [this] { Invalidate(); });
}
void TQSApplyWindow::SetAlpha(double AValue) {
  NotifySetter(AlphaInfo, FAlpha, AValue, [this] { Invalidate(); });
}
void TQSApplyWindow::SetOnWindowCalculated(TQSRealNotifyEvent AHandler) {
  NotifySetter("OnWindowCalculated", FOnWindowCalculated, std::move(AHandler));
}

// What is set meanwhile invalidates the window again.
void TQSApplyWindow::CalculateWindow(std::int32_t ASize) {
  FWindowCalculated = true;
  FTimeDomainWin.resize(static_cast<std::size_t>(ASize));
  const double Gain =
      QSWindowCalculator::CalculateWindowForMult(FWindowType, FNumberTerms, FAlpha, FTimeDomainWin);
  FireEvent(FOnWindowCalculated, Gain);
}

void TQSApplyWindow::FilterInternalOperation(const TRef<IQSRealBuffer>& AInBuffer,
                                             TRef<IQSRealBuffer>& AOutBuffer, bool&) {
  const std::int32_t Size = AInBuffer->GetSize();
  if (Size == 0) return;
  if (FWindowType == TQSExtendedWindowType::xwtNone) {
    AOutBuffer = AInBuffer;
    return;
  }
  if (!FWindowCalculated || FTimeDomainWin.size() != static_cast<std::size_t>(Size)) {
    CalculateWindow(Size);
  }
  const double* In = AInBuffer->Read();
  double* Out = AOutBuffer->Write();
  if (In == Out) {
    ippsMul_64f_I(FTimeDomainWin.data(), Out, Size);
  } else {
    ippsMul_64f(In, FTimeDomainWin.data(), Out, Size);
  }
}

void QSApplyWindow::RegisterPkg() { RegisterComponents({ClassOf<TQSApplyWindow>()}); }

}  // namespace tessalune
