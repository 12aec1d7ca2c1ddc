#include "primitives/Samples.h"
#include "support/Rig.h"

#include <tessalune/filters/QSBandFilter.h>
#include <tessalune/filters/QSFir.h>
#include <tessalune/filters/QSFrequencyFilter.h>
#include <tessalune/filters/QSIir.h>

#include <algorithm>
#include <functional>
#include <limits>
#include <string>

namespace tessalune::test {
namespace {

using enum TQSFilterType;
using TSamples = std::vector<double>;

constexpr double Rate = 48000;

template <class TFilter>
struct TRig : TStreamRig<TFilter> {
  // In blocks of changing sizes.
  TSamples SendInParts(const TSamples& ASamples) {
    this->Out.Blocks.clear();
    this->Feed.SendCut(ASamples, {1, 4, 13, 40, 121, 364, 392, 476, 27, 82, 247});
    return this->Out.Stream();
  }
};

void ExpectNear(const TSamples& AIs, const TSamples& AExpected, double ATolerance,
                const std::string& AWhat) {
  ASSERT_EQ(AIs.size(), AExpected.size()) << AWhat;
  double Worst = 0;
  for (std::size_t I = 0; I < AIs.size(); ++I)
    if (const double E = std::fabs(AIs[I] - AExpected[I]); !(E <= Worst)) Worst = E;
  EXPECT_LE(Worst, ATolerance) << AWhat;
}

// A0 y[n] = B0 x[n] + ... - A1 y[n - 1] - ...
TSamples Recursion(const TSamples& AB, const TSamples& AA, const TSamples& X) {
  std::vector<long double> Y(X.size());
  for (std::size_t N = 0; N < X.size(); ++N) {
    for (std::size_t K = 0; K < AB.size() && K <= N; ++K)
      Y[N] += static_cast<long double>(AB[K]) * static_cast<long double>(X[N - K]);
    for (std::size_t K = 1; K < AA.size() && K <= N; ++K)
      Y[N] -= static_cast<long double>(AA[K]) * Y[N - K];
    Y[N] /= static_cast<long double>(AA[0]);
  }
  TSamples Result;
  for (const long double Sample : Y) Result.push_back(static_cast<double>(Sample));
  return Result;
}

TEST(TapsFilter, FiltersAsItsFormulaSaysHoweverTheStreamIsCut) {
  const TSamples X = RandomSamples(3000);
  for (const TSamples& Taps :
       {TSamples{2}, TSamples{0.5, 0, -1}, TSamples(5, 0.0), RandomSamples(300, 0.1)}) {
    TRig<TQSFir> Rig;
    Rig.It->Taps().SetValues(Taps);
    ExpectNear(Rig.SendInParts(X), Recursion(Taps, {1}, X), 1e-12, "FIR");
  }
  TRig<TQSIir> Direct;
  Direct.It->Taps().SetValues({0, 1, 0.5, 4, 2, -1});
  ExpectNear(Direct.SendInParts(X), Recursion({0, 1, 0.5}, {4, 2, -1}, X), 1e-12, "one form");

  // Delays stand among other sections, which the primitive of chains refuses.
  const std::vector<TSamples> Sections{
      {0, 1, 0, 2, 0, 0}, {1, 2, 1, 1, -0.9, 0.5}, {3, 0, 1, 2, 0.5, 0}, {0, 0, -2, 1, 0, 0.25}};
  for (std::size_t First = 0; First < Sections.size(); ++First) {
    TRig<TQSBiQuadIir> Chain;
    TSamples Expected = X;
    Chain.It->BiQuads().BeginUpdate();
    for (std::size_t I = First; I < Sections.size(); ++I) {
      const TSamples& S = Sections[I];
      Chain.It->BiQuads().Add(S[0], S[1], S[2], S[3], S[4], S[5]);
      Expected = Recursion({S[0], S[1], S[2]}, {S[3], S[4], S[5]}, Expected);
    }
    Chain.It->BiQuads().EndUpdate();
    ExpectNear(Chain.SendInParts(X), Expected, 1e-11, "sections");
  }
}

// After a change, the output is that of a filter that has had the new properties from the start.
template <class TFilter>
void ExpectNoClick(const char* AWhat, const std::function<void(TFilter&)>& ABefore,
                   const std::function<void(TFilter&)>& AAfter) {
  const TSamples X = RandomSamples(4196);  // a little more than what is remembered
  TRig<TFilter> Changed, Settled;
  ABefore(*Changed.It);
  ABefore(*Settled.It);
  AAfter(*Settled.It);
  Changed.Feed.Start(Rate);
  Settled.Feed.Start(Rate);
  const TSamples Before = Changed.SendInParts(X);
  const TSamples Reference = Settled.SendInParts(X);
  EXPECT_NE(Before, Reference) << AWhat;
  AAfter(*Changed.It);
  const TSamples More = RandomSamples(2000, 3.0);
  ExpectNear(Changed.SendInParts(More), Settled.SendInParts(More), 1e-8, AWhat);
  // A start warms up as well.
  Changed.Feed.Start(Rate);
  Settled.Feed.Start(Rate);
  ExpectNear(Changed.Send(More), Settled.Send(More), 1e-8, AWhat);
}

TEST(TapsFilter, AChangeInARunningStreamGivesNoClick) {
  const auto With = [](const TSamples& AValues) {
    return [AValues](auto& F) {
      if constexpr (requires { F.BiQuads(); }) {
        F.BiQuads().SetValues(AValues);
      } else {
        F.Taps().SetValues(AValues);
      }
    };
  };
  ExpectNoClick<TQSFir>("taps", With({1, 1}), With(RandomSamples(2001, 0.01)));
  ExpectNoClick<TQSIir>("coefficients", With({1, 0, 1, 0.5}), With({0.01, 0, 1, -0.99}));
  ExpectNoClick<TQSBiQuadIir>("sections", With({1, 0, 0, 1, 0, 0.5}),
                              With({0, 0.01, 0, 1, -1.9, 0.91}));
  ExpectNoClick<TQSLowPass>(
      "edge", [](auto&) {}, [](auto& F) { F.SetFrequency(300); });
  ExpectNoClick<TQSHighPass>(
      "order", [](auto& F) { F.SetFrequency(2000); }, [](auto& F) { F.SetOrder(1200); });
  ExpectNoClick<TQSLowPass>(
      "kind", [](auto& F) { F.SetOrder(4); },
      [](auto& F) { F.SetFilterType(ftIIR), F.SetFrequency(200); });
  ExpectNoClick<TQSBandPass>(
      "prototype", [](auto& F) { F.SetFilterType(ftBiquadIIR), F.SetFreqHigh(9000); },
      [](auto& F) { F.SetIIRFilterType(TQSIIRFilterType::iirBessel); });
  ExpectNoClick<TQSBandStop>(
      "window", [](auto& F) { F.SetFreqHigh(9000); },
      [](auto& F) { F.SetWindowType(TQSWindowType::wtKaiser), F.SetAlpha(0.5); });
}

TEST(TapsFilter, ARecursiveFilterForgetsWhatIsNoNumberWithItsNextChange) {
  TRig<TQSLowPass> Rig;
  Rig.It->SetFilterType(ftBiquadIIR);
  Rig.Feed.Start(Rate);
  Rig.Send({1, std::numeric_limits<double>::quiet_NaN(), 1, 1});
  EXPECT_TRUE(std::isnan(Rig.Send({1})[0]));
  Rig.It->SetOrder(5);
  EXPECT_FALSE(std::isnan(Rig.Send({1})[0]));
}

// What a filter says of properties that give none, or another one than they seem to.
template <class TFilter>
void ExpectSaid(const std::function<void(TFilter&)>& APrepare, bool AIsTransparent,
                const std::vector<std::string>& AParts) {
  TRig<TFilter> Rig;
  TProbe<double> Beside(Rig.Feed.Pin);
  APrepare(*Rig.It);
  Rig.Feed.Start(Rate);
  const TSamples Block = RandomSamples(64);
  const TSamples Result = Rig.Send(Block);
  EXPECT_EQ(Result == Block, AIsTransparent) << AParts[0];
  EXPECT_EQ(Rig.Out.LastPacket == Beside.LastPacket, AIsTransparent) << "by reference";
  EXPECT_TRUE(Rig.Send({}).empty());
  const std::string Error = Rig.It->DesignError();
  EXPECT_EQ(!Error.empty(), AIsTransparent) << Error;
  for (const auto& Remarks : {Rig.It->Remarks(), Rig.It->RemarksFor(Rate)}) {
    ASSERT_EQ(Remarks.empty(), AParts[0].empty()) << AParts[0];
    for (const std::string& Part : AParts)
      EXPECT_NE(AParts[0].empty() ? 0 : Remarks.at(0).find(Part), std::string::npos) << Remarks[0];
  }
}

TEST(TapsFilter, SaysWhyItIsTransparentAndWhatItDidOtherwise) {
  const double Largest = std::numeric_limits<double>::max();
  const auto Direct = [](const TSamples& ATaps) {
    return [ATaps](TQSIir& F) { F.Taps().SetValues(ATaps); };
  };
  ExpectSaid<TQSIir>(Direct({1, 1, 0, 1}), true, {"unchanged: A0 is 0", "set it to 1"});
  ExpectSaid<TQSIir>(Direct({1, 0.5}), true, {"one pair", "add a second one"});
  ExpectSaid<TQSIir>(Direct({0, Largest, 0.5, 0}), true, {"B1, divided by A0, is beyond"});
  ExpectSaid<TQSIir>(Direct({0, 0, 1, 0}), false, {""});
  ExpectSaid<TQSBiQuadIir>(
      [](auto& F) {
        F.BiQuads().SetValues({1, 0, 0, 1, 0, 0, 1, 0, 0, 0, 1, 1});
      },
      true, {"A0 of section 1 is 0"});
  ExpectSaid<TQSFir>([](auto& F) { F.Taps().SetValues({0, 0}); }, false, {""});

  ExpectSaid<TQSLowPass>([](auto& F) { F.SetFilterType(ftIIR); }, true,
                         {"set FilterType to ftBiquadIIR, which takes this order"});
  ExpectSaid<TQSLowPass>([](auto& F) { F.SetFilterType(ftBiquadIIR); }, false, {""});
  ExpectSaid<TQSLowPass>([](auto& F) { F.SetFrequency(0); }, true, {"Frequency is 0 Hz"});
  ExpectSaid<TQSLowPass>([](auto& F) { F.SetOrder(std::numeric_limits<std::int32_t>::max()); },
                         true, {"Order is 2147483647: set it from 1 to"});
  ExpectSaid<TQSHighPass>([](auto&) {}, false, {"Frequency, 45000 Hz", "23999.52 Hz"});
  ExpectSaid<TQSHighPass>([](auto& F) { F.SetFrequency(100), F.SetOrder(40); }, false,
                          {"41 taps and not 40", "odd number"});
  ExpectSaid<TQSBandStop>([](auto& F) { F.SetFreqLow(200), F.SetFreqHigh(100); }, false,
                          {"FreqLow, 200 Hz, is not below the upper edge", "99.999"});
  ExpectSaid<TQSBandPass>([](auto& F) { F.SetFreqLow(0), F.SetFreqHigh(0); }, true,
                          {"FreqLow is 0 Hz"});
  ExpectSaid<TQSBandPass>([](auto& F) { F.SetFreqLow(Rate), F.SetFreqHigh(2 * Rate); }, false,
                          {"FreqHigh, 96000 Hz"});

  EXPECT_EQ(Create<TQSHighPass>()->RemarksFor(0), std::vector<std::string>()) << "rate unknown";
}

TEST(DesignedFilter, IsDesignedAnewForEachRateAndIdleBetweenStreams) {
  TRig<TQSLowPass> Rig;
  Rig.It->SetFrequency(30000);
  const TSamples X = RandomSamples(64);
  EXPECT_EQ(Rig.Send(X), X) << "no rate yet";
  const auto Matches = [&](double AFrequency) {
    const auto Info = QSFilterCalc(ftFIR, TQSDesignFilterType::dfLowPass, 41, AFrequency, -1,
                                   Rig.It->SampleRate(), TQSWindowType::wtHamming, {}, 1.0);
    const auto& Taps = Info->GetTaps();
    bool Result = Rig.It->TapsCount() == 41;
    for (std::int32_t I = 0; Result && I < 41; ++I)
      Result = Rig.It->Taps(I) == Taps[static_cast<std::size_t>(I)];
    return Result;
  };
  Rig.Feed.Start(44100);
  EXPECT_TRUE(Matches(0.49999 * 44100));
  Rig.Send(X);
  Rig.Feed.Start(96000);
  EXPECT_TRUE(Matches(30000)) << "a new rate in the middle of the stream";
  EXPECT_NE(Rig.Send(X), X);
  EXPECT_EQ(Rig.It->Frequency(), 30000);
  Rig.Feed.Stop();
  EXPECT_EQ(Rig.Send(X), X) << "idle";
  Rig.It->SetOrder(42);
  EXPECT_NE(Rig.Send(X), X) << "a change brings it back";
  Rig.It->AutoCalcRate();
  EXPECT_EQ(Rig.It->SampleRate(), 120000);
}

TEST(TapsFilter, TellsItsFrequencyResponse) {
  const auto At = [](const TQSCommonTapsFilter& AFilter, double AFrequency) {
    double Magnitude[] = {AFrequency}, Phase[] = {AFrequency};
    AFilter.FrequencyResponse().GetMagnitudes(Magnitude);
    AFilter.FrequencyResponse().GetPhases(Phase);
    return TQSResponse{Magnitude[0], Phase[0]};
  };
  const auto Fir = Create<TQSFir>();
  EXPECT_THROW(At(*Fir, 1000), EQSException) << "no rate yet";
  Fir->SetSampleRateProp(8000);
  EXPECT_EQ(At(*Fir, 1000).Magnitude, 1.0) << "a wire";
  Fir->Taps().SetValues({0.5, 0.5});
  EXPECT_NEAR(At(*Fir, 1000).Magnitude, std::cos(M_PI / 8), 1e-15);
  EXPECT_NEAR(At(*Fir, 1000).Phase, -M_PI / 8, 1e-15);
  const auto Direct = Create<TQSIir>();
  const auto Chain = Create<TQSBiQuadIir>();
  for (TQSCommonTapsFilter* Filter : {static_cast<TQSCommonTapsFilter*>(Direct.get()),
                                      static_cast<TQSCommonTapsFilter*>(Chain.get())})
    Filter->SetSampleRateProp(8000);
  Direct->Taps().SetValues({0, 1, 0, 1, -0.5, 0.25});
  Chain->BiQuads().SetValues({0, 1, 0, 1, -0.5, 0.25});
  for (const double F : {0.0, 1234.0, 3999.0}) {
    EXPECT_NEAR(At(*Direct, F).Magnitude, At(*Chain, F).Magnitude, 1e-14);
    EXPECT_NEAR(At(*Direct, F).Phase, At(*Chain, F).Phase, 1e-14);
  }
  const auto Band = Create<TQSBandPass>();
  Band->SetFilterType(ftBiquadIIR);
  Band->SetFreqHigh(9000);
  Band->SetSampleRateProp(Rate);
  EXPECT_NEAR(At(*Band, 5000).Magnitude, std::sqrt(0.5), 1e-9);
  EXPECT_NEAR(At(*Band, 9000).Magnitude, std::sqrt(0.5), 1e-9);
}

}  // namespace
}  // namespace tessalune::test
