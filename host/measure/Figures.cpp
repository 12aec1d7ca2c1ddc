#include "Figures.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>

namespace tessalune::host {

using TResults = TQSNoiseStatResults;

std::span<const TFigure> Figures() {
  static constexpr TFigure All[] = {
      {"FundFrequency", "frequency", "Hz", [](const TResults& R) { return R.FundFrequency(); },
       true, true},
      {"Fundamental", "level", "dBFS", [](const TResults& R) { return R.Fundamental(); }, true,
       false},
      {"CarrierSNR", "SNR", "dB", [](const TResults& R) { return R.CarrierSNR(); }, true, false},
      {"CarrierSINAD", "SINAD", "dB", [](const TResults& R) { return R.CarrierSINAD(); }, true,
       false},
      {"CarrierTHD", "THD", "dBc", [](const TResults& R) { return R.CarrierTHD(); }, true, false},
      {"CarrierSFDR", "SFDR", "dBc", [](const TResults& R) { return R.CarrierSFDR(); }, true,
       false},
      {"CarrierENOB", "ENOB", "bits", [](const TResults& R) { return R.CarrierENOB(); }, true,
       false},
      {"NoiseDensity", "noise density", "dBFS/Hz",
       [](const TResults& R) { return R.NoiseDensity(); }, false, true},
      {"SNR", "SNR of full scale", "dB", [](const TResults& R) { return R.SNR(); }, false, false},
      {"SINAD", "SINAD of full scale", "dB", [](const TResults& R) { return R.SINAD(); }, false,
       false},
      {"ENOB", "ENOB of full scale", "bits", [](const TResults& R) { return R.ENOB(); }, false,
       false},
      {"THD", "harmonics", "dBFS", [](const TResults& R) { return R.THD(); }, false, false},
      {"IntNoiseFloor", "noise", "dBFS", [](const TResults& R) { return R.IntNoiseFloor(); }, false,
       false},
      {"AvgNoise", "noise a bin", "dBFS", [](const TResults& R) { return R.AvgNoise(); }, false,
       false},
  };
  return All;
}

bool IsFigure(double AValue) {
  constexpr double NoPower = 55555.0;
  return std::isfinite(AValue) && std::abs(AValue) != NoPower;
}

void TSpread::Add(double AValue) {
  if (!IsFigure(AValue)) return;
  FLeast = FCount == 0 ? AValue : std::min(FLeast, AValue);
  FMost = FCount == 0 ? AValue : std::max(FMost, AValue);
  FSum += AValue;
  ++FCount;
}

nlohmann::ordered_json TSpread::Json() const {
  if (FCount == 0) return nullptr;
  return {{"mean", Mean()}, {"least", FLeast}, {"most", FMost}, {"frames", FCount}};
}

void TOverall::Add(const TResults& AFrame) {
  ++FFrames;
  FSpreads.resize(Figures().size());
  for (std::size_t I = 0; I < FSpreads.size(); ++I) FSpreads[I].Add(Figures()[I].Of(AFrame));
  const std::vector<double>& Harmonics = AFrame.HarmonicDistortions();
  FHarmonics.resize(std::max(FHarmonics.size(), Harmonics.size()));
  for (std::size_t I = 0; I < Harmonics.size(); ++I) FHarmonics[I].Add(Harmonics[I]);
}

nlohmann::ordered_json TOverall::Json() const {
  auto Json = nlohmann::ordered_json::object();
  for (std::size_t I = 0; I < FSpreads.size(); ++I) {
    Json[std::string(Figures()[I].Name)] = FSpreads[I].Json();
  }
  auto Harmonics = nlohmann::ordered_json::array();
  for (const TSpread& Harmonic : FHarmonics) Harmonics.push_back(Harmonic.Json());
  Json["HarmonicDistortion"] = std::move(Harmonics);
  return Json;
}

}  // namespace tessalune::host
