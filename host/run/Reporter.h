// What a run says: to people, or to programs as JSON lines.
#pragma once

#include "Runner.h"

#include <atomic>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace tessalune::host {

// How much is said, and in what form.
struct TOutputStyle {
  bool Json = false;   // events and the summary as JSON lines on the standard output
  bool Quiet = false;  // no progress, no summary, no remarks; errors all the same
};

// Errors and the progress bar go to the standard error stream, the bar only if that is a terminal.
class TReporter final : public IRunObserver {
 public:
  TReporter(TOutputStyle AStyle, std::string AGraphName);

  bool WantsEvents() const override { return FStyle.Json; }
  void Event(const TComponent& AComponent, const std::string& AEvent,
             const std::vector<TEventArgument>& AArguments) override;
  bool Progress(double ASeconds, std::optional<double> ATotal) override;

  // The last word of a run.
  void Summary(const TRunResult& AResult);

 private:
  void ClearBar();

  const TOutputStyle FStyle;
  const std::string FGraphName;
  const bool FHasBar;
  bool FBarIsShown = false;
  std::mutex FMutex;
};

}  // namespace tessalune::host
