#include "Runner.h"

#include "Source.h"

#include <tessalune/frame/runtime/QSMainThread.h>
#include <tessalune/sources/QSFileFailure.h>
#include <tessalune/sources/QSLogger.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <functional>
#include <memory>
#include <mutex>
#include <queue>
#include <utility>

namespace tessalune::host {
namespace {

using TSteady = std::chrono::steady_clock;
constexpr std::chrono::milliseconds ReportPeriod{100};
constexpr std::chrono::seconds LongestEnd{10};

// An exception in the words that help its reader most.
std::string ErrorText(const std::exception_ptr& AError) {
  try {
    std::rethrow_exception(AError);
  } catch (const EQSFileException& Error) {
    return "cannot open " + Error.Detail();
  } catch (...) {
    return ExceptionText(AError);
  }
}

// What went wrong, told by any thread. Outlives the run, since components keep handlers.
class TErrors {
 public:
  explicit TErrors(std::shared_ptr<TWakeUp> AWakeUp) : FWakeUp(std::move(AWakeUp)) {}

  void Add(std::string AText) {
    const std::lock_guard Lock(FMutex);
    FTexts.push_back(std::move(AText));
    FWakeUp->Wake();
  }
  bool IsEmpty() const {
    const std::lock_guard Lock(FMutex);
    return FTexts.empty();
  }
  std::vector<std::string> Texts() const {
    const std::lock_guard Lock(FMutex);
    return FTexts;
  }
  // Runs ADo; what it throws is an error of the run.
  template <class TDo>
  void Catch(TDo ADo) {
    try {
      ADo();
    } catch (...) {
      Add(ErrorText(std::current_exception()));
    }
  }

 private:
  const std::shared_ptr<TWakeUp> FWakeUp;
  mutable std::mutex FMutex;
  std::vector<std::string> FTexts;
};

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

class TRun {
 public:
  TRun(const TGraph& AGraph, const TRunSettings& ASettings, TInterrupt& AInterrupt,
       IRunObserver& AObserver)
      : FSettings(ASettings), FInterrupt(AInterrupt), FObserver(AObserver) {
    // The hook and the queue wake the main loop; both are given back at the end.
    FHook =
        SetUnhandledExceptionHook([Errors = FErrors](TObject* ASender, std::exception_ptr AError) {
          const std::string Who = ASender != nullptr ? ASender->Describe() + ": " : std::string();
          Errors->Add(Who + ErrorText(AError));
        });
    MainThread().SetOnWork([WakeUp = FWakeUp] { WakeUp->Wake(); });
    for (TComponent* Component : AGraph.Components()) Add(*Component);
  }

  ~TRun() {
    MainThread().SetOnWork({});
    SetUnhandledExceptionHook(std::move(FHook));
  }

  TRunResult Run() {
    FStart = TSteady::now();
    StartSources();
    if (FSettings.Realtime) {
      WaitForClocks();
    } else {
      PumpSources();
    }
    const bool EndedAlone = IsOver();
    StopSources();
    CheckLoggers();
    return Result(EndedAlone);
  }

 private:
  // --- what there is ---

  void Add(TComponent& AComponent) {
    if (auto* Logger = dynamic_cast<TQSLogger*>(&AComponent)) FLoggers.push_back({Logger});
    TSource* const Source = AddSource(dynamic_cast<TQSCommonBufferGen*>(&AComponent));
    ForEachEvent(
        AComponent, "",
        [&](const TPublishedEvent& AEvent, TPersistent& AObject, const std::string& AName) {
          const auto Ended =
              Source != nullptr && AName == "OnStop" ? Source->EndNote() : std::function<void()>();
          IRunObserver* const Observer = FObserver.WantsEvents() ? &FObserver : nullptr;
          if (!Ended && Observer == nullptr) return;
          AEvent.Listen(AObject, [=, &AComponent](const std::vector<TEventArgument>& AArguments) {
            if (Observer != nullptr) Observer->Event(AComponent, AName, AArguments);
            if (Ended) Ended();
          });
        });
  }

