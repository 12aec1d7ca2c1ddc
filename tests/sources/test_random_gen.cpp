#include "primitives/Samples.h"
#include "support/Streams.h"

#include <tessalune/sources/QSRandomGen.h>

#include <algorithm>
#include <cmath>

namespace tessalune::test {
namespace {

// A generator that the test pumps.
template <class TGen>
struct TRig {
  TOwned<TGen> Gen = Create<TGen>();
  TProbe<double> Out{Gen->OutputPin()};

  TRig() { Gen->SetClockSource(TQSClockSource::csExternal); }
  std::vector<double> Pump(std::int32_t ASize = 1024) {
    Gen->SetBufferSize(ASize);
    if (!Gen->IsRunning()) Gen->Start();
    Gen->Pump();
    return Out.Blocks.back();
  }
};

// Mean, standard deviation, and the fourth moment by the square of the variance.
struct TMoments {
  double Mean = 0, StdDev = 0, Fourth = 0;
  explicit TMoments(const std::vector<double>& X) {
    const auto Count = static_cast<double>(X.size());
    for (const double Each : X) Mean += Each / Count;
    for (const double Each : X) StdDev += (Each - Mean) * (Each - Mean) / Count;
    for (const double Each : X) Fourth += std::pow(Each - Mean, 4) / Count / (StdDev * StdDev);
    StdDev = std::sqrt(StdDev);
  }
};

// Six standard errors of a million samples, where the generators have none of their own.
TEST(RandomGen, IsUniformBetweenItsBounds) {
  TRig<TQSRandomGen> Rig;
  Rig.Gen->SetLow(-1.0);
  Rig.Gen->SetHigh(3.0);
  while (Rig.Out.Blocks.size() < 1000) Rig.Pump();
  const auto X = Rig.Out.Stream();
  const TMoments Found(X);
  EXPECT_NEAR(Found.Mean, 1.0, 6e-3 * 4 / std::sqrt(12.0));
  EXPECT_NEAR(Found.StdDev, 4 / std::sqrt(12.0), 6e-3);
  EXPECT_NEAR(Found.Fourth, 1.8, 6e-3);
  const auto [Least, Greatest] = std::minmax_element(X.begin(), X.end());
  EXPECT_NEAR(*Least, -1.0, 1e-4);
  EXPECT_NEAR(*Greatest, 3.0, 1e-4);
  EXPECT_GE(*Least, -1.0);
  EXPECT_LE(*Greatest, 3.0);
}

TEST(GaussGen, IsNormalWithMeanAndStdDev) {
  TRig<TQSGaussGen> Rig;
  Rig.Gen->SetMean(5.0);
  Rig.Gen->SetStdDev(-2.0);
  while (Rig.Out.Blocks.size() < 1000) Rig.Pump();
  const TMoments Found(Rig.Out.Stream());
  EXPECT_NEAR(Found.Mean, 5.0, 6e-3 * 2);
  EXPECT_NEAR(Found.StdDev, 2.0, 6e-3 * 2);
  EXPECT_NEAR(Found.Fourth, 3.0, 6 * std::sqrt(24e-6));
}

TEST(RandomGen, ABoundMovesTheOtherAlongAndListenersHearOfBoth) {
  TRig<TQSRandomGen> Rig;
  auto& Gen = *Rig.Gen;
  std::vector<std::pair<std::string, double>> Told;
  TListening Listening = Gen.Listen([&](TComponent&, const TPropertyChange& AChange) {
    Told.emplace_back(AChange.Path, std::get<double>(AChange.Value));
  });
  Gen.SetLow(30000.0);
  Gen.SetHigh(-5.0);
  Gen.SetHigh(7.0);
  EXPECT_EQ(Told, (decltype(Told){
                      {"Low", 30000}, {"High", 30000}, {"High", -5}, {"Low", -5}, {"High", 7}}));
  Listening.Stop();
  Gen.SetLow(7.0);
  EXPECT_EQ(Rig.Pump(9), std::vector<double>(9, 7.0)) << "equal bounds";
}

template <class TGen>
class SeededGen : public testing::Test {};
using TSeededGens = testing::Types<TQSRandomGen, TQSGaussGen>;
TYPED_TEST_SUITE(SeededGen, TSeededGens);

TYPED_TEST(SeededGen, BeginsAtItsSeedAtAStartAndWhereAnotherIsSet) {
  TRig<TypeParam> Rig;
  const auto First = Rig.Pump(100);
  const auto Second = Rig.Pump(100);
  EXPECT_NE(Second, First);
  Rig.Gen->Stop();
  EXPECT_EQ(Rig.Pump(100), First) << "each stream begins at Seed";
  Rig.Gen->SetSeed(31192);
  EXPECT_EQ(Rig.Pump(100), Second) << "the seed that it has changes nothing";
  Rig.Gen->SetSeed(1);
  const auto Other = Rig.Pump(100);
  EXPECT_NE(Other, First);
  Rig.Gen->SetSeed(31192);
  EXPECT_EQ(Rig.Pump(100), First) << "in mid-stream";
}

TYPED_TEST(SeededGen, AChangeOfTheDistributionLetsTheSequenceRunOn) {
  TRig<TypeParam> Rig, Changed;
  Rig.Pump(64);
  Changed.Pump(64);
  double Scale = 2.0, Offset = 0.0;  // of the samples that follow
  if constexpr (requires { Rig.Gen->SetMean(0.0); }) {
    Changed.Gen->SetMean(Offset = 100.0);
    Changed.Gen->SetStdDev(18000.0);
  } else {
    Changed.Gen->SetLow(-40000.0);
    Changed.Gen->SetHigh(40000.0);
  }
  const auto X = Rig.Pump(64);
  const auto Y = Changed.Pump(64);
  for (std::size_t I = 0; I < X.size(); ++I)
    EXPECT_TRUE(IsNear(Y[I], Scale * X[I] + Offset, 4 * Eps * 2e5)) << I;
}

}  // namespace
}  // namespace tessalune::test
