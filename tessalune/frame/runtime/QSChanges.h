// Listening to a component: which property changed, and to what.
#pragma once

#include <tessalune/frame/runtime/QSCalls.h>
#include <tessalune/frame/runtime/QSReference.h>
#include <tessalune/frame/runtime/QSSerialization.h>

#include <atomic>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace tessalune {

class TComponent;
class TPropertyChanges;

// A change that has been made.
struct TPropertyChange {
  // The way to the property from the component: "Frequency", "Threading.Queue.Size". A change of an
  // array's or a collection's content has the path of the object: "Taps", "Patterns"; that of a pin
  // list's count the list's: "InputPins"; a new handler the event's: "OnStop".
  std::string Path;
  // The new value: all elements of an array, all items of a collection as records, the count of a
  // pin list, whether an event has a handler.
  TPropertyValue Value;
};

// Runs on the thread of the setter, when that has left the component's lock: it may set, stop or
// end what it likes. Changes are told in the order in which they were made. What a listener throws
// leaves through the setter, when all listeners have been told.
using TPropertyListener = std::function<void(TComponent& ASender, const TPropertyChange& AChange)>;

// Listens for as long as it lives. When Stop, or the end of the object, has returned, the listener
// runs on no other thread and is not called again; a listener may stop itself. Any thread. May
// outlive the component.
class [[nodiscard]] TListening {
 public:
  TListening() = default;
  TListening(TListening&&) noexcept = default;
  TListening& operator=(TListening&& AOther) noexcept {
    Stop();
    FChanges = std::move(AOther.FChanges);
    FEntry = std::move(AOther.FEntry);
    return *this;
  }
  ~TListening() { Stop(); }
  void Stop();

 private:
  friend class TPropertyChanges;
  struct TEntry final : IInterface {
    explicit TEntry(TPropertyListener AListener) : Listener(std::move(AListener)) {}
    const TRef<TCallGate> Gate = MakeRef<TCallGate>();
    const TPropertyListener Listener;
  };
  TListening(TRef<TPropertyChanges> AChanges, TRef<TEntry> AEntry);

  TRef<TPropertyChanges> FChanges;
  TRef<TEntry> FEntry;
};

// The listeners of one component, shared by all its locks and sub-objects. For the frame's use; a
// host calls TComponent::Listen.
class TPropertyChanges final : public IInterface {
 public:
  TPropertyChanges(TComponent& AOwner, TRef<TCallGate> AGate);

  TListening Listen(TPropertyListener AListener);
  bool HasListeners() const noexcept { return FCount.load(std::memory_order_relaxed) > 0; }
  // Inside the section in which the change was made: gives it its place among the others. What
  // comes back tells it; it has to be called once, on the same thread, outside the section.
  std::function<void()> Telling(TPropertyChange AChange);

 private:
  friend class TListening;
  using TEntries = std::vector<TRef<TListening::TEntry>>;

  void Remove(const TRef<TListening::TEntry>& AEntry);
  void Tell(const TPropertyChange& AChange);

  TComponent& FOwner;  // to be touched behind the gate alone
  const TRef<TCallGate> FGate;
  const TRef<TTurns> FTurns = MakeRef<TTurns>();
  std::mutex FMutex;
  TEntries FEntries;
  std::atomic<std::size_t> FCount{0};
};

}  // namespace tessalune
