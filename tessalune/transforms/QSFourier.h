// Fast Fourier transforms, of frames of 2^Order samples, and their inverses.
//
//   forward  X[k] = sum over n of w[n] x[n] exp(-2 pi i n k / N), N = 2^Order
//   inverse  x[n] = 1 / N times the sum over k of X[k] exp(+2 pi i n k / N)
//
// divided further by what Normalization says. The numbers are those of the primitives, bit for bit
// (primitives/Transforms.h tells their accuracy): a spectrum without window, sent through an
// inverse component of the same Order, gives the frame back with a relative error, in the L2 norm,
// of 2.4 eps sqrt(log2 N) + 3 eps at most, eps = 2^-53.
//
// Order is 2 to 30. The memory that a frame takes, some 48 N bytes for real samples and 72 N for
// complex ones, is asked for when the stream starts; where it is not to be had an EQSException
// names the bytes, the frame and the Order, and nothing has begun.
#pragma once

#include <tessalune/frame/streams/QSWindowCalculator.h>
#include <tessalune/transforms/QSFourierBase.h>

#include <cstdint>
#include <string>
#include <vector>

namespace tessalune {

// Frames of a power of two, with a window, through the fast transform; for classes that make more
// of a frame by SingleFFT and ProcessSpectrum.
class TQSFourierBase : public TQSFourierBaseComponent {
 public:
  using TQSFourierBaseComponent::TQSFourierBaseComponent;
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  // The window that frames are multiplied by (QSWindowCalculator.h); default xwtRect. xwtNone
  // leaves them as they are. Takes effect with the next frame, as Alpha does.
  TQSExtendedWindowType WindowType() const { return FWindowType; }
  virtual void SetWindowType(TQSExtendedWindowType AValue);
  // Terms of the window xwtCosSum, 4 to 11; default 4. A change counts when the window is computed
  // next: after one of WindowType, Alpha or Order, or at the next start.
  std::uint32_t NumberTerms() const { return FNumberTerms; }
  void SetNumberTerms(std::uint32_t AValue);
  // Of the frames, 2^Order samples; 2 to 30, default 10. Takes effect between two frames; what was
  // gathered for overlapping ones is dropped.
  std::int32_t Order() const { return FOrder; }
  void SetOrder(std::int32_t AValue);

 protected:
  void IntInit() override;
  void StopFFT() override;
  void SingleFFT(const void* AInBuffer, TComplex* AOutBuffer, std::int32_t ASize) override;
  std::int32_t WantedSize() const override { return std::int32_t{1} << FOrder; }
  std::string SizeAdvice(std::int32_t ASize) const override;
  std::int64_t OtherBytes() const override;
  // Bin 0 is never the strongest.
  std::int32_t FirstPeakBin() const override { return 1; }

  // The ASize samples times the window, which is computed anew if it has to be: AWork, which has
  // room for them and may be ASamples; or, where there is no window, ASamples. Throws
  // std::bad_alloc.
  const void* ApplyWindow(const void* ASamples, void* AWork, std::int32_t ASize);

  TField<TQSExtendedWindowType> FWindowType;
  TField<std::uint32_t> FNumberTerms;
  TField<std::int32_t> FOrder;

  // Of the thread that delivers the stream, as the last frame had them.
  bool FNeedsFreqDomainWindow = false;      // for a derived class to set when it is constructed
  double FWindowGain = 1.0;                 // 1 for xwtNone
  std::vector<TComplex> FFreqDomainWindow;  // empty for xwtNone, and where it is not needed

 private:
  void CalculateWindow(std::size_t ASize);

  std::vector<double> FRealWindow;  // one of both, for the samples at hand; none for xwtNone
  std::vector<TComplex> FComplexWindow;
  bool FWindowCalculated = false;
  std::size_t FWindowSize = 0;
  std::uint32_t FChangesSeen = 0;  // of FWindowChanges
};

// The spectrum of a stream.
class TQSFourier : public TQSFourierBase {
 public:
  using TQSFourierBase::TQSFourierBase;
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  using TQSFourierComponent::Normalization;
  using TQSFourierComponent::SetNormalization;
};

// Takes blocks of 2^Order bins; a block of another size is an EQSException that names both sizes.
// Blocks without bins, and blocks outside a stream, are dropped.
class TQSBasicInverseFourier : public TQSBasicInverseFourierComponent {
 public:
  using TQSBasicInverseFourierComponent::TQSBasicInverseFourierComponent;
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  // 2 to 30, default 10. Takes effect at the next start of the stream.
  std::int32_t Order() const { return FOrder; }
  void SetOrder(std::int32_t AValue);

 protected:
  void StreamStart() override;
  void StreamStop() override;
  void IntInit() override;
  bool ReadyFor(std::int32_t ASize) override;

 private:
  TField<std::int32_t> FOrder;
  std::int32_t FSize = 0;  // of the blocks of the stream that runs
};

// From spectra to real samples.
class TQSInverseFourier : public TQSBasicInverseFourier {
 public:
  explicit TQSInverseFourier(TConstruct AConstruct);
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
class TQSInverseComplexFourier : public TQSBasicInverseFourier {
 public:
  explicit TQSInverseComplexFourier(TConstruct AConstruct);
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  TQSKLComplexSourcePin& OutputPin() { return FOutputPin; }

 protected:
  TQSKLSourcePin& ResultPin() override { return FOutputPin; }
  bool IsComplexResult() const override { return true; }

 private:
  TQSKLComplexSourcePin FOutputPin;
};

namespace QSFourier {
void RegisterPkg();
}

}  // namespace tessalune
