#pragma once

#include <tessalune/frame/streams/QSMultiInput.h>

#include <cstdint>
#include <span>

namespace tessalune {

// One level of the Haar transform of a real stream. Of each pair a, b of samples the coarse band
// gets the mean (a + b) / 2 and the detail band half the difference (b - a) / 2, as accurate as
// ippsWTHaarFwd_64f. A block gives a block of half its size on either output, the detail band
// first; the lone sample of an odd block waits for the next block, so the pairs do not depend on
// how the stream is cut. What is too short for a pair gives no block.
//
// Both bands keep the rate of the input in their start, though they have half as many samples a
// block: TQSInverseHaar makes of half a block of each band a block again. While neither output is
// linked nothing is computed. Blocks are computed on the thread that delivers them.
class TQSHaar : public TLockComponent {
 public:
  explicit TQSHaar(TConstruct AConstruct);
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  TQSKLRealSinkPin& InputPin() { return FInputPin; }
  TQSKLRealSourcePin& DetailOutputPin() { return FDetailOutputPin; }
  TQSKLRealSourcePin& CoarseOutputPin() { return FCoarseOutputPin; }

 private:
  TKLNotifyEvent SourceEvent();
  TKLNotifyResult SinkDispatch(IKLNotifyOperation& AOperation);
  void InternalOperation(TRef<IQSRealBuffer> AInBuffer);

  TQSKLRealSinkPin FInputPin;
  TQSKLRealSourcePin FDetailOutputPin;
  TQSKLRealSourcePin FCoarseOutputPin;

  // Of the thread that delivers the stream.
  bool FHasLone = false;
  double FLone = 0.0;
};

// Joins the two bands of TQSHaar again: of each detail d and coarse value c two samples, c - d and
// c + d, which is the stream that was split, within the last bit or two. Half a block of each band
// makes a block. Behind TQSHaar all samples come back but a lone one at the stream's end.
//
// QSMultiInput.h tells how the bands meet, how blocks are cut, and what happens where rates, starts
// and ends differ; an odd OutputBuffer.Size is rounded up. A band that is not linked, or has ended
// or not begun, counts as zeros.
class TQSInverseHaar : public TQSRealMultiInput {
 public:
  explicit TQSInverseHaar(TConstruct AConstruct);
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  TQSKLQueuedRealSinkPin& DetailInputPin() { return FDetailInputPin; }
  TQSKLQueuedRealSinkPin& CoarseInputPin() { return FCoarseInputPin; }

 protected:
  std::int32_t OutputsPerInput() const override { return 2; }
  bool Calculate(std::span<const double* const> AInputs, double* AOut,
                 std::int32_t ACount) override;

 private:
  TQSKLQueuedRealSinkPin FDetailInputPin;
  TQSKLQueuedRealSinkPin FCoarseInputPin;
};

namespace QSHaar {
void RegisterPkg();
}

}  // namespace tessalune
