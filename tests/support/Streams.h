// Both ends of a stream, held by the test: what feeds a component and what watches it.
#pragma once

#include <tessalune/frame/runtime/QSMainThread.h>
#include <tessalune/frame/streams/QSStreamPins.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <utility>
#include <vector>

namespace tessalune::test {

template <class T>
std::vector<T> Samples(const TQSTypedBuffer<T>& ABlock) {
  return {ABlock.Read(), ABlock.Read() + ABlock.GetSize()};
}

// A pin's handler that leaves each operation to ADo.
inline TKLNotifyEvent Hear(std::function<void(IKLNotifyOperation&)> ADo) {
  return [Do = std::move(ADo)](auto&, auto*, auto&, IKLNotifyOperation& AOperation, auto) {
    Do(AOperation);
    return TKLNotifyResult{};
  };
}

// A source of blocks of type T.
template <class T>
struct TFeed {
  TQSKLTypedSourcePin<TSampleTraits<T>::Type> Pin{TKLPinOwner{}};

  explicit TFeed(TKLBasicPin& ASink) { Pin.Connect(ASink); }
  void Start(double ARate = 1000.0) { Pin.Notify(MakeRef<TKLStartSampleRateOperation>(ARate)); }
  void Send(const std::vector<T>& ABlock) {
    Pin.SubmitBuffer(
        TQSTypedBuffer<T>::CreateData(ABlock.data(), static_cast<std::int32_t>(ABlock.size())));
  }
  // A stream in blocks of these sizes, over and over.
  void SendCut(const std::vector<T>& AStream, const std::vector<std::ptrdiff_t>& ASizes) {
    auto At = AStream.begin();
    for (std::size_t I = 0; At != AStream.end(); ++I) {
      const auto Begin = At;
      At += std::min(ASizes[I % ASizes.size()], AStream.end() - At);
      Send({Begin, At});
    }
  }
  void Stop() { Pin.EndStop(); }
};

// A sink of blocks of type T that remembers what it got.
template <class T>
struct TProbe {
  std::vector<std::vector<T>> Blocks;
  TRef<IQSData> LastPacket;
  std::vector<double> StartRates;
  int Stops = 0;
  TQSKLTypedSinkPin<TSampleTraits<T>::Type> Pin{TKLPinOwner{}, Hear([this](auto& A) { Take(A); })};

  TProbe() = default;
  explicit TProbe(TKLBasicPin& ASource) { Pin.Connect(ASource); }

  // All samples, one block behind the other.
  std::vector<T> Stream() const {
    std::vector<T> All;
    for (const auto& Block : Blocks) All.insert(All.end(), Block.begin(), Block.end());
    return All;
  }

 private:
  void Take(IKLNotifyOperation& AOperation) {
    if (AOperation.IsType<TKLSuppliedBufferOperation>()) {
      LastPacket = AOperation.GetInstance<TKLSuppliedBufferOperation>().Value;
      Blocks.push_back(Samples(*TQSTypedBuffer<T>::CreateUniversal(LastPacket)));
    } else if (AOperation.IsType<TKLStartSampleRateOperation>()) {
      StartRates.push_back(AOperation.GetInstance<TKLStartSampleRateOperation>().Rate);
    } else if (AOperation.IsType<TKLStopOperation>()) {
      ++Stops;
    }
  }
};

// Runs what is queued for the main thread, and what that queues.
inline void RunMainThread() {
  while (MainThread().Process() > 0) {
  }
}

}  // namespace tessalune::test
