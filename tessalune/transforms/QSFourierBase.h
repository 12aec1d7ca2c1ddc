// What the components of Fourier transforms have in common, whatever their lengths: frames, the
// three results of a frame, and the way back.
#pragma once

#include <tessalune/frame/runtime/QSReports.h>
#include <tessalune/frame/streams/QSCommonFilter.h>
#include <tessalune/frame/streams/QSValuePins.h>
#include <tessalune/transforms/QSFourierPlan.h>
#include <tessalune/transforms/QSFrames.h>

#include <atomic>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace tessalune {

// Both in Hz; AMaxFrequency is half of the sample rate.
using TQSFrequencyEvent =
    std::function<void(TObject& ASender, double AFrequency, double AMaxFrequency)>;

// A component with a transform's plan. One that publishes Normalization takes it over by using
// declarations.
class TQSFourierComponent : public TQSBasicThreadedFilter {
 public:
  using TQSBasicThreadedFilter::TQSBasicThreadedFilter;

 protected:
  // What the transform divides its result by; default fnNone. A change takes effect with the next
  // frame or block.
  TQSFourierNormalization Normalization() const { return FNormalize; }
  void SetNormalization(TQSFourierNormalization AValue);
  static const TPropertyInfo<TQSFourierNormalization> NormalizationInfo;

  // Makes the plans that the state at hand asks for; those that are there and fit stay. Throws
  // std::bad_alloc.
  virtual void IntInit() = 0;
  virtual void IntUnInit() { FIntState = nullptr; }
  // FIntState for AKind, none for a size of 0. The one before stays if there is no memory.
  void MakePlan(const TQSFourierPlanKind& AKind);

  // Raises the EQSException for memory that is not to be had. AWhat says for what, AAdvice what to
  // do.
  [[noreturn]] void RefuseMemory(const std::string& AWhat, std::int64_t ABytes,
                                 const std::string& AAdvice) const;

  TField<TQSFourierNormalization> FNormalize;
  std::unique_ptr<IQSFourierPlan> FIntState;  // null while there is none
};

// Forward transforms: gathers blocks of any size into frames (QSFrames.h) and sends, for each
// frame, in this order:
//   OnFrequencyResult, FrequencyOutputPin   the frequency of the strongest bin
//   SpectrumOutputPin                       the magnitudes of the lower half of the bins
//   OutputPin                               all N bins, of real samples too, bin 0 first
// Magnitudes and frequency are computed only if somebody listens to one of them.
//
// What is set while a stream runs takes effect with the next frame, SamplingWindowStep with the
// next block; another frame size too, between two frames. Where there is no memory for it, the
// block at hand is finished and then an EQSException names what was asked for; the frames stay as
// they were until another size is asked for, and Remarks tells it. A start that is refused leaves
// no stream: blocks are dropped, as always outside one.
//
// A partly filled frame is dropped when the stream stops. Where a sink or a handler throws, the
// rest of the block is lost, and the next frame begins behind it.
class TQSFourierBaseComponent : public TQSFourierComponent, public IRemarks {
 public:
  explicit TQSFourierBaseComponent(TConstruct AConstruct);
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  TQSKLComplexSourcePin& OutputPin() { return FOutputPin; }
  TQSKLRealSourcePin& SpectrumOutputPin() { return FSpectrumOutputPin; }
  TQSKLRealComplexSinkPin& InputPin() { return FInputPin; }
  // In Hz, from 0 to half of the sample rate. Of a frame whose magnitudes are no numbers: NaN.
  TKLRealRangedSourcePin& FrequencyOutputPin() { return FFrequencyOutputPin; }

  // The window's parameter, any finite number; default 1. What it means is the window's.
  double Alpha() const { return FAlpha; }
  void SetAlpha(double AValue);
  // Whether bin 0 of the magnitudes is cleared; default false. The complex output keeps it.
  bool IgnoreDC() const { return FIgnoreDC; }
  void SetIgnoreDC(bool AValue);
  // Samples from the start of a frame to that of the next; default 0: back to back.
  std::uint32_t SamplingWindowStep() const { return FSamplingWindowStep; }
  void SetSamplingWindowStep(std::uint32_t AValue);
  // Whether OnFrequencyResult is called on the main thread, default true, or on the one that
  // computes. At most MostResults wait for the main thread; the oldest are dropped for further
  // ones, and Remarks tells how many.
  bool Synchronize() const { return FSynchronize; }
  void SetSynchronize(bool AValue);
  static constexpr std::size_t MostResults = 65536;

  // A frame has been transformed; its frequency as on FrequencyOutputPin.
  void SetOnFrequencyResult(TQSFrequencyEvent AHandler);

  // In Hz, from the start of the stream on; 0 before the first.
  double SampleRate() const { return FSampleRate; }
  std::vector<std::string> Remarks() const override;

 protected:
  TKLNotifyResult SinkDispatch(TKLBasicPin& ASender, TKLBasicPin* AOtherPin,
                               const TGUID& ADataTypeID, IKLNotifyOperation& AOperation,
                               TKLNotifyState AState) override;
  TKLNotifyResult IntSingleOperation(IKLNotifyOperation& AOperation) override;
  TKLNotifyResult IntSingleBufferOperation(TRef<IQSDataBuffer> ABuffer) override;
  // The magnitudes' pin, then the bins'; the result is that of the latter. A stop reaches both,
  // whatever the first one's sinks throw.
  TKLNotifyResult OutputPinsNotify(IKLNotifyOperation& AOperation) override;
  TKLPin* GetOutputPin() override { return &FOutputPin; }
  void StreamStop() override;
  // The event of an output pin.
  TKLNotifyEvent SourceDispatch();

