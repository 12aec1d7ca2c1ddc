// What one input hears, and whether it may hear that.
#pragma once

#include "Report.h"

#include <tessalune/frame/streams/QSStreamPins.h>

#include <array>
#include <cmath>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <unordered_map>
#include <vector>

namespace tessalune::torture {

// What may happen to a thing, and so what can be promised of it. Things are linked within their
// field only.
enum TGround : std::uint8_t {
  Calm,   // handlers take no link off, end nothing, throw nothing: all that is sent arrives
  Rough,  // they throw, and full queues drop blocks: starts and stops keep their order
  Wild,   // they do everything: nothing hangs, nothing is used after its end
};
inline constexpr std::array GroundNames{"calm", "rough", "wild"};

// The numbers that a source of the torture's own puts into its samples: counted from 1 on behind
// its own number, so that each sample tells where it comes from and which one it is.
constexpr double SourceStep = 4294967296.0;

enum TWord : std::uint8_t { wdStart, wdStop, wdBlock, wdValue, wdOther };
inline constexpr std::array Words{"start", "stop", "block", "value"};

inline const TQSRealBuffer* AsSamples(const TRef<IQSData>& ABlock) {
  const IQSDataBuffer* Buffer = ABlock ? ABlock->AsDataBuffer() : nullptr;
  const bool IsReal = Buffer != nullptr && Buffer->GetDataTypeID() == TQSRealBuffer::TypeID;
  return IsReal && Buffer->GetSize() > 0 ? static_cast<const TQSRealBuffer*>(Buffer) : nullptr;
}

inline TWord WordOf(IKLNotifyOperation& AOperation) {
  if (AOperation.IsType<TKLStartOperation>()) return wdStart;
  if (AOperation.IsType<TKLStopOperation>()) return wdStop;
  if (AOperation.IsType<TKLSuppliedBufferOperation>()) return wdBlock;
  return AOperation.IsType<TKLSuppliedOperation>() ? wdValue : wdOther;
}

inline TCounter BlocksHeard{"blocks heard"};

// The record of one input. It outlives the input, so that what comes too late has a place.
class TLedger {
 public:
  TLedger(const char* AName, TGround AGround) : FName(AName), FGround(AGround) {}
  TLedger(const TLedger&) = delete;
  virtual ~TLedger() {
    CheckKept();
    if (FInside > 0 || FValues > 0) Tell("ended with somebody inside");
  }

  // Which ledger the input at an address has, as long as somebody holds the ledger: the pin's
  // handler does.
  static void Know(const TKLBasicPin& APin, const std::shared_ptr<TLedger>& ALedger) {
    constexpr std::size_t Many = 1000;
    const std::lock_guard Lock(PinsMutex);
    if (Pins.size() > Many) std::erase_if(Pins, [](const auto& A) { return A.second.expired(); });
    Pins[&APin] = ALedger;
  }
  static std::shared_ptr<TLedger> Of(const TKLBasicPin& APin) {
    const std::lock_guard Lock(PinsMutex);
    const auto Found = Pins.find(&APin);
    return Found != Pins.end() ? Found->second.lock() : nullptr;
  }

  // Does ADo as a call of AWord into the input.
  template <class TDo>
  auto Call(TWord AWord, const TRef<IQSData>& ABlock, const TDo& ADo) {
    Enter(AWord, ABlock);
    const TAtEnd End{[&] { Leave(AWord); }};
    try {
      return ADo();
    } catch (...) {
      if (AWord == wdStart) Refuse();
      throw;
    }
  }

  // A link to this input begins to be made, or is through with it.
  void Connecting(bool ABegins) {
    const std::lock_guard Lock(FMutex);
    Note(ABegins ? "connect" : "connect is over");
    FConnecting += ABegins ? 1 : -1;
    if (!ABegins) return;
    ++FLinks;
    FSilent = false;
  }
  // The count of links that were begun; nothing while one is being made.
  using TMoment = std::optional<std::uint64_t>;
  TMoment Moment() const {
    const std::lock_guard Lock(FMutex);
    return FConnecting == 0 ? TMoment(FLinks) : std::nullopt;
  }

  // The links that were there at AMoment have been taken off: unless another one was begun since,
  // nothing is inside, the stream is over, and nothing comes any more.
  void Unlinked(TMoment AMoment) {
    const std::lock_guard Lock(FMutex);
    if (!ChecksOrder() || AMoment != FLinks) return;
    Note("unlinked");
    if (FInside > 0 || FValues > 0) Tell("somebody inside after its link was taken off");
    if (FStream == TStream::Running) Tell("no stop at the end of a link");
    FStream = TStream::Idle;
    FSilent = true;
  }

 private:
  // Of a refused stream a stop may follow or not.
  enum class TStream : std::uint8_t { Idle, Running, Refused };

  void Enter(TWord AWord, const TRef<IQSData>& ABlock) {
    const std::lock_guard Lock(FMutex);
    Note(Words[AWord]);
    if (FSilent) Tell("heard something after its link was taken off");
    if (AWord == wdValue) {
      ++FValues;
      return;
    }
    if (FInside > 0 && FThread != TThreadLog::Own().Number) Tell("two threads inside one input");
    ++FInside;
    FThread = TThreadLog::Own().Number;
    if (ChecksOrder()) CheckOrder(AWord);
    if (AWord != wdBlock) return;
    BlocksHeard.Add();
    CheckSamples(ABlock);
  }

