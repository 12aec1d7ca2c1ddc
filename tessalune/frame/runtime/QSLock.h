// The lock of a component, its three levels, and the setters that go through it.
#pragma once

#include <tessalune/frame/runtime/QSCalls.h>
#include <tessalune/frame/runtime/QSChanges.h>
#include <tessalune/frame/runtime/QSEvent.h>
#include <tessalune/frame/runtime/QSField.h>
#include <tessalune/frame/runtime/QSPropertyInfo.h>
#include <tessalune/frame/runtime/QSPropertyValue.h>
#include <tessalune/frame/runtime/QSReference.h>

#include <atomic>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace tessalune {

class IChangeNotifyLock;

// A section inside a lock: from the call that gave it to its end. Keep it on the stack of the
// thread that took it.
//
// Its end may throw: an event that waited for the section (see IChangeNotifyLock::AfterRelease)
// runs there, and what its handler throws belongs to the caller. While another exception is already
// on its way, it goes to the unhandled-exception hook instead.
class [[nodiscard]] ILockSection {
 public:
  ILockSection(ILockSection&&) noexcept;
  ILockSection& operator=(ILockSection&&) = delete;
  ~ILockSection() noexcept(false);

 private:
  friend class IChangeNotifyLock;
  ILockSection(IChangeNotifyLock& ALock, bool AShared);

  TRef<IChangeNotifyLock> FLock;
  bool FShared;
};

// The lock of a component (Norvane runtime).
//
// ReadLock is shared among threads. WriteLock and StopLock exclude all other threads; they differ
// in who comes first: a thread that waits to end a stream passes those that wait to set something
// or to make the next block. Otherwise who waits longest goes first, so a pump that takes the lock
// again at once cannot starve a setter. A thread that is inside at any level gets every level at
// once; with one exception: from ReadLock up to the others it waits for the other readers.
//
// Nothing hangs: a wait that would close a circle of threads that wait for one another is refused
// with an EQSException (WaitUntilReady says what else gives way first).
class IChangeNotifyLock final : public IInterface {
 public:
  // ADescription names the lock's owner in messages; called on whichever thread is refused.
  // AChanges: who listens to the owner.
  explicit IChangeNotifyLock(std::function<std::string()> ADescription = {},
                             TRef<TPropertyChanges> AChanges = {});
  // A further lock of AMain's component.
  explicit IChangeNotifyLock(TRef<IChangeNotifyLock> AMain);

  ILockSection ReadLock();
  ILockSection WriteLock();
  ILockSection StopLock();

  // Runs AEvent when the calling thread leaves its outermost section of this lock, or at once if
  // it is inside none. Events go this way, so that a handler does not run inside the lock of the
  // component that fires it and may stop, set or destroy what it likes.
  void AfterRelease(std::function<void()> AEvent);

  // Inside a section, after a change: tells those who listen to the component, when this thread is
  // outside its locks. APath is the way to the object whose property AName has changed, empty for
  // the component itself; AValue() gives the value, and is only called if somebody listens.
  template <class TValue>
  void NotifyChange(std::string_view APath, std::string_view AName, const TValue& AValue) {
    if (FChanges && FChanges->HasListeners()) TellChange(APath, AName, AValue());
  }

  // A setter without its words: takes WriteLock, or StopLock if AStopLock; if the field already has
  // the value, nothing happens; else it stores the value, runs AChanged inside the lock and is
  // true. A value that AInfo does not take is an EQSException that names the owner as AOwner()
  // does, the property, the value and what is expected; nothing has changed then.
  template <class T, class TOwner, class TChanged>
  bool StoreField(const TPropertyInfo<T>& AInfo, TField<T>& AField, T AValue, const TOwner& AOwner,
                  const TChanged& AChanged, bool AStopLock = false) {
    if (!IsAmong(AInfo, AValue)) RefuseValue(AOwner(), AInfo, AValue);
    const ILockSection Section = AStopLock ? StopLock() : WriteLock();
    if (IsSame(AField.Load(), AValue)) return false;
    AField = AValue;
    AChanged();
    return true;
  }

  // Setters of the component's own properties: StoreField, then AUpdated, then NotifyChange.
  template <class T>
  bool NotifySetter(const TPropertyInfo<T>& AInfo, TField<T>& AField, T AValue,
                    const std::function<void()>& AUpdated = {}, bool AStopLock = false) {
    return StoreField(
        AInfo, AField, AValue, [this] { return Describe(); },
        [&] {
          if (AUpdated) AUpdated();
          NotifyChange({}, AInfo.Name, [AValue] { return ToValue(AValue); });
        },
        AStopLock);
  }
  // The same for a text or an array, which readers may only look at inside the lock.
  template <class T>
  bool NotifySetter(const TPropertyInfo<T>& AInfo, T& AField, std::type_identity_t<T> AValue,
                    const std::function<void()>& AUpdated = {}, bool AStopLock = false) {
    if constexpr (TElementOf<T>::IsArray) {
      for (const auto& Item : AValue) {
        if (!IsAmong(AInfo, Item)) RefuseValue(Describe(), AInfo, Item);
      }
    }
    const ILockSection Section = AStopLock ? StopLock() : WriteLock();
    if (AField == AValue) return false;
    AField = std::move(AValue);
    if (AUpdated) AUpdated();
    NotifyChange({}, AInfo.Name, [&AField] { return ToValue(AField); });
    return true;
  }
  template <class THandler>
  void NotifySetter(std::string_view APath, std::string_view AName, TEvent<THandler>& AEvent,
                    THandler AHandler) {
    const ILockSection Section = WriteLock();
    AEvent.Set(std::move(AHandler));
    NotifyChange(APath, AName, [&AEvent] { return AEvent.IsAssigned(); });
  }

