#include "frame/FrameTools.h"
#include "support/Rig.h"

#include <tessalune/analysis/QSNoiseStats.h>

#include <cmath>
#include <limits>
#include <random>
#include <set>

namespace tessalune::test {
namespace {

using tessalune::testing::ExpectAll;
using tessalune::testing::Refusal;
using enum TQSExtendedWindowType;
using enum TQSSynchronizeType;
using enum TQSBinClass;
using TReals = std::vector<double>;
using TRecord = TRef<IQSNoiseStatResults>;
constexpr double NaN = std::numeric_limits<double>::quiet_NaN();
constexpr double Infinity = std::numeric_limits<double>::infinity();

double DbOf(double APower) { return 10.0 * std::log10(APower); }

struct TWindow {
  TQSExtendedWindowType Type;
  std::uint32_t Terms = 4;
  int Lobe = 0;  // half width of a cosine sum's lines
  int Skip = 3;  // of the spur search
  double Gain = 1.0, Coherent = 1.0;

  TWindow(TQSExtendedWindowType AType, std::uint32_t ATerms = 4, int ALobe = 0, int ASkip = 3)
      : Type(AType), Terms(ATerms), Lobe(ALobe), Skip(ASkip) {
    TReals Weights(64);
    std::vector<TComplex> Lines(64);
    Gain = QSWindowCalculator::CalculateWindowForMult(Type, Terms, 1.0, std::span(Weights), Lines);
    Coherent = Lines[0].Re;
  }
};
const std::vector<TWindow> CosineSums{{xwtRect},
                                      {xwtHamming, 4, 1},
                                      {xwtHanning, 4, 1, 20},
                                      {xwtBlackman, 4, 2, 20},
                                      {xwtFlatTop, 4, 4, 10},
                                      {xwtCosSum, 4, 3, 10},
                                      {xwtCosSum, 7, 6, 10},
                                      {xwtCosSum, 11, 10, 11}};

TReals Tone(std::size_t AN, double ABin, double AAmplitude = 1.0) {
  TReals Result(AN);
  for (std::size_t I = 0; I < AN; ++I) {
    const double Turns = std::fmod(ABin * static_cast<double>(I), static_cast<double>(AN));
    Result[I] = AAmplitude * std::sin(2.0 * M_PI * Turns / static_cast<double>(AN) + 0.3);
  }
  return Result;
}
TReals operator+(TReals ALeft, const TReals& ARight) {
  for (std::size_t I = 0; I < ALeft.size(); ++I) ALeft[I] += ARight[I];
  return ALeft;
}

template <class T = double>
struct TStatsRig {
  std::vector<TRecord> Told;
  TOwned<TQSNoiseStats> It = Create<TQSNoiseStats>();
  TFeed<T> Feed{It->InputPin()};
  TProbe<TComplex> Bins{It->OutputPin()};

