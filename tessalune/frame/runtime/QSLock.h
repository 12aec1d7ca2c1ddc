// The lock of a component, its three levels, and the setters that go through it.
#pragma once

#include <tessalune/frame/runtime/QSCalls.h>
#include <tessalune/frame/runtime/QSField.h>
#include <tessalune/frame/runtime/QSPropertyInfo.h>
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
  explicit IChangeNotifyLock(std::function<std::string()> ADescription = {});

  ILockSection ReadLock();
  ILockSection WriteLock();
  ILockSection StopLock();

  // Runs AEvent when the calling thread leaves its outermost section of this lock, or at once if
  // it is inside none. Events go this way, so that a handler does not run inside the lock of the
  // component that fires it and may stop, set or destroy what it likes.
  void AfterRelease(std::function<void()> AEvent);

  // What NotifyChange calls, inside the lock; set it before the lock is used by other threads.
  void SetOnChange(std::function<void()> AOnChange) { FOnChange = std::move(AOnChange); }
  void NotifyChange() {
    if (FOnChange) FOnChange();
  }

  // Setters: each takes WriteLock, or StopLock if AStopLock; if the field already has the value,
  // nothing happens; else it stores the value, runs AUpdated and NotifyChange, and is true.
  // A value that AInfo's bounds exclude, or a NaN where there is a bound, is an EQSException that
  // names the lock's owner, the property, the value and what is expected; nothing has changed then.
  template <class T>
  bool NotifySetter(const TPropertyInfo<T>& AInfo, TField<T>& AField, T AValue,
                    const std::function<void()>& AUpdated = {}, bool AStopLock = false) {
    if (!IsAmong(AInfo, AValue)) RefuseValue(Describe(), AInfo, AValue);
    const ILockSection Section = AStopLock ? StopLock() : WriteLock();
    if (AField.Load() == AValue) return false;
    AField = AValue;
    if (AUpdated) AUpdated();
    NotifyChange();
    return true;
  }
  bool NotifySetter(std::string& AField, std::string AValue,
                    const std::function<void()>& AUpdated = {}, bool AStopLock = false);

  // The same for a value that has no published row.
  template <class T>
  bool NotifySetterMin(std::string_view AName, TField<T>& AField, T AValue, T AMin,
                       const std::function<void()>& AUpdated = {}) {
    return NotifySetter<T>({.Name = AName, .Bounds = AtLeast(AMin)}, AField, AValue, AUpdated);
  }
  template <class T>
  bool NotifySetterMax(std::string_view AName, TField<T>& AField, T AValue, T AMax,
                       const std::function<void()>& AUpdated = {}) {
    return NotifySetter<T>({.Name = AName, .Bounds = AtMost(AMax)}, AField, AValue, AUpdated);
  }
  template <class T>
  bool NotifySetterMinMax(std::string_view AName, TField<T>& AField, T AValue, T AMin, T AMax,
                          const std::function<void()>& AUpdated = {}) {
    return NotifySetter<T>({.Name = AName, .Bounds = Between(AMin, AMax)}, AField, AValue,
                           AUpdated);
  }
  // AMin itself is refused; the message offers ASuggestion.
  template <class T>
  bool NotifySetterMinExlude(std::string_view AName, TField<T>& AField, T AValue, T AMin,
                             T ASuggestion, const std::function<void()>& AUpdated = {}) {
    return NotifySetter<T>({.Name = AName, .Bounds = Above(AMin, ASuggestion)}, AField, AValue,
                           AUpdated);
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
  std::function<void()> FOnChange;
  const std::function<std::string()> FDescription;
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
