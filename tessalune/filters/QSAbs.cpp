#include <tessalune/filters/QSAbs.h>
#include <tessalune/frame/runtime/QSCategories.h>
#include <tessalune/frame/runtime/QSComponentRegistry.h>

namespace tessalune {
namespace {

constexpr TClassText AbsText{
    .Use =
        R"(Folds the negative half of a signal up: full-wave rectification. With an average or a low pass
behind it, it follows the envelope of a tone or of speech; before TQSRealTodB it turns amplitudes
into what has a logarithm. Of a tone it makes a signal of twice the frequency with a mean of 2 /
pi of the amplitude.)",
    .BadInput = R"(A NaN stays a NaN, and either infinity becomes plus infinity. -0 becomes 0.)",
    .Accuracy =
        R"(Exact: only the sign changes. One step a sample, in place where nobody else holds the block; no
delay and no memory.)",
    .Formulas = "    y[n] = |x[n]|",
    .SeeAlso = "TQSRealTodB, TQSRMSMeter, TQSMinMax, TQSToSquare, TQSCartToPolar",
    .Example =
        R"(A tone of 100 Hz before and behind the component: its lower half waves are folded up.)",
};

}  // namespace

const TPublishedTable& TQSAbs::Published() {
  static const TPublishedTable Table = TPublishedTable({.Name = "TQSAbs",
                                                        .DisplayName = "Absolute Value Signal",
                                                        .Category = categories::Math,
                                                        .Doc = "The absolute value of each sample.",
                                                        .Text = AbsText},
                                                       &TQSCommonRealFilter::Published());
  return Table;
}

void TQSAbs::FilterInternalOperation(const TRef<IQSRealBuffer>& AInBuffer,
                                     TRef<IQSRealBuffer>& AOutBuffer, bool&) {
  AOutBuffer->AbsFrom(*AInBuffer);
}

void QSAbs::RegisterPkg() { RegisterComponents({ClassOf<TQSAbs>()}); }

}  // namespace tessalune
