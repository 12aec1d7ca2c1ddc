#pragma once

#include <tessalune/frame/streams/QSCommonFilter.h>

#include <array>
#include <cstdint>

namespace tessalune {

// What a sample is when it becomes decibels; in order from 0.
enum class TQSdBMode : std::uint8_t {
  dbmPower,      // a power: 10 * log10(x)
  dbmAmplitude,  // an amplitude: 20 * log10(x)
};
template <>
struct TEnumNames<TQSdBMode> {
  static constexpr std::array<std::string_view, 2> Names{"dbmPower", "dbmAmplitude"};
};

// Each sample in decibels relative to 1. A sample that is not above 0, and a NaN, gives the most
// negative finite double, -1.7976931348623157e308; there is no other floor.
class TQSRealTodB : public TQSCommonRealFilter {
 public:
  using TQSCommonRealFilter::TQSCommonRealFilter;
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  // Default dbmPower; takes effect with the next block.
  TQSdBMode Mode() const { return FMode; }
  void SetMode(TQSdBMode AValue);

 protected:
  bool CanInline() override { return true; }
  void FilterInternalOperation(const TRef<IQSRealBuffer>& AInBuffer,
                               TRef<IQSRealBuffer>& AOutBuffer, bool& ASendOutputData) override;

 private:
  TField<TQSdBMode> FMode;
};

namespace QSRealTodB {
void RegisterPkg();
}

}  // namespace tessalune
