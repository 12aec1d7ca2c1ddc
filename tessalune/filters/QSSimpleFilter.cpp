#include <tessalune/filters/QSSimpleFilter.h>

#include <algorithm>
#include <limits>

namespace tessalune {
namespace {

constexpr TPropertyInfo<std::int32_t> OrderInfo{
    .Name = "Order",
    .Default = 41,
    .Bounds = AtLeast<std::int32_t>(1),
    .Design = Between<std::int32_t>(1, 1001),
    .OldName = "NumTaps",
    .Doc =
        "Taps of ftFIR (a high pass and a band stop have one more where the number is even); of "
        "the others the order of the prototype, a band filter has twice as many poles."};
constexpr TPropertyInfo<TQSFilterType> FilterTypeInfo{
    .Name = "FilterType",
    .Default = TQSFilterType::ftFIR,
    .Doc =
        "How the filter computes: a finite response, or a recursive one as one direct form (for "
        "low orders) or as a chain of sections (for any)."};
constexpr TPropertyInfo<TQSWindowType> WindowTypeInfo{
    .Name = "WindowType", .Default = TQSWindowType::wtHamming, .Doc = "The window of ftFIR."};
constexpr TPropertyInfo<TQSIIRFilterType> IIRFilterTypeInfo{
    .Name = "IIRFilterType",
    .Default = TQSIIRFilterType::iirButterworth,
    .Doc = "The prototype of ftIIR and ftBiquadIIR."};
constexpr TPropertyInfo<double> AlphaInfo{
    .Name = "Alpha",
    .Default = 1.0,
    .Design = Between(0.0, 1.0),
    .Doc = "Of wtKaiser the shape, from 0 to 1; of iirChebyshev the ripple in dB, above 0."};

constexpr TClassText SimpleFilterText{
    .Use = R"(The filter is designed from what is set, anew at each start and each change:

- `ftFIR` has linear phase: all frequencies come (taps - 1) / 2 samples late, and waveforms keep
  their shape. `Order` is the number of taps, and the transition is some 3.3 rate / `Order` wide
  with `wtHamming`.
- `ftBiquadIIR` is steep with few operations and little delay, but bends the phase near the edge:
  any order. `ftIIR` is the same filter as one direct form, for low orders only.
- `iirButterworth` is the flattest, `iirChebyshev` the steepest, with a ripple of `Alpha` dB in
  the pass band, `iirBessel` keeps waveforms best.)",
    .BadInput =
        R"(An edge at half the sample rate or beyond is taken as 0.49999 of the rate, and the notes of `run`
tell; one at 0 gives no filter. A NaN or an infinity in the stream reaches as many outputs as a
finite response has taps; in a recursive one it stays, until a new start or a change of a property
finds it more than 4,096 samples back. Before a stream has told its rate, blocks pass unchanged.)",
    .Accuracy =
        R"(Designed in extended precision and rounded once; sections are paired and ordered so that their
noise stays below 1e-11 of the largest output for orders to 41. Settings whose filter double
precision cannot hold are refused, never approximated. A design takes microseconds to some
milliseconds (order 1001), on the thread that sets a property. A sample costs as with TQSFir
(`ftFIR`), TQSIir and TQSBiQuadIir.)",
    .Formulas =
        R"(Finite responses by the window method (Harris 1978, "On the use of windows for harmonic analysis
with the discrete Fourier transform", Proc. IEEE 66). Stop bands of a low pass: `wtRect` -21 dB,
`wtHanning` -44 dB, `wtHamming` -53 dB, `wtBlackman` -74 dB, `wtKaiser` -21 to -188 dB for `Alpha`
from 0 to 1 (Kaiser 1974, "Nonrecursive digital filter design using the I0-sinh window function",
IEEE ISCAS).

Recursive ones from analogue prototypes by the bilinear transform, with the edges where they were
set (Constantinides 1970, "Spectral transformations for digital filters", Proc. IEE 117):

    iirButterworth  |H|^2 = 1 / (1 + w^(2 n))
    iirChebyshev    |H|^2 = 1 / (1 + e^2 Tn(w)^2), e^2 = 10^(Alpha / 10) - 1
    iirBessel       H = tn(0) / tn(s), tn the reverse Bessel polynomial, -3 dB at the edge