  TSource* AddSource(TQSCommonBufferGen* AGen) {
    if (AGen == nullptr) return nullptr;
    if (LinkedOutput(*AGen) == nullptr) {
      FRemarks.push_back(AGen->Describe() + " was not run: its output is linked to nothing");
      return nullptr;
    }
    const bool IsTicked =
        AGen->ClockInputPin().IsConnected() && AGen->ClockSource() != TQSClockSource::csInternal;
    const auto Drive = IsTicked             ? TSource::TDrive::Ticks
                       : FSettings.Realtime ? TSource::TDrive::OwnClock
                                            : TSource::TDrive::Pumped;
    if (Drive == TSource::TDrive::OwnClock && AGen->ClockSource() == TQSClockSource::csExternal) {
      FErrors->Add(AGen->Describe() +
                   ": ClockSource is csExternal, but nothing is linked to ClockInputPin, so it "
                   "would wait for ever; set csAuto or csInternal, or run without --realtime");
    }
    FSources.push_back(std::make_unique<TSource>(*AGen, Drive, LimitOf(*AGen), FWakeUp));
    return FSources.back().get();
  }

  std::optional<std::int64_t> LimitOf(const TQSCommonBufferGen& AGen) const {
    std::optional<std::int64_t> Limit = FSettings.Samples;
    if (FSettings.Seconds) {
      const double Samples = std::max(1.0, std::round(*FSettings.Seconds * AGen.SampleRate()));
      const auto Whole =
          Samples < 0x1p62 ? static_cast<std::int64_t>(Samples) : std::int64_t{1} << 62;
      Limit = Limit ? std::min(*Limit, Whole) : Whole;
    }
    return Limit;
  }

  // --- the run ---

  // A source that is ticked starts with the one that ticks it, if it has a start to send.
  void StartSources() {
    if (FSources.empty()) FErrors->Add("there is no source whose output is linked; nothing to run");
    for (const bool Ticked : {false, true}) {
      for (const auto& Source : FSources) {
        if (!FErrors->IsEmpty()) return;
        if ((Source->Drive() == TSource::TDrive::Ticks) != Ticked) continue;
        FErrors->Catch([&] { Source->Start(); });
        if (Source->HasStarted() || !FErrors->IsEmpty()) continue;
        FRemarks.push_back(
            Source->Gen().Describe() + " was not run: " +
            (Source->Gen().Enabled() ? "it had nothing to start with" : "its Enabled is false"));
      }
    }
  }

  // The source that is furthest behind goes first, so that streams that meet stay together.
  void PumpSources() {
    const auto IsAhead = [](const TSource* ALeft, const TSource* ARight) {
      return ALeft->StreamTime() > ARight->StreamTime();
    };
    std::priority_queue<TSource*, std::vector<TSource*>, decltype(IsAhead)> Queue(IsAhead);
    for (const auto& Source : FSources) {
      if (Source->Drive() == TSource::TDrive::Pumped && Source->HasStarted()) {
        Queue.push(Source.get());
      }
    }
    while (!Queue.empty() && MayGoOn()) {
      TSource* const Source = Queue.top();
      Queue.pop();
      FErrors->Catch([&] {
        Source->Pump();
        MainThread().Process();
      });
      if (!Source->HasEnded()) {
        Queue.push(Source);
      } else if (IsOver()) {
        return;
      }
      Report();
    }
  }

  void WaitForClocks() {
    while (!IsOver() && MayGoOn()) {
      FWakeUp->Wait(ReportPeriod);
      FErrors->Catch([] { MainThread().Process(); });
      for (const auto& Source : FSources) {
        FErrors->Catch([&] { Source->StopIfSilent(TSteady::now() - FStart); });
      }
      Report();
    }
  }

  bool MayGoOn() const { return FInterrupt.Signal() == 0 && FErrors->IsEmpty(); }

  // True if nothing is left to run, or if all that ends by itself has.
  bool IsOver() const {
    bool AnyRuns = false;
    bool AnyFinite = false;
    bool AnyFiniteRuns = false;
    for (const auto& Source : FSources) {
      if (!Source->HasStarted()) continue;
      AnyRuns = AnyRuns || !Source->HasEnded();
      AnyFinite = AnyFinite || Source->IsFinite();
      AnyFiniteRuns = AnyFiniteRuns || (Source->IsFinite() && !Source->HasEnded());
    }
    return !AnyRuns || (AnyFinite && !AnyFiniteRuns);
  }

