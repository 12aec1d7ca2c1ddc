#include "Ledger.h"

#include <tessalune/frame/pins/KLPins.h>

#include <algorithm>
#include <cmath>
#include <unordered_map>

namespace tessalune::torture {
namespace {

constexpr std::array WordNames{"start", "stop", "block", "value"};
constexpr std::array WordEnds{"start is over", "stop is over", "block is over", "value is over"};

const TQSRealBuffer* AsSamples(const TRef<IQSData>& ABlock) {
  const IQSDataBuffer* Buffer = ABlock ? ABlock->AsDataBuffer() : nullptr;
  const bool IsReal = Buffer != nullptr && Buffer->GetDataTypeID() == TQSRealBuffer::TypeID;
  return IsReal && Buffer->GetSize() > 0 ? static_cast<const TQSRealBuffer*>(Buffer) : nullptr;
}

}  // namespace

TLedger::~TLedger() {
  CheckKept();
  if (FInside > 0 || FValues > 0) Tell("ended with somebody inside");
}

void TLedger::Enter(TWord AWord, const TRef<IQSData>& ABlock) {
  const std::lock_guard Lock(FMutex);
  Note(WordNames[static_cast<std::size_t>(AWord)]);
  if (FSilent) Tell("heard something after its link was taken off");
  if (AWord == TWord::Value) {
    ++FValues;
    return;
  }
  if (FInside > 0 && FThread != ThreadNumber()) Tell("two threads inside one input");
  ++FInside;
  FThread = ThreadNumber();
  if (ChecksOrder()) CheckOrder(AWord);
  if (AWord != TWord::Block) return;
  CountBlock();
  CheckSamples(ABlock);
}

void TLedger::Leave(TWord AWord) {
  const std::lock_guard Lock(FMutex);
  --(AWord == TWord::Value ? FValues : FInside);
  Note(WordEnds[static_cast<std::size_t>(AWord)]);
}

void TLedger::StartRefused() {
  const std::lock_guard Lock(FMutex);
  Note("start refused");
  FStream = TStream::Refused;
}

void TLedger::CheckOrder(TWord AWord) {
  if (AWord != TWord::Block) FNext = 0.0;
  switch (AWord) {
    case TWord::Start:
      if (FStream == TStream::Running) Tell("a second start");
      FStream = TStream::Running;
      break;
    case TWord::Stop:
      if (FStream == TStream::Idle) Tell("a stop without a start");
      FStream = TStream::Idle;
      break;
    default:
      if (FStream != TStream::Running) Tell("a block outside start and stop");
  }
}

// Each sample follows the one before; between blocks some may be missing on rough ground only. A
// filter may have turned the sign, of whole blocks.
void TLedger::CheckSamples(const TRef<IQSData>& ABlock) {
  CheckKept();
  const TQSRealBuffer* Block = AsSamples(ABlock);
  if (Block == nullptr || Block->GetItem(0) == 0.0) return;  // not of the torture's making
  const double First = std::abs(Block->GetItem(0));
  const double Sign = Block->GetItem(0) / First;
  for (std::int32_t I = 1; I < Block->GetSize(); ++I) {
    if (Block->GetItem(I) != Sign * (First + I)) {
      Note("foreign sample", Block->GetItem(I));
      Tell("a block with foreign samples in it");
      return;
    }
  }
  if (Chance().OneIn(8)) {
    FKept = ABlock;
    FKeptSample = Block->GetItem(0);
  }
  if (!ChecksOrder()) return;
  Note("samples from", First);
  const bool SameSource = std::floor(First / SourceStep) == std::floor(FNext / SourceStep);
  if (FNext != 0.0 && (!SameSource || First < FNext)) Tell("samples out of order");
  if (FNext != 0.0 && SameSource && First > FNext && FGround == TGround::Calm) {
    Note("expected", FNext);
    Tell("samples are missing");
  }
  FNext = First + Block->GetSize();
}

// Whoever writes into a block must not disturb those who hold it.
void TLedger::CheckKept() {
  const TQSRealBuffer* Kept = AsSamples(FKept);
  if (Kept != nullptr && Kept->GetItem(0) != FKeptSample) Tell("a block that was kept has changed");
  FKept = nullptr;
}

TLedger::TConnecting::TConnecting(std::shared_ptr<TLedger> ALedger) : FLedger(std::move(ALedger)) {
  if (!FLedger) return;
  const std::lock_guard Lock(FLedger->FMutex);
  ++FLedger->FLinks;
  ++FLedger->FConnecting;
  FLedger->FSilent = false;
  FLedger->Note("connect");
}

TLedger::TConnecting::~TConnecting() {
  if (!FLedger) return;
  const std::lock_guard Lock(FLedger->FMutex);
  --FLedger->FConnecting;
  FLedger->Note("connect is over");
}

TLedger::TMoment TLedger::Moment() const {
  const std::lock_guard Lock(FMutex);
  return FConnecting == 0 ? TMoment(FLinks) : std::nullopt;
}

void TLedger::Unlinked(TMoment AMoment) {
  const std::lock_guard Lock(FMutex);
  if (!ChecksOrder() || AMoment != FLinks) return;
  Note("unlinked");
  if (FInside > 0 || FValues > 0) Tell("somebody inside after its link was taken off");
  if (FStream == TStream::Running) Tell("no stop at the end of a link");
  FStream = TStream::Idle;
  FSilent = true;
}

void TLedger::Note(const char* AWhat, double ASample) {
  FNotes[FNoted++ % FNotes.size()] = {ThreadNumber(), CurrentOperation(), AWhat, ASample};
}

void TLedger::Tell(const char* AWhat) const {
  constexpr std::array Grounds{"calm", "rough", "wild"};
  std::string Notes;
  for (std::size_t I = FNoted - std::min(FNoted, FNotes.size()); I < FNoted; ++I) {
    const TNote& Note = FNotes[I % FNotes.size()];
    Notes += "    thread " + std::to_string(Note.Thread) + " (" + Note.Doing + "): " + Note.What;
    if (Note.Sample != 0.0) Notes += " " + NumberText(Note.Sample);
    Notes += "\n";
  }
  Fault(std::string(AWhat) + " (" + FName + ", " + Grounds[static_cast<std::size_t>(FGround)] + ")",
        Notes);
}

// --- pins and their ledgers ---

namespace {

struct TPins {
  std::mutex Mutex;
  std::unordered_map<const TKLBasicPin*, std::weak_ptr<TLedger>> Ledgers;
};
TPins& Pins() {
  static auto* Instance = new TPins;
  return *Instance;
}

}  // namespace

void KnowPin(const TKLBasicPin& APin, const std::shared_ptr<TLedger>& ALedger) {
  constexpr std::size_t Many = 1000;
  const std::lock_guard Lock(Pins().Mutex);
  auto& Ledgers = Pins().Ledgers;
  if (Ledgers.size() > Many) {
    std::erase_if(Ledgers, [](const auto& AEntry) { return AEntry.second.expired(); });
  }
  Ledgers[&APin] = ALedger;
}

std::shared_ptr<TLedger> LedgerOf(const TKLBasicPin& APin) {
  const std::lock_guard Lock(Pins().Mutex);
  const auto Found = Pins().Ledgers.find(&APin);
  return Found != Pins().Ledgers.end() ? Found->second.lock() : nullptr;
}

void TSilence::Watch(const std::shared_ptr<TLedger>& ALedger) {
  if (ALedger) FLedgers.emplace_back(ALedger, ALedger->Moment());
}

void TSilence::Watch(const TKLBasicPin& APin) {
  Watch(LedgerOf(APin));
  for (const TKLBasicPin* Far : APin.ConnectedPins()) WatchLink(APin, *Far);
}

// A far end that is linked to something else by now does not count, so the look at the link comes
// behind the look at the ledger. The far pin may have ended; only its address is used.
void TSilence::WatchLink(const TKLBasicPin& APin, const TKLBasicPin& AFar) {
  const auto Ledger = LedgerOf(AFar);
  if (!Ledger) return;
  const TLedger::TMoment Moment = Ledger->Moment();
  if (APin.LinkType(AFar) != nullptr) FLedgers.emplace_back(Ledger, Moment);
}

void TSilence::Hold() {
  if (FOthers > 1) return;
  for (const auto& [Ledger, Moment] : FLedgers) Ledger->Unlinked(Moment);
}

}  // namespace tessalune::torture
