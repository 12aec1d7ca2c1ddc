#pragma once

#include <tessalune/frame/streams/QSCommonFilter.h>

#include <cstdint>

namespace tessalune {

// The running median of a real stream, which takes out clicks shorter than half the mask and leaves
// edges: each sample becomes the median of itself and Mask / 2 neighbours on either side. Nothing
// is carried from block to block: before a block's begin its first sample goes on, behind its end
// its last one, so a median depends on the blocks within Mask / 2 samples of their ends.
class TQSMedian : public TQSCommonRealFilter {
 public:
  using TQSCommonRealFilter::TQSCommonRealFilter;
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  // Samples, odd; default 3. A value below 1 is taken for 1, an even one for the odd one below it.
  // Takes effect with the next block.
  std::int32_t Mask() const { return FMask; }
  void SetMask(std::int32_t AValue);

 protected:
  void FilterInternalOperation(const TRef<IQSRealBuffer>& AInBuffer,
                               TRef<IQSRealBuffer>& AOutBuffer, bool& ASendOutputData) override;

 private:
  TField<std::int32_t> FMask;
};

namespace QSMedian {
void RegisterPkg();
}

}  // namespace tessalune
