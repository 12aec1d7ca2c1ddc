#pragma once

#include <tessalune/control/QSControlFilter.h>
#include <tessalune/frame/streams/QSBlockBuilder.h>

#include <atomic>
#include <cstdint>
#include <functional>

namespace tessalune {

using TQSSnapshotEvent = std::function<void(TObject& ASender, TRef<IQSGenericBuffer> ABuffer)>;

// Lets a stream of any sample type pass by and, each time it is told to, catches the next
// SnapShotSize samples in one block, from the first sample of the next block on. Between snapshots
// the output is silent; it has the starts, with the stream's rate, and the stops of the input. The
// memory grows with the samples caught, not with the number that SnapShotSize is.
//
// A start, a new SnapShotSize and a snapshot that is complete (behind OnSnapshot and the output's
// sinks) end what was asked for: a request from a handler of OnSnapshot is lost, one on behalf of
// the next block is made behind the block. A request while one is open changes nothing. Disabled,
// it catches nothing and keeps request and samples: a snapshot may then have a gap. Blocks are
// handled on the thread that delivers them, whatever Threading says.
class TQSSnapshot : public TQSControlFilter {
 public:
  explicit TQSSnapshot(TConstruct AConstruct);
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  // Asks for a snapshot. Any thread.
  void Snapshot() { TakeSnapshot(); }
  // Each tick asks for a snapshot; every stream can tick.
  TKLClockMultiSinkPin& SnapshotPin() { return FSnapshotPin; }

  // Samples; at least 1, default 1024. A new size cancels the snapshot in hand.
  std::int32_t SnapShotSize() const { return FBufferSize; }
  void SetSnapShotSize(std::int32_t AValue);

  // A snapshot is complete; fires on the thread that delivers the stream, before the block goes
  // out.
  void SetOnSnapshot(TQSSnapshotEvent AHandler);

 protected:
  TKLNotifyResult SinkDispatch(TKLBasicPin& ASender, TKLBasicPin* AOtherPin,
                               const TGUID& ADataTypeID, IKLNotifyOperation& AOperation,
                               TKLNotifyState AState) override;
  void StreamStart() override;
  TKLNotifyResult IntSingleBufferOperation(TRef<IQSDataBuffer> ABuffer) override;

 private:
  void TakeSnapshot() { FCollecting = true; }
  void Cancel();
  void Process();

  TKLClockMultiSinkPin FSnapshotPin;
  TField<std::int32_t> FBufferSize;
  TEvent<TQSSnapshotEvent> FOnSnapshot;
  std::atomic<bool> FCollecting{false};  // a snapshot was asked for and is not complete
  std::atomic<bool> FForgets{false};     // what was caught counts no more
  TQSBlockBuilder FBuilder;              // of the thread that delivers the stream
};

namespace QSSnapshot {
void RegisterPkg();
}

}  // namespace tessalune
