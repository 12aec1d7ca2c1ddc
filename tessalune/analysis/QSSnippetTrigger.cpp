#include <tessalune/analysis/QSSnippetTrigger.h>
#include <tessalune/frame/runtime/QSCategories.h>
#include <tessalune/frame/runtime/QSComponentRegistry.h>

#include <algorithm>
#include <iterator>
#include <limits>
#include <memory>
#include <utility>

namespace tessalune {
namespace {

constexpr TPropertyInfo<std::int32_t> SizeInfo{.Name = "Size",
                                               .Default = 1024,
                                               .Bounds = AtLeast(1),
                                               .Unit = "samples",
                                               .Doc = "Samples of a snippet."};
constexpr TPropertyInfo<std::int32_t> SamplesBeforeInfo{
    .Name = "SamplesBefore",
    .Default = 512,
    .Bounds = AtLeast(0),
    .Design = Between(0, 10000),
    .Unit = "samples",
    .Doc = "Samples of it before the crossing; more than Size count as Size."};
constexpr TPropertyInfo<std::int32_t> MinimalDistanceInfo{
    .Name = "MinimalDistance",
    .Default = 100,
    .Unit = "samples",
    .Doc = "A crossing has to lie more than this and SamplesBefore behind the one before."};
constexpr TPropertyInfo<TQSTriggerEdge> EdgeInfo{
    .Name = "Edge",
    .Default = TQSTriggerEdge::teRising,
    .Doc = "The crossing that counts: to above Level, or from there down."};
constexpr TPropertyInfo<double> LevelInfo{
    .Name = "Level", .Default = 0.0, .Doc = "A sample that is equal to it lies below."};
constexpr TPropertyInfo<std::int32_t> SynchronizeTolleranceInfo{
    .Name = "SynchronizeTollerance",
    .Default = 50,
    .Doc =
        "How far back the samples are kept, in snippets and in blocks, for triggers that come "
        "later than they."};

constexpr std::int64_t LookAtOnce = std::numeric_limits<std::int64_t>::min();
constexpr std::size_t MostWaiting = 65536;  // triggers; beyond that the oldest is dropped

}  // namespace

// --- properties ---

const TPublishedTable& TQSDataSnippet::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSDataSnippet"}, nullptr)
          .Property(SizeInfo, &TQSDataSnippet::Size, &TQSDataSnippet::SetSize)
          .Property(SamplesBeforeInfo, &TQSDataSnippet::SamplesBefore,
                    &TQSDataSnippet::SetSamplesBefore);
  return Table;
}

void TQSDataSnippet::SetSize(std::int32_t AValue) { NotifySetter(SizeInfo, FSize, AValue); }
void TQSDataSnippet::SetSamplesBefore(std::int32_t AValue) {
  NotifySetter(SamplesBeforeInfo, FSamplesBefore, AValue);
}

const TPublishedTable& TQSTrigger::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSTrigger"}, nullptr)
          .Property(MinimalDistanceInfo, &TQSTrigger::MinimalDistance,
                    &TQSTrigger::SetMinimalDistance)
          .Property(EdgeInfo, &TQSTrigger::Edge, &TQSTrigger::SetEdge)
          .Property(LevelInfo, &TQSTrigger::Level, &TQSTrigger::SetLevel)
          .Property(SynchronizeTolleranceInfo, &TQSTrigger::SynchronizeTollerance,
                    &TQSTrigger::SetSynchronizeTollerance);
  return Table;
}

void TQSTrigger::SetMinimalDistance(std::int32_t AValue) {
  NotifySetter(MinimalDistanceInfo, FMinimalDistance, AValue);
}
void TQSTrigger::SetEdge(TQSTriggerEdge AValue) { NotifySetter(EdgeInfo, FEdge, AValue); }
void TQSTrigger::SetLevel(double AValue) { NotifySetter(LevelInfo, FLevel, AValue); }
void TQSTrigger::SetSynchronizeTollerance(std::int32_t AValue) {
  NotifySetter(SynchronizeTolleranceInfo, FSynchronizeTollerance, AValue);
}

// --- the record ---

