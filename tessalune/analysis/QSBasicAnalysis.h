// The base of the analysers: sinks that reduce each block of real samples to one result.
//
// The result is worked out on the thread that delivers the block, outside any lock; pins and events
// show it there or on the main thread, as SynchronizeType says. They are never shown on two threads
// at once, and a result that a handler brings about from inside comes behind the one at hand. A
// single value is a block of one sample; a block of no samples gives no result.
//
// A start and a stop drop the results that still wait for the main thread. They do not travel on:
// the output pins begin a stream of their own, of single values.
#pragma once

#include <tessalune/analysis/QSRealQueue.h>
#include <tessalune/frame/runtime/QSReports.h>
#include <tessalune/frame/streams/QSStreamPins.h>
#include <tessalune/frame/streams/QSValuePins.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <string_view>
#include <utility>
#include <vector>

namespace tessalune {

// How results reach pins and events; in order from 0.
enum class TQSSynchronizeType : std::uint8_t {
  stNone,          // at once, on the thread that delivers the block
  stSingleBuffer,  // on the main thread, the newest result only
  stQueue,         // on the main thread, every result in order
};
template <>
struct TEnumNames<TQSSynchronizeType> {
  static constexpr std::array<std::string_view, 3> Names{"stNone", "stSingleBuffer", "stQueue"};
};

class TQSBasicAnalysis : public TLockComponent, public ILossReport {
 public:
  using TLockComponent::TLockComponent;
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  // Default stSingleBuffer; takes effect with the next block.
  TQSSynchronizeType SynchronizeType() const { return FSynchronizeType; }
  void SetSynchronizeType(TQSSynchronizeType AValue);

  // Results that stQueue had to drop since the stream began: 65536 may wait for the main thread,
  // beyond that the oldest goes.
  std::int64_t Dropped() const { return FDropped; }
  std::vector<TLoss> Losses() const override;

 protected:
  static constexpr std::int32_t MostWaiting = 65536;

  // Has DoSyncNotify run on the main thread, once for all calls that come before it does.
  void NotifyLater();
  // Reports what waits.
  virtual void DoSyncNotify() = 0;

  TField<TQSSynchronizeType> FSynchronizeType;
  TField<std::int64_t> FDropped;

 private:
  std::atomic<bool> FIsNotifying{false};
};

// An analyser with results of type T.
template <class T>
class TQSTypedBasicAnalysis : public TQSBasicAnalysis {
 public:
  explicit TQSTypedBasicAnalysis(TConstruct AConstruct)
      : TQSBasicAnalysis(AConstruct),
        FInputPin({*this, FLock},
                  [this](TKLBasicPin&, TKLBasicPin*, const TGUID&, IKLNotifyOperation& AOperation,
                         TKLNotifyState) { return SinkDispatch(AOperation); }) {}
  static const TPublishedTable& Published() {
    static const TPublishedTable Table =
        TPublishedTable({.Name = "TQSTypedBasicAnalysis"}, &TQSBasicAnalysis::Published())
            .Pin("InputPin", &TQSTypedBasicAnalysis::InputPin,
                 "The stream to measure, in blocks or single values.", true);
    return Table;
  }
  const TPublishedTable& PublishedTable() const override { return Published(); }

  TQSKLComboRealSinkPin& InputPin() { return FInputPin; }

 protected:
  // Reduces a block, which has at least one sample; on the thread that delivers it.
  virtual T CalculateValue(const TRef<IQSRealBuffer>& ABuffer) = 0;
  // Shows a result on pins and events.
  virtual void ReportResult(const T& AValue) = 0;
  // Passes on an operation that the analyser does not handle.
  virtual TKLNotifyResult DispatchOutputOperation(IKLNotifyOperation& AOperation) = 0;

  TQSKLComboRealSinkPin FInputPin;

 private:
  struct TReporting {
    std::atomic<bool>& Reports;
    ~TReporting() { Reports = false; }
  };

  TKLNotifyResult SinkDispatch(IKLNotifyOperation& AOperation);
  void Process(const TRef<IQSRealBuffer>& ABuffer);
  void Report();
  void DoSyncNotify() override;