  // A class publishes it behind its WindowType, on which its meaning hangs.
  static const TPropertyInfo<double> AlphaInfo;
  // The window is to be computed anew.
  void NotifyWindow() { FWindowChanges.fetch_add(1, std::memory_order_relaxed); }

  // The samples that a frame is to have; 0: not known yet.
  virtual std::int32_t WantedSize() const = 0;
  // "Order is 30, a smaller one takes less", for ASize samples.
  virtual std::string SizeAdvice(std::int32_t ASize) const = 0;
  // Bytes that a stream of the size at hand takes beside frame, plan and results.
  virtual std::int64_t OtherBytes() const { return 0; }
  // Sees each block before its samples are taken.
  virtual void BlockArrives(std::int32_t) {}

  // Begins a stream of frames of ASize samples. Raises EQSException if there is no memory.
  void Start(std::int32_t ASize, bool AIsComplex);
  virtual void StopFFT();
  // Follows what was set, between two frames.
  virtual void ResizeOrder();
  // Transforms the frame that is complete, and sends the results.
  virtual void ProcessFFT();
  // Computes ASize bins; the samples are real or complex by FIsComplex, and stay as they are.
  virtual void SingleFFT(const void* AInBuffer, TComplex* AOutBuffer, std::int32_t ASize) = 0;
  // Sees the bins before anything is made of them, and may change them.
  virtual void ProcessSpectrum(const TRef<IQSComplexBuffer>&) {}
  // The first bin that may be the strongest.
  virtual std::int32_t FirstPeakBin() const = 0;

  // Of the thread that delivers the stream.
  bool FIsComplex = false;        // the samples
  std::int32_t FCurrentSize = 0;  // of a frame; 0 while there is none

  TField<double> FAlpha;
  TField<double> FSampleRate;
  std::atomic<std::uint32_t> FWindowChanges{0};

 private:
  void TakeBlock(const TRef<IQSDataBuffer>& ABlock);
  void MakeFrames(std::int32_t ASize, bool AIsNew);
  std::int64_t BytesFor(std::int32_t ASize) const;
  void RaiseRefusal();
  template <class TMake>
  auto WithMemory(TMake AMake);
  TRef<IQSRealBuffer> Magnitudes(const IQSComplexBuffer& ABins);
  bool WantsFrequency() const;
  void SendFrequency(const IQSRealBuffer& AMagnitudes, std::int32_t ASize);
  void QueueResult(double AFrequency, double AMaxFrequency);
  void ShowResult();

  TQSKLRealComplexSinkPin FInputPin;
  TQSKLComplexSourcePin FOutputPin;
  TQSKLRealSourcePin FSpectrumOutputPin;
  TKLRealRangedSourcePin FFrequencyOutputPin;
  TField<bool> FIgnoreDC;
  TField<std::uint32_t> FSamplingWindowStep;
  TField<bool> FSynchronize;
  TEvent<TQSFrequencyEvent> FOnFrequencyResult;

  // Of the thread that delivers the stream.
  TQSFrames FFrames;
  std::uint64_t FStream = 0;                  // counts the beginnings and ends
  bool FTakes = false;                        // a block is being taken
  std::vector<TRef<IQSDataBuffer>> FWaiting;  // came from inside it, and come behind it
  std::int32_t FRefusedSize = 0;              // for which there was no memory
  bool FRefusalIsNew = false;

  mutable std::mutex FReportMutex;
  std::string FRefusal;  // of FRefusedSize, in words
  struct TResult {
    double Frequency;
    double MaxFrequency;
  };
  std::deque<TResult> FResults;  // for the main thread
  std::int64_t FDropped = 0;     // of them, since the stream began
};

// Inverse transforms: each block of bins gives one of as many samples, divided by that many, on top
// of what Normalization divides by. So fnNone gives back what a forward transform without
// normalisation was made of. For real samples only the bins up to n / 2 are read, and the imaginary
// parts of bin 0 and, for an even n, of bin n / 2 count for 0.
//
// While the output leads nowhere nothing is computed.
class TQSBasicInverseFourierComponent : public TQSFourierComponent {
 public:
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  TQSKLComplexSinkPin& InputPin() { return FInputPin; }

 protected:
  explicit TQSBasicInverseFourierComponent(TConstruct AConstruct);
  TKLNotifyResult IntSingleOperation(IKLNotifyOperation& AOperation) override;
  TKLNotifyResult IntSingleBufferOperation(TRef<IQSDataBuffer> ABuffer) override;
  // The event of an output pin.
  TKLNotifyEvent SourceDispatch();

  // True if FIntState serves blocks of ASize bins; makes or refuses it. False: the block is
  // dropped.
  virtual bool ReadyFor(std::int32_t ASize) = 0;
  // Where the samples go, complex or real ones.
  virtual TQSKLSourcePin& ResultPin() = 0;
  virtual bool IsComplexResult() const = 0;
  TKLPin* GetOutputPin() override { return &ResultPin(); }

 private:
  TQSKLComplexSinkPin FInputPin;
};

}  // namespace tessalune
