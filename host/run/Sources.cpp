#include "Sources.h"

#include <host/GraphWalk.h>

#include <tessalune/frame/runtime/QSException.h>
#include <tessalune/frame/runtime/QSMainThread.h>

#include <algorithm>
#include <queue>
#include <thread>
#include <utility>

namespace tessalune::host {

TSources::TSources(const TGraph& AGraph, const TRunSettings& ASettings,
                   const std::function<bool()>& AMustEnd, std::shared_ptr<TWakeUp> AWakeUp)
    : FMustEnd(AMustEnd), FWakeUp(std::move(AWakeUp)) {
  for (TComponent* Component : AGraph.Components()) {
    if (dynamic_cast<IPumpable*>(Component) != nullptr) Add(*Component, ASettings);
  }
  FindTickers();
}

void TSources::Add(TComponent& AComponent, const TRunSettings& ASettings) {
  auto& Gen = dynamic_cast<IPumpable&>(AComponent);
  if (LinkedOutput(AComponent) == nullptr) {
    // The start of what ticks it would start it all the same.
    Gen.SetEnabled(false);
    return;
  }
  const auto Drive = LinkedTicks(Gen) != nullptr ? TSource::TDrive::Ticks
                     : ASettings.Realtime        ? TSource::TDrive::OwnClock
                                                 : TSource::TDrive::Pumped;
  FSources.push_back(std::make_unique<TSource>(
      AComponent,
      TSource::TSettings{Drive, ASettings.Samples, ASettings.Seconds, FMustEnd, FWakeUp}));
}

void TSources::FindTickers() {
  for (const auto& Source : FSources) {
    const TKLBasicPin* Ticks = LinkedTicks(Source->Gen());
    if (Source->Drive() != TSource::TDrive::Ticks || Ticks == nullptr) continue;
    const TOrigins Origins = OriginsOf(*Ticks);
    TTicked Ticked{Source.get(), {}, Origins.HasOther, {}};
    for (const TComponent* Origin : Origins.Sources) {
      Ticked.Names += (Ticked.Names.empty() ? "" : ", ") + Origin->Describe();
      if (TSource* const Ticker = Find(*Origin)) Ticked.Tickers.push_back(Ticker);
    }
    FTicked.push_back(std::move(Ticked));
  }
}

TSource* TSources::Find(const TComponent& AComponent) const {
  for (const auto& Source : FSources) {
    if (&Source->Component() == &AComponent) return Source.get();
  }
  return nullptr;
}

// --- the start ---

void TSources::Start(TErrors& AErrors) {
  for (const auto& Source : FSources) {
    if (Source->Drive() != TSource::TDrive::Ticks && AErrors.IsEmpty()) StartOne(*Source, AErrors);
  }
  // Each round starts those that the round before has given a ticker.
  std::vector<const TTicked*> Waiting;
  for (const TTicked& Ticked : FTicked) Waiting.push_back(&Ticked);
  bool Any = true;
  while (std::exchange(Any, false) && AErrors.IsEmpty()) {
    std::erase_if(Waiting, [&](const TTicked* ATicked) {
      const auto HasStarted = [](const TSource* AEach) { return AEach->HasStarted(); };
      if (!ATicked->HasOther &&
          std::none_of(ATicked->Tickers.begin(), ATicked->Tickers.end(), HasStarted)) {
        return false;
      }
      if (AErrors.IsEmpty()) StartOne(*ATicked->Source, AErrors);
      return Any = true;
    });
  }
  for (const TTicked* Ticked : Waiting) {
    FNotRun.push_back(Ticked->Source->Component().Describe() +
                      " was not run: it waits for ticks on its clock input, but what is to tick it "
                      "does not run" +
                      (Ticked->Names.empty() ? "" : ": " + Ticked->Names) +
                      "; let that run, or set ClockSource to csInternal");
  }
}

// A source that is ticked may have been started by the one that ticks it.
void TSources::StartOne(TSource& ASource, TErrors& AErrors) {
  if (ASource.Drive() == TSource::TDrive::OwnClock &&
      ASource.Gen().ClockSource() == TQSClockSource::csExternal) {
    return AErrors.Add(ASource.Component().Describe() +
                       ": ClockSource is csExternal, but nothing is linked to its clock input, so "
                       "it would wait for ever; set csAuto or csInternal, or run without "
                       "--realtime");
  }
  AErrors.Catch(&ASource.Component(), [&] { ASource.Start(); });
  if (ASource.HasStarted() || !AErrors.IsEmpty()) return;
  FNotRun.push_back(ASource.Component().Describe() + " was not run: " +
                    (ASource.Gen().Enabled() ? "it had nothing to start with"
                                             : "its Enabled is false; set it true"));
}

bool TSources::AnyHasStarted() const {
  return std::any_of(FSources.begin(), FSources.end(),
                     [](const auto& AEach) { return AEach->HasStarted(); });
}

// --- the run ---

void TSources::Pump(TErrors& AErrors, const std::function<void()>& AAtCut,
                    const std::function<bool()>& ABetween) {
  const auto IsAhead = [](const TSource* ALeft, const TSource* ARight) {
    return ALeft->StreamTime() > ARight->StreamTime();
  };
  std::priority_queue<TSource*, std::vector<TSource*>, decltype(IsAhead)> Queue(IsAhead);
  for (const auto& Source : FSources) {
    if (Source->Drive() == TSource::TDrive::Pumped && Source->IsGoing()) Queue.push(Source.get());
  }
  std::vector<TSource*> AtCut;
  while (ABetween()) {
    if (Queue.empty()) {
      if (AtCut.empty()) return;
      AAtCut();
      for (TSource* const Source : std::exchange(AtCut, {})) {
        if (!Source->HasEnded() && !IsPaused(*Source)) Queue.push(Source);
      }
      continue;
    }
    TSource* const Source = Queue.top();
    Queue.pop();
    if (Source->IsAtCut()) {
      AtCut.push_back(Source);
      continue;
    }
    AErrors.Catch(&Source->Component(), [&] {
      Source->Pump();
      MainThread().Process();
    });
    if (!Source->HasEnded()) {
      Queue.push(Source);
    } else if (IsOver()) {
      return;
    }
  }
}

void TSources::SetCuts(std::optional<double> ASeconds) {
  FMayChange = ASeconds.has_value();
  for (const auto& Source : FSources) Source->SetCut(ASeconds);
}

bool TSources::IsPaused(const TSource& ASource) const {
  return !FMayChange && !ASource.Gen().Enabled();
}

bool TSources::AllStandStill() const {
  return std::none_of(FSources.begin(), FSources.end(),
                      [](const auto& AEach) { return AEach->IsGoing() && AEach->Gen().Enabled(); });
}

bool TSources::AnyIsAtCut() const {
  return std::any_of(FSources.begin(), FSources.end(),
                     [](const auto& AEach) { return AEach->IsGoing() && AEach->IsAtCut(); });
}

// A source makes a block inside its lock. Where a handler in a block of one waits for another, the
// locks cannot be had together: then once more.
void TSources::Between(const std::function<void()>& ADo) {
  bool IsDone = false;
  while (!IsDone) {
    try {
      Between(0, [&] {
        IsDone = true;
        ADo();
      });
    } catch (const EQSException&) {
      if (IsDone) throw;
      std::this_thread::yield();
    }
  }
}

void TSources::Between(std::size_t AIndex, const std::function<void()>& ADo) {
  if (AIndex == FSources.size()) return ADo();
  const auto* const Component = dynamic_cast<TLockComponent*>(&FSources[AIndex]->Component());
  std::optional<ILockSection> Section;
  if (Component != nullptr) Section.emplace(Component->WriteLock());
  Between(AIndex + 1, ADo);
}

bool TSources::IsGoing(const TSource& ASource) const {
  if (!ASource.IsGoing() || IsPaused(ASource)) return false;
  const auto Ticked = std::find_if(FTicked.begin(), FTicked.end(),
                                   [&](const TTicked& AEach) { return AEach.Source == &ASource; });
  return Ticked == FTicked.end() || Ticked->HasOther ||
         std::any_of(Ticked->Tickers.begin(), Ticked->Tickers.end(), [this](const TSource* AEach) {
           return AEach->IsGoing() && !IsPaused(*AEach);
         });
}

bool TSources::AnyIsGoing() const {
  return std::any_of(FSources.begin(), FSources.end(),
                     [](const auto& AEach) { return AEach->IsGoing(); });
}

bool TSources::IsOver() const {
  bool AnyGoes = false;
  bool AnyFinite = false;
  bool AnyFiniteGoes = false;
  for (const auto& Source : FSources) {
    if (!Source->HasStarted()) continue;
    const bool Goes = IsGoing(*Source);
    const bool Ends = Source->Gen().EndsByItself();
    AnyGoes = AnyGoes || Goes;
    AnyFinite = AnyFinite || Ends;
    AnyFiniteGoes = AnyFiniteGoes || (Ends && Goes);
  }
  return !AnyGoes || (AnyFinite && !AnyFiniteGoes);
}

double TSources::StreamTime() const {
  double Seconds = 0.0;
  for (const auto& Source : FSources) Seconds = std::max(Seconds, Source->StreamTime());
  return Seconds;
}

std::optional<double> TSources::TotalTime() const {
  std::optional<double> Seconds;
  for (const auto& Source : FSources) {
    const auto Samples = Source->Total();
    if (!Samples) continue;
    const double Length = static_cast<double>(*Samples) / Source->Gen().SampleRate();
    Seconds = std::max(Seconds.value_or(0.0), Length);
  }
  return Seconds;
}

}  // namespace tessalune::host
