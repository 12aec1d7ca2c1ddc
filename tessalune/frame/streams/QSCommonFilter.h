// The frame of the one-input filters.
//
// A block arrives at the input pin and is computed on the thread that delivers it, or, with
// Threading enabled, on the filter's own thread; the result leaves by the output pin on the same
// thread. Starts and stops keep their place among the blocks whatever Threading says: they wait
// until the queue before them has been worked off. So the same input gives the same output, bit for
// bit, with and without threads.
//
// While a block is processed the frame holds no lock of the component: FilterInternalOperation
// reads properties as they are at that moment.
#pragma once

#include <tessalune/frame/streams/QSFilterThread.h>
#include <tessalune/frame/streams/QSStreamPins.h>

#include <atomic>
#include <mutex>

namespace tessalune {

// A component with a lock for each side beside its own.
class TVBInputOutputLockComponent : public TLockComponent {
 public:
  explicit TVBInputOutputLockComponent(TConstruct AConstruct);

 protected:
  const TRef<IChangeNotifyLock> FInputLock;
  const TRef<IChangeNotifyLock> FOutputLock;
};

// The base of all filters with one input; publishes Threading.
class TQSBasicThreadedFilter : public TVBInputOutputLockComponent, public IFlushable {
 public:
  explicit TQSBasicThreadedFilter(TConstruct AConstruct);
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  TQSThreading& Threading() { return FThreading; }
  bool FlushQueue() override;

 protected:
  virtual bool IsEnabled() { return true; }
  // Works off one operation that was queued, on the filter's thread.
  virtual void FilterPump(IKLNotifyOperation& AOperation);
  // Processes a supplied operation, on the thread chosen.
  virtual TKLNotifyResult IntSingleOperation(IKLNotifyOperation& AOperation) = 0;
  virtual TKLNotifyResult IntSingleBufferOperation(TRef<IQSDataBuffer> ABuffer) = 0;
  // Chooses the thread: processes a supplied operation here, or queues it.
  virtual TKLNotifyResult BufferOperation(IKLNotifyOperation& AOperation, TKLNotifyState AState);
  virtual void EnabledChanged() {}
  // The end and the beginning of a stream. An override calls the inherited one.
  virtual void StreamStop();
  virtual void StreamStart();
  virtual TRef<IQSFilterThread> CreateProcessingThread();
  // What arrives at the input, in its order among the blocks.
  virtual TKLNotifyResult SinkDispatch(TKLBasicPin& ASender, TKLBasicPin* AOtherPin,
                                       const TGUID& ADataTypeID, IKLNotifyOperation& AOperation,
                                       TKLNotifyState AState);
  virtual TKLNotifyResult OutputPinsNotify(IKLNotifyOperation& AOperation);
  virtual TKLPin* GetOutputPin() { return nullptr; }

  void BeforeDestruction() override;

  // The event for an input pin: keeps what is no block behind the blocks that are queued, then
  // calls SinkDispatch. The pin has to live as long as the filter, so it is none of a list's.
  TKLNotifyEvent SinkEvent();

  std::atomic<bool> FRunning{false};  // between StreamStart and StreamStop

 private:
  TRef<IQSFilterThread> FilterThread();
  TRef<IQSFilterThread> ThreadForBlock();
  void EndThread();

  TQSThreading FThreading;
  std::mutex FThreadMutex;
  TRef<IQSFilterThread> FFilterThread;
  std::atomic<bool> FHasThread{false};
  bool FThreadsOver = false;  // the filter ends: no further thread
};

// A filter that can be switched off; publishes Enabled.
class TQSBasicThreadedEnableFilter : public TQSBasicThreadedFilter {
 public:
  using TQSBasicThreadedFilter::TQSBasicThreadedFilter;
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  // While false, blocks go through unchanged. Default true; takes effect with the next block.
  bool Enabled() const { return FEnabled; }
  virtual void SetEnabled(bool AValue);

 protected:
  bool IsEnabled() override { return FEnabled; }

  TField<bool> FEnabled;
};

// A filter whose output block has the type and the size of its input block.
class TQSBasicCommonFilter : public TQSBasicThreadedEnableFilter {
 public:
  using TQSBasicThreadedEnableFilter::TQSBasicThreadedEnableFilter;