TRef<TQSSnippetTriggerData> TQSSnippetTriggerData::Create(bool AWasTriggeredExternally,
                                                          std::int64_t ATriggerPosition,
                                                          std::int32_t ASamplesBefore,
                                                          std::int32_t ASampleInBuffer,
                                                          double ALevel, TQSTriggerEdge AEdge) {
  auto Data = MakeRef<TQSSnippetTriggerData>();
  Data->FWasTriggeredExternally = AWasTriggeredExternally;
  Data->FTriggerPosition = ATriggerPosition;
  Data->FSamplesBefore = ASamplesBefore;
  Data->FSampleInBuffer = ASampleInBuffer;
  Data->FLevel = ALevel;
  Data->FEdge = AEdge;
  return Data;
}

TRef<IQSData> TQSSnippetTriggerData::MakeCopy() const {
  auto Copy = Create(FWasTriggeredExternally, FTriggerPosition, FSamplesBefore, FSampleInBuffer,
                     FLevel, FEdge);
  Copy->CopyCustom(*this);
  return Copy;
}

TPropertyRecord TQSSnippetTriggerData::PropertyValue() const {
  return TPropertyRecord({{"WasTriggeredExternally", FWasTriggeredExternally},
                          {"TriggerPosition", FTriggerPosition},
                          {"SamplesBefore", ToValue(FSamplesBefore)},
                          {"SampleInBuffer", ToValue(FSampleInBuffer)},
                          {"Level", FLevel},
                          {"Edge", ToValue(FEdge)}});
}

// --- the component ---

TQSSnippetTrigger::TQSSnippetTrigger(TConstruct AConstruct)
    : TQSCommonRealFilter(AConstruct),
      FTriggerInputPin({*this, FInputLock},
                       [this](TObject*, bool AWasTriggeredExternally, std::int64_t ATriggerSample,
                              std::int32_t ASamplesBefore, std::int32_t ASampleInBuffer,
                              double ALevel, TQSTriggerEdge AEdge) {
                         TriggerSinkEvent(AWasTriggeredExternally, ATriggerSample, ASamplesBefore,
                                          ASampleInBuffer, ALevel, AEdge);
                       }),
      FTriggerOutputPin(
          {*this, FLock},
          [this](TKLBasicPin& ASender, TKLBasicPin* AOtherPin, const TGUID& ADataTypeID,
                 IKLNotifyOperation& AOperation, TKLNotifyState AState) {
            return SourceDispatch(ASender, AOtherPin, ADataTypeID, AOperation, AState);
          }),
      FSnippet(FLock, "Snippet"),
      FTrigger(FLock, "Trigger") {
  // Either output depends on both inputs, so that no trigger comes back to where it came from.
  FOutputPin.AddFunctionSource(FTriggerInputPin);
  FTriggerOutputPin.AddFunctionSource(FTriggerInputPin);
  FTriggerOutputPin.AddFunctionSource(FInputPin);
}

namespace {

constexpr TClassText SnippetTriggerText{
    .Use =
        R"(The trigger of an oscilloscope: cuts `Snippet.Size` samples out of a stream around each crossing
of a level, with as much of the time before as you like. Behind it TQSPatternDetector judges the
snippets, and TQSMinMax or TQSFourier measures them. Link the trigger output of one instance to
the trigger input of others to cut parallel streams at the same place.)",
    .BadInput =
        R"(A NaN counts as a sample below the level. A trigger from another instance whose samples are no
longer in the history, or never were, gives no snippet, and the notes of `run` tell. The crossing
has to lie more than `Snippet.SamplesBefore` samples behind the start, so the first moments of a
stream give none.)",
    .Accuracy =
        R"(Positions are whole samples, counted from the start, and do not depend on the cut into blocks. A
snippet goes out as soon as its last sample is there. The history is kept by reference: as many
blocks as have `Snippet.Size` times `Trigger.SynchronizeTollerance` samples. One comparison a
sample, and a copy of each snippet.)",
    .Formulas = R"(With L = `Level`, B = `SamplesBefore`:

    teRising   x[p - 1] <= L < x[p]
    teFalling  x[p] <= L < x[p - 1]
    snippet    x[p - B] to x[p - B + Size - 1]
    the next crossing counts from p + MinimalDistance + B on, exclusive)",
    .SeeAlso = "TQSPatternDetector, TQSSnapshot, TQSToSquare, TQSDelayLine",
    .Example =
        R"(A tone of 100 Hz under a little noise, and what the trigger cuts out of it, snippet upon snippet:
each begins 20 samples before the tone rises through 0.5.)",
};

}  // namespace

