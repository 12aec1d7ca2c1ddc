#pragma once

#include <benchmark/benchmark.h>

#include <map>
#include <string>
#include <vector>

namespace tessalune::bench {

// The usual lines, and at the end what they come to: for each case `<what>/<size>/tessalune` its
// time, the fastest peer of the same run (`<what>/<size>/<peer>`), the ratio of the two, and the
// geometric mean of the ratios of each <what>. Of repetitions the fastest counts.
class TSummaryReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& ARuns) override;
  void Finalize() override;

 private:
  struct TCase {
    std::string What;
    std::string Size;
    std::map<std::string, double> Nanoseconds;  // by who
  };

  TCase& CaseOf(const std::string& AWhat, const std::string& ASize);

  std::vector<TCase> FCases;
};

}  // namespace tessalune::bench
