// Discrete Fourier transforms, of frames of any length, and their inverses.
//
//   forward  X[k] = sum over n of w[n] x[n] exp(-2 pi i n k / N)
//   inverse  x[n] = 1 / N times the sum over k of X[k] exp(+2 pi i n k / N)
//
// divided further by what Normalization says. The numbers are those of the primitives, bit for bit
// (primitives/Transforms.h tells which lengths are fast and how accurate they are).
#pragma once

#include <tessalune/frame/streams/QSFilterTypes.h>
#include <tessalune/transforms/QSFourierBase.h>

#include <cstdint>
#include <string>

namespace tessalune {

// The spectrum of a stream, in frames of BufferSize samples; with BufferSize 0 the frame has the
// size of the block that comes, and a block of another size begins anew: a partly filled frame is
// dropped and a plan is made. So with SamplingWindowStep 0 each block is a frame. Blocks without
// samples change nothing.
//
// Bin k is at k times the rate over N. Bin 0 may be the strongest, unless IgnoreDC clears it: a
// frequency of 0. Frames of one sample have no magnitudes, and no frequency.
//
// The windows are the symmetric ones of the primitives (primitives/BasicWindows.h), computed for
// each frame; they need at least 3 samples (wtKaiser 1), fewer stay as they are.
class TQSDft : public TQSFourierBaseComponent {
 public:
  using TQSFourierBaseComponent::TQSFourierBaseComponent;
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  using TQSFourierComponent::Normalization;
  using TQSFourierComponent::SetNormalization;

  // Default wtRect: none. Alpha is wtBlackman's with its sign turned, so that 0.16 gives the usual
  // one, and of wtKaiser the primitive's. Takes effect with the next frame.
  TQSWindowType WindowType() const { return FWindowType; }
  void SetWindowType(TQSWindowType AValue);
  // Samples of a frame, at least 0; default 0: as many as the block has. Takes effect between two
  // frames.
  std::int32_t BufferSize() const { return FBufferSize; }
  void SetBufferSize(std::int32_t AValue);

 protected:
  void IntInit() override;
  void SingleFFT(const void* AInBuffer, TComplex* AOutBuffer, std::int32_t ASize) override;
  void BlockArrives(std::int32_t ASize) override;
  std::int32_t WantedSize() const override { return FBufferSize; }
  std::string SizeAdvice(std::int32_t ASize) const override;
  std::int32_t FirstPeakBin() const override { return 0; }

 private:
  void ApplyWindow(TQSWindowType AType, double* ASamples, std::int32_t ASize) const;
  void ApplyWindow(TQSWindowType AType, TComplex* ASamples, std::int32_t ASize) const;

  TField<TQSWindowType> FWindowType;
  TField<std::int32_t> FBufferSize;
};

// Takes blocks of any size; one of another size than the one before costs a plan. Blocks without
// bins give blocks without samples.
class TQSBasicInverseDFTComponent : public TQSBasicInverseFourierComponent {
 protected:
  using TQSBasicInverseFourierComponent::TQSBasicInverseFourierComponent;
  void StreamStart() override;
  void StreamStop() override;
  void IntInit() override;
  bool ReadyFor(std::int32_t ASize) override;

 private:
  std::int32_t FCurrentBufferSize = 0;  // of the plan
};

// From spectra to real samples.
class TQSInverseDft : public TQSBasicInverseDFTComponent {
 public:
  explicit TQSInverseDft(TConstruct AConstruct);
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  TQSKLRealSourcePin& OutputPin() { return FOutputPin; }
  using TQSFourierComponent::Normalization;
  using TQSFourierComponent::SetNormalization;

 protected:
  TQSKLSourcePin& ResultPin() override { return FOutputPin; }
  bool IsComplexResult() const override { return false; }

 private:
  TQSKLRealSourcePin FOutputPin;
};

// From spectra to complex samples.
class TQSInverseComplexDft : public TQSBasicInverseDFTComponent {
 public:
  explicit TQSInverseComplexDft(TConstruct AConstruct);
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  TQSKLComplexSourcePin& OutputPin() { return FOutputPin; }

 protected:
  TQSKLSourcePin& ResultPin() override { return FOutputPin; }
  bool IsComplexResult() const override { return true; }

 private:
  TQSKLComplexSourcePin FOutputPin;
};

namespace QSDft {
void RegisterPkg();
}

}  // namespace tessalune