const TPublishedTable& TQSSnippetTrigger::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSSnippetTrigger",
                       .DisplayName = "Snippet Trigger",
                       .Category = categories::Measurement,
                       .Doc = "Cuts snippets of fixed size out of a real stream, around the "
                              "crossings of a level or where another instance triggers; nothing "
                              "else goes through while it is enabled.",
                       .Text = SnippetTriggerText},
                      &TQSCommonRealFilter::Published())
          .Pin("TriggerInputPin", &TQSSnippetTrigger::TriggerInputPin,
               "Triggers of another instance; while it is linked there is no detection here.")
          .Pin("TriggerOutputPin", &TQSSnippetTrigger::TriggerOutputPin,
               "A trigger for each snippet; it ticks clock inputs too.")
          .Object("Snippet", &TQSSnippetTrigger::Snippet, "What is cut.")
          .Object("Trigger", &TQSSnippetTrigger::Trigger, "What is detected.")
          .Event("OnTriggered", &TQSSnippetTrigger::SetOnTriggered, {"TriggerData"},
                 "A snippet has been sent.");
  return Table;
}

void TQSSnippetTrigger::SetOnTriggered(TQSTriggerEvent AHandler) {
  NotifySetter("OnTriggered", FOnTriggered, std::move(AHandler));
}

std::vector<std::string> TQSSnippetTrigger::Remarks() const {
  std::vector<std::string> Remarks;
  const std::int32_t Size = FSnippet.Size();
  const std::int32_t Before = FSnippet.SamplesBefore();
  if (Before > Size) {
    Remarks.push_back("Snippet.SamplesBefore is " + NumberText(Before) + ", above Snippet.Size, " +
                      NumberText(Size) +
                      ", and counts as that; the crossing lies behind the snippet");
  }
  const std::lock_guard Guard(FMutex);
  if (FMissed > 0) {
    Remarks.push_back(NumberText(FMissed) +
                      " triggers that came in gave no snippet: the samples had left the history, "
                      "or did not come; for triggers that come later than the samples make "
                      "Trigger.SynchronizeTollerance larger");
  }
  return Remarks;
}

// --- the stream ---

void TQSSnippetTrigger::StreamStart() {
  TQSCommonRealFilter::StreamStart();
  const std::lock_guard Guard(FMutex);
  ForgetHistory();
  FTriggers.clear();
  FStartSample = 0;
  FLastTriggerTotalPosition = 0;
  FWasDetected = false;
  FMissed = 0;
}

void TQSSnippetTrigger::StreamStop() {
  TQSCommonRealFilter::StreamStop();
  const std::lock_guard Guard(FMutex);
  ForgetHistory();
  FMissed += static_cast<std::int64_t>(FTriggers.size());
  FTriggers.clear();
}

// A snippet for another instance's trigger may be on its way on that one's thread.
TKLNotifyResult TQSSnippetTrigger::OutputPinsNotify(IKLNotifyOperation& AOperation) {
  // The turn may be left to an earlier one, which runs it later.
  const auto Result = std::make_shared<TKLNotifyResult>();
  std::function<void()> Work = [this, Result, Kept = TRef<IKLNotifyOperation>(&AOperation)] {
    *Result = TQSCommonRealFilter::OutputPinsNotify(*Kept);
  };
  FTurns->Run(FTurns->Take(), TRef<TCallGate>(&Gate()), std::move(Work));
  return *Result;
}

void TQSSnippetTrigger::InternalOperation(const TRef<IQSRealBuffer>& AInBuffer,
                                          TRef<IQSRealBuffer>&, bool, bool& ASendOutputData) {
  const std::int32_t Count = AInBuffer->GetSize();
  const bool Passes = !IsEnabled();
  ASendOutputData = Passes;
  if (Count == 0) return;
  TMutexLock Mutex(FMutex);
  ReadSettings();
  if (Passes) {
    const bool HadHistory = !FBuffers.empty();
    ForgetHistory();
    if (HadHistory) LetSnippetsOut(Mutex);
  } else {
    FBuffers.push_back({AInBuffer, FStartSample});
    FCollectedSamples += Count;
  }
  FStartSample += Count;
  PassThroughAndPopFront();
  ServeTriggers(Mutex);
  while (const auto Edge = NextEdge()) {
    FWasDetected = true;
    SendSnippetData(TQSSnippetTriggerData::Create(false, *Edge, FSettings.Before, FSettings.Before,
                                                  FSettings.Level, FSettings.Edge),
                    Mutex);
  }
}

