#include "primitives/Samples.h"
#include "support/Streams.h"

#include <tessalune/frame/streams/QSValuePins.h>
#include <tessalune/sources/QSSignalGen.h>

#include <algorithm>
#include <functional>
#include <limits>
#include <numbers>
#include <string>

namespace tessalune::test {
namespace {

using enum TQSSignalType;

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();
constexpr double Infinity = std::numeric_limits<double>::infinity();
constexpr long double TrueTwoPi = 2 * std::numbers::pi_v<long double>;
constexpr long double SingleEps = 0x1p-24L;  // relative rounding error of a float

// A generator that the test pumps, at 1000 samples a second.
struct TRig {
  TOwned<TQSSignalGen> Gen = Create<TQSSignalGen>();
  TProbe<double> Out{Gen->OutputPin()};

  explicit TRig(TQSSignalType AType = stTone) {
    Gen->SetClockSource(TQSClockSource::csExternal);
    Gen->SetSampleRate(1000.0);
    Gen->SetSignalType(AType);
    Gen->SetAmplitude(3.0);
    Gen->SetFrequency(37.0);
  }

  // One block. The memory that it is likely to be made in holds NaNs, which show what was not
  // written.
  const std::vector<double>& Pump(std::int32_t ASize) {
    Gen->SetBufferSize(ASize);
    TQSRealBuffer::CreateSize(ASize)->SetValue(NaN);
    if (!Gen->IsRunning()) Gen->Start();
    Gen->Pump();
    return Out.Blocks.back();
  }
  std::vector<double> Pump(const std::vector<std::int32_t>& ASizes) {
    Out.Blocks.clear();
    for (const std::int32_t Size : ASizes) Pump(Size);
    return Out.Stream();
  }
};

const std::vector<std::int32_t> OddSizes{1, 2, 3, 5, 1000, 7, 1, 64, 333, 4, 2048, 31};

// The rounding errors that the phase may have picked up on the way: as each block's angle is
// reduced to one turn, and by the frequency's own rounding.
long double PhaseError(long double ARatio, const std::vector<std::int32_t>& ASizes) {
  long double Error = 0;
  long double Longest = 0;
  for (const std::int32_t Size : ASizes) {
    const long double Angle = TrueTwoPi * ARatio * Size;
    Error += Eps * (2 * Angle + 2 * TrueTwoPi);
    Longest = std::max(Longest, Angle);
  }
  return Error + Eps * (Longest + TrueTwoPi);
}

// --- waveforms ---

// A triangle falls for pi plus Asymmetry radians and rises for the rest.
TEST(SignalGen, ToneAndTriangleAreOneFormAcrossBlocks) {
  struct TForm {
    TQSSignalType Type;
    double Asymmetry;
  };
  for (const TForm& Form :
       {TForm{stTone, 0.0}, {stTriangle, 0.0}, {stTriangle, 1.5}, {stTriangle, -2.5}})
    for (const double Frequency : {0.001, 3.21, 37.31, 123.4, 250.0, 499.9})
      for (const double Phase : {0.0, 1.25, 6.2}) {
        TRig Rig(Form.Type);
        Rig.Gen->SetFrequency(Frequency);
        Rig.Gen->SetAsymmetry(Form.Asymmetry);
        Rig.Gen->SetPhase(Phase);
        Rig.Gen->SetOffset(0.5);
        const auto Y = Rig.Pump(OddSizes);
        const long double Ratio = Frequency / 1000.0L;
        const long double Fall = TrueTwoPi / 2 + Form.Asymmetry;
        const long double Rise = TrueTwoPi - Fall;
        const long double Steepest = Form.Type == stTone ? 1 : 2 / std::min(Fall, Rise);
        // The tone's recurrence: some 20 roundings a step of two samples, which grow at most as
        // sin((m + 1) w) / sin(w) does; the longest block has 1024 steps.
        const long double Growth =
            std::min(1024.0L, 1 / std::fabs(std::sin(2 * TrueTwoPi * Ratio)));
        const long double Bound =
            3 * (Steepest * PhaseError(Ratio, OddSizes) + 20 * ExtendedEps * 1024 * Growth) +
            7 * Eps;
        for (std::size_t N = 0; N < Y.size(); ++N) {
          const long double Angle = std::fmod(TrueTwoPi * Ratio * N + Phase, TrueTwoPi);
          const long double Triangle =
              Angle < Fall ? 1 - 2 * Angle / Fall : 2 * (Angle - Fall) / Rise - 1;
          const long double Expected = Form.Type == stTone ? std::cos(Angle) : Triangle;
          ASSERT_TRUE(IsNear(Y[N], 3 * Expected + 0.5L, Bound))
              << Frequency << " Hz, asymmetry " << Form.Asymmetry << ", phase " << Phase
              << ", sample " << N;
        }
      }
}

TEST(SignalGen, SquareIsLowForTheFirstPartOfACycleByTheScaleOfItsAsymmetry) {
  for (const double Asymmetry : {0.0, 0.31, -0.9, 1.0, 2.0, -1.0, -3.0}) {
    TRig Rig(stSquare);
    Rig.Gen->SetFrequency(1000.0 / 31.4159);  // no sample falls on an edge but the first
    Rig.Gen->SetAsymmetry(Asymmetry);
    const auto Y = Rig.Pump(OddSizes);
    for (std::size_t N = 0; N < Y.size(); ++N) {
      const long double Place = std::fmod(N / 31.4159L, 1.0L);
      ASSERT_EQ(Y[N], Place < Asymmetry / 2 + 0.5 ? -3.0 : 3.0)
          << "asymmetry " << Asymmetry << ", sample " << N;
    }
  }
}

TEST(SignalGen, DcIsTheAmplitudeAndTheChirpBeginsAnewInEachBlock) {
  TRig Dc(stDc);
  Dc.Gen->SetOffset(-1.0);
  EXPECT_EQ(Dc.Pump(5), std::vector<double>(5, 2.0));
  TRig Chirp(stJaehne);
  for (const std::int32_t Size : {1, 2, 777, 4096}) {
    const auto Y = Chirp.Pump(Size);
    for (std::int32_t N = 0; N < Size; ++N) {
      // The angle is rounded as a double of up to 2 pi before its sine is taken.
      const long double Angle = TrueTwoPi / 4 * N * N / Size;
      ASSERT_TRUE(IsNear(Y[static_cast<std::size_t>(N)], 3 * std::sin(Angle), 3 * 32 * Eps))
          << "block of " << Size << ", sample " << N;
    }
  }
}

// A tooth of a cycle of N whole samples: N + 1 samples from peak to peak, however blocks cut it.
TEST(SignalGen, SawToothRisesFromPeakToPeakHoweverBlocksCutIt) {
  for (const std::int32_t N : {1, 2, 10, 100, 5000})
    for (const std::int32_t Size : {1, 2, 9, 10, 11, 64, 99, 100, 101, 1000})
      for (const double Sign : {1.0, -1.0}) {
        TRig Rig(Sign > 0 ? stSawToothUp : stSawToothDown);
        Rig.Gen->SetFrequency(1000.0 / N);
        const std::vector<std::int32_t> Sizes(static_cast<std::size_t>(12'000 / Size + 3), Size);
        const auto Y = Rig.Pump(Sizes);
        for (std::size_t I = 0; I < Y.size(); ++I) {
          const auto Place = static_cast<std::int32_t>(I % (static_cast<std::size_t>(N) + 1));
          const long double Expected = Sign * (6.0L * Place / N - 3.0L);
          // Offset and slope of a ramp are floats; the peak is exact.
          const long double Bound = Place == N ? 0 : SingleEps * (3 + 6) + Eps * 6;
          ASSERT_TRUE(IsNear(Y[I], Expected, Bound))
              << "cycle of " << N << ", blocks of " << Size << ", sample " << I;
        }
      }
}

// Of a cycle of no whole number of samples, N rounded, a tooth has N + 1 samples; by what rounding
// leaves, a block's first one has more or fewer.
TEST(SignalGen, SawToothPaysWhatRoundingItsCycleLeaves) {
  for (const double Cycle : {100.4, 30.3, 99.6, 29.7}) {
    TRig Rig(stSawToothUp);
    Rig.Gen->SetFrequency(1000.0 / Cycle);
    double Teeth = 0;
    for (int Block = 0; Block < 2000; ++Block)
      for (const double Sample : Rig.Pump(1024)) Teeth += Sample == 3.0 ? 1 : 0;
    const double N = std::round(Cycle);
    EXPECT_NEAR(Teeth, 2000 * (1024 - (N - Cycle)) / (N + 1), 1.5) << Cycle;
  }
}

// Never beyond the peaks, whatever the cycle and however large the debt.
TEST(SignalGen, SawToothStaysBetweenItsPeaks) {
  for (const double Cycle : {0.6, 1.5, 2.49, 7.3, 99.6, 100.4, 1022.7, 4999.5})
    for (const std::int32_t Size : {1, 5, 64, 1023, 1024}) {
      TRig Rig(stSawToothUp);
      Rig.Gen->SetFrequency(1000.0 / Cycle);
      std::vector<std::int32_t> Sizes(400, Size);
      Sizes.insert(Sizes.end(), {1000, 77, 2048, 3});
      for (const double Sample : Rig.Pump(Sizes))
        ASSERT_LE(std::fabs(Sample), 3.0 * (1 + 3 * SingleEps)) << Cycle << ", blocks of " << Size;
    }
}

// Silence is zeros plus Offset, not what the memory held before.
TEST(SignalGen, WhatHasNoFormIsSilent) {
  struct TCase {
    TQSSignalType Type;
    double Frequency;
    double Amplitude;
  };
  for (const TCase& Case : {TCase{stTone, 37.0, 0.0},
                            {stTone, 500.0, 3.0},
                            {stTone, 1e300, 3.0},
                            {stTriangle, 37.0, 0.0},
                            {stTriangle, 500.0, 3.0},
                            {stDc, 37.0, 0.0},
                            {stJaehne, 37.0, 0.0},
                            {stSquare, 37.0, 0.0},
                            {stSawToothUp, 37.0, 0.0},
                            {stSawToothUp, 2001.0, 3.0},
                            {stSawToothDown, 1e300, 3.0},
                            {stSawToothDown, 1e-300, 3.0}}) {
    TRig Rig(Case.Type);
    Rig.Gen->SetFrequency(Case.Frequency);
    Rig.Gen->SetAmplitude(Case.Amplitude);
    Rig.Gen->SetOffset(0.25);
    EXPECT_EQ(Rig.Pump(65), std::vector<double>(65, 0.25))
        << TEnumNames<TQSSignalType>::Names[static_cast<std::size_t>(Case.Type)] << ' '
        << Case.Frequency;
  }
}

// --- the phase ---

TEST(SignalGen, PhaseIsStoredWithinOneTurn) {
  constexpr double Turn = 2 * TQSSignalGen::QSPi;
  struct TCase {
    double Set;
    double Stored;
    double Tolerance;
  };
  const auto Gen = Create<TQSSignalGen>();
  for (const TCase& Case : {TCase{-1.5, -1.5 + Turn, 0},
                            {7.0, 7.0 - Turn, 0},
                            {Turn, Turn, 0},
                            {20.0, 20.0 - 3 * Turn, 16 * double{Eps} * 20},
                            {1e300, std::fmod(1e300, Turn), 0},
                            {-1e300, Turn - std::fmod(1e300, Turn), double{Eps} * Turn}}) {
    Gen->SetPhase(Case.Set);
    EXPECT_NEAR(Gen->Phase(), Case.Stored, Case.Tolerance) << Case.Set;
    EXPECT_EQ(Gen->CurrentPhase(), Gen->Phase()) << "takes effect at once";
  }
}

TEST(SignalGen, EachStreamBeginsAtPhase) {
  for (const TQSSignalType Type : {stTone, stTriangle, stSquare, stSawToothUp}) {
    TRig Rig(Type);
    Rig.Gen->SetFrequency(33.3);
    Rig.Gen->SetPhase(2.0);
    const auto First = Rig.Pump(77);
    EXPECT_NE(Rig.Gen->CurrentPhase(), 2.0);
    Rig.Gen->Stop();
    EXPECT_EQ(Rig.Pump(77), First);
  }
}

// The phase runs on through a change of type, also where a square has rounded it up to a full turn.
TEST(SignalGen, AnyTypeGoesOnWhereAnotherStopped) {
  for (const double Frequency : {1000.0 / 3, 125.0, 37.31, 700.0, 1e308})
    for (std::int32_t Size = 1; Size < 40; ++Size) {
      TRig Rig(stSquare);
      Rig.Gen->SetFrequency(Frequency);
      if (Frequency > 1e300)
        Rig.Gen->SetSampleRate(1e-3);  // more cycles a sample than a double has
      Rig.Pump(Size);
      Rig.Gen->SetSampleRate(1000.0);
      Rig.Gen->SetFrequency(10.0);
      Rig.Gen->SetSignalType(stTone);
      const double Phase = Rig.Gen->CurrentPhase();
      const double First = Rig.Pump(4).front();
      ASSERT_TRUE(IsNear(First, 3 * std::cos(static_cast<long double>(Phase)), 9 * Eps))
          << Frequency << " Hz, block of " << Size;
    }
}

TEST(SignalGen, AChangeTakesEffectWithTheNextBlockAndThePhaseRunsOn) {
  using TChange = std::function<void(TQSSignalGen&)>;
  struct TCase {
    TChange Change;
    double Amplitude, Offset, Ratio;
  };
  for (const TCase& Case : {TCase{[](auto& G) { G.SetFrequency(90.0); }, 3, 0, 0.09},
                            {[](auto& G) { G.SetSampleRate(500.0); }, 3, 0, 0.1},
                            {[](auto& G) { G.SetAmplitude(5.0); }, 5, 0, 0.05},
                            {[](auto& G) { G.SetOffset(7.0); }, 3, 7, 0.05},
                            {[](auto& G) { G.SetPhase(1.0); }, 3, 0, 0.05}}) {
    TRig Rig;
    Rig.Gen->SetFrequency(50.0);
    Rig.Pump(13);
    Case.Change(*Rig.Gen);
    const double Phase = Rig.Gen->CurrentPhase();
    const auto Y = Rig.Pump(2);
    for (std::size_t N = 0; N < 2; ++N)
      EXPECT_TRUE(
          IsNear(Y[N], Case.Amplitude * std::cos(Phase + TrueTwoPi * Case.Ratio * N) + Case.Offset,
                 4 * Eps * (Case.Amplitude + Case.Offset)));
  }
  // Where nothing else was set, the phase is where the samples left it.
  TRig Rig;
  Rig.Gen->SetFrequency(50.0);
  Rig.Pump(13);
  EXPECT_TRUE(IsNear(Rig.Gen->CurrentPhase(), TrueTwoPi * 0.65L, 8 * Eps * TrueTwoPi));
}

}  // namespace
}  // namespace tessalune::test
