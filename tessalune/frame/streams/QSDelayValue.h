// How long a stream is delayed.
#pragma once

#include <tessalune/frame/runtime/VBComponent.h>

#include <array>
#include <cstdint>
#include <functional>
#include <string_view>

namespace tessalune {

// What a delay is counted in; in order from 0.
enum class TQSDelayMode : std::uint8_t {
  dmMilliseconds,
  dmSamples,
};
template <>
struct TEnumNames<TQSDelayMode> {
  static constexpr std::array<std::string_view, 2> Names{"dmMilliseconds", "dmSamples"};
};

// A delay, as a sub-object of a component.
class TQSDelayValue final : public TLockPersistent {
 public:
  using TLockPersistent::TLockPersistent;
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  // At least 0; default 0.
  std::int64_t Value() const { return FValue; }
  void SetValue(std::int64_t AValue);
  // What Value counts; default dmMilliseconds.
  TQSDelayMode Mode() const { return FMode; }
  void SetMode(TQSDelayMode AValue);

  // The delay in samples at ASampleRate Hz: of milliseconds the nearest number, of two as near the
  // even one; at most 2^63 - 1.
  std::int64_t Samples(double ASampleRate) const;

 private:
  TField<std::int64_t> FValue;
  TField<TQSDelayMode> FMode;
};

}  // namespace tessalune
