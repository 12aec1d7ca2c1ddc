#include <tessalune/filters/QSRealTodB.h>
#include <tessalune/frame/runtime/QSCategories.h>
#include <tessalune/frame/runtime/QSComponentRegistry.h>
#include <tessalune/primitives/QSBasicDispatcher.h>

#include <limits>

namespace tessalune {
namespace {

constexpr TPropertyInfo<TQSdBMode> ModeInfo{
    .Name = "Mode",
    .Default = TQSdBMode::dbmPower,
    .Doc = "Whether samples are powers (10 log10) or amplitudes (20 log10)."};

constexpr TClassText RealTodBText{
    .Use =
        R"(Levels on the scale that ears and instruments have. Take `dbmAmplitude` for amplitudes and
magnitudes, such as those of TQSFourier, and `dbmPower` for powers, such as those of
TQSPowerSpectrum. Values are relative to 1: divide by the reference before, by TQSApplyRealConst.)",
    .BadInput =
        R"(A sample that is not above 0, and a NaN, gives the most negative number that there is, about
-1.8e308. That is the floor, and plots have to cut it; take TQSAbs before for signals with a sign.
Plus infinity stays.)",
    .Accuracy =
        R"(Within about 2 units in the last place. One logarithm a sample; no delay and no memory.)",
    .Formulas = R"(    dbmPower      y[n] = 10 log10(x[n])
    dbmAmplitude  y[n] = 20 log10(x[n]))",
    .SeeAlso = "TQSAbs, TQSPowerSpectrum, TQSRMSMeter, TQSApplyRealConst",
    .Example =
        R"(A ramp from 0.001 to 1 and the decibels of it as an amplitude: half is -6 dB, a tenth -20 dB.)",
};

}  // namespace

const TPublishedTable& TQSRealTodB::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSRealTodB",
                       .DisplayName = "Signal to dB",
                       .Category = categories::Filters,
                       .Doc = "Each sample in decibels relative to 1.",
                       .Text = RealTodBText},
                      &TQSCommonRealFilter::Published())
          .Property(ModeInfo, &TQSRealTodB::Mode, &TQSRealTodB::SetMode);
  return Table;
}

void TQSRealTodB::SetMode(TQSdBMode AValue) { NotifySetter(ModeInfo, FMode, AValue); }

void TQSRealTodB::FilterInternalOperation(const TRef<IQSRealBuffer>& AInBuffer,
                                          TRef<IQSRealBuffer>& AOutBuffer, bool&) {
  constexpr double Floor = std::numeric_limits<double>::lowest();
  const double Factor = FMode == TQSdBMode::dbmPower ? 10.0 : 20.0;
  const double* In = AInBuffer->Read();
  double* Out = AOutBuffer->Write();
  const std::int32_t Count = AOutBuffer->GetSize();
  ippsLog10_64f_A53(In, Out, Count);
  for (std::int32_t I = 0; I < Count; ++I) {
    const double Level = Out[I] * Factor;
    // Also of the -infinity of a 0, and of the NaN of whatever is below.
    Out[I] = Level >= Floor ? Level : Floor;
  }
}

void QSRealTodB::RegisterPkg() { RegisterComponents({ClassOf<TQSRealTodB>()}); }

}  // namespace tessalune
