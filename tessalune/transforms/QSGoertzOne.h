#pragma once

#include <tessalune/frame/runtime/QSReports.h>
#include <tessalune/frame/streams/QSCommonFilter.h>
#include <tessalune/frame/streams/QSValuePins.h>

#include <functional>
#include <string>
#include <vector>

namespace tessalune {

using TQSComplexNotifyEvent = std::function<void(TObject& ASender, double ARealValue,
                                                 double AImaginaryValue, double ASpectrumValue)>;

// Measures one frequency in each block x[0] to x[N - 1] of a real or complex stream:
//   X = sum over n of x[n] exp(-2 pi i f n) times exp(2 pi i f N), f = Frequency / sample rate,
// that is, bin m of the discrete Fourier transform where f = m / N. The result is not divided by N;
// each block stands alone, and one without samples gives no result. The stream of blocks ends here,
// and one of single values begins: OnCalculate is told first, then OutputPin sends X, then
// SpectrumOutputPin sends |X| = sqrt(re^2 + im^2), all on the thread that computes.
//
// Only frequencies below the sample rate have a result. At or above it, and of blocks that come
// without a start, which have no rate, the result is NaN, and Remarks tells. While it is disabled
// it measures nothing.
//
// A start, with the sample rate of the input, and a stop reach the sinks of OutputPin only.
class TQSGoertzOne : public TQSBasicThreadedEnableFilter, public IRemarks {
 public:
  explicit TQSGoertzOne(TConstruct AConstruct);
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  TQSKLRealComplexSinkPin& InputPin() { return FInputPin; }
  TKLComplexSourcePin& OutputPin() { return FOutputPin; }
  TKLRealSourcePin& SpectrumOutputPin() { return FSpectrumOutputPin; }

  // In Hz, at least 0; default 500. Takes effect with the next block.
  double Frequency() const { return FFrequency; }
  void SetFrequency(double AValue);

  void SetOnCalculate(TQSComplexNotifyEvent AHandler);

  std::vector<std::string> Remarks() const override;

 protected:
  TKLNotifyResult IntSingleOperation(IKLNotifyOperation& AOperation) override;
  TKLNotifyResult IntSingleBufferOperation(TRef<IQSDataBuffer> ABuffer) override;
  TKLNotifyResult SinkDispatch(TKLBasicPin& ASender, TKLBasicPin* AOtherPin,
                               const TGUID& ADataTypeID, IKLNotifyOperation& AOperation,
                               TKLNotifyState AState) override;
  TKLPin* GetOutputPin() override { return &FOutputPin; }

 private:
  void InternalOperationReal(const IQSRealBuffer& AInBuffer);
  void InternalOperationComplex(const IQSComplexBuffer& AInBuffer);
  void FinishProcess(TComplex AResultValue);

  TQSKLRealComplexSinkPin FInputPin;
  TKLComplexSourcePin FOutputPin;
  TKLRealSourcePin FSpectrumOutputPin;
  TField<double> FFrequency;
  TEvent<TQSComplexNotifyEvent> FOnCalculate;
  TField<double> FSampleRate;
  TField<bool> FHasNoResult;  // the last block had none
  // Of the thread that computes.
  bool FIsComplex = false;  // what plain memory is taken for
  const TRef<IQSComplexBuffer> FInternalComplexBuffer = TQSComplexBuffer::CreateSize(0);
};

namespace QSGoertzOne {
void RegisterPkg();
}

}  // namespace tessalune