 protected:
  TKLNotifyResult IntSingleBufferOperation(TRef<IQSDataBuffer> ABuffer) override;
  // Computes one block and submits the result. An empty AOutBuffer: the input block is the output
  // as well.
  virtual TKLNotifyResult IntBufferOperation(TRef<IQSDataBuffer> AInBuffer,
                                             TRef<IQSDataBuffer> AOutBuffer) = 0;
  // True if each output sample depends on nothing but the input sample of the same index: then a
  // block that nobody else holds is computed in place, AInBuffer and AOutBuffer being one block.
  virtual bool CanInline() { return false; }
};

// A filter that knows its stream's rate.
class TQSCommonFilter : public TQSBasicCommonFilter {
 public:
  using TQSBasicCommonFilter::TQSBasicCommonFilter;

  // In Hz, from the start of the stream on; 0 before the first.
  double SampleRate() const { return FSampleRate; }

 protected:
  TKLNotifyResult SinkDispatch(TKLBasicPin& ASender, TKLBasicPin* AOtherPin,
                               const TGUID& ADataTypeID, IKLNotifyOperation& AOperation,
                               TKLNotifyState AState) override;
  virtual void SetSampleRate(double AValue) { FSampleRate = AValue; }

  TField<double> FSampleRate;
};

// A filter of samples of type T between a pair of pins.
template <class T, class TSourcePin, class TSinkPin>
class TQSCommonTypedFilter : public TQSCommonFilter {
 public:
  using TBuffer = TQSTypedBuffer<T>;
  explicit TQSCommonTypedFilter(TConstruct AConstruct);
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  TSourcePin& OutputPin() { return FOutputPin; }
  TSinkPin& InputPin() { return FInputPin; }

 protected:
  TKLNotifyResult IntSingleOperation(IKLNotifyOperation& AOperation) override;
  TKLNotifyResult IntBufferOperation(TRef<IQSDataBuffer> AInBuffer,
                                     TRef<IQSDataBuffer> AOutBuffer) override;
  TKLPin* GetOutputPin() override { return &FOutputPin; }

  // What comes up from the sinks goes on up; without a link there a stop ends here, and the rest
  // goes to SinkDispatch.
  virtual TKLNotifyResult SourceDispatch(TKLBasicPin& ASender, TKLBasicPin* AOtherPin,
                                         const TGUID& ADataTypeID, IKLNotifyOperation& AOperation,
                                         TKLNotifyState AState);
  // Sees every block and, as a block of one, every single value, those of a disabled filter too:
  // for that one AOutBuffer is AInBuffer. ADoProcess: the output pin has a link.
  virtual void InternalOperation(const TRef<TBuffer>& AInBuffer, TRef<TBuffer>& AOutBuffer,
                                 bool ADoProcess, bool& ASendOutputData);
  // Computes a block. AOutBuffer comes as a copy of the input; it may be replaced, and what it
  // holds at the end is sent, unless ASendOutputData was cleared.
  virtual void FilterInternalOperation(const TRef<TBuffer>& AInBuffer, TRef<TBuffer>& AOutBuffer,
                                       bool& ASendOutputData) = 0;

  TSourcePin FOutputPin;
  TSinkPin FInputPin;
};

using TQSCommonComplexFilter =
    TQSCommonTypedFilter<TComplex, TQSKLComplexSourcePin, TQSKLComplexSinkPin>;
using TQSCommonIntegerFilter =
    TQSCommonTypedFilter<std::int32_t, TQSKLIntegerSourcePin, TQSKLIntegerSinkPin>;

extern template class TQSCommonTypedFilter<double, TQSKLComboRealSourcePin, TQSKLComboRealSinkPin>;
extern template class TQSCommonTypedFilter<TComplex, TQSKLComplexSourcePin, TQSKLComplexSinkPin>;
extern template class TQSCommonTypedFilter<std::int32_t, TQSKLIntegerSourcePin,
                                           TQSKLIntegerSinkPin>;

// A filter of real samples, in blocks or one by one.
class TQSCommonRealFilter
    : public TQSCommonTypedFilter<double, TQSKLComboRealSourcePin, TQSKLComboRealSinkPin> {
 public:
  using TQSCommonTypedFilter::TQSCommonTypedFilter;

 protected:
  TKLNotifyResult IntSingleOperation(IKLNotifyOperation& AOperation) override;
  // The single-value counterpart of InternalOperation; computes the value as a block of one.
  virtual void InternalFloatOperation(double AValue, double& AOutValue, bool& ASendOutputData);
};

}  // namespace tessalune
