#include <tessalune/frame/streams/QSFirDesign.h>
#include <tessalune/frame/streams/QSKaiser.h>

#include <cmath>
#include <numbers>

namespace tessalune {
namespace {

// sin(2 pi x), cos(2 pi x): the whole turns are taken out first, in a precision in which the
// product that makes x keeps the digits behind them.
double SinOfTurns(long double AX) {
  return std::sin(2.0 * std::numbers::pi * static_cast<double>(AX - std::rint(AX)));
}
double CosOfTurns(long double AX) {
  return std::cos(2.0 * std::numbers::pi * static_cast<double>(AX - std::rint(AX)));
}

// The middle of the pass band, in cycles a sample.
long double MiddleOf(const TQSBand& ABand) {
  switch (ABand.Kind) {
    case TQSDesignFilterType::dfLowPass:
      return 0.0L;
    case TQSDesignFilterType::dfHighPass:
      return 0.5L;
    case TQSDesignFilterType::dfBandPass:
      return (ABand.Low + ABand.High) / 2.0L;
    case TQSDesignFilterType::dfBandStop:
      return ABand.Low >= 0.5L - ABand.High ? 0.0L : 0.5L;
  }
  return 0.0L;
}

// The ideal response AFromMiddle samples from its middle, whole or half ones.
class TIdealResponse {
 public:
  explicit TIdealResponse(const TQSBand& ABand)
      : FIsBand(ABand.Kind == TQSDesignFilterType::dfBandPass ||
                ABand.Kind == TQSDesignFilterType::dfBandStop),
        FIsComplement(ABand.Kind == TQSDesignFilterType::dfHighPass ||
                      ABand.Kind == TQSDesignFilterType::dfBandStop),
        // A band is a low pass of half its width, moved to its centre; so nothing cancels in a
        // narrow one.
        FHalfWidth(FIsBand ? ABand.Width / 2.0L : ABand.Low),
        FCentre((ABand.Low + ABand.High) / 2.0L) {}

  double At(double AFromMiddle) const {
    double Value = AFromMiddle == 0.0
                       ? static_cast<double>(2.0L * FHalfWidth)
                       : SinOfTurns(FHalfWidth * static_cast<long double>(AFromMiddle)) /
                             (std::numbers::pi * AFromMiddle);
    if (FIsBand) Value *= 2.0 * CosOfTurns(FCentre * static_cast<long double>(AFromMiddle));
    if (!FIsComplement) return Value;
    return (AFromMiddle == 0.0 ? 1.0 : 0.0) - Value;
  }

 private:
  bool FIsBand;
  bool FIsComplement;
  long double FHalfWidth;
  long double FCentre;
};

}  // namespace

std::vector<double> QSDesignWindow(TQSWindowType AWindow, double AAlpha, std::size_t ACount) {
  std::vector<double> Result(ACount, 1.0);
  if (ACount < 2 || AWindow == TQSWindowType::wtRect) return Result;
  const auto Last = static_cast<double>(ACount - 1);
  const std::size_t Half = (ACount + 1) / 2;
  if (AWindow == TQSWindowType::wtKaiser) {
    TQSKaiserWindow(AAlpha, Last).Weigh(0, Half, Result.data());
  } else {
    for (std::size_t I = 0; I < Half; ++I) {
      const double X = static_cast<double>(I) / Last;
      // The squared sine, in which the sums of cosines lose no digits near the ends.
      const double Sine = std::sin(std::numbers::pi * X);
      const double S = Sine * Sine;
      switch (AWindow) {
        case TQSWindowType::wtBartlett:
          Result[I] = 2.0 * X;
          break;
        case TQSWindowType::wtHanning:
          Result[I] = S;
          break;
        case TQSWindowType::wtHamming:
          Result[I] = 0.08 + 0.92 * S;
          break;
        case TQSWindowType::wtBlackman:
          Result[I] = S * (0.36 + 0.64 * S);
          break;
        case TQSWindowType::wtRect:
        case TQSWindowType::wtKaiser:
          break;
      }
    }
  }
  for (std::size_t I = 0; I < Half; ++I) Result[ACount - 1 - I] = Result[I];
  return Result;
}

TQSCoefficients QSFirDesign(const TQSBand& ABand, TQSWindowType AWindow, double AAlpha,
                            std::size_t ACount) {
  const bool NeedsOdd = ABand.Kind == TQSDesignFilterType::dfHighPass ||
                        ABand.Kind == TQSDesignFilterType::dfBandStop;
  const std::size_t Count = NeedsOdd && ACount % 2 == 0 ? ACount + 1 : ACount;
  std::vector<double> Taps = QSDesignWindow(AWindow, AAlpha, Count);
  const TIdealResponse Ideal(ABand);
  const long double Middle = MiddleOf(ABand);
  const double Centre = static_cast<double>(Count - 1) / 2.0;
  const std::size_t Half = (Count + 1) / 2;

  // What a tap and its mirror image add to the gain in the middle of the pass band.
  std::vector<double> Weights(Half);
  long double Gain = 0.0L;
  for (std::size_t I = 0; I < Half; ++I) {
    const double FromMiddle = Centre - static_cast<double>(I);
    const double Cosine =
        Middle == 0.0L ? 1.0 : CosOfTurns(Middle * static_cast<long double>(FromMiddle));
    Weights[I] = FromMiddle == 0.0 ? Cosine : 2.0 * Cosine;
    Taps[I] *= Ideal.At(FromMiddle);
    Gain += static_cast<long double>(Taps[I]) * static_cast<long double>(Weights[I]);
  }
  if (!(Gain > 0.0L))
    return {{},
            "the window leaves nothing of the taps: set Order to 3 or more, or another WindowType"};
  const auto Factor = static_cast<double>(1.0L / Gain);
  long double Scaled = 0.0L;
  for (std::size_t I = 0; I < Half; ++I) {
    Taps[I] *= Factor;
    Scaled += static_cast<long double>(Taps[I]) * static_cast<long double>(Weights[I]);
  }
  // What rounding the taps left of the gain goes to the middle.
  Taps[Half - 1] +=
      static_cast<double>((1.0L - Scaled) / static_cast<long double>(Weights[Half - 1]));
  for (std::size_t I = 0; I < Half; ++I) Taps[Count - 1 - I] = Taps[I];
  for (const double Tap : Taps)
    if (!std::isfinite(Tap)) return {{}, "the band is too narrow for taps: move the edges apart"};
  return {std::move(Taps), {}};
}

}  // namespace tessalune
