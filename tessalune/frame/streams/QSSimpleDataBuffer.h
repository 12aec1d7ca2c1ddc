// Blocks of samples: reference-counted, copy-on-write, their storage recycled.
//
// A block is one packet of a stream. Several holders may share one block by reference, and several
// blocks may share one storage: a copy of a block costs no copy of samples until somebody writes.
//   Read    gives the samples to read
//   Write   gives storage to overwrite: its content is undefined if it was shared
//   Modify  gives storage to change: its content is the block's
// Write and Modify make shared storage private first, so no other holder sees the change. A pointer
// is good until the block is next written, resized or released.
//
// A block may be read by any number of threads; one that writes must be the only one to use that
// block object (other blocks on the same storage may go on).
//
// A block of samples of type T answers GetDataTypeID with T's stream type; TQSLinearMemoryBuffer
// answers with the empty identifier: plain memory that each receiver takes for what it expects.
#pragma once

#include <tessalune/frame/runtime/QSData.h>
#include <tessalune/frame/runtime/QSGuid.h>
#include <tessalune/frame/streams/QSStreamTypes.h>
#include <tessalune/primitives/QSBasicDispatcher.h>
#include <tessalune/primitives/QSDispatcher.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <limits>

namespace tessalune {

// Shared memory of blocks, aligned to 64 bytes.
class TQSStorage {
 public:
  // Throws std::bad_alloc.
  static TQSStorage* New(std::size_t ABytes);

  void AddRef() noexcept { FReferences.fetch_add(1, std::memory_order_relaxed); }
  void Release() noexcept;
  bool IsShared() const noexcept { return FReferences.load(std::memory_order_acquire) != 1; }
  std::size_t Capacity() const noexcept { return FCapacity; }
  void* Data() noexcept { return reinterpret_cast<std::byte*>(this) + sizeof(TQSStorage); }

 private:
  explicit TQSStorage(std::size_t ACapacity) noexcept : FCapacity(ACapacity) {}
  std::atomic<std::uint32_t> FReferences{1};
  const std::size_t FCapacity;
  std::byte FPadding[64 - sizeof(std::atomic<std::uint32_t>) - 4 - sizeof(std::size_t)];
};
static_assert(sizeof(TQSStorage) == 64);

// A block of elements of one size.
class IQSDataBuffer : public IQSData {
 public:
  ~IQSDataBuffer() override { ReleaseStorage(); }
  IQSDataBuffer* AsDataBuffer() noexcept override { return this; }
  // {Type: "real", Count: 1024}; the Type of plain memory, counted in bytes, is "memory".
  TPropertyRecord PropertyValue() const override;

  std::int32_t GetSize() const noexcept { return FSize; }  // elements
  std::int64_t GetByteSize() const noexcept { return std::int64_t{FSize} * GetElementSize(); }
  std::int32_t GetElementSize() const noexcept { return FElementSize; }
  const TGUID& GetDataTypeID() const noexcept { return *FTypeID; }

  const std::uint8_t* ByteRead() const noexcept {
    return FStorage != nullptr ? static_cast<const std::uint8_t*>(FStorage->Data()) : nullptr;
  }
  std::uint8_t* ByteWrite() {
    if (FStorage != nullptr && FStorage->IsShared()) Detach(0);
    return FStorage != nullptr ? static_cast<std::uint8_t*>(FStorage->Data()) : nullptr;
  }
  std::uint8_t* ByteModify() {
    if (FStorage != nullptr && FStorage->IsShared()) Detach(GetByteSize());
    return FStorage != nullptr ? static_cast<std::uint8_t*>(FStorage->Data()) : nullptr;
  }

  // True if no other block shares the storage; MakeUnique sees to it.
  bool Unique() const noexcept { return FStorage == nullptr || !FStorage->IsShared(); }
  void MakeUnique() { static_cast<void>(ByteModify()); }

  // Copies ACount elements from index ASource on to ADestination's index AIndex on. Raises
  // EQSException if either range leaves its block or the element sizes differ.
  void CopyTo(std::int32_t ASource, IQSDataBuffer& ADestination, std::int32_t AIndex,
              std::int32_t ACount) const;

 protected:
  IQSDataBuffer(std::int32_t AElementSize, const TGUID& ATypeID) noexcept
      : FElementSize(AElementSize), FTypeID(&ATypeID) {}

  void Allocate(std::int32_t ASize);
  // Takes part in another block's storage, as many whole elements as it has.
  void Share(const IQSDataBuffer& ASource) noexcept;
  void SetSize(std::int32_t ASize, bool AKeep);

 private:
  void ReleaseStorage() noexcept {
    if (FStorage != nullptr) FStorage->Release();
  }
  // Replaces the storage by private one, with the first AKeepBytes of the content.
  void Detach(std::int64_t AKeepBytes);

  TQSStorage* FStorage = nullptr;  // null for a block of size 0
  std::int32_t FSize = 0;
  const std::int32_t FElementSize;
  const TGUID* const FTypeID;
};

class IQSLinearDataBuffer : public IQSDataBuffer {
 public:
  // Changes the size; with AKeep the content up to the smaller of both sizes stays, and what is new
  // is undefined. Raises EQSException for a size below 0, std::bad_alloc if memory runs out.
  void Resize(std::int32_t ASize, bool AKeep) { SetSize(ASize, AKeep); }

