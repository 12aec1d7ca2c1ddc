#include <tessalune/frame/streams/QSDelayValue.h>

#include <cmath>
#include <limits>

namespace tessalune {
namespace {

constexpr TPropertyInfo<std::int64_t> ValueInfo{
    .Name = "Value",
    .Bounds = AtLeast<std::int64_t>(0),
    .Doc = "The delay, in milliseconds or samples as Mode says."};
constexpr TPropertyInfo<TQSDelayMode> ModeInfo{
    .Name = "Mode", .Default = TQSDelayMode::dmMilliseconds, .Doc = "What Value counts."};

}  // namespace

const TPublishedTable& TQSDelayValue::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSDelayValue"}, nullptr)
          .Property(ValueInfo, &TQSDelayValue::Value, &TQSDelayValue::SetValue)
          .Property(ModeInfo, &TQSDelayValue::Mode, &TQSDelayValue::SetMode);
  return Table;
}

void TQSDelayValue::SetValue(std::int64_t AValue) { NotifySetter(ValueInfo, FValue, AValue); }
void TQSDelayValue::SetMode(TQSDelayMode AValue) { NotifySetter(ModeInfo, FMode, AValue); }

std::int64_t TQSDelayValue::Samples(double ASampleRate) const {
  if (FMode == TQSDelayMode::dmSamples) return FValue;
  constexpr std::int64_t Most = std::numeric_limits<std::int64_t>::max();
  const double Samples = std::nearbyint(static_cast<double>(FValue.Load()) * ASampleRate / 1000.0);
  if (!(Samples > 0.0)) return 0;
  return Samples < static_cast<double>(Most) ? static_cast<std::int64_t>(Samples) : Most;
}

}  // namespace tessalune
