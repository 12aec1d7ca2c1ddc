#pragma once

#include <tessalune/control/QSControlFilter.h>
#include <tessalune/frame/streams/QSBlockBuilder.h>

#include <atomic>
#include <cstdint>
#include <mutex>

namespace tessalune {

// A stream of any sample type in blocks of BufferSize samples, however it came in: the same samples
// in the same order. A block goes out as soon as it is full; what is held when the stream stops is
// dropped at the next start. Empty blocks change nothing. The memory grows with what is held, not
// with the number that BufferSize is.
//
// Disabled, it lets blocks through as they are and keeps what it holds: enabled again it goes on
// filling. While the output leads nowhere nothing collects. Blocks are handled on the thread that
// delivers them, whatever Threading says.
//
// A pump behind it that asks for a block gets one: as many blocks are asked for upstream as it
// takes until one goes out. They are asked for one after the other, not each inside the one before,
// and a request from inside a block that a request brought is served when that block has left; so
// no request makes the stack deeper. Where a filter with a thread of its own lies upstream, the
// further blocks are asked for when the ones before have arrived. A request that brings no block,
// since the source pauses, stays open until blocks come or the stream starts anew.
class TQSRepack : public TQSControlFilter {
 public:
  explicit TQSRepack(TConstruct AConstruct);
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  // Samples; at least 1, default 1024. Takes effect with the next block, and what is held by then
  // goes out in blocks of the new size: no sample is lost.
  std::int32_t BufferSize() const { return FBufferSize; }
  void SetBufferSize(std::int32_t AValue);

 protected:
  TKLNotifyResult SourceDispatch(TKLBasicPin& ASender, TKLBasicPin* AOtherPin,
                                 const TGUID& ADataTypeID, IKLNotifyOperation& AOperation,
                                 TKLNotifyState AState) override;
  void StreamStart() override;
  TKLNotifyResult IntSingleBufferOperation(TRef<IQSDataBuffer> ABuffer) override;

 private:
  void MasterPump(const TKLMasterPumpOperation& ARequest);
  void AskUpstream();
  void BlockArrived();
  TKLNotifyResult Send(TRef<IQSDataBuffer> ABlock);

  TField<std::int32_t> FBufferSize;

  TQSBlockCutter FCutter;  // of the thread that delivers the stream

  // Requests. Nothing is held while upstream is asked.
  std::atomic<bool> FIsPumped{false};  // a request has come since the start
  std::mutex FPumpMutex;
  TObject* FMasterPump = nullptr;  // who asked last; passed on only
  std::uint32_t FLastOperationID = 0;
  std::uint64_t FOpen = 0;      // requests that no block has gone out for
  std::uint64_t FArrivals = 0;  // blocks with samples
  bool FIsAsking = false;       // some thread is in AskUpstream
};

namespace QSRepack {
void RegisterPkg();
}

}  // namespace tessalune
