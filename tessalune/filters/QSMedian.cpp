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

constexpr TClassText MedianText{
    .Use =
        R"(Takes clicks and drop-outs out of a signal and leaves its edges: what is shorter than half of
`Mask` disappears, and a step stays a step, where a low pass would smear both. Take a mask of
twice the length of the longest click, and one sample more.)",
    .BadInput =
        R"(A NaN in a mask up to 7 may come out in place of any of its neighbours; in a larger one a NaN
ranks above infinity. Infinities rank as numbers do. A `Mask` below 1 counts as 1, an even one as
the odd one below it.)",
    .Accuracy =
        R"(Exact: each output is one of the input's samples. Masks up to 7 take a few comparisons a sample,
larger ones time that grows with `Mask`, and memory for it.

Nothing is carried from block to block: at either end of a block its first or last sample stands
for those beyond, so medians within `Mask` / 2 samples of an end depend on the cut. Take blocks
that are long against the mask.)",
    .Formulas =
        R"(    y[n] = the median of x[n - h] to x[n + h], h = Mask / 2 cut to a whole number)",
    .SeeAlso = "TQSLowPass, TQSFir, TQSRepack",
    .Example =
        R"(A slow tone with clicks of two or three samples, and what a mask of 7 leaves of it.)",
};

}  // namespace

const TPublishedTable& TQSMedian::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSMedian",
                       .DisplayName = "Performs Median Filter",
                       .Category = categories::Filters,
                       .Doc = "The median of each sample and its neighbours in the block: takes "
                              "clicks out and leaves edges.",
                       .Text = MedianText},
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
