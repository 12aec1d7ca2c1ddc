// The filters that look further than the sample at hand: comb, DC removal, median, window.
#include "support/Rig.h"

#include <tessalune/filters/QSApplyWindow.h>
#include <tessalune/filters/QSCombFilter.h>
#include <tessalune/filters/QSMedian.h>
#include <tessalune/filters/QSRemoveDC.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace tessalune::test {
namespace {

using TReals = std::vector<double>;
constexpr auto MaxInt = std::numeric_limits<std::int32_t>::max();

TEST(CombFilter, AddsThePastOfItsInputOrOutput) {
  using enum TQSCombFeed;
  for (const TQSCombFeed Feed : {cfForward, cfBack}) {
    for (const std::uint32_t Delay : {0U, 1U, 2U, 7U, 40U, 5000U}) {
      TStreamRig<TQSCombFilter> Rig;
      Rig.It->SetFeed(Feed);
      Rig.It->SetDelay(Delay);
      Rig.It->SetCoefficient(0.75);
      Rig.Feed.Start();
      TReals In, Expected;
      for (const int Size : {1, 2, 40, 3, 0, 9, 5000, 7, 6000}) {
        if (Feed == cfBack && Size < int(Delay)) continue;
        const TReals Block = Rig.Next(Size);
        for (const double Sample : Block) {
          In.push_back(std::sin(Sample));
          const auto& Past = Feed == cfBack && Delay > 0 ? Expected : In;
          const double Old = In.size() > Delay ? Past[In.size() - 1 - Delay] : 0.0;
          Expected.push_back(In.back() + 0.75 * Old);
        }
        Rig.Feed.Send({In.end() - Size, In.end()});
      }
      EXPECT_EQ(Rig.Out.Stream(), Expected) << int(Feed) << ", " << Delay;
    }
  }
}

// With feedback from beyond the block: what went in Delay before comes out, and the block goes in
// with the samples that went in last.
TEST(CombFilter, FeedsBackBlockByBlockBeyondTheBlock) {
  TStreamRig<TQSCombFilter> Rig;
  Rig.It->SetFeed(TQSCombFeed::cfBack);
  Rig.It->SetDelay(3);
  Rig.It->SetCoefficient(0.5);
  for (const TReals& Out : {TReals{0, 0}, {0, 1}, {2, 3.5}, {5, 6.75}}) EXPECT_EQ(Rig.Send(2), Out);
}

TEST(CombFilter, BeginsAnewWithZeros) {
  TStreamRig<TQSCombFilter> Rig;
  TQSCombFilter& Comb = *Rig.It;
  Comb.SetDelay(1);
  Comb.SetCoefficient(10.0);
  for (const auto& Change : std::vector<std::function<void()>>{
           [&] { Rig.Feed.Start(); }, [&] { Comb.SetEnabled(true); }, [&] { Comb.SetDelay(2); },
           [&] { Comb.SetFeed(TQSCombFeed::cfBack); },
           [&] { Comb.SetDelay(1), Comb.SetDelay(2); }}) {
    Rig.Send({1, 2, 3});
    Change();
    EXPECT_EQ(Rig.Send({4, 5})[0], 4.0);
    Comb.SetCoefficient(20.0);
    EXPECT_EQ(Rig.Send({0, 0}).back(), Comb.Delay() == 1 ? 0.0 : 100.0) << "the past, too";
    Comb.SetCoefficient(10.0);
  }
  Comb.SetDelay(std::numeric_limits<std::uint32_t>::max());
  EXPECT_EQ(Rig.Send({1, 2}), TReals({0, 0}));
}

TEST(RemoveDC, LetsAConstantDieAwayAndPassesWhatItCannotFilter) {
  TStreamRig<TQSRemoveDC> Rig;
  EXPECT_EQ(Rig.Send({7, 8}), TReals({7, 8})) << "no rate yet";
  for (const double Rate : {44100.0, 62.9, 1e9, 44100.0}) {
    Rig.Feed.Start(Rate);
    EXPECT_TRUE(Rig.It->Remarks().empty());
    Rig.Out.Blocks.clear();
    for (int I = 0; I < 3; ++I) Rig.Send(TReals(1000, 2.0));
    const TReals Out = Rig.Out.Stream();
    EXPECT_EQ(Out[0], 0.0);
    const double Pole = 1.0 - 40 * M_PI / Rate;
    for (std::size_t I = 1; I < Out.size(); ++I) {
      ASSERT_NEAR(Out[I], 2.0 * std::pow(Pole, double(I - 1)), 1e-12) << Rate << ", " << I;
    }
  }
  Rig.Feed.Start(62.8);
  EXPECT_EQ(Rig.Send({7, 8}), TReals({7, 8}));
  ASSERT_EQ(Rig.It->Remarks().size(), 1U);
  EXPECT_NE(Rig.It->Remarks()[0].find("62.8"), std::string::npos);
}

TEST(Median, TakesClicksOutWithAnOddMask) {
  TStreamRig<TQSMedian> Rig;
  const TReals Clicks{1, 9, 1, 5, 9, 9, 5, 6};
  struct TCase {
    std::int32_t Set, Mask;
    TReals Out;
  };
  for (const TCase& Case :
       {TCase{3, 3, {1, 1, 5, 5, 9, 9, 6, 6}}, TCase{4, 3, {1, 1, 5, 5, 9, 9, 6, 6}},
        TCase{5, 5, {1, 1, 5, 9, 5, 6, 6, 6}}, TCase{2, 1, Clicks}, TCase{0, 1, Clicks},
        TCase{-5, 1, Clicks}, TCase{MaxInt, MaxInt, {6, 6, 6, 6, 6, 6, 6, 6}}}) {
    Rig.It->SetMask(Case.Set);
    EXPECT_EQ(Rig.It->Mask(), Case.Mask);
    const TReals Out = Rig.Send(Clicks);
    EXPECT_TRUE(Case.Mask == MaxInt ? Out.size() == 8 : Out == Case.Out) << Case.Set;
  }
}

TEST(ApplyWindow, MultipliesEachBlockByAWindowOfItsSize) {
  using enum TQSExtendedWindowType;
  TStreamRig<TQSApplyWindow> Rig;
  TReals Gains;
  Rig.It->SetOnWindowCalculated([&](TObject&, double AGain) { Gains.push_back(AGain); });
  std::size_t Calculated = 0;
  const auto Check = [&](int ASize, bool AIsNew) {
    Calculated += AIsNew ? 1 : 0;
    const auto Size = static_cast<std::size_t>(ASize);
    TReals Block(Size, 3.0);
    double Power = 0.0;
    for (std::size_t I = 0; I < Size; ++I) {
      const double W = QSWindowCalculator::Weight(Rig.It->WindowType(), Rig.It->NumberTerms(),
                                                  Rig.It->Alpha(), I, Size);
      Block[I] *= W;
      Power += W * W;
    }
    EXPECT_EQ(Rig.Send(TReals(Size, 3.0)), Block);
    ASSERT_EQ(Gains.size(), Calculated);
    if (ASize > 0) {
      EXPECT_NEAR(Gains.back(), std::sqrt(Power / ASize), 1e-12);
    }
  };
  Check(8, true);
  Check(8, false);
  Check(9, true);
  Check(0, false);
  Check(9, false);
  Rig.It->SetWindowType(xwtKaiser);
  Check(9, true);
  Rig.It->SetAlpha(0.5);
  Check(9, true);
  Rig.It->SetWindowType(xwtCosSum);
  Rig.It->SetNumberTerms(11);
  Check(9, true);
  Rig.It->SetWindowType(xwtNone);
  TProbe<double> Beside(Rig.Feed.Pin);
  EXPECT_EQ(Rig.Send({1, 2}), TReals({1, 2}));
  EXPECT_EQ(Rig.Out.LastPacket, Beside.LastPacket);
  Rig.It->SetWindowType(xwtBartlett);
  EXPECT_EQ(Rig.Send({1, 2}), TReals({0, 2}));
  EXPECT_EQ(Beside.Blocks.back(), TReals({1, 2})) << "others see the block as it was";
}

}  // namespace
}  // namespace tessalune::test