  explicit TStatsRig(int AOrder, double AFullScale = 1.0, const TWindow& AWindow = {xwtRect}) {
    It->SetOrder(AOrder);
    It->SetNumberTerms(AWindow.Terms);
    It->SetWindowType(AWindow.Type);
    It->SetMinDataVal(-AFullScale);
    It->SetMaxDataVal(AFullScale);
    It->SetOnStatsAvailable([this](TObject&, TRecord AStats) { Told.push_back(AStats); });
    Feed.Start(1000.0);
  }
  TRecord Send(const std::vector<T>& AFrame) {
    Feed.Send(AFrame);
    return Told.back();
  }
};

// --- figures ---

// Against the error's own spectrum through the same window, summed by the definitions: the tone
// lies on its bin, so its lines end with the window's and only rounding is left between the two.
// Its mean square is that of the windowed error within sqrt(mean w^4) / mean w^2 / sqrt(N) * 0.9 =
// 0.6 % for the narrowest window; the regions that SINAD leaves out are 0.1 % of the bins: 0.03 dB.
TEST(NoiseStats, MeasuresAnIdealQuantiserByTheErrorItMakes) {
  constexpr std::size_t N = 65536;
  constexpr int Fund = 9473;
  for (const int Bits : {8, 12, 16}) {
    const double Full = std::exp2(Bits - 1) - 1.0;
    const TReals Pure = Tone(N, Fund, Full);
    TReals Samples(N), Error(N);
    double Square = 0.0;
    for (std::size_t I = 0; I < N; ++I) {
      Samples[I] = std::nearbyint(Pure[I]);
      Error[I] = Samples[I] - Pure[I];
      Square += Error[I] * Error[I] / N;
    }
    for (const TWindow& Window : CosineSums) {
      SCOPED_TRACE(::testing::Message() << Bits << " bits, window " << static_cast<int>(Window.Type)
                                        << ", " << Window.Terms << " terms");
      TStatsRig<> Rig(16, Full, Window);
      const TRecord Stats = Rig.Send(Samples);
      TStatsRig<> OfError(16, Full, Window);
      OfError.Send(Error);
      const auto Lies = [&](int ABin, int ACentre) {
        return std::abs(ABin - ACentre) <= 3 + Window.Lobe;
      };
      double Noise = 0.0, Harmonics = 0.0, Spur = 0.0;
      for (int Bin = 4 + Window.Lobe; Bin < 32768; ++Bin) {
        const TComplex& Line = OfError.Bins.Blocks[0][static_cast<std::size_t>(Bin)];
        const double Power = Line.Re * Line.Re + Line.Im * Line.Im;
        bool IsHarmonic = false;
        for (const auto Each : Stats->HarmonicBins())
          IsHarmonic |= Lies(Bin, static_cast<int>(Each));
        if (!Lies(Bin, Fund)) (IsHarmonic ? Harmonics : Noise) += Power / Window.Gain / Window.Gain;
        if (std::abs(Bin - Fund) > Window.Skip) Spur = std::max(Spur, Power);
      }
      EXPECT_NEAR(Stats->Fundamental(), 0.0, 0.05);
      EXPECT_NEAR(Stats->SINAD(), -DbOf(Square / (Full * Full / 2.0)), 0.05);
      EXPECT_NEAR(Stats->CarrierSINAD() - Stats->Fundamental(), Stats->SINAD(), 1e-6);
      EXPECT_NEAR(Stats->ENOB(), (Stats->SINAD() - 1.76) / 6.02, 1e-9);
      EXPECT_NEAR(Stats->CarrierENOB(), (Stats->CarrierSINAD() - 1.76) / 6.02, 1e-9);
      EXPECT_NEAR(Stats->SNR(), -DbOf(Noise), 0.01);
      EXPECT_NEAR(Stats->THD(), DbOf(Harmonics), 0.01);
      EXPECT_NEAR(Stats->SFDR(), DbOf(Spur), 0.01);
      EXPECT_NEAR(Stats->CarrierSNR() - Stats->Fundamental(), -DbOf(Noise), 0.01);
      EXPECT_NEAR(Stats->CarrierTHD() + Stats->Fundamental(), DbOf(Harmonics), 0.01);
      EXPECT_NEAR(Stats->CarrierSFDR() - Stats->Fundamental(),
                  -DbOf(Spur / Window.Coherent / Window.Coherent), 0.01);
    }
  }
}

// All lines on bins, or a quarter beside them, which the kernels' steps hit: 0.02 dB is what each
// window's tail leaves outside of a region of 3 bins and its lobe. Alone with that tail, SNR is
// only bounded.
TEST(NoiseStats, FindsHarmonicsThatFoldAndASpurByBinAndLevel) {
  const TReals Levels{-60, -70, -80, -90, -75};
  const std::vector<std::uint32_t> Folded{6546, 1627, 3292, 8173, 3254};  // of 16384
  const auto Power = [](double ADb) { return std::pow(10.0, ADb / 20.0); };
  for (const TWindow& Window : CosineSums) {
    for (const double Beside : {0.0, 0.25}) {
      if (Beside > 0.0 && Window.Lobe < 6) continue;
      SCOPED_TRACE(::testing::Message() << static_cast<int>(Window.Type) << ' ' << Window.Terms);
      constexpr std::size_t N = 16384;
      TReals Samples = Tone(N, 4919 + Beside, 0.5) + Tone(N, 1001, 0.5 * Power(-55));
      double Sum = 0.0;
      for (std::size_t I = 0; I < Levels.size(); ++I) {
        const double Order = static_cast<double>(I) + 2.0;
        Samples = Samples + Tone(N, Order * (4919 + Beside), 0.5 * Power(Levels[I]));
        Sum += std::pow(10.0, Levels[I] / 10.0);
      }
      TStatsRig<> Rig(14, 1.0, Window);
      const TRecord Stats = Rig.Send(Samples);
      EXPECT_EQ(Stats->FundBin(), 4919U);
      EXPECT_NEAR(Stats->FundFrequency(), (4919 + Beside) * 1000 / N, 0.002 * 1000 / N);
      EXPECT_NEAR(Stats->Fundamental(), DbOf(0.25), 0.02);
      for (std::uint32_t I = 0; I < 5; ++I) {
        EXPECT_NEAR(Stats->HarmonicDistortion(I), Levels[I], 0.02);
        if (Beside > 0.0) continue;
        EXPECT_EQ(Stats->HarmonicBin(I), Folded[I]);
        EXPECT_NEAR(Stats->Harmonic(I), Levels[I] + DbOf(0.25 * std::pow(Window.Coherent, 2)),
                    0.02);
        EXPECT_EQ(Stats->ClassOf(Folded[I]), bcHarmonic);
      }
      EXPECT_NEAR(Stats->CarrierTHD(), DbOf(Sum), 0.02);
      EXPECT_NEAR(Stats->THD(), DbOf(Sum * 0.25), 0.02);
      EXPECT_EQ(Stats->SFDRBin(), 1001U);
      EXPECT_NEAR(Stats->CarrierSFDR(), 55.0, 0.02);
      EXPECT_NEAR(Stats->CarrierSNR(), 55.0, 0.02);
      EXPECT_EQ(Stats->ClassOf(4919), bcFundamental);
      EXPECT_EQ(Stats->ClassOf(1001), bcNoise);
      EXPECT_EQ(Stats->ClassOf(0), bcDC);
    }
  }
  TStatsRig<> Rig(4);
  EXPECT_THROW(Rig.Send(TReals(16))->HarmonicBin(5), EQSException);
  EXPECT_THROW(Rig.Told[0]->ClassOf(16), EQSException);
}

// The mean over 100 frames of some 900 bins of noise each: 0.3 % or 0.015 dB, a standard deviation
// 1.5 times that with the narrowest window. What the regions leave out is counted by the classes.
TEST(NoiseStats, MeasuresNoiseOfKnownPower) {
  constexpr std::size_t N = 2048;
  constexpr double Sigma = 0.001;
  std::mt19937 Random(7);
  std::normal_distribution<double> Gauss(0.0, Sigma);
  for (const TWindow& Window : {CosineSums[0], CosineSums[2], CosineSums[4], CosineSums[6]}) {
    TStatsRig<> Rig(11, 1.0, Window);
    double Density = 0.0, Snr = 0.0, OverFull = 0.0;
    for (int Frame = 0; Frame < 100; ++Frame) {
      TReals Samples = Tone(N, 301, 0.5);
      for (double& Sample : Samples) Sample += Gauss(Random);
      const TRecord Stats = Rig.Send(Samples);
      double Bins = 0.0;
      for (std::uint32_t Bin = 0; Bin < N; ++Bin) Bins += Stats->ClassOf(Bin) == bcNoise ? 1 : 0;
      Density += Stats->NoiseDensity() / 100.0;
      Snr += (Stats->CarrierSNR() + DbOf(Bins / N)) / 100.0;
      OverFull += (Stats->SNR() + DbOf(Bins / N)) / 100.0;
    }
    EXPECT_NEAR(Density, DbOf(Sigma * Sigma / 0.5 / 500.0), 0.1) << "over 500 Hz";
    EXPECT_NEAR(Snr, DbOf(0.125 / (Sigma * Sigma)), 0.1);
    EXPECT_NEAR(OverFull, DbOf(0.5 / (Sigma * Sigma)), 0.1);
  }
}

TEST(NoiseStats, KeepsAnOffsetOfUnsignedDataOutOfAllButTheMean) {
  for (const TWindow& Window : CosineSums) {
    TStatsRig<> Rig(12, 1.0, Window);
    Rig.It->SetMinDataVal(0.0);
    Rig.It->SetMaxDataVal(4095.0);
    TReals Samples = Tone(4096, 1001, 1500.0);
    for (double& Sample : Samples) Sample = std::nearbyint(Sample) + 2048.0;
    const TRecord Plain = Rig.Send(Samples);
    for (double& Sample : Samples) Sample += 500.0;
    const TRecord Moved = Rig.Send(Samples);
    // Of equal samples but for rounding: the transform's, some 1e-15 of the offset, far below the
    // noise.
    EXPECT_NEAR(Moved->DataMean(), Plain->DataMean() - 500.0, 1e-9);
    EXPECT_EQ(Moved->SFDRBin(), Plain->SFDRBin());
    for (const auto Figure :
         {&TQSNoiseStatResults::SNR, &TQSNoiseStatResults::SINAD, &TQSNoiseStatResults::THD,
          &TQSNoiseStatResults::SFDR, &TQSNoiseStatResults::CarrierSFDR,
          &TQSNoiseStatResults::CarrierSNR, &TQSNoiseStatResults::CarrierTHD,
          &TQSNoiseStatResults::NoiseDensity, &TQSNoiseStatResults::FundFrequency}) {
      EXPECT_NEAR((*Moved.*Figure)(), (*Plain.*Figure)(), 1e-6);
    }
  }
}

// Half a step of the kernels, and 0.002 of a bin, of a clean tone; a lobe that is cut off at its
// threshold, and the image at negative frequencies, add less than a tenth of that.
TEST(NoiseStats, TellsTheFundamentalBetweenBins) {
  std::vector<TWindow> Windows = CosineSums;
  for (const auto Type : {xwtNone, xwtBartlett, xwtWelch, xwtKaiser}) Windows.push_back({Type});
  for (const TWindow& Window : Windows) {
    for (const std::uint32_t Harmonics : {5U, 1000000U}) {
      TStatsRig<> Rig(12, 1.0, Window);
      if (Harmonics > 5 && Window.Type != xwtHanning) continue;
      Rig.It->SetNumHarmonics(Harmonics);
      const double Way = Harmonics == 5 ? 0.07 : 0.33;
      for (double Beside = -0.47; Beside < 0.5; Beside += Way) {
        const TRecord Stats = Rig.Send(Tone(4096, 901 + Beside));
        const bool IsWhole = Window.Type <= xwtRect;
        const double Step = IsWhole ? 1.0 : Harmonics > 5 ? 1.0 / 1024 : 1.0 / 20;
        EXPECT_NEAR(Stats->FundBinFractional(), IsWhole ? 901 : 901 + Beside,
                    IsWhole ? 0 : 0.55 * Step)
            << static_cast<int>(Window.Type);
        EXPECT_NEAR(Stats->FundFrequency() * 4096 / 1000, 901 + Beside, 0.002)
            << static_cast<int>(Window.Type);
        EXPECT_EQ(Stats->NumHarmonics(), static_cast<int>(Harmonics));
      }
    }
  }
}

TEST(NoiseStats, ReadsAComplexStreamAsItsHeaderSays) {
  std::vector<TComplex> Samples;
  for (int I = 0; I < 1024; ++I) {
    Samples.push_back({std::cos(I * M_PI / 8), std::sin(I * M_PI / 8)});
  }
  for (const TWindow& Window : CosineSums) {
    const bool IsListed = Window.Type >= xwtBartlett && Window.Type <= xwtKaiser;
    TStatsRig<TComplex> Rig(10, 1.0, Window);
    const TRecord Stats = Rig.Send(Samples);
    EXPECT_NEAR(Stats->Fundamental(), IsListed ? 3.0103 : 0.0, 1e-4);
    EXPECT_EQ(Stats->FundBin(), 64U);
    EXPECT_NEAR(Rig.Bins.Blocks[0][64].Re, std::sqrt(2) * Window.Coherent, 1e-9);
    TStatsRig<> Real(10, 0.5, Window);
    Real.Send(Tone(1024, 64));
    EXPECT_NEAR(std::hypot(Real.Bins.Blocks[0][64].Re, Real.Bins.Blocks[0][64].Im),
                2 * Window.Coherent, 1e-9);
  }
}

// --- bad input ---

TEST(NoiseStats, GivesARecordOfWhateverComes) {
  TReals Plain = Tone(64, 11, 0.9);
  const auto With = [&Plain](double AValue) {
    TReals Result = Plain;
    Result[7] = AValue;
    return Result;
  };
  struct TCase {
    const char* Name;
    TReals Samples;
    std::function<void(TQSNoiseStats&)> Set;
    std::function<bool(const TQSNoiseStatResults&)> Holds;
  };
  const auto Nothing = [](TQSNoiseStats&) {};
  using S = TQSNoiseStats;
  using R = TQSNoiseStatResults;
  const std::vector<TCase> Cases{
      {"NaN", With(NaN), Nothing,
       [](const R& A) { return std::isnan(A.SNR()) && std::isnan(A.FundFrequency()); }},
      {"infinite", With(-Infinity), Nothing, [](const R& A) { return std::isnan(A.CarrierSNR()); }},
      {"silence", TReals(64), Nothing,
       [](const R& A) {
         return A.Fundamental() == 55555 && A.SNR() == -55555 && A.THD() == 55555 &&
                A.AvgNoise() == 0 && std::isnan(A.CarrierSNR()) && std::isnan(A.FundFrequency()) &&
                A.FundBinFractional() == A.FundBin();
       }},
      {"constant", TReals(64, 0.5), Nothing,
       [](const R& A) { return A.DataMean() == -0.5 && A.SNR() == -55555; }},
      {"wide", Plain,
       [](S& A) {
         A.SetDCBinWidth(4000000000);
         A.SetHarmonicBinWidth(4000000000);
       },
       [](const R& A) { return A.SNR() == -55555 && A.CarrierTHD() == -Infinity; }},
      {"wide DC", Plain, [](S& A) { A.SetDCBinWidth(31); },
       [](const R& A) { return A.FundBin() == 31 && A.SINAD() == -55555; }},
      {"many harmonics", Plain, [](S& A) { A.SetNumHarmonics(1000000); },
       [](const R& A) { return A.HarmonicBins().size() == 1000000 && A.SNR() == -55555; }},
      {"backwards", Plain, [](S& A) { A.SetMinDataVal(3.0); },
       [](const R& A) { return std::fabs(A.Fundamental() - DbOf(0.81)) < 0.5; }},
      {"no range", Plain, [](S& A) { A.SetMinDataVal(1.0); },
       [](const R& A) { return !std::isfinite(A.SNR()); }},
      {"all bins", Plain, [](S& A) { A.SetWindowThreshold(-1.0); },
       [](const R& A) { return A.SNR() == -55555 && A.FundBinFractional() == A.FundBin(); }},
      {"no bins", Plain, [](S& A) { A.SetWindowThreshold(2.0); },
       [](const R& A) { return A.Fundamental() == 55555 && std::fabs(A.SNR() - 0.92) < 0.01; }},
      {"no window", Plain, [](S& A) { A.SetWindowType(xwtNone); },
       [](const R& A) { return A.Fundamental() == 55555 && A.THD() == 55555; }},
      {"Nyquist", Tone(64, 16), [](S& A) { A.SetHarmonicBinWidth(0); },
       [](const R& A) { return A.HarmonicBin(0) == 32 && A.ClassOf(31) == bcHarmonic; }}};
  for (const TCase& Case : Cases) {
    for (const auto Type : {xwtRect, xwtHanning, xwtBartlett}) {
      SCOPED_TRACE(::testing::Message() << Case.Name << ", window " << static_cast<int>(Type));
      TStatsRig<> Rig(6, 1.0, {Type});
      Case.Set(*Rig.It);
      const TRecord Stats = Rig.Send(Case.Samples);
      ASSERT_EQ(Rig.Told.size(), 1U);
      EXPECT_TRUE(Type != xwtRect || Case.Holds(*Stats));
      const bool IsTold =
          Case.Name == std::string("backwards") || Case.Name == std::string("no range");
      ASSERT_EQ(Rig.It->Remarks().size(), IsTold ? 1U : 0U);
      if (IsTold) ExpectAll(Rig.It->Remarks()[0], {"MinDataVal", "MaxDataVal"});
      if (Stats->NumHarmonics() > 5) continue;
      Rig.It->SetOrder(2);  // and the least of frames
      Rig.Feed.Send(Case.Samples);
      Rig.Feed.Send(Case.Samples);
      EXPECT_GT(Rig.Told.size(), 16U);
    }
  }
  TStatsRig<> Rig(6);
  ExpectAll(Refusal([&] { Rig.It->SetMaxDataVal(Infinity); }), {"MaxDataVal", "finite"});
  ExpectAll(Refusal([&] { Rig.It->SetMasked(32, true); }), {"bin 32", "0 to 31"});
  Rig.Send(Plain);
  Rig.Feed.Start(500.0);  // another rate in mid-stream
  EXPECT_NEAR(Rig.Send(Plain)->FundFrequency(), 11 * 500.0 / 64, 0.01);
}

// --- the mask ---

TEST(NoiseStats, PassesOverTheBinsOfItsMask) {
  const TReals Samples = Tone(64, 11) + Tone(64, 21, 0.01) + Tone(64, 27, 0.001);
  TStatsRig<> Rig(6);
  Rig.It->SetNumHarmonics(1);  // in bin 22
  Rig.It->SetHarmonicBinWidth(0);
  EXPECT_NEAR(Rig.Send(Samples)->CarrierSNR(), 39.957, 0.001);
  EXPECT_NEAR(Rig.Told.back()->SFDR(), -40.0, 0.001);
  Rig.It->BinMask().SetValues({-1, 21, 11, 22, 99});
  EXPECT_NEAR(Rig.Send(Samples)->CarrierSNR(), 39.957, 0.001) << "not enabled";
  Rig.It->BinMask().SetEnabled(true);
  // Bins 4 to 31 but for 11, 21 and 22 hold 1e-6 among them; bin 21 takes the mean of these 25.
  EXPECT_NEAR(Rig.Send(Samples)->CarrierSNR(), -DbOf(1e-6 * 26 / 25), 0.01);
  EXPECT_NEAR(Rig.Told.back()->SFDR(), -40.0, 0.001) << "it hides no spur";
  EXPECT_EQ(Rig.Told.back()->ClassOf(21), bcMasked);
  EXPECT_EQ(Rig.Told.back()->ClassOf(11), bcFundamental);
  EXPECT_EQ(Rig.Told.back()->ClassOf(22), bcHarmonic);
  EXPECT_TRUE(Rig.It->Masked(21));
  Rig.It->SetMasked(21, false);
  EXPECT_NEAR(Rig.Send(Samples)->CarrierSNR(), 39.957, 0.001);
  // The handler sees what is known, fills the list and switches it on for this frame.
  Rig.It->BinMask().SetEnabled(false);
  Rig.It->SetOnBinMaskOpportunity(
      [&](TObject&, TRef<IQSHarmonicBinResults> ASoFar, bool& AEnabled) {
        const auto& Stats = dynamic_cast<const TQSNoiseStatResults&>(*ASoFar);
        EXPECT_EQ(ASoFar->HarmonicBin(0), 22U);
        EXPECT_NEAR(Stats.SFDR(), -40.0, 0.001);
        EXPECT_EQ(Stats.SNR(), 0.0);
        ExpectAll(Refusal([&] { Stats.ClassOf(11); }), {"when the frame was measured"});
        EXPECT_EQ(Rig.It->DataSize(), 64);
        EXPECT_NEAR(std::hypot(Rig.It->CompexData()[11].Re, Rig.It->CompexData()[11].Im), M_SQRT1_2,
                    1e-9);
        Rig.It->SetMasked(21, true);
        Rig.It->SetHarmonicBinWidth(9);  // with the next frame
        AEnabled = true;
      });
  EXPECT_EQ(Rig.Send(Samples)->ClassOf(21), bcMasked);
  EXPECT_TRUE(Rig.It->BinMask().Enabled());
  EXPECT_EQ(Rig.Send(Samples)->ClassOf(21), bcHarmonic);
  EXPECT_EQ(Rig.It->CompexData(), nullptr);

  // A wide window's lobe is no noise: a quiet bin that is masked changes next to nothing.
  TStatsRig<> Wide(12);
  Wide.It->SetWindowType(xwtCosSum);
  Wide.It->SetNumberTerms(11);
  TReals Codes = Tone(4096, 397.37);
  for (double& Code : Codes) Code = std::nearbyint(Code * 2000.0) / 2000.0;
  const double Without = Wide.Send(Codes)->CarrierSINAD();
  Wide.It->BinMask().SetValues({900});
  Wide.It->BinMask().SetEnabled(true);
  EXPECT_NEAR(Wide.Send(Codes)->CarrierSINAD(), Without, 0.1);
}

// --- handlers, delivery, settings ---

TEST(NoiseStats, BearsWhatItsHandlersDo) {
  const TReals Frames = Tone(192, 33);
  for (const bool InOpportunity : {false, true}) {
    for (const int What : {0, 1, 2, 3, 4}) {
      SCOPED_TRACE(::testing::Message() << InOpportunity << ' ' << What);
      TStatsRig<> Rig(6);
      bool IsFirst = true;
      const auto Act = [&] {
        if (!std::exchange(IsFirst, false)) return;
        if (What == 0) Rig.Feed.Stop();
        if (What == 1) Rig.Feed.Pin.DisconnectAll();
        if (What == 2) Rig.It = nullptr;
        if (What == 3) throw EQSException("a handler that fails");
        if (What == 4) {
          Rig.It->SetOrder(5);
          Rig.Feed.Start();
          Rig.Feed.Send(TReals(32));
        }
      };
      if (InOpportunity)
        Rig.It->SetOnBinMaskOpportunity([&](auto&&...) { Act(); });
      else
        Rig.It->SetOnStatsAvailable([&](TObject&, TRecord A) {
          Rig.Told.push_back(A);
          Act();
        });
      try {
        Rig.Feed.Send(Frames);
        EXPECT_NE(What, 3);
      } catch (const EQSException&) {
        EXPECT_EQ(What, 3);
      }
      const std::size_t Records = (What == 4 ? 1U : 0U) + (InOpportunity ? 0U : 1U);
      EXPECT_EQ(Rig.Told.size(), What == 1 ? 3U : Records) << "no record of a frame that was ended";
      EXPECT_EQ(Rig.Bins.Blocks.size(), What == 4   ? 1U
                                        : What == 1 ? 3U
                                                    : 0U)
          << "nothing behind its end";
      if (Rig.It == nullptr || What == 1) continue;
      const std::size_t Before = Rig.Told.size();
      Rig.Feed.Start();
      Rig.Send(Tone(64, 11));
      EXPECT_EQ(Rig.Told.size(), Before + (What == 4 ? 2 : 1));
    }
  }
}

TEST(NoiseStats, TellsItsRecordsAsSynchronizeTypeSays) {
  TStatsRig<> Rig(2);
  const auto Send = [&](std::size_t AFrames) {
    for (std::size_t I = 0; I < AFrames; ++I) Rig.Feed.Send(TReals(4, static_cast<double>(I)));
  };
  const auto Take = [&] {
    std::vector<int> Means;
    for (const TRecord& Each : std::exchange(Rig.Told, {})) {
      Means.push_back(static_cast<int>(-Each->DataMean()));
    }
    return Means;
  };
  Rig.It->SetSynchronizeType(stSingleBuffer);
  Send(3);
  EXPECT_TRUE(Rig.Told.empty());
  Rig.Feed.Stop();
  RunMainThread();
  EXPECT_EQ(Take(), (std::vector<int>{0, 1, 2}));
  Rig.Feed.Start();
  Rig.It->SetSynchronizeType(stQueue);
  Send(12);
  RunMainThread();
  EXPECT_EQ(Take(), (std::vector<int>{11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0}));
  Rig.It->SetNumHarmonics(1000000);  // of which one record may wait
  Send(3);
  ExpectAll(Rig.It->Remarks().at(0), {"OnStatsAvailable", " 2 ", "SynchronizeType"});
  RunMainThread();
  EXPECT_EQ(Take(), (std::vector<int>{2}));
  Send(1);
  Rig.It = nullptr;
  RunMainThread();
  EXPECT_EQ(Rig.Told.size(), 0U);
}

TEST(NoiseStats, TiesTheWindowToItsParametersAndStoresWhatIsSetBehind) {
  struct TCase {
    TQSExtendedWindowType Type;
    double Threshold, Alpha;
  };
  const auto It = Create<TQSNoiseStats>();
  for (const TCase& Case : {TCase{xwtHanning, 1e-5, 0.7},
                            {xwtKaiser, 1e-5, 0.1},
                            {xwtFlatTop, 1e-4, 0.7},
                            {xwtBlackman, 1e-5, 1.0},
                            {xwtNone, 0, 0.7}}) {
    It->SetAlpha(0.7);
    It->SetWindowType(Case.Type);
    EXPECT_EQ(It->WindowThreshold(), Case.Threshold);
    EXPECT_EQ(It->Alpha(), Case.Alpha);
    It->SetAlpha(0.7);
    It->SetWindowType(Case.Type);
    EXPECT_EQ(It->Alpha(), 0.7) << "the same type changes nothing";
  }
  EXPECT_EQ(It->Normalization(), TQSFourierNormalization::fnNormalize);
  // What the type would set otherwise is stored though it is the default.
  struct TNames final : IWriter {
    std::set<std::string, std::less<>> Names;
    void WriteValue(std::string_view AName, const TPropertyValue&) override {
      Names.emplace(AName);
    }
    void WriteObject(std::string_view, const TPersistent&) override {}
    void WriteArray(std::string_view, const std::function<void(ISequentialWriter&)>&) override {}
  } Stored;
  It->SetWindowType(xwtKaiser);
  It->SetAlpha(1.0);
  It->SetWindowThreshold(0.0);
  It->SerializationWrite(Stored);
  EXPECT_EQ(Stored.Names,
            (std::set<std::string, std::less<>>{"Alpha", "WindowThreshold", "WindowType"}));
}

}  // namespace
}  // namespace tessalune::test
