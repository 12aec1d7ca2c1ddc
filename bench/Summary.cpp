#include "Summary.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <iomanip>
#include <ostream>

namespace tessalune::bench {
namespace {

const std::string Ours = "tessalune";

// Samples of a case, whose size may have more to it than a count.
double CountOf(const std::string& ASize) { return std::strtod(ASize.c_str(), nullptr); }

}  // namespace

TSummaryReporter::TCase& TSummaryReporter::CaseOf(const std::string& AWhat,
                                                  const std::string& ASize) {
  const auto Found = std::find_if(FCases.begin(), FCases.end(), [&](const TCase& ACase) {
    return ACase.What == AWhat && ACase.Size == ASize;
  });
  if (Found != FCases.end()) return *Found;
  FCases.push_back({AWhat, ASize, {}});
  return FCases.back();
}

void TSummaryReporter::ReportRuns(const std::vector<Run>& ARuns) {
  ConsoleReporter::ReportRuns(ARuns);
  for (const Run& Each : ARuns) {
    if (Each.error_occurred || Each.run_type != Run::RT_Iteration) continue;
    const std::string& Name = Each.run_name.function_name;
    const std::size_t First = Name.find('/');
    const std::size_t Last = Name.rfind('/');
    if (First == std::string::npos || First == Last) continue;
    TCase& Case = CaseOf(Name.substr(0, First), Name.substr(First + 1, Last - First - 1));
    const double Time =
        Each.GetAdjustedCPUTime() * 1e9 / benchmark::GetTimeUnitMultiplier(Each.time_unit);
    const auto [Place, IsNew] = Case.Nanoseconds.try_emplace(Name.substr(Last + 1), Time);
    if (!IsNew) Place->second = std::min(Place->second, Time);
  }
}

void TSummaryReporter::Finalize() {
  ConsoleReporter::Finalize();
  std::ostream& Out = GetOutputStream();
  std::map<std::string, std::vector<double>> Ratios;
  Out << "\nTime of " << Ours << " against the fastest peer of this run\n";
  for (const TCase& Case : FCases) {
    const auto Own = Case.Nanoseconds.find(Ours);
    if (Own == Case.Nanoseconds.end()) continue;
    auto Peer = Case.Nanoseconds.end();
    for (auto Each = Case.Nanoseconds.begin(); Each != Case.Nanoseconds.end(); ++Each)
      if (Each != Own && (Peer == Case.Nanoseconds.end() || Each->second < Peer->second))
        Peer = Each;
    Out << std::left << std::setw(28) << Case.What + '/' + Case.Size << std::right << std::fixed
        << std::setprecision(3) << std::setw(14) << Own->second << " ns";
    if (CountOf(Case.Size) >= 1)
      Out << std::setw(10) << Own->second / CountOf(Case.Size) << " ns/sample";
    if (Peer != Case.Nanoseconds.end()) {
      const double Ratio = Own->second / Peer->second;
      Out << std::setw(8) << Ratio << " of " << Peer->first;
      Ratios[Case.What].push_back(Ratio);
    }
    Out << '\n';
  }
  if (!Ratios.empty()) Out << "\nGeometric mean of the ratios\n";
  for (const auto& [What, Values] : Ratios) {
    double Logarithms = 0;
    for (const double Value : Values) Logarithms += std::log(Value);
    Out << std::left << std::setw(28) << What << std::right << std::setw(8)
        << std::exp(Logarithms / static_cast<double>(Values.size())) << " over " << Values.size()
        << '\n';
  }
}

}  // namespace tessalune::bench