  void Report() {
    const auto Now = TSteady::now();
    if (Now - FLastReport < ReportPeriod) return;
    FLastReport = Now;
    double Seconds = 0.0;
    std::optional<double> Total;
    for (const auto& Source : FSources) {
      Seconds = std::max(Seconds, Source->StreamTime());
      if (const auto Samples = Source->Total()) {
        const double Length = static_cast<double>(*Samples) / Source->Gen().SampleRate();
        Total = std::max(Total.value_or(0.0), Length);
      }
    }
    if (!FObserver.Progress(Seconds, Total)) {
      FErrors->Add("the standard output does not take the results any more");
    }
    CheckLoggers();
  }

  // --- the end ---

  // Also waits for sources that another thread stops at this moment.
  void StopSources() {
    for (const auto& Source : FSources) FErrors->Catch([&] { Source->Stop(); });
    const auto Deadline = TSteady::now() + LongestEnd;
    const auto IsRunning = [](const auto& ASource) {
      return ASource->HasStarted() && !ASource->HasEnded();
    };
    while (std::any_of(FSources.begin(), FSources.end(), IsRunning)) {
      if (TSteady::now() > Deadline) {
        FErrors->Add("a source did not stop within ten seconds");
        break;
      }
      FWakeUp->Wait(ReportPeriod);
    }
    bool AnyRan = true;
    while (AnyRan) {
      AnyRan = false;
      FErrors->Catch([&AnyRan] { AnyRan = MainThread().Process() > 0; });
    }
  }

  // A logger looks at no result of its writes; who runs it does.
  void CheckLoggers() {
    for (auto& [Logger, IsTold] : FLoggers) {
      if (Logger->Lost() == 0 || std::exchange(IsTold, true)) continue;
      FErrors->Add(
          Logger->Describe() + ": the file \"" + Logger->FileName() +
          "\" did not take all that was to be written (is the disk full?); its end is missing");
    }
  }

  TRunResult Result(bool AEndedAlone) const {
    TRunResult Result;
    Result.Errors = FErrors->Texts();
    Result.Remarks = FRemarks;
    Result.Signal = FInterrupt.Signal();
    Result.Elapsed = std::chrono::duration<double>(TSteady::now() - FStart).count();
    bool ReachedLimit = false;
    for (const auto& Source : FSources) {
      const double Rate = Source->Gen().SampleRate();
      Result.Sources.push_back({&Source->Gen(), Source->Delivered(), Rate});
      Result.Samples = std::max(Result.Samples, Source->Delivered());
      Result.Seconds = std::max(Result.Seconds, static_cast<double>(Source->Delivered()) / Rate);
      ReachedLimit = ReachedLimit || Source->HasReachedLimit();
    }
    for (const auto& [Logger, IsTold] : FLoggers) {
      Result.Loggers.push_back({Logger, Logger->FileName(), Logger->Logged(), Logger->Lost()});
    }
    Result.End = !Result.Errors.empty() ? TRunEnd::Failed
                 : !AEndedAlone         ? TRunEnd::Interrupted
                 : ReachedLimit         ? TRunEnd::Limit
                                        : TRunEnd::SourcesEnded;
    return Result;
  }

  struct TLogger {
    TQSLogger* Logger;
    bool IsTold = false;
  };

  const TRunSettings FSettings;
  TInterrupt& FInterrupt;
  IRunObserver& FObserver;
  const std::shared_ptr<TWakeUp> FWakeUp = FInterrupt.WakeUp();
  const std::shared_ptr<TErrors> FErrors = std::make_shared<TErrors>(FWakeUp);
  TUnhandledExceptionHook FHook;
  std::vector<std::unique_ptr<TSource>> FSources;
  std::vector<TLogger> FLoggers;
  std::vector<std::string> FRemarks;
  TSteady::time_point FStart;
  TSteady::time_point FLastReport;
};

}  // namespace

std::string_view RunEndName(TRunEnd AEnd) {
  switch (AEnd) {
    case TRunEnd::Limit:
      return "limit";
    case TRunEnd::SourcesEnded:
      return "sources ended";
    case TRunEnd::Interrupted:
      return "interrupted";
    case TRunEnd::Failed:
      return "failed";
  }
  return "";
}

TRunResult RunGraph(const TGraph& AGraph, const TRunSettings& ASettings, TInterrupt& AInterrupt,
                    IRunObserver& AObserver) {
  return TRun(AGraph, ASettings, AInterrupt, AObserver).Run();
}

}  // namespace tessalune::host
