#include "Runner.h"

#include <host/GraphWalk.h>
#include <host/Words.h>

#include <tessalune/frame/runtime/QSMainThread.h>
#include <tessalune/frame/streams/QSFilterThread.h>

#include <algorithm>
#include <functional>
#include <utility>

namespace tessalune::host {
namespace {

constexpr std::chrono::milliseconds ReportPeriod{100};
constexpr std::chrono::seconds LongestEnd{10};
// A source that is later than this is worth a remark, in seconds; what is below is how threads run.
constexpr double TellableLag = 0.05;

// Calls AListen(event's row, object that has it, path of sub-objects) for all events.
void ForEachEvent(
    TPersistent& AObject, const std::string& APath,
    const std::function<void(const TPublishedEvent&, TPersistent&, const std::string&)>& AListen) {
  for (const TPublishedEvent* Event : AObject.PublishedTable().Events()) {
    AListen(*Event, AObject, APath + std::string(Event->Name));
  }
  for (const TPublishedProperty* Row : AObject.PublishedTable().Properties()) {
    if (Row->Kind != TPropertyKind::Object) continue;
    ForEachEvent(Row->Object(AObject), APath + std::string(Row->Name) + '.', AListen);
  }
}

// Of a filter's Threading: whether its queue drops what it has no room for.
bool DropsBlocks(TPersistent& AThreading) {
  TPersistent& Queue = AThreading.PublishedTable().FindProperty("Queue")->Object(AThreading);
  return Queue.PublishedTable().FindProperty("FullMode")->Get(Queue) ==
         TPropertyValue(std::string("fmDropData"));
}

std::string LagText(const TSource& ASource, const TClockLag& ALag) {
  std::string Text = ASource.Component().Describe() + " fell behind its clock, by up to " +
                     Rounded(ALag.Greatest) + " s (" + Rounded(ALag.GreatestAt) +
                     " s after its start); to catch up, ";
  if (ALag.SkippedBlocks == 0) return Text + "nothing was skipped";
  return Text + Rounded(ALag.Skipped) + " s (" + Counted(ALag.SkippedBlocks, "block") +
         ") of its time were skipped, so the run took longer by them; larger blocks (BufferSize, "
         "now " +
         NumberText(ASource.Gen().BufferSize()) + ") take less time a sample";
}

}  // namespace

std::string_view RunEndName(TRunEnd AEnd) {
  switch (AEnd) {
    case TRunEnd::Limit:
      return "limit";
    case TRunEnd::SourcesEnded:
      return "sources ended";
    case TRunEnd::Interrupted:
      return "interrupted";
    case TRunEnd::NothingRan:
      return "nothing ran";
    case TRunEnd::Failed:
      return "failed";
  }
  return "";
}

std::int64_t TRunResult::LostBy(const TComponent& AComponent) const {
  std::int64_t Lost = 0;
  for (const TLossFigures& Each : Losses) {
    if (Each.Component == &AComponent) Lost += Each.Loss.Amount;
  }
  return Lost;
}

// The hook and the queue wake the main loop; both are given back at the end.
TRun::TRun(const TGraph& AGraph, const TRunSettings& ASettings, std::vector<TWatched> AWatched,
           TScript& AScript, TInterrupt& AInterrupt, IRunObserver& AObserver)
    : FGraph(AGraph),
      FSettings(ASettings),
      FInterrupt(AInterrupt),
      FObserver(AObserver),
      FScript(AScript),
      FSources(
          AGraph, ASettings, [this] { return !MayGoOn(); }, FWakeUp),
      FValues(
          AGraph, std::move(AWatched), [this] { return FSources.StreamTime(); },
          [&AObserver](const TWatched& APin, double ATime, const TValue& AValue) {
            AObserver.Value(APin, ATime, AValue);
          }) {
  FHook =
      SetUnhandledExceptionHook([Errors = FErrors](TObject* ASender, std::exception_ptr AError) {
        Errors->Add(ErrorText(AError, ASender));
      });
  MainThread().SetOnWork([WakeUp = FWakeUp] { WakeUp->Wake(); });
  for (TComponent* Component : AGraph.Components()) ListenTo(*Component);
}

TRun::~TRun() {
  MainThread().SetOnWork({});
  SetUnhandledExceptionHook(std::move(FHook));
}

void TRun::ListenTo(TComponent& AComponent) {
  const TSource* const Source = FSources.Find(AComponent);
  const auto Ended = Source != nullptr ? Source->EndNote() : std::function<void()>();
  IRunObserver* const Observer = FObserver.WantsEvents() ? &FObserver : nullptr;
  if (Ended) {
    Source->Gen().SetOnStop([Ended](TObject&) { Ended(); });
  }
  ForEachEvent(AComponent, "",
               [&](const TPublishedEvent& AEvent, TPersistent& AObject, const std::string& AName) {
                 std::function<void()> Then;
                 if (AName == "OnStop") Then = Ended;  // the published event is the one set above
                 if (AName == "Threading.OnQueueFull") {
                   Then = [Drops = FDrops, &Count = (*FDrops)[&AComponent], &AObject] {
                     if (DropsBlocks(AObject)) ++Count;
                   };
                 }
                 if (Observer == nullptr && !Then) return;
                 AEvent.Listen(AObject, [Observer, &AComponent, AName,
                                         Then](const std::vector<TEventArgument>& AArguments) {
                   if (Observer != nullptr) Observer->Event(AComponent, AName, AArguments);
                   if (Then) Then();
                 });
               });
}

TRunResult TRun::Run() {
  FStart = TSteady::now();
  SetCuts();
  FSources.Start(*FErrors);
  if (!FSettings.Realtime) {
    FSources.Pump(
        *FErrors, [this] { DoSteps(); },
        [this] {
          Report();
          return MayGoOn();
        });
  }
  WaitForClocks();
  const bool EndedAlone = FSources.IsOver();
  StopSources();
  FInterrupt.WorkHasEnded();
  CheckLosses();
  return Result(EndedAlone);
}

// Also for what is left of a run without --realtime: sources that tick by no source of the graph.
void TRun::WaitForClocks() {
  while (!FSources.IsOver() && MayGoOn()) {
    FWakeUp->Wait(ReportPeriod);
    FErrors->Catch(nullptr, [] { MainThread().Process(); });
    while (IsStepDue()) DoSteps();
    for (const auto& Source : FSources.All()) {
      FErrors->Catch(&Source->Component(), [&] { Source->StopIfSilent(TSteady::now() - FStart); });
    }
    Report();
  }
}

void TRun::SetCuts() { FSources.SetCuts(FScript.NextTime()); }

// Sources that stand still on clocks of their own come to no sample: then the clock counts.
bool TRun::IsStepDue() const {
  if (FScript.IsOver() || !MayGoOn()) return false;
  const std::chrono::duration<double> Elapsed = TSteady::now() - FStart;
  return FSources.AnyIsAtCut() ||
         (FSources.AllStandStill() && Elapsed.count() >= *FScript.NextTime());
}

// What the sources have made is worked off first, so that filters with threads of their own change
// at the same sample.
void TRun::DoSteps() {
  FErrors->Catch(nullptr, [this] {
    FSources.Between([this] {
      for (TComponent* Component : Downstream(FGraph.Components())) {
        if (auto* const Filter = dynamic_cast<IFlushable*>(Component)) Filter->FlushQueue();
      }
      FScript.DoNext(*FErrors);
    });
    MainThread().Process();
  });
  SetCuts();
}

bool TRun::MayGoOn() const { return FInterrupt.Signal() == 0 && FErrors->IsEmpty(); }

void TRun::Report() {
  const auto Now = TSteady::now();
  if (Now - FLastReport < ReportPeriod) return;
  FLastReport = Now;
  if (!FObserver.Progress(FSources.StreamTime(), FSources.TotalTime())) {
    FErrors->Add("the standard output does not take the results any more");
  }
  CheckLosses();
}

// --- the end ---

// Also waits for sources that another thread stops at this moment.
void TRun::StopSources() {
  for (const auto& Source : FSources.All()) {
    FErrors->Catch(&Source->Component(), [&] { Source->Stop(); });
  }
  const auto Deadline = TSteady::now() + LongestEnd;
  while (FSources.AnyIsGoing()) {
    if (TSteady::now() > Deadline) {
      FErrors->Add("a source did not stop within ten seconds");
      break;
    }
    FWakeUp->Wait(ReportPeriod);
  }
  bool AnyRan = true;
  while (AnyRan) {
    AnyRan = false;
    FErrors->Catch(nullptr, [&AnyRan] { AnyRan = MainThread().Process() > 0; });
  }
}

// What is lost makes the run fail, and at once: what follows would be lost as well.
void TRun::CheckLosses() {
  for (const TComponent* Component : FGraph.Components()) {
    const auto* Reports = dynamic_cast<const ILossReport*>(Component);
    if (Reports == nullptr) continue;
    for (const TLoss& Loss : Reports->Losses()) {
      if (Loss.Amount > 0) FErrors->Add(Component->Describe() + ": " + Loss.Text);
    }
  }
}

void TRun::AddFigures(TRunResult& AResult) const {
  for (const auto& Source : FSources.All()) {
    const double Rate = Source->Gen().SampleRate();
    std::optional<TClockLag> Lag;
    if (Source->Drive() == TSource::TDrive::OwnClock) Lag = Source->Gen().ClockLag();
    AResult.Sources.push_back({&Source->Component(), Source->Delivered(), Rate, Lag});
    AResult.Samples = std::max(AResult.Samples, Source->Delivered());
    AResult.Seconds = std::max(AResult.Seconds, Source->DeliveredTime());
  }
  for (const TComponent* Component : FGraph.Components()) {
    if (const auto* User = dynamic_cast<const IFileUser*>(Component)) {
      for (const TUsedFile& File : User->UsedFiles()) {
        AResult.Files.push_back({Component, File.FileName, File.Way, File.Bytes});
      }
    }
    if (const auto* Reports = dynamic_cast<const ILossReport*>(Component)) {
      for (const TLoss& Loss : Reports->Losses()) AResult.Losses.push_back({Component, Loss});
    }
  }
}

void TRun::AddRemarks(TRunResult& AResult) const {
  for (const TGraph::TTypeChoice& Choice : FGraph.TypeChoices()) {
    AResult.Remarks.push_back(Choice.Text());
  }
  for (const TWarning& Warning : FWarnings) {
    if (Warning.Component != nullptr) AResult.Remarks.push_back(Warning.Text);
  }
  if (FSources.AnyHasStarted()) {  // else it is an error
    for (const std::string& Remark : FSources.NotRun()) AResult.Remarks.push_back(Remark);
  }
  for (const auto& Source : FSources.All()) {
    if (!Source->HasStarted() || Source->Gen().Enabled()) continue;
    AResult.Remarks.push_back(Source->Component().Describe() +
                              " was disabled on the way and not enabled again: it sent " +
                              Counted(Source->Delivered(), "sample"));
  }
  for (const auto& [Component, Count] : *FDrops) {
    if (Count == 0) continue;
    AResult.Remarks.push_back(Component->Describe() + " dropped " + Counted(Count, "block") +
                              ": its queue was full; raise Threading.Queue.Size, or set "
                              "Threading.Queue.FullMode to fmBlock");
  }
  for (const auto& Source : FSources.All()) {
    if (Source->Drive() != TSource::TDrive::OwnClock) continue;
    const TClockLag Lag = Source->Gen().ClockLag();
    if (Lag.Greatest >= TellableLag) AResult.Remarks.push_back(LagText(*Source, Lag));
  }
  if (FErrors->IsEmpty()) {
    for (const std::string& Remark : FScript.Remarks()) AResult.Remarks.push_back(Remark);
  }
  for (const TComponent* Component : FGraph.Components()) {
    const auto* Remarks = dynamic_cast<const IRemarks*>(Component);
    if (Remarks == nullptr) continue;
    for (const std::string& Remark : Remarks->Remarks()) {
      AResult.Remarks.push_back(Component->Describe() + ": " + Remark);
    }
  }
}

TRunResult TRun::Result(bool AEndedAlone) {
  TRunResult Result;
  Result.Elapsed = std::chrono::duration<double>(TSteady::now() - FStart).count();
  AddFigures(Result);
  AddRemarks(Result);
  Result.Values = FValues.Last();
  Result.Signal = FInterrupt.Signal();
  const auto Any = [this](bool (TSource::*AIs)() const) {
    return std::any_of(FSources.All().begin(), FSources.All().end(),
                       [AIs](const auto& AEach) { return ((*AEach).*AIs)(); });
  };
  if (!FErrors->IsEmpty()) {
    Result.End = TRunEnd::Failed;
  } else if (Result.Signal != 0 && (!AEndedAlone || Any(&TSource::WasCutShort))) {
    Result.End = TRunEnd::Interrupted;
  } else if (!FSources.AnyHasStarted()) {
    Result.End = TRunEnd::NothingRan;
    std::string Text = "nothing ran";
    for (const std::string& Why : FSources.NotRun()) Text += "; " + Why;
    if (FSources.All().empty()) {
      Text +=
          ": there is no source whose output is linked; link one (`tessalune validate` says more)";
    }
    FErrors->Add(Text);
  } else {
    Result.End = Any(&TSource::HasReachedLimit) ? TRunEnd::Limit : TRunEnd::SourcesEnded;
  }
  Result.Errors = FErrors->Texts();
  return Result;
}

}  // namespace tessalune::host