  void Leave(TWord AWord) {
    const std::lock_guard Lock(FMutex);
    --(AWord == wdValue ? FValues : FInside);
    Note(std::string(Words[AWord]) + " is over");
  }

  void Refuse() {
    const std::lock_guard Lock(FMutex);
    Note("start refused");
    FStream = TStream::Refused;
  }

  void CheckOrder(TWord AWord) {
    const TStream Before = FStream;
    if (AWord == wdBlock) {
      if (Before != TStream::Running) Tell("a block outside start and stop");
      return;
    }
    FNext = 0.0;
    FStream = AWord == wdStart ? TStream::Running : TStream::Idle;
    if (AWord == wdStart && Before == TStream::Running) Tell("a second start");
    if (AWord == wdStop && Before == TStream::Idle) Tell("a stop without a start");
  }

  // Each sample follows the one before; between blocks some may be missing on rough ground only. A
  // filter may have turned the sign, of whole blocks.
  void CheckSamples(const TRef<IQSData>& ABlock) {
    CheckKept();
    const TQSRealBuffer* Block = AsSamples(ABlock);
    if (Block == nullptr || Block->GetItem(0) == 0.0) return;  // not of the torture's making
    const double First = std::abs(Block->GetItem(0));
    const double Sign = Block->GetItem(0) / First;
    for (std::int32_t I = 1; I < Block->GetSize(); ++I) {
      if (Block->GetItem(I) == Sign * (First + I)) continue;
      Note("foreign sample " + NumberText(Block->GetItem(I)));
      return Tell("a block with foreign samples in it");
    }
    if (Chance().OneIn(8)) {
      FKept = ABlock;
      FKeptSample = Block->GetItem(0);
    }
    if (!ChecksOrder()) return;
    Note("samples from " + NumberText(First) + ", expected " + NumberText(FNext));
    const bool SameSource = std::floor(First / SourceStep) == std::floor(FNext / SourceStep);
    if (FNext != 0.0 && (!SameSource || First < FNext)) Tell("samples out of order");
    if (FNext != 0.0 && SameSource && First > FNext && FGround == Calm) Tell("samples are missing");
    FNext = First + Block->GetSize();
  }

  // Whoever writes into a block must not disturb those who hold it.
  void CheckKept() {
    const TQSRealBuffer* Kept = AsSamples(FKept);
    if (Kept != nullptr && Kept->GetItem(0) != FKeptSample) Tell("a kept block has changed");
    FKept = nullptr;
  }

  void Note(const std::string& AWhat) {
    const auto& Own = TThreadLog::Own();
    FNotes.push_back("    thread " + std::to_string(Own.Number) + " (" + Own.Doing.load() +
                     "): " + AWhat);
    if (FNotes.size() > 24) FNotes.pop_front();
  }

  void Tell(const char* AWhat) const {
    std::string Notes;
    for (const std::string& Note : FNotes) Notes += Note + "\n";
    Fault(std::string(AWhat) + " (" + FName + ", " + GroundNames[FGround] + ")", Notes);
  }

  bool ChecksOrder() const { return FGround != Wild; }

  static inline std::mutex PinsMutex;
  static inline std::unordered_map<const TKLBasicPin*, std::weak_ptr<TLedger>> Pins;

  const char* const FName;
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
  std::deque<std::string> FNotes;
};

// Links of AGround are taken off from outside: look at the pins before, hold to it after.
class TSilence {
 public:
  explicit TSilence(TGround AGround) : FOthers(Unlinking[AGround]) { ++FOthers; }
  TSilence(const TSilence&) = delete;
  ~TSilence() { --FOthers; }
  // The input itself if APin is one with a ledger, and all inputs at the far ends of its links.
  void Watch(const TKLBasicPin& APin) {
    if (const auto Ledger = TLedger::Of(APin)) FLedgers.emplace_back(Ledger, Ledger->Moment());
    for (const TKLBasicPin* Far : APin.ConnectedPins()) WatchLink(APin, *Far);
  }
  // A far end that is linked to something else by now does not count, so the look at the link comes
  // behind the look at the ledger. The far pin may have ended; only its address is used.
  void WatchLink(const TKLBasicPin& APin, const TKLBasicPin& AFar) {
    const auto Ledger = TLedger::Of(AFar);
    if (!Ledger) return;
    const TLedger::TMoment Moment = Ledger->Moment();
    if (APin.LinkType(AFar) != nullptr) FLedgers.emplace_back(Ledger, Moment);
  }
  // What has been watched must be silent now. Nothing is checked while another thread takes links
  // off too: it may be the one that took these off, and not through with it.
  void Hold() {
    if (FOthers > 1) return;
    for (const auto& [Ledger, Moment] : FLedgers) Ledger->Unlinked(Moment);
  }

 private:
  static inline std::array<std::atomic<int>, 3> Unlinking{};
  std::atomic<int>& FOthers;
  std::vector<std::pair<std::shared_ptr<TLedger>, TLedger::TMoment>> FLedgers;
};

}  // namespace tessalune::torture
