#include <tessalune/frame/runtime/QSException.h>
#include <tessalune/frame/runtime/QSMemory.h>
#include <tessalune/frame/runtime/QSPropertyInfo.h>
#include <tessalune/frame/streams/QSSimpleDataBuffer.h>

#include <algorithm>
#include <cstring>
#include <new>

namespace tessalune {

TQSStorage* TQSStorage::New(std::size_t ABytes) {
  return new (RecycledAllocate(sizeof(TQSStorage) + ABytes)) TQSStorage(ABytes);
}

void TQSStorage::Release() noexcept {
  if (!IsShared() || FReferences.fetch_sub(1, std::memory_order_acq_rel) == 1) {
    RecycledFree(this, sizeof(TQSStorage) + FCapacity);
  }
}

void IQSDataBuffer::Allocate(std::int32_t ASize) {
  if (ASize < 0) {
    RefuseValue("a block", "Size", NumberText(ASize), RangeText(AtLeast(0), "elements"));
  }
  const auto Bytes = static_cast<std::size_t>(ASize) * static_cast<std::size_t>(FElementSize);
  TQSStorage* Storage = Bytes > 0 ? TQSStorage::New(Bytes) : nullptr;
  ReleaseStorage();
  FStorage = Storage;
  FSize = ASize;
}

void IQSDataBuffer::Share(const IQSDataBuffer& ASource) noexcept {
  TQSStorage* Storage = ASource.FStorage;
  if (Storage != nullptr) Storage->AddRef();
  ReleaseStorage();
  FStorage = Storage;
  FSize = static_cast<std::int32_t>(ASource.GetByteSize() / FElementSize);
}

void IQSDataBuffer::Detach(std::int64_t AKeepBytes) {
  TQSStorage* Storage = TQSStorage::New(static_cast<std::size_t>(GetByteSize()));
  if (AKeepBytes > 0) {
    std::memcpy(Storage->Data(), FStorage->Data(), static_cast<std::size_t>(AKeepBytes));
  }
  FStorage->Release();
  FStorage = Storage;
}

void IQSDataBuffer::SetSize(std::int32_t ASize, bool AKeep) {
  const std::int64_t Bytes = std::int64_t{ASize} * FElementSize;
  const bool Fits = FStorage != nullptr && !FStorage->IsShared() && ASize > 0 &&
                    static_cast<std::size_t>(Bytes) <= FStorage->Capacity();
  if (Fits || ASize == FSize) {
    FSize = ASize;
    return;
  }
  TQSStorage* Old = std::exchange(FStorage, nullptr);
  const std::int32_t OldSize = FSize;
  try {
    Allocate(ASize);
  } catch (...) {
    FStorage = Old;
    throw;
  }
  const std::int64_t Kept = AKeep ? std::int64_t{std::min(OldSize, ASize)} * FElementSize : 0;
  if (Kept > 0) std::memcpy(FStorage->Data(), Old->Data(), static_cast<std::size_t>(Kept));
  if (Old != nullptr) Old->Release();
}

TPropertyRecord IQSDataBuffer::PropertyValue() const {
  std::string Type = "memory";
  for (const TKLDataType* Each : SampleTypes()) {
    if (Each->ID == GetDataTypeID()) Type = Each->Word;
  }
  return TPropertyRecord({{"Type", Type}, {"Count", std::int64_t{GetSize()}}});
}

void IQSDataBuffer::CopyTo(std::int32_t ASource, IQSDataBuffer& ADestination, std::int32_t AIndex,
                           std::int32_t ACount) const {
  const auto Inside = [ACount](std::int32_t AFrom, std::int32_t ASize) {
    return AFrom >= 0 && ACount >= 0 && ACount <= ASize && AFrom <= ASize - ACount;
  };
  if (FElementSize != ADestination.FElementSize || !Inside(ASource, FSize) ||
      !Inside(AIndex, ADestination.FSize)) {
    throw EQSException("cannot copy " + NumberText(ACount) + " elements from index " +
                       NumberText(ASource) + " of a block of " + NumberText(FSize) + " to index " +
                       NumberText(AIndex) + " of one of " + NumberText(ADestination.FSize) +
                       "; both ranges must lie inside, and the elements be of one size");
  }
  if (ACount == 0) return;
  const auto At = [this](std::int32_t AElement) {
    return static_cast<std::size_t>(AElement) * static_cast<std::size_t>(FElementSize);
  };
  // Modify first: if the two share storage, it takes the destination off it.
  std::uint8_t* To = ADestination.ByteModify() + At(AIndex);
  std::memmove(To, ByteRead() + At(ASource), At(ACount));
}

void RefusePacket() {
  throw EQSException(
      "a packet that holds no samples came where a block was expected; what a source "
      "pin of blocks submits must be one of the library's buffers");
}

TRef<IQSGenericBuffer> TQSGenericBuffer::CreateUniversal(TRef<IQSData> AData) {
  if (!AData || AData->AsDataBuffer() == nullptr) RefusePacket();
  return StaticRefCast<IQSGenericBuffer>(std::move(AData));
}

template <class T>
TRef<TQSTypedBuffer<T>> TQSTypedBuffer<T>::CreateData(const T* AData, std::int32_t ASize) {
  auto Buffer = TBase::CreateSize(ASize);
  std::copy_n(AData, ASize, Buffer->Write());
  return Buffer;
}

template <>
TRef<TQSRealBuffer> TQSRealBuffer::CreateSingleData(const float* AData, std::int32_t ASize) {
  auto Buffer = CreateSize(ASize);
  std::copy_n(AData, ASize, Buffer->Write());
  return Buffer;
}

template <class T>
void TQSTypedBuffer<T>::SetValue(T AValue) {
  std::fill_n(Write(), this->GetSize(), AValue);
}

template <>
void TQSRealBuffer::AbsFrom(const TQSRealBuffer& ASource) {
  ippsAbs_64f(ASource.Read(), Write(), GetSize());
}

template <>
void TQSRealBuffer::VectorJaehne(double AMagnitude) {
  ippsVectorJaehne_64f(Write(), GetSize(), AMagnitude);
}

template class TQSTypedBuffer<double>;
template class TQSTypedBuffer<TComplex>;
template class TQSTypedBuffer<std::int32_t>;
template class TQSTypedBuffer<std::uint32_t>;
template class TQSTypedBuffer<std::uint8_t>;

}  // namespace tessalune
