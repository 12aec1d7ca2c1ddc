// What the tests of the frame stand on: a sink that keeps a record, a filter whose work a test
// gives, and small helpers.
#pragma once

#include "../support/Streams.h"

#include <tessalune/filters/QSApplyRealConst.h>
#include <tessalune/frame/runtime/QSMainThread.h>
#include <tessalune/frame/streams/QSValuePins.h>
#include <tessalune/sources/QSSignalGen.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace tessalune::testing {

// The text of the EQSException that a call raises; fails the test if it raises none.
template <class TCall>
std::string Refusal(TCall&& ACall) {
  try {
    ACall();
  } catch (const EQSException& Error) {
    return Error.what();
  }
  ADD_FAILURE() << "no EQSException";
  return {};
}

inline void ExpectAll(const std::string& AText, std::initializer_list<std::string_view> AParts) {
  for (const auto Part : AParts) {
    EXPECT_NE(AText.find(Part), std::string::npos) << "\"" << Part << "\" is not in: " << AText;
  }
}

// A gate between threads: opened once, waited for by any number.
class TLatch {
 public:
  void Open() {
    const std::lock_guard Lock(FMutex);
    FOpen = true;
    FChanged.notify_all();
  }
  void Wait() {
    std::unique_lock Lock(FMutex);
    FChanged.wait(Lock, [this] { return FOpen; });
  }

 private:
  std::mutex FMutex;
  std::condition_variable FChanged;
  bool FOpen = false;
};

// A place at which a call stands until it is told to go on.
struct TGate {
  void Stand() {
    Inside.Open();
    GoOn.Wait();
  }
  TLatch Inside;
  TLatch GoOn;
};

// Returns when the thread waits, through whatever, for this one: a wait for it would close a
// circle, and this kind is the first to give way.
inline void AwaitBlocked(TThreadKey AThread) {
  std::mutex Mutex;
  std::condition_variable Never;
  std::unique_lock Lock(Mutex);
  WaitUntilReady(
      TWaitKind::Room, Lock, Never,
      [AThread](TThreadKey AOther, const TCallFrame*) { return AOther == AThread; },
      [] { return false; });
}

// A thread whose key is known as soon as it is made.
class TKnownThread {
 public:
  explicit TKnownThread(std::function<void()> AWork)
      : FThread([this, Work = std::move(AWork)] {
          Key = CurrentThreadKey();
          FKnown.Open();
          Work();
        }) {
    FKnown.Wait();
  }
  ~TKnownThread() { Join(); }
  void Join() {
    if (FThread.joinable()) FThread.join();
  }
  TThreadKey Key = nullptr;

 private:
  TLatch FKnown;
  std::thread FThread;
};

// An input of the host's own that keeps a record: "start 44100", "new start 8000", "block",
// "value", "stop"; and the samples.
template <class TPin>
class TRecorder {
 public:
  TRecorder()
      : Pin({}, [this](TKLBasicPin&, TKLBasicPin*, const TGUID& ADataTypeID,
                       IKLNotifyOperation& AOperation, TKLNotifyState AState) {
          Receive(ADataTypeID, AOperation, AState);
          if (OnOperation) OnOperation(AOperation);
          return TKLNotifyResult{nrDataChanged};
        }) {}

  std::vector<std::string> Log() const {
    const std::lock_guard Lock(FMutex);
    return FLog;
  }
  std::vector<double> Samples() const {
    const std::lock_guard Lock(FMutex);
    return FSamples;
  }
  std::size_t Count(const std::string& AWhat) const {
    const auto All = Log();
    return static_cast<std::size_t>(std::count(All.begin(), All.end(), AWhat));
  }
  // Does AWork, after the record, at each operation of a kind, as IsBlock.
  void On(bool (*AKind)(IKLNotifyOperation&), std::function<void()> AWork) {
    OnOperation = [AKind, Work = std::move(AWork)](IKLNotifyOperation& AOperation) {
      if (AKind(AOperation)) Work();
    };
  }
  // Returns when at least so many entries of that kind have come.
  void WaitFor(const std::string& AWhat, std::ptrdiff_t ACount) const {
    std::unique_lock Lock(FMutex);
    FChanged.wait(Lock, [&] { return std::count(FLog.begin(), FLog.end(), AWhat) >= ACount; });
  }

  std::function<void(IKLNotifyOperation&)> OnOperation;  // after the record
  TGUID LastType;