(Parks and Burrus 1987, "Digital Filter Design", chapter 7; Thomson 1949, "Delay networks having
maximally flat frequency characteristics", Proc. IEE 96.))",
};

}  // namespace

const TPublishedTable& TQSSimpleFilter::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSSimpleFilter", .Text = SimpleFilterText},
                      &TQSCommonTapsFilter::Published())
          .Property(OrderInfo, &TQSSimpleFilter::Order, &TQSSimpleFilter::SetOrder)
          .Property(FilterTypeInfo, &TQSSimpleFilter::FilterType, &TQSSimpleFilter::SetFilterType)
          .Property(WindowTypeInfo, &TQSSimpleFilter::WindowType, &TQSSimpleFilter::SetWindowType)
          .Property(IIRFilterTypeInfo, &TQSSimpleFilter::IIRFilterType,
                    &TQSSimpleFilter::SetIIRFilterType)
          .Property(AlphaInfo, &TQSSimpleFilter::Alpha, &TQSSimpleFilter::SetAlpha)
          .OlderForm("DesignSampleRate", "", &TQSSimpleFilter::DropForm,
                     "The rate at which a design tool showed the filter.");
  return Table;
}

void TQSSimpleFilter::SetOrder(std::int32_t AValue) {
  NotifySetter(OrderInfo, FOrder, AValue, [this] { Init(); });
}

void TQSSimpleFilter::SetFilterType(TQSFilterType AValue) {
  NotifySetter(FilterTypeInfo, FFilterType, AValue, [this] { Init(); });
}

void TQSSimpleFilter::SetWindowType(TQSWindowType AValue) {
  NotifySetter(WindowTypeInfo, FWindowType, AValue, [this] { Init(); });
}

void TQSSimpleFilter::SetIIRFilterType(TQSIIRFilterType AValue) {
  NotifySetter(IIRFilterTypeInfo, FIIRFilterType, AValue, [this] { Init(); });
}

void TQSSimpleFilter::SetAlpha(double AValue) {
  NotifySetter(AlphaInfo, FAlpha, AValue, [this] { Init(); });
}

// --- the design ---

TRef<IQSFilterInfo> TQSSimpleFilter::GetFilterInfo(double ASampleRate) const {
  const TEdges Limited = Edges(ASampleRate);
  return QSFilterCalc(FFilterType, FDesignType, FOrder, Limited.First, Limited.Second, ASampleRate,
                      FWindowType, FIIRFilterType, FAlpha);
}

TQSTapsDesign TQSSimpleFilter::IntInit(double ASampleRate) const {
  if (!(ASampleRate > 0.0)) return {};
  const TRef<IQSFilterInfo> Info = GetFilterInfo(ASampleRate);
  return {FFilterType, Info->GetTaps(), Info->Error()};
}

std::vector<std::string> TQSSimpleFilter::DesignNotes(double ASampleRate) const {
  std::vector<std::string> Notes = Edges(ASampleRate).Notes;
  const std::int32_t Count = FOrder;
  const bool NeedsOdd = FDesignType == TQSDesignFilterType::dfHighPass ||
                        FDesignType == TQSDesignFilterType::dfBandStop;
  if (NeedsOdd && FFilterType == TQSFilterType::ftFIR && Count % 2 == 0)
    Notes.push_back("has " + NumberText(std::int64_t{Count} + 1) + " taps and not " +
                    NumberText(Count) +
                    ": an even number lets nothing through at half the sample rate; set Order to "
                    "an odd number");
  return Notes;
}

void TQSSimpleFilter::LimitEdge(double& AEdge, const char* AName, double ASampleRate,
                                std::vector<std::string>& ANotes) {
  if (AEdge / ASampleRate < 0.5) return;
  const double Limit = 0.49999 * ASampleRate;
  ANotes.push_back(std::string(AName) + ", " + NumberText(AEdge) +
                   " Hz, is not below half the sample rate: the filter is designed with " +
                   NumberText(Limit) + " Hz");
  AEdge = Limit;
}

void TQSSimpleFilter::SetRateFor(double AFrequency) {
  constexpr double Max = std::numeric_limits<double>::max();
  SetSampleRateProp(AFrequency >= Max / 4.0 ? Max : std::max(4.0 * AFrequency, 1.0));
}

void TQSSimpleFilter::StreamStop() {
  TQSCommonTapsFilter::StreamStop();
  FreeFilter();
}

}  // namespace tessalune
