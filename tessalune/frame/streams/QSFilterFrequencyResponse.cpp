#include <tessalune/frame/streams/QSFilterFrequencyResponse.h>

#include <utility>

namespace tessalune {

TQSFilterFrequencyResponse::TQSFilterFrequencyResponse(TRef<IChangeNotifyLock> ALock,
                                                       const TField<double>& ASampleRate)
    : TLockPersistent(std::move(ALock), "FrequencyResponse"), FSampleRate(ASampleRate) {}

const TPublishedTable& TQSFilterFrequencyResponse::Published() {
  static const TPublishedTable Table({.Name = "TQSFilterFrequencyResponse"}, nullptr);
  return Table;
}

void TQSFilterFrequencyResponse::GetMagnitudes(std::span<double> AValues) const {
  Replace(AValues, &TQSResponse::Magnitude);
}

void TQSFilterFrequencyResponse::GetPhases(std::span<double> AValues) const {
  Replace(AValues, &TQSResponse::Phase);
}

void TQSFilterFrequencyResponse::Replace(std::span<double> AValues,
                                         double TQSResponse::*AWhat) const {
  std::vector<double> Taps;
  TQSFilterType Type{};
  double Rate = 0.0;
  {
    const ILockSection Section = FLock->ReadLock();
    Taps = FTaps;
    Type = FType;
    Rate = FSampleRate;
  }
  if (!(Rate > 0.0))
    throw EQSException(Describe() +
                       ": there is no sample rate yet; start a stream, or set SampleRate");
  for (double& Value : AValues)
    Value = QSTapsResponse(Type, Taps, static_cast<long double>(Value) / Rate).*AWhat;
}

std::int32_t TQSFilterFrequencyResponse::TapsCount() const {
  const ILockSection Section = FLock->ReadLock();
  return static_cast<std::int32_t>(FTaps.size());
}

double TQSFilterFrequencyResponse::Tap(std::int32_t AIndex) const {
  const ILockSection Section = FLock->ReadLock();
  if (AIndex >= 0 && AIndex < TapsCount()) return FTaps[static_cast<std::size_t>(AIndex)];
  throw EQSException(Describe() + ": there is no tap " + NumberText(AIndex) + "; there are " +
                     NumberText(TapsCount()) + ", counted from 0");
}

void TQSFilterFrequencyResponse::SetTaps(TQSFilterType AType, std::vector<double> ATaps) {
  const ILockSection Section = FLock->WriteLock();
  FType = AType;
  FTaps = std::move(ATaps);
}

void TQSFilterFrequencyResponse::Clear() { SetTaps(TQSFilterType::ftFIR, {}); }

}  // namespace tessalune