  TQSTypedDataQueue<T> FResultsQueue;
  std::atomic<bool> FReports{false};  // some thread is in ReportResult, and takes what waits
};

// An analyser whose result is one number.
class TQSBasicRealAnalysis : public TQSTypedBasicAnalysis<double> {
 public:
  explicit TQSBasicRealAnalysis(TConstruct AConstruct);
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  // Holds the result. It begins with 0 and keeps the last one from stream to stream; a result that
  // is the same as the one held is not told. NaN differs from everything.
  TKLRealSourcePin& OutputPin() { return FOutputPin; }

  // The result has changed, and OutputPin has sent it.
  void SetOnValueChange(TQSRealNotifyEvent AHandler);

 protected:
  void ReportResult(const double& AValue) override;
  TKLNotifyResult DispatchOutputOperation(IKLNotifyOperation& AOperation) override;

 private:
  TKLRealSourcePin FOutputPin;
  TEvent<TQSRealNotifyEvent> FOnValueChange;
};

// --- implementation of the template ---

template <class T>
TKLNotifyResult TQSTypedBasicAnalysis<T>::SinkDispatch(IKLNotifyOperation& AOperation) {
  if (AOperation.IsType<TKLStartOperation>()) {
    FDropped = 0;
    FResultsQueue.Clear();
  } else if (AOperation.IsType<TKLStopOperation>()) {
    FResultsQueue.Clear();
  } else if (AOperation.IsType<TKLSuppliedBufferOperation>()) {
    Process(TQSRealBuffer::CreateUniversal(
        AOperation.GetInstance<TKLSuppliedBufferOperation>().Take()));
  } else if (AOperation.IsType<TKLTypedSuppliedOperation<float>>()) {
    const float Value = AOperation.GetInstance<TKLTypedSuppliedOperation<float>>().Value;
    Process(TQSRealBuffer::CreateSingleData(&Value, 1));
  } else if (AOperation.IsType<TKLTypedSuppliedOperation<double>>()) {
    const double Value = AOperation.GetInstance<TKLTypedSuppliedOperation<double>>().Value;
    Process(TQSRealBuffer::CreateData(&Value, 1));
  } else {
    return DispatchOutputOperation(AOperation);
  }
  return {};
}

template <class T>
void TQSTypedBasicAnalysis<T>::Process(const TRef<IQSRealBuffer>& ABuffer) {
  if (ABuffer->GetSize() == 0) return;
  T Value = CalculateValue(ABuffer);
  const TQSSynchronizeType Type = FSynchronizeType;
  if (Type == TQSSynchronizeType::stNone && FResultsQueue.Count() == 0 &&
      !FReports.exchange(true)) {
    const TReporting Reporting{FReports};
    ReportResult(Value);
  } else {
    if (Type == TQSSynchronizeType::stSingleBuffer) FResultsQueue.Clear();
    if (FResultsQueue.Count() >= MostWaiting) {
      T Oldest{};
      if (FResultsQueue.Pop(Oldest)) FDropped = FDropped + 1;
    }
    FResultsQueue.Add(std::move(Value));
  }
  if (Type == TQSSynchronizeType::stNone) {
    Report();
  } else {
    NotifyLater();
  }
}

// Reports what waits, unless a thread is at it; that one takes it then.
template <class T>
void TQSTypedBasicAnalysis<T>::Report() {
  while (FResultsQueue.Count() > 0 && !FReports.exchange(true)) {
    const TReporting Reporting{FReports};
    T Value{};
    while (FResultsQueue.Pop(Value)) ReportResult(Value);
  }
}

template <class T>
void TQSTypedBasicAnalysis<T>::DoSyncNotify() {
  try {
    Report();
  } catch (...) {
    // What a handler throws belongs to the main thread; the results behind are still to be told.
    if (FResultsQueue.Count() > 0) NotifyLater();
    throw;
  }
}

extern template class TQSTypedBasicAnalysis<double>;

}  // namespace tessalune
