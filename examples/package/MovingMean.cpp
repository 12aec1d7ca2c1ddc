// A filter that is given by taps: the mean of the last samples.
#include "workshop.h"

#include <tessalune/tessalune.h>

namespace workshop {
namespace {

using namespace tessalune;

class TMovingMean final : public TQSCommonTapsFilter {
 public:
  using TQSCommonTapsFilter::TQSCommonTapsFilter;
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  std::int32_t Length() const { return FLength; }
  void SetLength(std::int32_t AValue) {
    NotifySetter(LengthInfo, FLength, AValue, [this] { Init(); });
  }

 protected:
  TQSTapsDesign IntInit(double) const override {
    const auto Count = static_cast<std::size_t>(Length());
    return {TQSFilterType::ftFIR, std::vector<double>(Count, 1.0 / Length()), {}};
  }

 private:
  static constexpr TPropertyInfo<std::int32_t> LengthInfo{
      .Name = "Length",
      .Default = 10,
      .Bounds = Between(1, 100000),
      .Design = Between(1, 1000),
      .Unit = "samples",
      .Doc = "How many samples a mean is made of."};
  TField<std::int32_t> FLength;
};

const TPublishedTable& TMovingMean::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TMovingMean",
                       .DisplayName = "Moving Mean",
                       .Category = "Workshop",
                       .Doc = "The mean of the last samples."},
                      &TQSCommonTapsFilter::Published())
          .Property(LengthInfo, &TMovingMean::Length, &TMovingMean::SetLength);
  return Table;
}

}  // namespace

void MovingMean::RegisterPkg() { RegisterComponents({ClassOf<TMovingMean>()}); }

}  // namespace workshop
