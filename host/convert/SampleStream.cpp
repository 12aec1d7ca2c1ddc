#include "SampleStream.h"

#include <host/Words.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>

namespace tessalune::host {

const std::vector<TSampleTypeInfo>& SampleTypeInfos() {
  static const std::vector<TSampleTypeInfo> Infos{{TSampleType::Real, "real", 8, 1},
                                                  {TSampleType::Complex, "complex", 16, 2},
                                                  {TSampleType::Integer, "integer", 4, 1},
                                                  {TSampleType::Unsigned, "unsigned", 4, 1},
                                                  {TSampleType::Block, "block", 1, 1}};
  return Infos;
}

const TSampleTypeInfo& InfoOf(TSampleType AType) {
  return SampleTypeInfos().at(static_cast<std::size_t>(AType));
}

std::int64_t ISampleReader::Skip(std::int64_t ANumbers) {
  std::array<double, 4096> Numbers;
  std::int64_t Done = 0;
  while (Done < ANumbers) {
    const auto Ask = std::min<std::int64_t>(ANumbers - Done, std::ssize(Numbers));
    const std::size_t Count = Read(std::span(Numbers).first(static_cast<std::size_t>(Ask)));
    if (Count == 0) break;
    Done += static_cast<std::int64_t>(Count);
  }
  return Done;
}

double TRounding::operator()(double AValue) {
  double Whole = std::nearbyint(AValue);
  if (!(Whole >= FMin && Whole <= FMax)) {
    ++FClipped;
    return std::isnan(Whole) ? std::fmax(0.0, FMin) : std::fmin(std::fmax(Whole, FMin), FMax);
  }
  if (Whole != AValue) ++FRounded;
  return Whole;
}

std::vector<std::string> TRounding::Remarks(std::string_view AInto,
                                            std::string_view AAdviceOnClipping) const {
  std::vector<std::string> Remarks;
  if (FRounded > 0) {
    Remarks.push_back(Counted(FRounded, "number") + " rounded to fit " + std::string(AInto));
  }
  if (FClipped > 0) {
    Remarks.push_back(Counted(FClipped, "number") + " clipped to the range of " +
                      std::string(AInto) + std::string(AAdviceOnClipping));
  }
  return Remarks;
}

}  // namespace tessalune::host
