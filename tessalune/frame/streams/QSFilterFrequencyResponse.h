// What a filter with taps does to sines, for its user to ask.
#pragma once

#include <tessalune/frame/runtime/VBComponent.h>
#include <tessalune/frame/streams/QSTapsResponse.h>

#include <cstdint>
#include <span>
#include <vector>

namespace tessalune {

// The response of the filter as it was made last, enabled or not, whether or not a stream runs;
// that of a wire where it could not be made. Any thread.
class TQSFilterFrequencyResponse final : public TLockPersistent {
 public:
  // ASampleRate is the filter's, Hz; 0 while there is none.
  TQSFilterFrequencyResponse(TRef<IChangeNotifyLock> ALock, const TField<double>& ASampleRate);
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  // Both take frequencies in Hz, any finite ones, and put in the place of each the magnitude, or
  // the phase in radians from -pi to pi. Raise EQSException while the filter knows no sample rate.
  // What they compute is right as QSTapsResponse.h says; the time is that of a sum over all taps
  // for each frequency.
  void GetMagnitudes(std::span<double> AValues) const;
  void GetPhases(std::span<double> AValues) const;

  // What the filter is made of, in the layout of its type; none for a wire.
  std::int32_t TapsCount() const;
  double Tap(std::int32_t AIndex) const;  // raises EQSException for an index that is none

  // For the filter.
  void SetTaps(TQSFilterType AType, std::vector<double> ATaps);
  void Clear();

 private:
  void Replace(std::span<double> AValues, double TQSResponse::*AWhat) const;

  const TField<double>& FSampleRate;
  TQSFilterType FType = TQSFilterType::ftFIR;
  std::vector<double> FTaps;
};

}  // namespace tessalune
