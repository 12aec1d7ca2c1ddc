// What a run says: to people, or to programs as JSON lines.
#pragma once

#include "Runner.h"
#include "ValueTable.h"

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

// Values that are watched are lines of time, name and value, tabs between them. Errors and the
// progress bar go to the standard error stream, the bar only if that is a terminal.
class TReporter final : public IRunObserver {
 public:
  TReporter(TOutputStyle AStyle, std::string AGraphName);

  bool WantsEvents() const override { return FStyle.Json; }
  void Event(const TComponent& AComponent, const std::string& AEvent,
             const std::vector<TEventArgument>& AArguments) override;
  void Value(const TWatched& AWatched, double ATime, const TValue& AValue) override;
  bool Progress(double ASeconds, std::optional<double> ATotal) override;

  // Values go to the table AFileName from here on, no more to the standard output.
  void StartTable(std::string AFileName, const std::vector<TWatched>& AWatched);

  // The last word of a run. Completes the table first; what fails there is an error of the run.
  void Summary(TRunResult& AResult);

 private:
  void ClearBar();

  const TOutputStyle FStyle;
  const std::string FGraphName;
  const bool FHasBar;
  bool FBarIsShown = false;
  std::optional<TValueTable> FTable;
  std::mutex FMutex;
};

}  // namespace tessalune::host
