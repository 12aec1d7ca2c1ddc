#pragma once

#include <tessalune/frame/streams/QSCommonFilter.h>
#include <tessalune/frame/streams/QSWindowCalculator.h>

#include <atomic>
#include <cstdint>
#include <vector>

namespace tessalune {

// Multiplies each block of a real stream by a window of the block's size, from its first sample to
// its last; QSWindowCalculator.h has the windows. A window is computed when a property or the size
// of the blocks has changed, and then used again and again. An empty block leaves it as it is.
class TQSApplyWindow : public TQSCommonRealFilter {
 public:
  using TQSCommonRealFilter::TQSCommonRealFilter;
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  // All take effect with the next block.
  // Default xwtHanning; with xwtNone blocks go through unchanged.
  TQSExtendedWindowType WindowType() const { return FWindowType; }
  void SetWindowType(TQSExtendedWindowType AValue);
  // Of xwtCosSum; 4 to 11, default 4.
  std::uint32_t NumberTerms() const { return FNumberTerms; }
  void SetNumberTerms(std::uint32_t AValue);
  // Of xwtBlackman and xwtKaiser; from 0 to 1, default 1. A value outside counts as the nearer end.
  double Alpha() const { return FAlpha; }
  void SetAlpha(double AValue);

  // A window was computed; AValue is its gain, sqrt(mean(w^2)). Fires on the thread that computes,
  // before the block goes out.
  void SetOnWindowCalculated(TQSRealNotifyEvent AHandler);

 protected:
  bool CanInline() override { return true; }
  void FilterInternalOperation(const TRef<IQSRealBuffer>& AInBuffer,
                               TRef<IQSRealBuffer>& AOutBuffer, bool& ASendOutputData) override;

 private:
  void Invalidate() { FWindowCalculated = false; }
  void CalculateWindow(std::int32_t ASize);

  TField<TQSExtendedWindowType> FWindowType;
  TField<std::uint32_t> FNumberTerms;
  TField<double> FAlpha;
  TEvent<TQSRealNotifyEvent> FOnWindowCalculated;
  std::atomic<bool> FWindowCalculated{false};
  std::vector<double> FTimeDomainWin;  // of the thread that computes
};

namespace QSApplyWindow {
void RegisterPkg();
}

}  // namespace tessalune
