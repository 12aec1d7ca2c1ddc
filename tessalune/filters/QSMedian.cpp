#include <tessalune/filters/QSMedian.h>
#include <tessalune/frame/runtime/QSCategories.h>
#include <tessalune/frame/runtime/QSComponentRegistry.h>

#include <algorithm>
#include <limits>

namespace tessalune {
namespace {

constexpr TPropertyInfo<std::int32_t> MaskInfo{
    .Name = "Mask",
    .Default = 3,
    .Bounds = AtMost(std::numeric_limits<std::int32_t>::max()),
    .Unit = "samples",
    .Doc = "Samples of which each median is taken; an even number counts as the odd one below."};

}  // namespace

const TPublishedTable& TQSMedian::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSMedian",
                       .DisplayName = "Performs Median Filter",
                       .Category = categories::Filters,
                       .Doc = "The median of each sample and its neighbours in the block: takes "
                              "clicks out and leaves edges."},
                      &TQSCommonRealFilter::Published())
          .Property(MaskInfo, &TQSMedian::Mask, &TQSMedian::SetMask);
  return Table;
}

void TQSMedian::SetMask(std::int32_t AValue) {
  NotifySetter(MaskInfo, FMask, (std::max(AValue, 1) - 1) / 2 * 2 + 1);
}

void TQSMedian::FilterInternalOperation(const TRef<IQSRealBuffer>& AInBuffer,
                                        TRef<IQSRealBuffer>& AOutBuffer, bool&) {
  ippsFilterMedian_64f(AInBuffer->Read(), AOutBuffer->Write(), AInBuffer->GetSize(), FMask);
}

void QSMedian::RegisterPkg() { RegisterComponents({ClassOf<TQSMedian>()}); }

}  // namespace tessalune
