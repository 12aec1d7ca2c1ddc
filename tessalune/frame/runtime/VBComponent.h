// Components: their creation and end, their owner and name, their lock, their properties.
//
//   auto Generator = Create<TQSSignalGen>();      // an owning handle; the component ends with it
//   TQSLogger& Logger = Create<TQSLogger>(Host);  // owned by the component Host
//
// A component is created, and its links are made, on any one thread; setters and getters may be
// called from any thread. It may end on any thread, in a handler of its own event too: its end
// stops what it runs, takes its links off, waits for the calls that other threads have in progress
// in it, and never for its own caller. If the caller is inside the component, its memory goes when
// that call has left. What handlers throw while it ends goes to the unhandled-exception hook.
#pragma once

#include <tessalune/frame/runtime/QSCalls.h>
#include <tessalune/frame/runtime/QSChanges.h>
#include <tessalune/frame/runtime/QSEvent.h>
#include <tessalune/frame/runtime/QSException.h>
#include <tessalune/frame/runtime/QSField.h>
#include <tessalune/frame/runtime/QSIcons.h>
#include <tessalune/frame/runtime/QSLock.h>
#include <tessalune/frame/runtime/QSPublished.h>
#include <tessalune/frame/runtime/QSReference.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tessalune {

class TKLBasicPin;
class TComponent;

class TObject {
 public:
  TObject() = default;
  TObject(const TObject&) = delete;
  TObject& operator=(const TObject&) = delete;
  virtual ~TObject() = default;

  // Who this is, for a message: "Tone (TQSSignalGen)".
  virtual std::string Describe() const { return "an object"; }
};

// An object with published properties.
class TPersistent : public TObject {
 public:
  // The table of the object's class. Each class that publishes something defines the static
  // Published and overrides this one to return it.
  virtual const TPublishedTable& PublishedTable() const = 0;
  std::string_view ClassName() const { return PublishedTable().ClassName(); }
  std::string Describe() const override { return std::string(ClassName()); }

  // Stores the properties that differ from their default, sub-objects included.
  void SerializationWrite(IWriter& AWriter) const;
  // Sets, in the order of the table, the properties that the stream holds, those in older forms
  // behind them. What it holds beside, a value of the wrong type and a value that a setter refuses
  // are told as faults of the stream; the rest is read all the same.
  virtual void SerializationRead(IReader& AReader);

  // Takes over all published properties of an object of the same class.
  virtual void Assign(const TPersistent& ASource);

 protected:
  // Gives every property its default.
  void InitDefaults();
};

struct TComponentEnd {
  void operator()(TComponent* AComponent) const;
};

// Owns one component.
template <class T>
using TOwned = std::unique_ptr<T, TComponentEnd>;

// Creates a component of the host's own.
template <class T>
TOwned<T> Create();

// Creates a component that AOwner owns: it ends with AOwner at the latest.
template <class T>
T& Create(TComponent& AOwner);

// Given to a component's constructor by Create, and by nobody else: a component that is made in
// any other way would miss its defaults and its orderly end.
class TConstruct {
 private:
  TConstruct() = default;
  template <class T>
  friend TOwned<T> Create();
};

enum TComponentState : std::uint8_t {
  csDesigning = 1,   // in a design tool: failures are told by events only
  csDestroying = 2,  // its end has begun
};

class TComponent : public TPersistent {
 public:
  explicit TComponent(TConstruct) {}

  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }
  std::string Describe() const override;

  // The name, unique among the components of one owner; may be empty. Letters, digits, '_', '-'
  // and spaces. Raises EQSException for a name that is taken or malformed.
  std::string Name() const;
  void SetName(const std::string& AName);

  // A number for the host's own use.
  std::int64_t Tag() const { return FTag; }
  void SetTag(std::int64_t AValue);

  TComponent* Owner() const { return FOwner; }
  std::vector<TComponent*> Components() const;
  // The owned component of that name; null if there is none.
  TComponent* FindComponent(std::string_view AName) const;
  // Owns a component from here on. Raises EQSException if one that it owns has the name, or if its
  // own end has begun.
  void InsertComponent(TOwned<TComponent> AComponent);

  // The picture of its class; ClassIcon says which for what size.
  TIcon GetIcon(std::int32_t ASize) const { return ClassIcon(PublishedTable(), ASize); }

  // Calls AListener after each change of a published property, of the component or of one of its
  // sub-objects, for as long as the result lives.
  TListening Listen(TPropertyListener AListener) { return FChanges->Listen(std::move(AListener)); }

  bool HasState(TComponentState AState) const {
    return (FState.load(std::memory_order_relaxed) & AState) != 0;
  }
  void SetDesigning(bool AValue) { SetState(csDesigning, AValue); }

 protected:
  // Called once, when the object is whole and has its defaults.
  virtual void AfterConstruction() {}
  // Called once, when the object is still whole: ends what it runs. An override calls the
  // inherited one last, whatever fails before; what leaves through here goes to the
  // unhandled-exception hook, since an end cannot fail.
  virtual void BeforeDestruction() {}

  // The door for calls into the component.
  TCallGate& Gate() const { return *FGate; }
  // Runs AEvent outside the component's locks, on this thread: at once, or when it leaves them.
  virtual void AfterRelease(std::function<void()> AEvent) { AEvent(); }
  // Who listens to it; for its locks.
  const TRef<TPropertyChanges>& Changes() const { return FChanges; }

 private:
  template <class T>
  friend TOwned<T> Create();
  friend struct TComponentEnd;
  friend class TKLBasicPin;
  friend class TMainThread;

  TComponent* Named(std::string_view AName) const;
  void Constructed();
  void End();
  void EndOwned();
  void IntEnd();
  void SetState(TComponentState AState, bool AValue);

  std::function<void()> Telling(std::string_view AName, TPropertyValue AValue) const;

  const TRef<TCallGate> FGate = MakeRef<TCallGate>();
  const TRef<TPropertyChanges> FChanges = MakeRef<TPropertyChanges>(*this, FGate);
  mutable std::mutex FComponentsMutex;  // name, tag, owner and owned components
  std::string FName;
  TField<TComponent*> FOwner;
  std::vector<TComponent*> FComponents;
  TField<std::int64_t> FTag;
  std::atomic<std::uint8_t> FState{0};
  bool FEnding = false;
};

