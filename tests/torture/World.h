// The slots in which things come and go, and the operations on them.
#pragma once

#include "Ledger.h"

#include <tessalune/frame/pins/KLPins.h>
#include <tessalune/frame/runtime/QSClock.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace tessalune::torture {

enum class TKind : std::uint8_t { Generator, Player, Feed, Filter, Logger, Sink, Group };
// What can be done to a thing beside links and its end; who cannot do it does nothing.
enum class TDeed : std::uint8_t {
  Start,
  Stop,
  Pump,
  Set,
  Enable,
  Threading,
  Seek,
  Value,
  List,
  Own
};

// Where a thing stands: handlers keep this, and no pointer to the thing.
struct TPlace {
  TGround Ground;
  std::size_t Slot;
  std::uint64_t Id;  // of this thing, not of the next one in the slot
};

// A component, or a pin of the host's own, with what the torture knows of it. Whoever uses a thing
// shares it; the last to let go of it ends it. So no call of a host's on a component begins when
// its end has begun, but links, ticks, queued calls and handlers go on all the while.
class TThing {
 public:
  explicit TThing(const TPlace& APlace) : Place(APlace) {}
  TThing(const TThing&) = delete;
  virtual ~TThing() = default;
  // Good while the thing is held.
  virtual std::vector<TKLBasicPin*> Sources() { return {}; }
  virtual std::vector<TKLBasicPin*> Sinks() { return {}; }
  virtual TComponent* Component() { return nullptr; }
  virtual void Do(TDeed ADeed) = 0;
  // Has the silence watch what ends with the thing.
  virtual void WatchEnd(TSilence& ASilence);

  const TPlace Place;
};

// On calm and rough ground nothing ends inside a handler: what its last holder lets go of there is
// buried, and a worker ends it.
using THeld = std::shared_ptr<TThing>;
THeld MakeThing(TKind AKind, const TPlace& APlace);

// A stay inside a component that the frame has called.
class TStay {
 public:
  TStay();
  TStay(const TStay&) = delete;
  ~TStay();
};

class TWorld {
 public:
  explicit TWorld(std::filesystem::path AFolder);
  // What --without can leave out.
  static std::vector<std::string> Kinds();

  // Draws an operation and does it; what it throws is counted.
  void Operate();
  // What the torture does in a handler that came for the thing at APlace: maybe an operation, maybe
  // the thing's end, maybe an exception.
  void Handle(TPlace APlace);
  // From now on handlers do nothing.
  void Quiet() { FQuiet = true; }
  // Ends everything; when no worker is left.
  void End();

  // Links a source of AGround to ASink.
  void ConnectSource(TGround AGround, TKLBasicPin& ASink);
  void LetGo(TThing* AThing);
  std::string File(const std::string& AName) const { return (FFolder / AName).string(); }
  TRef<IClock> Time() const { return FTime; }

 private:
  using TKinds = std::vector<TKind>;
  struct TSlot {
    explicit TSlot(TKind AKind) : Kind(AKind) {}
    const TKind Kind;
    std::mutex Mutex;
    THeld Thing;
  };
  struct TRow;
  static std::vector<TRow> AllRows();
  static const std::vector<TRow>& Rows();

  THeld Pick(TGround AGround, const TKinds& AKinds);
  void Create(TGround AGround);
  void Destroy(TGround AGround);
  void EndInside(const TPlace& APlace);
  void Connect(TGround AGround);
  void Disconnect(TGround AGround);
  void Execute(TGround AGround);
  void Advance(TGround);
  void Process(TGround);
  void DigUp();

  const std::filesystem::path FFolder;
  const TRef<TManualClock> FTime = MakeRef<TManualClock>();
  std::atomic_flag FAdvancing;
  std::atomic<bool> FQuiet{false};
  std::atomic<std::uint64_t> FLastId{0};
  std::array<std::vector<std::unique_ptr<TSlot>>, 3> FSlots;
  std::mutex FBuriedMutex;
  std::vector<TThing*> FBuried;
};

TWorld& World();

}  // namespace tessalune::torture
