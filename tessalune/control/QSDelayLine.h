#pragma once

#include <tessalune/control/QSControlFilter.h>
#include <tessalune/frame/streams/QSDelayQueue.h>
#include <tessalune/frame/streams/QSDelayValue.h>

#include <atomic>
#include <cstdint>

namespace tessalune {

// A stream of any sample type, later: each output block has the size of its input block, and holds
// the samples that came DelayValue before. A stream begins with zeros for as long. A block before
// the first start goes through as it is.
//
// The cost of a sample does not depend on the delay, and the memory grows with what has come in,
// not with the number that DelayValue holds. Memory that is not to be had is an EQSException to
// whoever delivers the block.
//
// Disabled, it lets blocks through unchanged and forgets what waits: enabled again it begins with
// zeros. While the output leads nowhere it stands still. Blocks are handled on the thread that
// delivers them, whatever Threading says.
class TQSDelayLine : public TQSControlFilter {
 public:
  explicit TQSDelayLine(TConstruct AConstruct);
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  // Takes effect with the next block, without a new start: a longer delay repeats the newest sample
  // that waits (raised from 0: zeros), a shorter one leaves the newest samples out.
  TQSDelayValue& DelayValue() { return FDelayValue; }

  void SetEnabled(bool AValue) override;

 protected:
  void StreamStart() override;
  TKLNotifyResult IntSingleBufferOperation(TRef<IQSDataBuffer> ABuffer) override;

 private:
  void CalculateDelay();
  void FollowDelay(const IQSDataBuffer& ABlock);

  TQSDelayValue FDelayValue;
  TField<std::int64_t> FSamplesDelay;  // valid from the first start on
  std::atomic<bool> FForgets{false};   // what waits counts no more
  // Of the thread that delivers the stream.
  TQSDelayQueue FQueue;
  TGUID FQueueType{};  // of the samples in the queue
};

namespace QSDelayLine {
void RegisterPkg();
}

}  // namespace tessalune
