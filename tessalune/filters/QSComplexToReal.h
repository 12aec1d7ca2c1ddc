// From a complex stream to two real ones. Each complex block gives one block of the same size on
// either output, the first output's before the second's.
#pragma once

#include <tessalune/frame/streams/QSCommonFilter.h>

#include <cstdint>

namespace tessalune {

// What the two have in common. They compute whether or not their outputs are linked.
class TQSBasicComplexInputFilter : public TQSBasicThreadedFilter {
 public:
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  TQSKLComplexSinkPin& InputPin() { return FInputPin; }

 protected:
  explicit TQSBasicComplexInputFilter(TConstruct AConstruct);
  TKLNotifyResult IntSingleOperation(IKLNotifyOperation& AOperation) override;
  TKLNotifyResult IntSingleBufferOperation(TRef<IQSDataBuffer> ABuffer) override;
  // The first output, then the second; the result is that of the second. A stop reaches both,
  // whatever the first one's sinks throw.
  TKLNotifyResult OutputPinsNotify(IKLNotifyOperation& AOperation) override;
  // Computes ACount samples of both outputs.
  virtual void Split(const TComplex* AIn, double* AFirst, double* ASecond, std::int32_t ACount) = 0;

  TQSKLComplexSinkPin FInputPin;
  TQSKLRealSourcePin FFirstOutputPin;
  TQSKLRealSourcePin FSecondOutputPin;

 private:
  TKLNotifyEvent SourceDispatch();
};

// The real and the imaginary parts of a complex stream.
class TQSComplexToReal : public TQSBasicComplexInputFilter {
 public:
  explicit TQSComplexToReal(TConstruct AConstruct) : TQSBasicComplexInputFilter(AConstruct) {}
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  TQSKLRealSourcePin& RealOutputPin() { return FFirstOutputPin; }
  TQSKLRealSourcePin& ImagOutputPin() { return FSecondOutputPin; }

 protected:
  void Split(const TComplex* AIn, double* AFirst, double* ASecond, std::int32_t ACount) override;
};

// The magnitude sqrt(re^2 + im^2) and the phase atan2(im, re), in radians from -pi to pi, of each
// sample of a complex stream. The squares are not guarded: a part above some 1e154 gives an
// infinite magnitude, and a magnitude below some 1e-154 loses digits, down to 0.
class TQSCartToPolar : public TQSBasicComplexInputFilter {
 public:
  explicit TQSCartToPolar(TConstruct AConstruct) : TQSBasicComplexInputFilter(AConstruct) {}
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  TQSKLRealSourcePin& MagnOutputPin() { return FFirstOutputPin; }
  TQSKLRealSourcePin& PhaseOutputPin() { return FSecondOutputPin; }

 protected:
  void Split(const TComplex* AIn, double* AFirst, double* ASecond, std::int32_t ACount) override;
};

namespace QSComplexToReal {
void RegisterPkg();
}
namespace QSCartToPolar {
void RegisterPkg();
}

}  // namespace tessalune