template <class T>
TOwned<T> Create() {
  TOwned<T> Component(new T(TConstruct()));
  static_cast<TComponent&>(*Component).Constructed();
  return Component;
}

template <class T>
T& Create(TComponent& AOwner) {
  TOwned<T> Component = Create<T>();
  T& Result = *Component;
  AOwner.InsertComponent(std::move(Component));
  return Result;
}

// What a component is joined to others by, its pins: it has to let go before the component ends.
class TComponentPart {
 public:
  // The inputs let go first, so that what is on its way in the component still comes out.
  virtual void InputsEnd() = 0;
  virtual void OwnerEnds() = 0;

 protected:
  ~TComponentPart() = default;
};

// A component with a lock: the base of all components that have pins.
class TLockComponent : public TComponent {
 public:
  explicit TLockComponent(TConstruct AConstruct);

  [[nodiscard]] ILockSection ReadLock() const { return FLock->ReadLock(); }
  [[nodiscard]] ILockSection WriteLock() const { return FLock->WriteLock(); }
  [[nodiscard]] ILockSection StopLock() const { return FLock->StopLock(); }

 protected:
  void BeforeDestruction() override;
  void AfterRelease(std::function<void()> AEvent) override {
    FLock->AfterRelease(std::move(AEvent));
  }
  // Takes the links of the input pins off: nothing comes in any more.
  void EndInputs();

  // Setters, as IChangeNotifyLock::NotifySetter describes them.
  template <class T>
  bool NotifySetter(const TPropertyInfo<T>& AInfo, TField<T>& AField, T AValue,
                    const std::function<void()>& AUpdated = {}, bool AStopLock = false) {
    return FLock->NotifySetter(AInfo, AField, AValue, AUpdated, AStopLock);
  }
  template <class T>
  bool NotifySetter(const TPropertyInfo<T>& AInfo, T& AField, std::type_identity_t<T> AValue,
                    const std::function<void()>& AUpdated = {}) {
    return FLock->NotifySetter(AInfo, AField, std::move(AValue), AUpdated);
  }
  // An event's handler is always taken: two callables cannot be compared. AName is the event's.
  template <class THandler>
  void NotifySetter(std::string_view AName, TEvent<THandler>& AEvent, THandler AHandler) {
    FLock->NotifySetter({}, AName, AEvent, std::move(AHandler));
  }

  // Fires an event when this thread is outside the component's lock: at once, or when it leaves.
  template <class THandler, class... TArgs>
  void FireEvent(const TEvent<THandler>& AEvent, TArgs... AArgs) {
    if (!AEvent.IsAssigned()) return;
    FLock->AfterRelease([this, &AEvent, Door = TRef<TCallGate>(&Gate()), AArgs...] {
      const TCallScope Call(*Door);
      if (!Call) return;
      if (!HasState(csDestroying)) return AEvent(*this, AArgs...);
      RunReported(this, [&] { AEvent(*this, AArgs...); });
    });
  }

  const TRef<IChangeNotifyLock> FLock;

 private:
  friend class TKLBasicPin;
  friend class TKLPinListOwner;
  friend struct TKLTopology;
  void AddPart(TComponentPart& APart);
  void RemovePart(TComponentPart& APart);
  std::vector<TComponentPart*> Parts() const;

  mutable std::mutex FPartsMutex;
  std::vector<TComponentPart*> FParts;
};

// A sub-object of a component, with published properties of its own, under a lock of the component.
class TLockPersistent : public TPersistent {
 public:
  // ALock is a lock of the owner's, APath the way to the object from there ("Threading.Queue"), for
  // messages and listeners; AOnChange is the change procedure, which runs inside the lock after a
  // change.
  TLockPersistent(TRef<IChangeNotifyLock> ALock, std::string_view APath,
                  std::function<void()> AOnChange = {})
      : FLock(std::move(ALock)), FPath(APath), FOnChange(std::move(AOnChange)) {}

  std::string Describe() const override { return FLock->Describe() + "." + std::string(FPath); }

 protected:
  template <class T>
  bool NotifySetter(const TPropertyInfo<T>& AInfo, TField<T>& AField, T AValue,
                    const std::function<void()>& AUpdated = {}) {
    return FLock->StoreField(
        AInfo, AField, AValue, [this] { return Describe(); },
        [&] {
          if (AUpdated) AUpdated();
          NotifyProp();
          FLock->NotifyChange(FPath, AInfo.Name, [AValue] { return ToValue(AValue); });
        });
  }
  template <class THandler>
  void NotifySetter(std::string_view AName, TEvent<THandler>& AEvent, THandler AHandler) {
    FLock->NotifySetter(FPath, AName, AEvent, std::move(AHandler));
  }

  // Runs the change procedure; called inside the lock.
  virtual void NotifyProp() {
    if (FOnChange) FOnChange();
  }
  // Tells listeners of a change of the object's content; called inside the lock.
  template <class TValue>
  void NotifyContent(const TValue& AValue) {
    FLock->NotifyChange(FPath, {}, AValue);
  }

  const TRef<IChangeNotifyLock> FLock;

 private:
  const std::string_view FPath;
  const std::function<void()> FOnChange;
};

}  // namespace tessalune
