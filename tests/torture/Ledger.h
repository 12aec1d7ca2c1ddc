// What one input hears, and whether it may hear that.
#pragma once

#include "Report.h"

#include <tessalune/frame/streams/QSSimpleDataBuffer.h>

#include <array>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tessalune {
class TKLBasicPin;
}

namespace tessalune::torture {

// What may happen to a thing, and so what can be promised of it. Things are linked within their
// field only.
enum class TGround : std::uint8_t {
  Calm,   // handlers take no link off, end nothing, throw nothing: all that is sent arrives
  Rough,  // they throw, and full queues drop blocks: starts and stops keep their order
  Wild,   // they do everything: nothing hangs, nothing is used after its end
};

// The numbers that a source of the torture's own puts into its samples: counted from 1 on behind
// its own number, so that each sample tells where it comes from and which one it is.
constexpr double SourceStep = 4294967296.0;

// The record of one input. It outlives the input, so that what comes too late has a place.
class TLedger {
 public:
  TLedger(std::string AName, TGround AGround) : FName(std::move(AName)), FGround(AGround) {}
  TLedger(const TLedger&) = delete;
  virtual ~TLedger();

  enum class TWord : std::uint8_t { Start, Stop, Block, Value };

  // A call into the input, from its begin to its end.
  class TCall {
   public:
    TCall(std::shared_ptr<TLedger> ALedger, TWord AWord, const TRef<IQSData>& ABlock = nullptr)
        : FLedger(std::move(ALedger)), FWord(AWord) {
      FLedger->Enter(AWord, ABlock);
    }
    TCall(const TCall&) = delete;
    ~TCall() { FLedger->Leave(FWord); }
    // A start that the input or what hangs on it did not take: a stop may follow or not.
    void Refused() { FLedger->StartRefused(); }

   private:
    const std::shared_ptr<TLedger> FLedger;
    const TWord FWord;
  };

  // A link is being made to this input, for as long as the object lives.
  class TConnecting {
   public:
    explicit TConnecting(std::shared_ptr<TLedger> ALedger);
    TConnecting(const TConnecting&) = delete;
    ~TConnecting();

   private:
    const std::shared_ptr<TLedger> FLedger;
  };

  // The count of links that were begun; nothing while one is being made.
  using TMoment = std::optional<std::uint64_t>;
  TMoment Moment() const;
  // The links that were there at AMoment have been taken off: unless another one was begun since,
  // nothing is inside, the stream is over, and nothing comes any more.
  void Unlinked(TMoment AMoment);
  TGround Ground() const { return FGround; }

 private:
  enum class TStream : std::uint8_t { Idle, Running, Refused };
  struct TNote {
    int Thread;
    const char* Doing;
    const char* What;
    double Sample;
  };

  void Enter(TWord AWord, const TRef<IQSData>& ABlock);
  void Leave(TWord AWord);
  void StartRefused();
  void CheckOrder(TWord AWord);
  void CheckSamples(const TRef<IQSData>& ABlock);
  void CheckKept();
  void Note(const char* AWhat, double ASample = 0.0);
  void Tell(const char* AWhat) const;
  bool ChecksOrder() const { return FGround != TGround::Wild; }

  const std::string FName;
  const TGround FGround;
  mutable std::mutex FMutex;
  TStream FStream = TStream::Idle;
  int FThread = 0;  // who is inside with a start, a stop or a block
  int FInside = 0;
  int FValues = 0;     // values on their way through
  double FNext = 0.0;  // the sample that would follow; 0 for any
  bool FSilent = false;
  std::uint64_t FLinks = 0;
  int FConnecting = 0;
  TRef<IQSData> FKept;  // a block from before, with the sample that it began with
  double FKeptSample = 0.0;
  std::array<TNote, 24> FNotes;
  std::size_t FNoted = 0;
};

// Which ledger an input's pin has, as long as somebody holds the ledger: the pin's handler does.
void KnowPin(const TKLBasicPin& APin, const std::shared_ptr<TLedger>& ALedger);
std::shared_ptr<TLedger> LedgerOf(const TKLBasicPin& APin);

// Links of AGround are taken off from outside: look at the pins before, hold to it after.
class TSilence {
 public:
  explicit TSilence(TGround AGround) : FOthers(Unlinking[static_cast<std::size_t>(AGround)]) {
    ++FOthers;
  }
  TSilence(const TSilence&) = delete;
  ~TSilence() { --FOthers; }
  // The input itself if APin is one with a ledger, and all inputs at the far ends of its links.
  void Watch(const TKLBasicPin& APin);
  void Watch(const std::shared_ptr<TLedger>& ALedger);
  void WatchLink(const TKLBasicPin& APin, const TKLBasicPin& AFar);
  // What has been watched must be silent now. Nothing is checked while another thread takes links
  // off too: it may be the one that took these off, and not through with it.
  void Hold();

 private:
  static inline std::array<std::atomic<int>, 3> Unlinking{};
  std::atomic<int>& FOthers;
  std::vector<std::pair<std::shared_ptr<TLedger>, TLedger::TMoment>> FLedgers;
};

}  // namespace tessalune::torture