// A snippet for another instance's trigger may be on its way on that one's thread: the stream comes
// behind it.
void TQSSnippetTrigger::LetSnippetsOut(TMutexLock& AMutex) {
  const std::uint64_t Turn = FTurns->Take();
  AMutex.unlock();
  FTurns->Run(Turn, [] {});
  AMutex.lock();
}

void TQSSnippetTrigger::ReadSettings() {
  TSettings Settings;
  Settings.Size = FSnippet.Size();
  Settings.Before = std::min(FSnippet.SamplesBefore(), Settings.Size);
  Settings.Distance = std::int64_t{FTrigger.MinimalDistance()} + Settings.Before;
  Settings.Tolerance = FTrigger.SynchronizeTollerance();
  Settings.Level = FTrigger.Level();
  Settings.Edge = FTrigger.Edge();
  Settings.Detects = !FTriggerInputPin.IsConnected();
  if (Settings == FSettings) return;
  FSettings = Settings;
  FNext.reset();
  FDue = LookAtOnce;
}

void TQSSnippetTrigger::ForgetHistory() {
  FBuffers.clear();
  FCollectedSamples = 0;
  FNext.reset();
  FDue = LookAtOnce;
}

// Lets the oldest blocks go that nothing needs any more.
void TQSSnippetTrigger::PassThroughAndPopFront() {
  const std::int64_t Size = FSettings.Size;
  const std::int64_t Kept = std::max(Size * FSettings.Tolerance, Size);
  while (static_cast<std::int64_t>(FBuffers.size()) >
         std::max<std::int64_t>(FSettings.Tolerance, 1)) {
    const TTriggerBufferWrapper& Oldest = FBuffers.front();
    const std::int64_t Left = FCollectedSamples - Oldest.Buffer->GetSize();
    if (Left <= Kept || (FNext && Oldest.End() >= *FNext - FSettings.Before)) return;
    FCollectedSamples = Left;
    FBuffers.pop_front();
  }
}

std::int64_t TQSSnippetTrigger::HistoryBegin() const {
  return FBuffers.empty() ? FStartSample : FBuffers.front().StartSample;
}

TQSSnippetTrigger::TBuffers::const_iterator TQSSnippetTrigger::Find(std::int64_t APosition) const {
  return std::prev(std::upper_bound(FBuffers.begin(), FBuffers.end(), APosition,
                                    [](std::int64_t ALeft, const TTriggerBufferWrapper& ARight) {
                                      return ALeft < ARight.StartSample;
                                    }));
}

// --- detection ---

// The next crossing whose snippet is all there. Each sample is looked at once.
std::optional<std::int64_t> TQSSnippetTrigger::NextEdge() {
  if (!FSettings.Detects || FBuffers.empty()) return std::nullopt;
  if (!FNext) FNext = HistoryBegin() + FSettings.Before + 1;
  const std::int64_t Behind = std::max(FSettings.Size - FSettings.Before, 1);
  const std::int64_t End = FStartSample - Behind + 1;
  std::int64_t At = *FNext;
  if (At >= End) return std::nullopt;
  const double Level = FSettings.Level;
  const bool Wanted = FSettings.Edge == TQSTriggerEdge::teRising;
  auto Wrapper = Find(At - 1);
  bool WasHigh =
      Wrapper->Buffer->GetItem(static_cast<std::int32_t>(At - 1 - Wrapper->StartSample)) > Level;
  for (; At < End; ++Wrapper) {
    const double* Samples = Wrapper->Buffer->Read();
    const std::int64_t Stop = std::min(End, Wrapper->End());
    for (; At < Stop; ++At) {
      const bool IsHigh = Samples[At - Wrapper->StartSample] > Level;
      if (IsHigh == WasHigh) continue;
      WasHigh = IsHigh;
      if (IsHigh == Wanted && MayTrigger(At)) {
        FNext = At + 1;
        return At;
      }
    }
  }
  FNext = At;
  return std::nullopt;
}

bool TQSSnippetTrigger::MayTrigger(std::int64_t APosition) const {
  return !FWasDetected ||
         APosition > FLastTriggerTotalPosition + std::max<std::int64_t>(FSettings.Distance, 0);
}

