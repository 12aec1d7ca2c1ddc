// Reference-counted interfaces and the one smart reference that holds them.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>

namespace tessalune {

// Base of everything that is shared by reference count. The count is inside the object, so a
// reference is one pointer and an interface can be taken again from a plain pointer to it.
// Counting is thread-safe; what the object does besides is its own affair.
class IInterface {
 public:
  IInterface() = default;
  IInterface(const IInterface&) = delete;
  IInterface& operator=(const IInterface&) = delete;
  virtual ~IInterface() = default;

  void AddRef() const noexcept { FReferences.fetch_add(1, std::memory_order_relaxed); }

  void Release() const noexcept {
    // Who holds the only reference shares the count with nobody, so it needs no bus lock.
    if (FReferences.load(std::memory_order_acquire) == 1 ||
        FReferences.fetch_sub(1, std::memory_order_acq_rel) == 1) {
      delete this;
    }
  }

  // The first reference to an object that nobody else knows yet.
  void TakeFirstRef() const noexcept { FReferences.store(1, std::memory_order_relaxed); }

  // True if the caller's reference is the only one. Acquires, so what other holders did with the
  // object before they let go of it has happened: a base on which copy-on-write can stand.
  bool HasSingleReference() const noexcept {
    return FReferences.load(std::memory_order_acquire) == 1;
  }

 private:
  mutable std::atomic<std::uint32_t> FReferences{0};
};

// A counted reference to an IInterface; may be empty.
template <class T>
class TRef {
 public:
  TRef() noexcept = default;
  TRef(std::nullptr_t) noexcept {}
  explicit TRef(T* APointer) noexcept : FPointer(APointer) {
    if (FPointer != nullptr) FPointer->AddRef();
  }
  TRef(const TRef& AOther) noexcept : TRef(AOther.FPointer) {}
  TRef(TRef&& AOther) noexcept : FPointer(std::exchange(AOther.FPointer, nullptr)) {}
  template <class U>
  requires std::is_convertible_v<U*, T*> TRef(const TRef<U>& AOther)
  noexcept : TRef(AOther.Get()) {}
  template <class U>
  requires std::is_convertible_v<U*, T*> TRef(TRef<U>&& AOther)
  noexcept : FPointer(AOther.Detach()) {}
  ~TRef() {
    if (FPointer != nullptr) FPointer->Release();
  }

  // By value: the new reference is taken before the old one goes, so that assigning what the old
  // object alone keeps alive is safe.
  TRef& operator=(TRef AOther) noexcept {
    std::swap(FPointer, AOther.FPointer);
    return *this;
  }

  T* Get() const noexcept { return FPointer; }
  T* operator->() const noexcept { return FPointer; }
  T& operator*() const noexcept { return *FPointer; }
  explicit operator bool() const noexcept { return FPointer != nullptr; }

  // Gives the counted pointer away without releasing it; Attach takes it over without counting.
  T* Detach() noexcept { return std::exchange(FPointer, nullptr); }
  static TRef Attach(T* APointer) noexcept {
    TRef Reference;
    Reference.FPointer = APointer;
    return Reference;
  }

  friend bool operator==(const TRef& ALeft, const TRef& ARight) noexcept {
    return ALeft.FPointer == ARight.FPointer;
  }
  friend bool operator==(const TRef& ALeft, std::nullptr_t) noexcept {
    return ALeft.FPointer == nullptr;
  }

 private:
  T* FPointer = nullptr;
};

template <class T, class... TArgs>
TRef<T> MakeRef(TArgs&&... AArgs) {
  T* Object = new T(std::forward<TArgs>(AArgs)...);
  Object->TakeFirstRef();
  return TRef<T>::Attach(Object);
}

// A reference as one to the class that the object is known to be.
template <class T, class U>
TRef<T> StaticRefCast(TRef<U> AReference) noexcept {
  return TRef<T>::Attach(static_cast<T*>(AReference.Detach()));
}

}  // namespace tessalune
