#include "Script.h"

#include <host/GraphWalk.h>
#include <host/JsonStreams.h>
#include <host/Palette.h>
#include <host/Words.h>

#include <tessalune/frame/runtime/QSException.h>

#include <algorithm>
#include <unordered_map>
#include <utility>

namespace tessalune::host {
namespace {

const TPublishedAction& ActionOf(const TComponent& AComponent, std::string_view AName) {
  std::vector<std::string_view> Names;
  for (const TPublishedAction* Action : AComponent.PublishedTable().Actions()) {
    if (Action->Name == AName) return *Action;
    Names.push_back(Action->Name);
  }
  throw EQSException(AComponent.Describe() + " has no action \"" + std::string(AName) + "\"" +
                     (Names.empty() ? ", and no other" : ", only " + Listed(Names)) +
                     SuggestName(AName, Names));
}

void SetProperty(TComponent& AComponent, const std::string& APath, const TJsonNode& AValue) {
  SetByPath(AComponent, APath,
            [&AValue](const TPublishedProperty& ARow) { return PropertyValueOf(AValue, ARow); });
}

}  // namespace

TScript::TScript(TGraph& AGraph, TMistakes& AMistakes) {
  for (TComponent* Component : AGraph.Components()) {
    const auto* Source = dynamic_cast<const IPumpable*>(Component);
    if (Source == nullptr || LinkedOutput(*Component) == nullptr) continue;
    FTopRate = std::max(FTopRate, Source->SampleRate());
  }
  for (const TRunStep& Step : AGraph.Run().At) FSteps.push_back(Read(Step, AGraph, AMistakes));
  std::stable_sort(FSteps.begin(), FSteps.end(), [](const TStep& ALeft, const TStep& ARight) {
    return ALeft.Seconds < ARight.Seconds;
  });
  Try(AMistakes);
}

TScript::TStep TScript::Read(const TRunStep& AStep, const TGraph& AGraph,
                             TMistakes& AMistakes) const {
  TStep Step{.Seconds = AStep.Seconds.value_or(0.0),
             .Samples = AStep.Samples,
             .Place = AStep.Place,
             .Path = AStep.Path,
             .Changes = {},
             .Calls = {}};
  if (Step.Samples && FTopRate > 0) Step.Seconds = static_cast<double>(*Step.Samples) / FTopRate;
  for (const TJsonNode& Member : AStep.Set) {
    const auto Named = AGraph.FindNamed(Member.Key, Member.KeyPlace, Member.Path, AMistakes);
    if (Named.Component == nullptr) continue;
    if (Named.Name.empty()) {
      AMistakes.Add(Member.KeyPlace, Member.Path,
                    "expected is Component.Property, such as \"Gain.Value\"");
      continue;
    }
    Step.Changes.push_back({Named.Component, std::string(Named.Name), Member});
  }
  for (const TJsonNode& Name : AStep.Calls) {
    const auto Named = AGraph.FindNamed(Name.Text, Name.Place, Name.Path, AMistakes);
    if (Named.Component == nullptr) continue;
    if (Named.Name.empty()) {
      AMistakes.Add(Name.Place, Name.Path,
                    "expected is Component.Action, such as \"Shot.Snapshot\"");
      continue;
    }
    try {
      Step.Calls.push_back({Named.Component, &ActionOf(*Named.Component, Named.Name)});
    } catch (const EQSException& Error) {
      AMistakes.Add(Name.Place, Name.Path, Error.what());
    }
  }
  return Step;
}

void TScript::Try(TMistakes& AMistakes) {
  std::unordered_map<const TComponent*, TOwned<TComponent>> Copies;
  for (const TStep& Step : FSteps) {
    for (const TStep::TChange& Change : Step.Changes) {
      TOwned<TComponent>& Copy = Copies[Change.Component];
      if (Copy == nullptr) {
        Copy = ClassOfName(std::string(Change.Component->PublishedTable().ClassName())).New();
        Copy->SetName(Change.Component->Name());
        Copy->Assign(*Change.Component);
      }
      try {
        SetProperty(*Copy, Change.Property, Change.Value);
      } catch (const EQSException& Error) {
        AMistakes.Add(Change.Value.Place, Change.Value.Path, Error.what());
        continue;
      }
      const auto* User = dynamic_cast<const IFileUser*>(Copy.get());
      if (User == nullptr) continue;
      for (const TUsedFile& File : User->UsedFiles()) {
        if (File.Property != Change.Property) continue;
        FFiles.push_back({Change.Component, File, {Change.Value.Place, Change.Value.Path}});
      }
    }
  }
}

std::optional<double> TScript::NextTime() const {
  return IsOver() ? std::nullopt : std::optional(FSteps[FNext].Seconds);
}

void TScript::DoNext(TErrors& AErrors) {
  const TStep& Step = FSteps[FNext++];
  for (const TStep::TChange& Change : Step.Changes) {
    AErrors.Catch(Change.Component,
                  [&] { SetProperty(*Change.Component, Change.Property, Change.Value); });
  }
  for (const TStep::TCall& Call : Step.Calls) {
    AErrors.Catch(Call.Component, [&] { Call.Action->Do(*Call.Component); });
  }
}

std::vector<std::string> TScript::Remarks() const {
  std::vector<std::string> Remarks;
  for (std::size_t I = FNext; I < FSteps.size(); ++I) {
    const TStep& Step = FSteps[I];
    Remarks.push_back(
        Step.Path + " (line " + std::to_string(Step.Place.Line) +
        ") was not done: the run ended before " +
        (Step.Samples ? Counted(*Step.Samples, "sample") : Rounded(Step.Seconds) + " s"));
  }
  return Remarks;
}

}  // namespace tessalune::host