// --- triggers of other instances ---

void TQSSnippetTrigger::TriggerSinkEvent(bool AWasTriggeredExternally, std::int64_t ATriggerSample,
                                         std::int32_t ASamplesBefore, std::int32_t ASampleInBuffer,
                                         double ALevel, TQSTriggerEdge AEdge) {
  TMutexLock Mutex(FMutex);
  ReadSettings();
  const std::int64_t Position = std::max<std::int64_t>(ATriggerSample, -1);
  FTriggers.push_back(TQSSnippetTriggerData::Create(
      AWasTriggeredExternally, Position, ASamplesBefore, ASampleInBuffer, ALevel, AEdge));
  const std::int64_t First = Position - FSettings.Before;
  FDue = First < HistoryBegin() ? LookAtOnce : std::min(FDue, First);
  ServeTriggers(Mutex);
  if (FTriggers.size() > MostWaiting) {
    FTriggers.pop_front();
    ++FMissed;
  }
}

// Those whose samples are all there, in order; those whose samples are gone are dropped.
void TQSSnippetTrigger::ServeTriggers(TMutexLock& AMutex) {
  if (FDue > FStartSample - FSettings.Size) return;
  FDue = std::numeric_limits<std::int64_t>::max();
  for (std::size_t I = 0; I < FTriggers.size();) {
    const TRef<TQSSnippetTriggerData> Trigger = FTriggers[I];
    const std::int64_t First = Trigger->TriggerPosition() - FSettings.Before;
    const bool IsGone = First < HistoryBegin();
    if (!IsGone && First > FStartSample - FSettings.Size) {
      FDue = std::min(FDue, First);
      ++I;
      continue;
    }
    FTriggers.erase(FTriggers.begin() + static_cast<std::ptrdiff_t>(I));
    if (IsGone) {
      ++FMissed;
      continue;
    }
    FDue = LookAtOnce;  // for others meanwhile, and if a sink throws
    SendSnippetData(
        TQSSnippetTriggerData::Create(true, Trigger->TriggerPosition(), FSettings.Before,
                                      FSettings.Before, Trigger->Level(), Trigger->Edge()),
        AMutex);
    FDue = std::numeric_limits<std::int64_t>::max();
    I = 0;
  }
}

// --- snippets ---

// The snippet from AFirst on, whose samples are all there.
TRef<IQSRealBuffer> TQSSnippetTrigger::Cut(std::int64_t AFirst) const {
  auto Snippet = TQSRealBuffer::CreateSize(FSettings.Size);
  double* Samples = Snippet->Write();
  std::int32_t Cut = 0;
  for (auto Wrapper = Find(AFirst); Cut < FSettings.Size; ++Wrapper) {
    const auto From = static_cast<std::int32_t>(AFirst + Cut - Wrapper->StartSample);
    const std::int32_t Count = std::min(FSettings.Size - Cut, Wrapper->Buffer->GetSize() - From);
    ippsCopy_64f(Wrapper->Buffer->Read() + From, Samples + Cut, Count);
    Cut += Count;
  }
  return Snippet;
}

void TQSSnippetTrigger::SendSnippetData(TRef<TQSSnippetTriggerData> ATriggerMetadata,
                                        TMutexLock& AMutex) {
  const std::int64_t Position = ATriggerMetadata->TriggerPosition();
  FLastTriggerTotalPosition = Position;
  std::function<void()> Work = [this, Data = std::move(ATriggerMetadata), Level = FSettings.Level,
                                Edge = FSettings.Edge,
                                Snippet = Cut(Position - FSettings.Before)]() mutable {
    FOutputPin.SubmitBuffer(std::move(Snippet));
    FTriggerOutputPin.SendTrigger(Data->WasTriggeredExternally(), Data->TriggerPosition(),
                                  Data->SamplesBefore(), Data->SampleInBuffer(), Level, Edge);
    FOnTriggered(*this, Data);
  };
  const std::uint64_t Turn = FTurns->Take();
  AMutex.unlock();
  FTurns->Run(Turn, TRef<TCallGate>(&Gate()), std::move(Work));
  AMutex.lock();
}

void QSSnippetTrigger::RegisterPkg() { RegisterComponents({ClassOf<TQSSnippetTrigger>()}); }

}  // namespace tessalune
