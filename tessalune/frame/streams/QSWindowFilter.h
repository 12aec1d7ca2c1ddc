// The design of filters from what their user says of them.
#pragma once

#include <tessalune/frame/runtime/QSReference.h>
#include <tessalune/frame/streams/QSFilterTypes.h>

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace tessalune {

// A designed filter, or why there is none. It does not change: any thread may read it.
class IQSFilterInfo : public IInterface {
 public:
  // In the layout of the filter's type (TQSFilterType), as ippsFIRInitAlloc_64f,
  // ippsIIRInitAlloc_64f and ippsIIRInitAlloc_BiQuad_64f take them. Empty: no usable filter.
  virtual const std::vector<double>& GetTaps() const = 0;

  // The response of these taps at as many frequencies as there is room for, spread evenly from 0 to
  // half the sample rate with both ends (a single one is 0 Hz): magnitudes, and phases in radians
  // from -pi to pi. The spans may be of unequal sizes; each is spread by its own. Without taps it
  // is that of the wire which then stands for the filter.
  virtual void GetResponse(std::span<double> AMagnitudes, std::span<double> APhases) const = 0;

  // Why there are no taps, and what would do; else empty.
  virtual const std::string& Error() const = 0;
};

// Designs a filter. Arguments, by the names that they have as properties:
//   AOrder     Order: for ftFIR the number of taps, from 1 to 2^24 (an even number becomes the odd
//              one above it for a high pass or a band stop). For the others the order of the
//              prototype, from 1 to 1001: a low or a high pass has as many poles, a band pass or a
//              band stop twice as many, as its two flanks each have the prototype's.
//   AFreq1, AFreq2
//              Frequency, or FreqLow and FreqHigh, Hz, above 0 and below half the rate, in rising
//              order. AFreq2 means nothing for a low or a high pass. Of iirButterworth and
//              iirBessel the magnitude there is -3.01 dB, of iirChebyshev -Alpha dB; of a FIR -6
//              dB.
//   ASampleRate
//              Hz, above 0.
//   AWindowType
//              for ftFIR, see QSFirDesign.h.
//   AIIRFilterType
//              for the others, see QSFilterPrototype.h.
//   AAlpha     Alpha: for wtKaiser the shape from 0 to 1 (QSKaiser.h), for iirChebyshev the ripple
//              in dB, above 0. For all other windows and prototypes it means nothing.
//
// The taps of ftIIR are 2 (n + 1) values for n poles; ftBiquadIIR has (n + 1) / 2 sections of six.
// Accuracy: QSFilterSections.h. For any other arguments, as for those whose filter double precision
// cannot hold, there are no taps but an Error. The time is proportional to the taps of a FIR, to
// the square of the order of the others: that of order 1001 some ms.
TRef<IQSFilterInfo> QSFilterCalc(TQSFilterType AFilterType, TQSDesignFilterType ADesignType,
                                 std::int32_t AOrder, double AFreq1, double AFreq2,
                                 double ASampleRate, TQSWindowType AWindowType,
                                 TQSIIRFilterType AIIRFilterType, double AAlpha);

}  // namespace tessalune
