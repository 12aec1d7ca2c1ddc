// Blocks out of others: one out of many, and a stream in blocks of one size.
#pragma once

#include <tessalune/frame/pins/KLOperations.h>
#include <tessalune/frame/streams/QSSimpleDataBuffer.h>

#include <cstdint>
#include <deque>
#include <functional>
#include <string_view>

namespace tessalune {

// Gathers the samples of a stream, of any sample type, into one block. Its memory grows with the
// samples that have come, not with the size that the block is to have. One thread at a time.
class TQSBlockBuilder {
 public:
  std::int32_t Held() const { return FHeld; }  // samples

  // Takes the samples of ABlock from the index AFrom on, as many as are lacking to ASize, and
  // returns how many. Samples of another type that are held are dropped first. Throws
  // std::bad_alloc, and has taken nothing then.
  std::int32_t Take(const IQSDataBuffer& ABlock, std::int32_t AFrom, std::int32_t ASize);

  // Hands out the block; nothing is held then. Only if something is.
  TRef<IQSGenericBuffer> Release();

  void Clear();

 private:
  TRef<IQSGenericBuffer> FBlock;
  std::int32_t FHeld = 0;
};

// A stream, of any sample type, in blocks of one size: the same samples in the same order. For the
// thread that delivers the stream. A block that the receiver of one brings about from inside, by a
// pump of its own, comes behind the one that is being cut.
class TQSBlockCutter {
 public:
  using TSend = std::function<TKLNotifyResult(TRef<IQSDataBuffer>)>;
  // For messages: whose it is, and which of its properties is the size.
  TQSBlockCutter(const TObject& AOwner, std::string_view AProperty, TSend ASend)
      : FOwner(AOwner), FProperty(AProperty), FSend(std::move(ASend)) {}

  // Sends what is full, in blocks of ASize samples, and holds the rest. A size that is less than
  // what is held loses no sample. Raises EQSException if there is no memory for what is held.
  TKLNotifyResult Cut(TRef<IQSDataBuffer> ABlock, std::int32_t ASize);
  // Forgets what is held; also inside Cut, which then ends.
  void Restart();

 private:
  TKLNotifyResult CutOne(TRef<IQSDataBuffer> ABlock, std::int32_t ASize);
  std::int32_t Hold(const IQSDataBuffer& ABlock, std::int32_t AFrom, std::int32_t ASize);

  const TObject& FOwner;
  const std::string_view FProperty;
  const TSend FSend;
  TQSBlockBuilder FBuilder;
  std::uint64_t FStream = 0;                 // counts the restarts
  bool FCuts = false;                        // a block is being cut
  std::deque<TRef<IQSDataBuffer>> FWaiting;  // came from inside it, and come behind it
};

}  // namespace tessalune