  // The same for a value that has no published row; nobody is told.
  template <class T>
  bool NotifySetterMin(std::string_view AName, TField<T>& AField, T AValue, T AMin,
                       const std::function<void()>& AUpdated = {}) {
    return SetUnpublished<T>(AName, AtLeast(AMin), AField, AValue, AUpdated);
  }
  template <class T>
  bool NotifySetterMax(std::string_view AName, TField<T>& AField, T AValue, T AMax,
                       const std::function<void()>& AUpdated = {}) {
    return SetUnpublished<T>(AName, AtMost(AMax), AField, AValue, AUpdated);
  }
  template <class T>
  bool NotifySetterMinMax(std::string_view AName, TField<T>& AField, T AValue, T AMin, T AMax,
                          const std::function<void()>& AUpdated = {}) {
    return SetUnpublished<T>(AName, Between(AMin, AMax), AField, AValue, AUpdated);
  }
  // AMin itself is refused; the message offers ASuggestion.
  template <class T>
  bool NotifySetterMinExlude(std::string_view AName, TField<T>& AField, T AValue, T AMin,
                             T ASuggestion, const std::function<void()>& AUpdated = {}) {
    return SetUnpublished<T>(AName, Above(AMin, ASuggestion), AField, AValue, AUpdated);
  }

  std::string Describe() const { return FDescription ? FDescription() : "a lock"; }

  // The value of a field, under ReadLock.
  template <class T>
  T Getter(const T& AField) {
    const ILockSection Section = ReadLock();
    return AField;
  }

 private:
  friend class ILockSection;
  enum class TLevel : std::uint8_t { Read, Write, Stop };
  struct TWaiter {
    TThreadKey Thread;
    TLevel Level;
    int OwnReads;  // read sections that the thread already holds
    bool Granted = false;
  };
  struct TReader {
    TThreadKey Thread;
    int Depth;
  };
  using TEvents = std::vector<std::function<void()>>;

  // NaN is the same as NaN here: setting it again changes nothing.
  template <class T>
  static bool IsSame(T ALeft, T ARight) {
    return ALeft == ARight || (ALeft != ALeft && ARight != ARight);
  }
  template <class T>
  bool SetUnpublished(std::string_view AName, const TValueRange<T>& ABounds, TField<T>& AField,
                      T AValue, const std::function<void()>& AUpdated) {
    return StoreField<T>(
        {.Name = AName, .Bounds = ABounds}, AField, AValue, [this] { return Describe(); },
        [&] {
          if (AUpdated) AUpdated();
        });
  }
  void TellChange(std::string_view APath, std::string_view AName, TPropertyValue AValue);

  ILockSection Take(TLevel ALevel);
  bool MayEnter(const TWaiter& AWaiter) const;
  void Enter(const TWaiter& AWaiter);
  void Enqueue(TWaiter& AWaiter);
  void WaitForGrant(TWaiter& AWaiter, std::unique_lock<std::mutex>& ALock);
  void GrantWaiters();
  bool BlockedBy(const TWaiter& AWaiter, TThreadKey AThread);
  int OwnReads(TThreadKey AThread) const;
  bool IsInside(TThreadKey AThread) const { return FOwner == AThread || OwnReads(AThread) > 0; }
  TEvents Leave(bool AShared);
  TEvents TakeEvents(TThreadKey AThread);

  std::mutex FMutex;
  std::condition_variable FGranted;
  TThreadKey FOwner = nullptr;  // the thread that excludes all others
  int FDepth = 0;               // its sections, read ones inside included
  int FReads = 0;               // read sections of all threads
  std::vector<TReader> FReaders;
  std::deque<TWaiter*> FWaiters;
  std::vector<std::pair<TThreadKey, std::function<void()>>> FEvents;
  const std::function<std::string()> FDescription;
  const TRef<TPropertyChanges> FChanges;
  const TRef<IChangeNotifyLock> FMain;  // null for the main lock itself
};

// A plain critical section that the thread inside can enter again.
class ICriticalSection final : public IInterface {
 public:
  void Enter() { FMutex.lock(); }
  void Leave() { FMutex.unlock(); }

  struct TAccess {
    ICriticalSection& Section;
    template <class TProc>
    decltype(auto) Execute(TProc&& AProc) const {
      const std::lock_guard Lock(Section.FMutex);
      return std::forward<TProc>(AProc)();
    }
  };
  TAccess Access() { return {*this}; }

 private:
  std::recursive_mutex FMutex;
};

}  // namespace tessalune
