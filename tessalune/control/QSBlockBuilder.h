// One block out of many.
#pragma once

#include <tessalune/frame/streams/QSSimpleDataBuffer.h>

#include <cstdint>

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

}  // namespace tessalune
