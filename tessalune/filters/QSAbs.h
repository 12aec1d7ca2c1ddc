#pragma once

#include <tessalune/frame/streams/QSCommonFilter.h>

namespace tessalune {

// The absolute value of each sample. A NaN stays a NaN.
class TQSAbs : public TQSCommonRealFilter {
 public:
  using TQSCommonRealFilter::TQSCommonRealFilter;
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

 protected:
  bool CanInline() override { return true; }
  void FilterInternalOperation(const TRef<IQSRealBuffer>& AInBuffer,
                               TRef<IQSRealBuffer>& AOutBuffer, bool& ASendOutputData) override;
};

namespace QSAbs {
void RegisterPkg();
}

}  // namespace tessalune
