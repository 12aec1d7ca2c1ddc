#include "GraphCheck.h"

#include "GraphWalk.h"
#include "Words.h"

#include <tessalune/frame/runtime/QSReports.h>

#include <algorithm>

namespace tessalune::host {
namespace {

class TCheck {
 public:
  explicit TCheck(const TGraph& AGraph) : FComponents(AGraph.Components()) {}

  std::vector<TWarning> Run() {
    for (TComponent* Component : FComponents) {
      CheckInputs(*Component);
      if (dynamic_cast<IPumpable*>(Component) != nullptr) CheckOutput(*Component);
    }
    CheckSources();
    return std::move(FWarnings);
  }

 private:
  void Tell(const TComponent& AComponent, const std::string& AText) {
    FWarnings.push_back({&AComponent, AComponent.Describe() + AText});
  }

  // A component needs its primary inputs; of several that are all alike, at least one.
  void CheckInputs(TComponent& AComponent) {
    std::vector<TNamedPin> Inputs = PinsOf(AComponent, TKLPinDirection::Sink);
    std::erase_if(Inputs, [](const TNamedPin& AEach) {
      return !AEach.Primary && !CarriesSamples(*AEach.Pin) && !CarriesOnlyValues(*AEach.Pin);
    });
    if (std::any_of(Inputs.begin(), Inputs.end(),
                    [](const TNamedPin& AEach) { return AEach.Primary; })) {
      const std::vector<TNamedPin> All = Inputs;
      std::erase_if(Inputs, [&All](const TNamedPin& AEach) {
        // One link is enough for a list.
        return !AEach.Primary || std::any_of(All.begin(), All.end(), [&](const TNamedPin& AOther) {
          return AOther.Row == AEach.Row && AOther.Pin->IsConnected();
        });
      });
    } else if (dynamic_cast<IPumpable*>(&AComponent) != nullptr ||
               std::any_of(Inputs.begin(), Inputs.end(),
                           [](const TNamedPin& AEach) { return AEach.Pin->IsConnected(); })) {
      return;
    }
    if (Inputs.empty()) return;
    std::vector<std::string_view> Names;
    for (const TNamedPin& Each : Inputs) Names.push_back(Each.Name);
    Tell(AComponent, " gets nothing: no output is linked to " + Listed(Names) +
                         "; link one, or leave the component out");
  }

  void CheckOutput(TComponent& ASource) {
    if (LinkedOutput(ASource) == nullptr) {
      return Tell(ASource, " is not run: its output is linked to nothing");
    }
    const auto DeadEnds = DeadEndsOf(ASource);
    if (DeadEnds.empty()) return;
    std::string Ends;
    for (const TComponent* End : DeadEnds) Ends += (Ends.empty() ? "" : ", ") + End->Describe();
    Tell(ASource, " leads nowhere: the output of " + Ends + " is linked to nothing");
  }

  // --- whether anything would run ---

  // A source runs if it is enabled and linked and, where it is ticked, ticked by one that runs.
  bool AnyWouldRun() {
    for (TComponent* Component : FComponents) {
      auto* const Source = dynamic_cast<IPumpable*>(Component);
      if (Source == nullptr || !Source->Enabled() || LinkedOutput(*Component) == nullptr) continue;
      const TKLBasicPin* Ticks = LinkedTicks(*Source);
      // Where all are ticked by one another, one further up is not.
      if (Ticks == nullptr || OriginsOf(*Ticks).HasOther) return true;
    }
    return false;
  }

  void CheckSources() {
    if (AnyWouldRun()) return;
    const bool HasSource = std::any_of(FComponents.begin(), FComponents.end(), [](auto* AEach) {
      return dynamic_cast<IPumpable*>(AEach) != nullptr;
    });
    FWarnings.push_back(
        {nullptr, HasSource
                      ? "nothing would run: no source is linked, enabled and, if it waits for "
                        "ticks, ticked by one that runs"
                      : "nothing would run: the graph has no source, a component that makes a "
                        "stream by itself"});
  }

  const std::vector<TComponent*> FComponents;
  std::vector<TWarning> FWarnings;
};

// Of the stream that a source makes, of those that will come to another component; 0 if they differ
// or nobody can tell.
double RateAt(TComponent& AComponent) {
  if (const auto* Source = dynamic_cast<IPumpable*>(&AComponent)) return Source->SampleRate();
  double Rate = 0.0;
  for (const TNamedPin& Each : PinsOf(AComponent, TKLPinDirection::Sink)) {
    const TOrigins Origins = OriginsOf(*Each.Pin);
    if (Origins.HasOther) return 0.0;
    for (TComponent* Source : Origins.Sources) {
      const double ItsRate = dynamic_cast<IPumpable&>(*Source).SampleRate();
      if (Rate != 0.0 && ItsRate != Rate) return 0.0;
      Rate = ItsRate;
    }
  }
  return Rate;
}

}  // namespace

std::vector<TWarning> CheckGraph(const TGraph& AGraph) { return TCheck(AGraph).Run(); }

void TellWarnings(const TGraph& AGraph, TMistakes& AMistakes) {
  for (TComponent* Component : AGraph.Components()) {
    const auto* Remarks = dynamic_cast<const IRemarks*>(Component);
    if (Remarks == nullptr) continue;
    const TGraph::TWhere Where = AGraph.Where(*Component, "");
    for (const std::string& Remark : Remarks->RemarksFor(RateAt(*Component)))
      AMistakes.Add(Where.Place, Where.Path, Component->Describe() + ": " + Remark);
  }
  for (const TWarning& Warning : CheckGraph(AGraph)) {
    if (Warning.Component == nullptr) {
      AMistakes.Add({}, "", Warning.Text);
      continue;
    }
    const TGraph::TWhere Where = AGraph.Where(*Warning.Component, "");
    AMistakes.Add(Where.Place, Where.Path, Warning.Text);
  }
}

}  // namespace tessalune::host
