#include <tessalune/frame/runtime/QSPropertyInfo.h>
#include <tessalune/frame/streams/QSFirDesign.h>
#include <tessalune/frame/streams/QSTapsResponse.h>
#include <tessalune/frame/streams/QSWindowFilter.h>

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <utility>

namespace tessalune {
namespace {

constexpr std::int32_t MaxTaps = 1 << 24;
constexpr std::int32_t MaxIirOrder = 1001;

class TFilterInfo final : public IQSFilterInfo {
 public:
  TFilterInfo(TQSFilterType AType, TQSCoefficients ACoefficients)
      : FType(AType), FCoefficients(std::move(ACoefficients)) {}

  const std::vector<double>& GetTaps() const override { return FCoefficients.Taps; }
  const std::string& Error() const override { return FCoefficients.Error; }

  void GetResponse(std::span<double> AMagnitudes, std::span<double> APhases) const override {
    const auto At = [&](std::size_t AIndex, std::size_t ACount) {
      const auto Last = static_cast<long double>(ACount > 1 ? ACount - 1 : 1);
      return QSTapsResponse(FType, FCoefficients.Taps,
                            0.5L * (static_cast<long double>(AIndex) / Last));
    };
    const bool Together = AMagnitudes.size() == APhases.size();
    for (std::size_t I = 0; I < AMagnitudes.size(); ++I) {
      const TQSResponse Response = At(I, AMagnitudes.size());
      AMagnitudes[I] = Response.Magnitude;
      if (Together) APhases[I] = Response.Phase;
    }
    for (std::size_t I = 0; !Together && I < APhases.size(); ++I)
      APhases[I] = At(I, APhases.size()).Phase;
  }

 private:
  const TQSFilterType FType;
  const TQSCoefficients FCoefficients;
};

template <class T>
bool IsKnown(T AValue) {
  return static_cast<std::size_t>(AValue) < TEnumNames<T>::Names.size();
}

// With nine digits, all if that many cannot tell it from AOther.
std::string ShortText(double AValue, double AOther) {
  const auto Short = [](double ANumber) {
    std::array<char, 32> Text;
    std::snprintf(Text.data(), Text.size(), "%.9g", ANumber);
    return std::string(Text.data());
  };
  const bool IsShort = AValue == AOther || Short(AValue) != Short(AOther);
  return IsShort && std::isfinite(AValue) ? NumberText(std::strtod(Short(AValue).c_str(), nullptr))
                                          : NumberText(AValue);
}

// What is wrong with the edges, in the words of the properties; empty if nothing is.
std::string EdgesError(bool AIsBand, double AFreq1, double AFreq2, double ASampleRate) {
  if (!(ASampleRate > 0.0) || !std::isfinite(ASampleRate))
    return "the sample rate is " + NumberText(ASampleRate) +
           " Hz: a filter is designed for a rate above 0, which the stream brings when it starts";
  const auto Check = [&](const char* AName, double AFrequency) -> std::string {
    if (AFrequency > 0.0 && AFrequency < ASampleRate / 2.0) return {};
    const double Most = ASampleRate / 2.0;
    return std::string(AName) + " is " + ShortText(AFrequency, Most) +
           " Hz: set it above 0 and below half the sample rate, " + ShortText(Most, AFrequency) +
           " Hz";
  };
  if (!AIsBand) return Check("Frequency", AFreq1);
  for (const auto& [Name, Frequency] :
       {std::pair("FreqLow", AFreq1), std::pair("FreqHigh", AFreq2)})
    if (std::string Error = Check(Name, Frequency); !Error.empty()) return Error;
  if (AFreq1 < AFreq2) return {};
  return "FreqLow, " + ShortText(AFreq1, AFreq2) + " Hz, is not below FreqHigh, " +
         ShortText(AFreq2, AFreq1) + " Hz: a band needs its lower edge first";
}

std::string OrderError(TQSFilterType AType, std::int32_t AOrder) {
  const bool IsFir = AType == TQSFilterType::ftFIR;
  const std::int32_t Max = IsFir ? MaxTaps : MaxIirOrder;
  if (AOrder >= 1 && AOrder <= Max) return {};
  return "Order is " + NumberText(AOrder) + ": set it from 1 to " + NumberText(Max) +
         (IsFir || AOrder < 1 ? "" : ", or FilterType to ftFIR, which takes more");
}

TQSCoefficients Design(TQSFilterType AFilterType, TQSDesignFilterType ADesignType,
                       std::int32_t AOrder, double AFreq1, double AFreq2, double ASampleRate,
                       TQSWindowType AWindowType, TQSIIRFilterType AIIRFilterType, double AAlpha) {
  if (!IsKnown(AFilterType) || !IsKnown(ADesignType) || !IsKnown(AWindowType) ||
      !IsKnown(AIIRFilterType))
    return {{},
            "FilterType, WindowType, IIRFilterType or the kind of design is none of its values"};
  const bool IsBand = ADesignType == TQSDesignFilterType::dfBandPass ||
                      ADesignType == TQSDesignFilterType::dfBandStop;
  std::string Error = OrderError(AFilterType, AOrder);
  if (Error.empty()) Error = EdgesError(IsBand, AFreq1, AFreq2, ASampleRate);
  if (!Error.empty()) return {{}, std::move(Error)};

  const auto Rate = static_cast<long double>(ASampleRate);
  const auto Low = static_cast<long double>(AFreq1);
  const auto High = static_cast<long double>(IsBand ? AFreq2 : 0.0);
  const TQSBand Band{ADesignType, Low / Rate, High / Rate, IsBand ? (High - Low) / Rate : 0.0L};
  const auto Order = static_cast<std::size_t>(AOrder);
  if (AFilterType == TQSFilterType::ftFIR) return QSFirDesign(Band, AWindowType, AAlpha, Order);

  const TQSPrototype Prototype = QSPrototype(AIIRFilterType, Order, AAlpha);
  if (Prototype.Poles.empty())
    return {{},
            "Alpha is " + NumberText(AAlpha) +
                ": for iirChebyshev it is the ripple of the pass band in dB, above 0; set it to 1, "
                "say"};
  const TQSPolesAndZeros Filter = QSToDigital(Prototype, Band);
  return AFilterType == TQSFilterType::ftIIR ? QSDirectForm(Filter) : QSSections(Filter);
}

}  // namespace

TRef<IQSFilterInfo> QSFilterCalc(TQSFilterType AFilterType, TQSDesignFilterType ADesignType,
                                 std::int32_t AOrder, double AFreq1, double AFreq2,
                                 double ASampleRate, TQSWindowType AWindowType,
                                 TQSIIRFilterType AIIRFilterType, double AAlpha) {
  return TRef<IQSFilterInfo>(
      new TFilterInfo(AFilterType, Design(AFilterType, ADesignType, AOrder, AFreq1, AFreq2,
                                          ASampleRate, AWindowType, AIIRFilterType, AAlpha)));
}

}  // namespace tessalune
