#include <tessalune/frame/runtime/QSException.h>
#include <tessalune/frame/runtime/QSPropertyInfo.h>
#include <tessalune/frame/streams/QSFilterState.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace tessalune {
namespace {

std::int32_t CountOf(std::size_t ACount) {
  constexpr std::size_t Max = std::numeric_limits<std::int32_t>::max();
  return static_cast<std::int32_t>(std::min(ACount, Max));
}

void CheckMade(IppStatus AStatus, std::size_t ATaps) {
  if (AStatus == ippStsNoErr) return;
  if (AStatus == ippStsMemAllocErr)
    throw EQSException("there is no memory for a filter of " + NumberText(ATaps) +
                       " taps; give it fewer");
  throw EQSException("the primitives take no such filter (status " +
                     NumberText(static_cast<std::int32_t>(AStatus)) + ")");
}

// AOf is "" or " of section 3".
void CheckQuotients(std::span<const double> AB, std::span<const double> AA,
                    const std::string& AOf) {
  if (AA[0] == 0.0)
    throw EQSException("A0" + AOf + " is 0, and all coefficients are divided by it: set it to 1");
  for (const auto& [Name, Values] : {std::pair("B", AB), std::pair("A", AA)})
    for (std::size_t I = 0; I < Values.size(); ++I)
      if (!std::isfinite(Values[I] / AA[0]))
        throw EQSException(Name + NumberText(I) + AOf +
                           ", divided by A0, is beyond what a double "
                           "holds: give a smaller one, or a larger A0");
}

}  // namespace

TQSFilterState::TQSFilterState(TQSFilterType AType, std::span<const double> ATaps) {
  if (AType == TQSFilterType::ftFIR) {
    IppsFIRState_64f* State = nullptr;
    CheckMade(ippsFIRInitAlloc_64f(&State, ATaps.data(), CountOf(ATaps.size()), nullptr),
              ATaps.size());
    FFirState.reset(State);
    FFirTaps = ATaps.size();
  } else if (AType == TQSFilterType::ftIIR) {
    AddDirectForm(ATaps);
  } else {
    AddSections(ATaps);
  }
}

void TQSFilterState::AddDirectForm(std::span<const double> ATaps) {
  const std::size_t Pairs = ATaps.size() / 2;
  if (Pairs < 2)
    throw EQSException("one pair of coefficients makes no filter: add a second one (of zeros)");
  CheckQuotients(ATaps.first(Pairs), ATaps.subspan(Pairs, Pairs), {});
  IppsIIRState_64f* State = nullptr;
  CheckMade(ippsIIRInitAlloc_64f(&State, ATaps.data(), CountOf(Pairs - 1), nullptr), 2 * Pairs);
  FStages.emplace_back(State);
}

void TQSFilterState::AddSections(std::span<const double> ATaps) {
  const std::size_t Sections = ATaps.size() / 6;
  for (std::size_t I = 0; I < Sections; ++I)
    CheckQuotients(ATaps.subspan(6 * I, 3), ATaps.subspan(6 * I + 3, 3),
                   " of section " + NumberText(I));
  const auto IsDelay = [&](std::size_t AIndex) { return ATaps[6 * AIndex] == 0.0; };
  for (std::size_t I = 0; I < Sections;) {
    if (IsDelay(I)) {
      AddDirectForm(ATaps.subspan(6 * I++, 6));
      continue;
    }
    std::size_t Count = 1;
    while (I + Count < Sections && !IsDelay(I + Count)) ++Count;
    IppsIIRState_64f* State = nullptr;
    CheckMade(ippsIIRInitAlloc_BiQuad_64f(&State, &ATaps[6 * I], CountOf(Count), nullptr),
              6 * Count);
    FStages.emplace_back(State);
    I += Count;
  }
}

void TQSFilterState::WarmUp(const TQSRecentSamples& APast) {
  std::vector<double> Past = APast.Last(Memory());
  if (FFirState) {
    std::reverse(Past.begin(), Past.end());
    Past.resize(FFirTaps);
    ippsFIRSetDlyLine_64f(FFirState.get(), Past.data());
    return;
  }
  const auto LastBad = std::find_if(Past.rbegin(), Past.rend(),
                                    [](double ASample) { return !std::isfinite(ASample); });
  const std::span<double> Good(LastBad.base(), Past.end());
  if (!Good.empty()) Filter(Good.data(), Good.data(), CountOf(Good.size()));
}

bool TQSFilterState::Filter(const double* AIn, double* AOut, std::int32_t ACount) {
  if (FFirState) return ippsFIR_64f(AIn, AOut, ACount, FFirState.get()) == ippStsNoErr;
  for (const auto& Stage : FStages) {
    if (ippsIIR_64f(AIn, AOut, ACount, Stage.get()) != ippStsNoErr) return false;
    AIn = AOut;
  }
  return true;
}

}  // namespace tessalune
