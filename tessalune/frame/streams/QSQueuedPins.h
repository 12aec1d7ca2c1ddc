// Inputs that keep what comes until the component's other inputs have something to match it.
#pragma once

#include <tessalune/frame/streams/QSStreamPins.h>
#include <tessalune/frame/streams/QSStretch.h>
#include <tessalune/frame/streams/QSVariantStorages.h>

#include <cstdint>
#include <mutex>
#include <utility>

namespace tessalune {

class TQSMultiInput;

// What one input gives to a row of output samples.
struct TQSInputPiece {
  TRef<IQSDataBuffer> Block;  // null: there is no stream on the input
  std::int32_t Offset = 0;    // where the piece begins in the block
  std::int32_t Count = 0;     // samples of the input
  TQSStretch Stretch{};       // from them to those of the output
};

// The streams of one input in the order of their coming, and the blocks of all of them. A stream
// that has ended stays until its samples have been taken; the next one begins behind it. All of it
// under the mutex of the component.
class TQSKLQueuedPinImpl {
 public:
  using TGone = TQSBufferQueue<IQSDataBuffer>::TGone;

  TQSKLQueuedPinImpl() = default;
  TQSKLQueuedPinImpl(const TQSKLQueuedPinImpl&) = delete;

  virtual TKLBasicPin& Pin() = 0;
  // Sends an operation upstream, with the mutex left meanwhile; the pin may have gone on return.
  virtual TKLNotifyResult Ask(IKLNotifyOperation& AOperation,
                              std::unique_lock<std::mutex>& AMutex) = 0;

  // A packet as a block of the pin's type.
  virtual TRef<IQSDataBuffer> AsBlock(TRef<IQSData> APacket) const = 0;

  // --- what comes ---

  // A stream begins. The result tells by how many the streams became more.
  int StartRate(double ARate);
  // The block goes to the stream that came last, which has to be open.
  void AddBuffer(TRef<IQSDataBuffer> ABlock, TGone& AGone);
  // The stream that came last has no more.
  void Stop();
  // Forgets all of it. The result tells how many streams went.
  int ClearStopping(TGone& AGone);

  // --- what is there ---

  // A stream is there, if only one that has ended and is not used up.
  bool IsRunning() const { return !FStreams.IsEmpty(); }
  // A stream is there that goes on.
  bool IsOpen() const { return IsRunning() && !FStreams[FStreams.Count() - 1].HasEnded; }
  // The rate of the first stream; 0 if it was not told.
  double GetRate() const { return FStreams.First().Rate; }
  std::int64_t CollectedSamples() const { return FBufferQueue.CollectedSamples(); }

  // Takes those streams away that are used up, and begins with the next one at the next sample of
  // an output of rate AOutputRate. The result tells how many streams went.
  int Settle(double AOutputRate);
  // How many output samples there are to the next border: the end of a block or of the stream; 0 if
  // what comes next is not known yet. Behind Settle, while IsRunning.
  std::int64_t NextBorder() const;
  // What belongs to the next ACount output samples, at most NextBorder; Advance goes behind them.
  TQSInputPiece Piece(std::int32_t ACount) const;
  void Advance(std::int32_t ACount, TGone& AGone);

  // --- what the component keeps of the input ---

  bool IsIgnored = false;    // its source has said that it has no data
  bool IsAsked = false;      // whether it has
  std::int64_t Dropped = 0;  // samples
  double ThinnedRate = 0.0;  // of a stream that is faster than the output; 0: there was none

 protected:
  ~TQSKLQueuedPinImpl() = default;
  // A block of the pin's type.
  virtual TRef<IQSDataBuffer> NewBlock(std::int32_t ASize) const = 0;

 private:
  struct TStream {
    double Rate = 0.0;
    std::int64_t Held = 0;     // samples in the queue, the first of them at the place reached
    std::int64_t Overdue = 0;  // or the place is so many samples behind what has come
    bool HasEnded = false;
    bool HasBegun = false;
    TQSStretch Stretch{};
  };

  void SkipOverdue(TStream& AStream, TGone& AGone);

  TQSRing<TStream> FStreams;
  TQSBufferQueue<IQSDataBuffer> FBufferQueue;
};

// An input of samples of type T.
template <class T>
class TQSKLQueuedSinkPin final : public TQSKLTypedSinkPin<TSampleTraits<T>::Type>,
                                 public TQSKLQueuedPinImpl {
  using TBase = TQSKLTypedSinkPin<TSampleTraits<T>::Type>;

 public:
  explicit TQSKLQueuedSinkPin(TQSMultiInput& AOwner);
  ~TQSKLQueuedSinkPin() override;

  TKLBasicPin& Pin() override { return *this; }
  TKLNotifyResult Ask(IKLNotifyOperation& AOperation,
                      std::unique_lock<std::mutex>& AMutex) override;
  TRef<IQSDataBuffer> AsBlock(TRef<IQSData> APacket) const override {
    return TQSTypedBuffer<T>::CreateUniversal(std::move(APacket));
  }

 protected:
  TRef<IQSDataBuffer> NewBlock(std::int32_t ASize) const override {
    return TQSTypedBuffer<T>::CreateSize(ASize);
  }

 private:
  TQSMultiInput& FMultiInput;
};

using TQSKLQueuedRealSinkPin = TQSKLQueuedSinkPin<double>;
using TQSKLQueuedComplexSinkPin = TQSKLQueuedSinkPin<TComplex>;

}  // namespace tessalune
