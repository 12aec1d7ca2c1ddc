#pragma once

#include <tessalune/frame/streams/QSCommonFilter.h>

namespace tessalune {

// The complex conjugate of each sample: the sign of the imaginary part turned, that of a zero too.
class TQSConjugate : public TQSCommonComplexFilter {
 public:
  using TQSCommonComplexFilter::TQSCommonComplexFilter;
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  // True: each block in reversed order too, its last sample first. Default false; takes effect with
  // the next block.
  bool Flip() const { return FFlip; }
  void SetFlip(bool AValue);

 protected:
  bool CanInline() override { return true; }
  void FilterInternalOperation(const TRef<IQSComplexBuffer>& AInBuffer,
                               TRef<IQSComplexBuffer>& AOutBuffer, bool& ASendOutputData) override;

 private:
  TField<bool> FFlip;
};

namespace QSConjugate {
void RegisterPkg();
}

}  // namespace tessalune
