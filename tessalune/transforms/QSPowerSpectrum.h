#pragma once

#include <tessalune/frame/streams/QSCommonFilter.h>

namespace tessalune {

// The squared magnitude re^2 + im^2, or the magnitude, of each bin of each complex block, as
// TQSFourier and TQSDft send them. Each block stands alone. While the output leads nowhere nothing
// is computed. The squares are not guarded: a part above some 1e154 gives infinity, and one below
// some 1e-154 loses digits, down to 0.
class TQSPowerSpectrum : public TQSBasicThreadedFilter {
 public:
  explicit TQSPowerSpectrum(TConstruct AConstruct);
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  TQSKLRealSourcePin& OutputPin() { return FOutputPin; }
  TQSKLComplexSinkPin& InputPin() { return FInputPin; }

  // True: only the lower half of a block's bins is taken, n / 2 of n, rounded down; of one bin
  // that is an empty block. False, the default: all. Takes effect at the next start of the stream;
  // the rate that a start tells stays the same.
  bool ProcessHalf() const { return FProcessHalf; }
  void SetProcessHalf(bool AValue);
  // Whether the root is taken: magnitudes; default false. Takes effect with the next block.
  bool Magnitude() const { return FMagnitude; }
  void SetMagnitude(bool AValue);

 protected:
  TKLNotifyResult IntSingleOperation(IKLNotifyOperation& AOperation) override;
  TKLNotifyResult IntSingleBufferOperation(TRef<IQSDataBuffer> ABuffer) override;
  void StreamStart() override;
  TKLPin* GetOutputPin() override { return &FOutputPin; }

 private:
  TQSKLComplexSinkPin FInputPin;
  TQSKLRealSourcePin FOutputPin;
  TField<bool> FProcessHalf;
  TField<bool> FMagnitude;
  bool FRunningProcessHalf = false;  // as the stream began
};

namespace QSPowerSpectrum {
void RegisterPkg();
}

}  // namespace tessalune