 private:
  void Receive(const TGUID& ADataTypeID, IKLNotifyOperation& AOperation, TKLNotifyState AState) {
    const std::lock_guard Lock(FMutex);
    LastType = ADataTypeID;
    const std::string New = AState.Has(nsNewLink) ? "new " : "";
    if (AOperation.IsType<TKLStartSampleRateOperation>()) {
      const double Rate = AOperation.GetInstance<TKLStartSampleRateOperation>().Rate;
      FLog.push_back(New + "start " + NumberText(Rate));
    } else if (AOperation.IsType<TKLStartRateOperation>()) {
      const double Rate = AOperation.GetInstance<TKLStartRateOperation>().Rate;
      FLog.push_back(New + "value start " + NumberText(Rate));
    } else if (AOperation.IsType<TKLSuppliedBufferOperation>()) {
      FLog.push_back("block");
      const auto& Value = AOperation.GetInstance<TKLSuppliedBufferOperation>().Value;
      if (Value->AsDataBuffer()->GetDataTypeID() == RealStream.ID) {
        const auto Block = TQSRealBuffer::CreateUniversal(Value);
        FSamples.insert(FSamples.end(), Block->Read(), Block->Read() + Block->GetSize());
      }
    } else if (AOperation.IsType<TKLTypedSuppliedOperation<double>>()) {
      FLog.push_back("value");
      FSamples.push_back(AOperation.GetInstance<TKLTypedSuppliedOperation<double>>().Value);
    } else if (AOperation.IsType<TKLStopOperation>()) {
      FLog.push_back(New + "stop");
    }
    FChanged.notify_all();
  }

  mutable std::mutex FMutex;
  mutable std::condition_variable FChanged;
  std::vector<std::string> FLog;
  std::vector<double> FSamples;

 public:
  TPin Pin;  // last: gone before what its handler uses
};

using TRealRecorder = TRecorder<TQSKLRealSinkPin>;
using TLog = std::vector<std::string>;

// Links the output of each to the input of the next: components, recorders, pins.
template <class TSource, class TSink, class... TMore>
void Link(TSource& ASource, TSink& ASink, TMore&... AMore) {
  const auto ConnectTo = [&](TKLBasicPin& AInput) {
    if constexpr (requires { ASource.OutputPin(); })
      ASource.OutputPin().Connect(AInput);
    else
      ASource.Connect(AInput);
  };
  if constexpr (requires { ASink.InputPin(); })
    ConnectTo(ASink.InputPin());
  else if constexpr (requires { ASink.Pin; })
    ConnectTo(ASink.Pin);
  else
    ConnectTo(ASink);
  if constexpr (sizeof...(TMore) > 0) Link(ASink, AMore...);
}
inline bool IsBlock(IKLNotifyOperation& AOperation) {
  return AOperation.IsType<TKLSuppliedOperation>();
}
inline bool IsStart(IKLNotifyOperation& AOperation) {
  return AOperation.IsType<TKLStartOperation>();
}
inline bool IsStop(IKLNotifyOperation& AOperation) { return AOperation.IsType<TKLStopOperation>(); }

// A real filter that passes its input on behind a hook of the test's.
class THookFilter final : public TQSCommonRealFilter {
 public:
  using TQSCommonRealFilter::TQSCommonRealFilter;
  static const TPublishedTable& Published() {
    static const TPublishedTable Table =
        TPublishedTable({.Name = "THookFilter"}, &TQSCommonRealFilter::Published());
    return Table;
  }
  const TPublishedTable& PublishedTable() const override { return Published(); }

  std::function<void()> OnBlock;  // set while no stream runs

 protected:
  void FilterInternalOperation(const TRef<IQSRealBuffer>&, TRef<IQSRealBuffer>&, bool&) override {
    if (OnBlock) OnBlock();
  }
};

// A generator that a test pumps, of a slow tone.
inline TOwned<TQSSignalGen> PumpedGen(std::int32_t ABufferSize = 16) {
  auto Gen = Create<TQSSignalGen>();
  Gen->SetClockSource(TQSClockSource::csExternal);
  Gen->SetBufferSize(ABufferSize);
  return Gen;
}

// Keeps what reaches the unhandled-exception hook while it exists.
class THookRecord {
 public:
  THookRecord() {
    SetUnhandledExceptionHook([this](TObject* ASender, std::exception_ptr AError) {
      const std::lock_guard Lock(FMutex);
      FTexts.push_back((ASender != nullptr ? ASender->Describe() + ": " : "") +
                       ExceptionText(AError));
    });
  }
  THookRecord(const THookRecord&) = delete;
  ~THookRecord() { SetUnhandledExceptionHook({}); }
  std::vector<std::string> Texts() const {
    const std::lock_guard Lock(FMutex);
    return FTexts;
  }

 private:
  mutable std::mutex FMutex;
  std::vector<std::string> FTexts;
};

}  // namespace tessalune::testing