 protected:
  using IQSDataBuffer::IQSDataBuffer;
};

// A block of any of the five sample types, or of plain memory.
using IQSGenericBuffer = IQSLinearDataBuffer;

// What all kinds of blocks have for their making. TSelf is the kind.
template <class TSelf>
class TQSBufferKind : public IQSLinearDataBuffer {
 public:
  // A block of ASize elements; their content is undefined.
  static TRef<TSelf> CreateSize(std::int32_t ASize) {
    auto Buffer = MakeRef<TSelf>();
    Buffer->Allocate(ASize);
    return Buffer;
  }
  // A block of the same content: a reference to it until somebody writes.
  static TRef<TSelf> CreateCopy(const IQSDataBuffer& ASource) {
    auto Buffer = MakeRef<TSelf>();
    Buffer->Share(ASource);
    Buffer->CopyCustom(ASource);
    return Buffer;
  }
  // A received packet as this kind of block: the packet itself if it is one, else a block on its
  // storage. Bytes at the end that fill no element are left out. Raises EQSException if the packet
  // holds no samples.
  static TRef<TSelf> CreateUniversal(TRef<IQSData> AData);

  TRef<IQSData> MakeCopy() const override { return CreateCopy(*this); }

 protected:
  using IQSLinearDataBuffer::IQSLinearDataBuffer;
};

// Raises the EQSException for a packet that holds no samples.
[[noreturn]] void RefusePacket();

// A block of samples of type T.
template <class T>
class TQSTypedBuffer final : public TQSBufferKind<TQSTypedBuffer<T>> {
  using TBase = TQSBufferKind<TQSTypedBuffer<T>>;

 public:
  using TSample = T;
  static constexpr const TGUID& TypeID = TSampleTraits<T>::Type.ID;

  TQSTypedBuffer() noexcept : TBase(sizeof(T), TypeID) {}

  // A block with a copy of the ASize samples at AData.
  static TRef<TQSTypedBuffer> CreateData(const T* AData, std::int32_t ASize);
  // The same from single precision; real blocks only.
  static TRef<TQSTypedBuffer> CreateSingleData(const float* AData,
                                               std::int32_t ASize) requires std::same_as<T, double>;

  const T* Read() const noexcept { return reinterpret_cast<const T*>(this->ByteRead()); }
  T* Write() { return reinterpret_cast<T*>(this->ByteWrite()); }
  T* Modify() { return reinterpret_cast<T*>(this->ByteModify()); }
  // The index must lie inside the block.
  T GetItem(std::int32_t AIndex) const noexcept { return Read()[AIndex]; }
  void SetItem(std::int32_t AIndex, T AValue) { Modify()[AIndex] = AValue; }

  void Zero() { SetValue(T{}); }
  void SetValue(T AValue);
  // Takes over the content and the size of another block, by reference.
  void Assign(const TQSTypedBuffer& ASource) { this->Share(ASource); }

  // Element operations of real blocks; those with an argument need one of the same size.
  // |x| of each sample of ASource, whose size must be this block's.
  void AbsFrom(const TQSTypedBuffer& ASource) requires std::same_as<T, double>;
  // The chirp AMagnitude * sin(pi n^2 / (2 size)).
  void VectorJaehne(double AMagnitude) requires std::same_as<T, double>;
};

using TQSRealBuffer = TQSTypedBuffer<double>;
using TQSComplexBuffer = TQSTypedBuffer<TComplex>;
using TQSIntegerBuffer = TQSTypedBuffer<std::int32_t>;
using TQSUnsignedBuffer = TQSTypedBuffer<std::uint32_t>;
using TQSBlockBuffer = TQSTypedBuffer<std::uint8_t>;
// A block has one implementation, so its interface is its class.
using IQSRealBuffer = TQSRealBuffer;
using IQSComplexBuffer = TQSComplexBuffer;
using IQSIntegerBuffer = TQSIntegerBuffer;
using IQSUnsignedBuffer = TQSUnsignedBuffer;
using IQSBlockBuffer = TQSBlockBuffer;

// Plain memory, counted in bytes.
class TQSLinearMemoryBuffer final : public TQSBufferKind<TQSLinearMemoryBuffer> {
 public:
  static constexpr TGUID TypeID{};
  TQSLinearMemoryBuffer() noexcept : TQSBufferKind(1, TypeID) {}
};

// Any kind of block, taken as it is.
struct TQSGenericBuffer {
  static TRef<IQSGenericBuffer> CreateUniversal(TRef<IQSData> AData);
};
using TQSMemoryBuffer = TQSGenericBuffer;

template <class TSelf>
TRef<TSelf> TQSBufferKind<TSelf>::CreateUniversal(TRef<IQSData> AData) {
  IQSDataBuffer* Buffer = AData ? AData->AsDataBuffer() : nullptr;
  if (Buffer == nullptr) RefusePacket();
  if (Buffer->GetDataTypeID() == TSelf::TypeID) return StaticRefCast<TSelf>(std::move(AData));
  return CreateCopy(*Buffer);
}

}  // namespace tessalune
