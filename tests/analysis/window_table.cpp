// Prints what each window lets TQSNoiseStats measure of an ideal converter of 12 bits, whose tone
// lies on a bin and where it is seen worst: the table in docs/measurement.md.
#include <tessalune/tessalune.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <vector>

namespace {

using namespace tessalune;

struct TWindow {
  TQSExtendedWindowType Type;
  const char* Doc;
  double Alpha = 1.0;
  std::uint32_t Terms = 4;
};

constexpr double Full = 2047.0;
constexpr int Steps = 16;  // of half a bin

// SINAD relative to the carrier, of a tone ABeside a bin.
double Sinad(const TWindow& AWindow, std::int32_t AOrder, double ABeside) {
  const auto It = Create<TQSNoiseStats>();
  It->SetOrder(AOrder);
  It->SetNumberTerms(AWindow.Terms);
  It->SetWindowType(AWindow.Type);
  if (AWindow.Type == TQSExtendedWindowType::xwtKaiser) It->SetAlpha(AWindow.Alpha);
  It->SetMinDataVal(-Full);
  It->SetMaxDataVal(Full);
  double Result = 0.0;
  It->SetOnStatsAvailable(
      [&](TObject&, TRef<IQSNoiseStatResults> AStats) { Result = AStats->CarrierSINAD(); });
  TQSKLRealSourcePin Feed{TKLPinOwner()};
  Feed.Connect(It->InputPin());
  Feed.Notify(MakeRef<TKLStartSampleRateOperation>(1.0));
  const std::int32_t Size = std::int32_t{1} << AOrder;
  std::vector<double> Samples(static_cast<std::size_t>(Size));
  const double Step = 2.0 * M_PI * (Size / 8 + Size / 64 + 1 + ABeside) / Size;
  for (std::int32_t I = 0; I < Size; ++I) {
    Samples[static_cast<std::size_t>(I)] = std::nearbyint(Full * std::sin(Step * I + 0.4));
  }
  Feed.SubmitBuffer(TQSRealBuffer::CreateData(Samples.data(), Size));
  Feed.EndStop();
  return Result;
}

}  // namespace

int main() {
  using enum TQSExtendedWindowType;
  const std::vector<TWindow> Windows{{xwtRect, "`xwtRect`"},
                                     {xwtBartlett, "`xwtBartlett`"},
                                     {xwtWelch, "`xwtWelch`"},
                                     {xwtHamming, "`xwtHamming`"},
                                     {xwtHanning, "`xwtHanning`"},
                                     {xwtBlackman, "`xwtBlackman`, `Alpha` 1"},
                                     {xwtKaiser, "`xwtKaiser`, `Alpha` 0.1", 0.1},
                                     {xwtKaiser, "`xwtKaiser`, `Alpha` 0.5", 0.5},
                                     {xwtKaiser, "`xwtKaiser`, `Alpha` 1", 1.0},
                                     {xwtFlatTop, "`xwtFlatTop`"},
                                     {xwtCosSum, "`xwtCosSum`, 4 terms", 1.0, 4},
                                     {xwtCosSum, "`xwtCosSum`, 5 terms", 1.0, 5},
                                     {xwtCosSum, "`xwtCosSum`, 7 terms", 1.0, 7},
                                     {xwtCosSum, "`xwtCosSum`, 9 terms", 1.0, 9},
                                     {xwtCosSum, "`xwtCosSum`, 11 terms", 1.0, 11}};
  std::printf("| Window | on a bin, order 12 | order 16 | worst, order 12 | order 16 |\n");
  std::printf("|---|---|---|---|---|\n");
  for (const TWindow& Window : Windows) {
    std::printf("| %s |", Window.Doc);
    for (const std::int32_t Order : {12, 16}) std::printf(" %.1f |", Sinad(Window, Order, 0.0));
    for (const std::int32_t Order : {12, 16}) {
      double Worst = Sinad(Window, Order, 0.5);
      for (int I = 1; I < Steps; ++I)
        Worst = std::min(Worst, Sinad(Window, Order, 0.5 * I / Steps));
      std::printf(" %.1f |", Worst);
    }
    std::printf("\n");
    std::fflush(stdout);
  }
}
