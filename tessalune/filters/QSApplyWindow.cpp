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

}  // namespace

const TPublishedTable& TQSApplyWindow::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSApplyWindow",
                       .DisplayName = "Applies Window over the Signal",
                       .Category = categories::Filters,
                       .Doc = "Each block multiplied by a window of its size."},
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
