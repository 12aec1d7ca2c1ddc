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

}  // namespace

const TPublishedTable& TQSRealTodB::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSRealTodB",
                       .DisplayName = "Signal to dB",
                       .Category = categories::Filters,
                       .Doc = "Each sample in decibels relative to 1."},
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
