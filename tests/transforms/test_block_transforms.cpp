// The transforms that take blocks as they come, or cut them into frames without overlap.
#include "primitives/Samples.h"
#include "support/Rig.h"

#include <tessalune/primitives/QSHilbertDispatcher.h>
#include <tessalune/transforms/QSDct.h>
#include <tessalune/transforms/QSGoertzOne.h>
#include <tessalune/transforms/QSHaar.h>
#include <tessalune/transforms/QSHilbert.h>

#include <complex>
#include <limits>

namespace tessalune::test {
namespace {

using TReals = std::vector<double>;

// Noise, in blocks of these sizes.
TReals SendNoise(TFeed<double>& AFeed, const std::vector<int>& ASizes) {
  std::size_t Count = 0;
  for (const int Size : ASizes) Count += static_cast<std::size_t>(Size);
  const TReals All = RandomSamples(Count);
  auto At = All.begin();
  for (const int Size : ASizes) AFeed.Send({At, At + Size}), At += Size;
  return All;
}

TEST(Dct, GivesWhatThePrimitiveGivesAndTheInverseGivesItBack) {
  TStreamRig<TQSDct> Rig;
  const auto Inverse = Create<TQSInverseDct>();
  Rig.It->OutputPin().Connect(Inverse->InputPin());
  TProbe<double> Back(Inverse->OutputPin());
  for (int Time = 0; Time < 2; ++Time) {
    Rig.Feed.Start();
    for (const int Size : {1024, 1024, 1000, 1024, 1, 0, 2, 5, 300, 4096}) {
      const TReals Block = RandomSamples(static_cast<std::size_t>(Size));
      TReals Expected(Block.size());
      DCTFwdSpec_64f* Plan = nullptr;
      if (ippsDCTFwdInitAlloc_64f(&Plan, Size, ippAlgHintAccurate) == ippStsNoErr) {
        ippsDCTFwd_64f(Block.data(), Expected.data(), Plan, nullptr);
        ippsDCTFwdFree_64f(Plan);
      }
      EXPECT_EQ(Rig.Send(Block), Expected) << Size;
      ASSERT_EQ(Back.Blocks.back().size(), Block.size());
      // Twice 4 eps sqrt(N), relative to a norm of up to 10 sqrt(N).
      for (std::size_t I = 0; I < Block.size(); ++I) {
        ASSERT_TRUE(IsNear(Back.Blocks.back()[I], Block[I], 80 * Size * Eps)) << Size;
      }
    }
    Rig.Feed.Stop();
  }
}

TEST(Hilbert, CutsAStreamIntoFramesAndTransformsEach) {
  for (const int Frame : {1, 2, 7, 1000, 1024}) {
    const auto Hilbert = Create<TQSHilbert>();
    TFeed<double> Feed(Hilbert->InputPin());
    TProbe<double> Shifted;
    TProbe<TComplex> Out(Hilbert->OutputPin());
    std::size_t FramesBefore = 0;
    TQSKLRealSinkPin Watch({}, [&](auto&&...) {
      FramesBefore = Out.Blocks.size();
      return TKLNotifyResult{};
    });
    Feed.Send(TReals(5000));
    EXPECT_TRUE(Out.Blocks.empty()) << "outside a stream";
    EXPECT_THROW(Hilbert->SetBufferSize(0), EQSException);
    Hilbert->SetBufferSize(Frame);
    Feed.Start(8000.0);
    Hilbert->SetBufferSize(std::numeric_limits<std::int32_t>::max());
    SendNoise(Feed, {Frame - 1, 2 * Frame});
    EXPECT_EQ(Out.Blocks.size(), 2U) << "the size that the stream began with";
    Feed.Start(8000.0);
    Feed.Send(TReals(100000));
    EXPECT_EQ(Out.Blocks.size(), 2U) << "a number alone takes no memory";
    Shifted.Pin.Connect(Hilbert->ShiftedOutputPin());
    Watch.Connect(Hilbert->ShiftedOutputPin());
    Hilbert->SetBufferSize(Frame);
    Feed.Stop();
    Feed.Start(8000.0);
    Out.Blocks.clear();
    const TReals Sent = SendNoise(Feed, {1, 0, Frame, 3000, 24, Frame, 5});
    HilbertSpec_32f32fc* Plan = nullptr;
    ASSERT_EQ(ippsHilbertInitAlloc_32f32fc(&Plan, Frame, ippAlgHintAccurate), ippStsNoErr);
    ASSERT_EQ(Out.Blocks.size(), Sent.size() / static_cast<std::size_t>(Frame));
    EXPECT_EQ(FramesBefore + 1, Out.Blocks.size()) << "the shifted frame comes first";
    for (std::size_t I = 0; I < Out.Blocks.size(); ++I) {
      const auto Begin = Sent.begin() + static_cast<std::ptrdiff_t>(I) * Frame;
      const std::vector<float> Samples(Begin, Begin + Frame);
      std::vector<Ipp32fc> Expected(Samples.size());
      ippsHilbert_32f32fc(Samples.data(), Expected.data(), Plan);
      for (std::size_t J = 0; J < Samples.size(); ++J) {
        ASSERT_EQ(Out.Blocks[I].at(J).Re, double{Expected[J].Re});
        ASSERT_EQ(Out.Blocks[I].at(J).Im, double{Expected[J].Im});
        ASSERT_EQ(Shifted.Blocks.at(I).at(J), double{Expected[J].Im});
      }
    }
    ippsHilbertFree_32f32fc(Plan);
    EXPECT_EQ(Shifted.StartRates, TReals({8000.0, 8000.0})) << "that of a stream that runs too";
  }
}

// A Goertzel filter, and what it has told of the last block, which the pins send behind it.
struct TGoertzRig {
  TReals Told;
  TOwned<TQSGoertzOne> It = Create<TQSGoertzOne>();
  TQSKLSourcePin Feed{{}, {&RealStream, &ComplexStream}};

  explicit TGoertzRig(const TKLDataType& AType) {
    Feed.Connect(It->InputPin(), &AType);
    It->SetOnCalculate([this](TObject&, double ARe, double AIm, double ASpectrum) {
      EXPECT_TRUE(!IsSame(ASpectrum, It->SpectrumOutputPin().Value()) || std::isnan(ASpectrum));
      Told = {ARe, AIm, ASpectrum};
    });
  }
  void Start(double ARate) { Feed.Notify(MakeRef<TKLStartSampleRateOperation>(ARate)); }
  TReals Send(const TRef<IQSDataBuffer>& ABlock) {
    Feed.SubmitBuffer(ABlock);
    return std::exchange(Told, {});
  }
};

TEST(GoertzOne, MeasuresOneFrequencyOfEachBlock) {
  constexpr double Rate = 8000.0;
  for (const bool Complex : {false, true}) {
    TGoertzRig Rig(Complex ? ComplexStream : RealStream);
    Rig.Start(Rate);
    for (const double Frequency : {0.0, 500.0, 1234.5, 7999.0}) {
      for (const std::int32_t Count : {2, 16, 1000}) {
        Rig.It->SetFrequency(Frequency);
        const TReals Block = RandomSamples(static_cast<std::size_t>(Count));
        std::vector<TComplex> Numbers;
        std::complex<long double> Sum = 0;
        const long double Turn = 2 * 3.14159265358979323846264L * Frequency / Rate;
        for (const double Sample : Block) {
          Numbers.push_back({Sample, Complex ? 3.0 - Sample : 0.0});
          Sum += std::polar(1.0L, Turn * (Count + 1 - static_cast<long double>(Numbers.size()))) *
                 std::complex<long double>(Numbers.back().Re, Numbers.back().Im);
        }
        const TReals Told = Complex ? Rig.Send(TQSComplexBuffer::CreateData(Numbers.data(), Count))
                                    : Rig.Send(TQSRealBuffer::CreateData(Block.data(), Count));
        ASSERT_EQ(Told.size(), 3U);
        // 64 rounding errors of the sum of magnitudes, and that of the relative frequency.
        const long double Bound = (80 + Turn * Count) * 15 * Count * Eps;
        EXPECT_TRUE(IsNear(Told[0], Sum.real(), Bound)) << Frequency;
        EXPECT_TRUE(IsNear(Told[1], Sum.imag(), Bound)) << Frequency;
        EXPECT_TRUE(IsNear(Told[2], std::abs(Sum), 2 * Bound)) << Frequency;
        const TComplex Held = Rig.It->OutputPin().Value();
        EXPECT_EQ(TReals({Held.Re, Held.Im, Rig.It->SpectrumOutputPin().Value()}), Told);
      }
    }
  }
}

TEST(GoertzOne, HasNoResultAtOrAboveTheRateAndSaysSo) {
  TGoertzRig Rig(RealStream);
  const double Block[] = {1.0, 2.0};
  const auto IsResult = [&] {
    const bool IsNumber = std::isfinite(Rig.Send(TQSRealBuffer::CreateData(Block, 2)).at(2));
    EXPECT_EQ(Rig.It->Remarks().size(), IsNumber ? 0U : 1U);
    return IsNumber;
  };
  EXPECT_THROW(Rig.It->SetFrequency(-1.0), EQSException);
  EXPECT_FALSE(IsResult()) << "no start";
  Rig.Start(500.0);
  EXPECT_FALSE(IsResult()) << "the rate itself";
  Rig.It->SetFrequency(499.9);
  EXPECT_TRUE(IsResult());
  EXPECT_TRUE(Rig.Send(TQSRealBuffer::CreateSize(0)).empty()) << "nothing of nothing";
  Rig.It->SetEnabled(false);
  EXPECT_TRUE(Rig.Send(TQSRealBuffer::CreateData(Block, 2)).empty());
}

TEST(Haar, SplitsPairsHoweverTheStreamIsCutAndJoinsThemAgain) {
  for (const std::int32_t Size : {0, 5}) {
    const auto Haar = Create<TQSHaar>();
    TFeed<double> Feed(Haar->InputPin());
    TProbe<double> Coarse(Haar->CoarseOutputPin());
    Feed.Start(100.0);
    Feed.Send({7});
    TProbe<double> Detail(Haar->DetailOutputPin());
    const auto Inverse = Create<TQSInverseHaar>();
    Inverse->CoarseInputPin().Connect(Haar->CoarseOutputPin());
    Inverse->DetailInputPin().Connect(Haar->DetailOutputPin());
    TProbe<double> Out(Inverse->OutputPin());
    Inverse->OutputBuffer().SetAutoSize(Size == 0);
    if (Size > 0) Inverse->OutputBuffer().SetSize(Size);
    Feed.Stop();
    Feed.Start(200.0);
    const TReals Sent = SendNoise(Feed, {8, 1, 0, 1, 5, 6, 1000, 3, 2, 1, 1, 999, 1});
    TReals Low(Sent.size() / 2), High(Sent.size() / 2);
    ippsWTHaarFwd_64f(Sent.data(), int(Sent.size()), Low.data(), High.data());
    EXPECT_EQ(Coarse.Stream(), Low) << "a start drops a lone sample";
    EXPECT_EQ(Detail.Stream(), High);
    ASSERT_EQ(Out.Stream().size(), Sent.size());
    // One rounding of each band and of the sample, all of them at most 10 in magnitude.
    for (std::size_t I = 0; I < Sent.size(); ++I) {
      EXPECT_TRUE(IsNear(Out.Stream()[I], Sent[I], 30 * Eps));
    }
    EXPECT_EQ(Out.Blocks.at(1).size(), Size == 0 ? 2U : 6U);
    EXPECT_EQ(Out.StartRates.back(), 200.0);
    Coarse.Pin.DisconnectAll();
    Haar->CoarseOutputPin().Disconnect(Inverse->CoarseInputPin());
    Feed.Send({1, 5, 1, 5, 1, 5});
    EXPECT_EQ(Out.Blocks.back(), TReals({-2, 2, -2, 2, -2, 2})) << "without means";
    Haar->DetailOutputPin().DisconnectAll();
    Feed.Send({1});
    Coarse.Pin.Connect(Haar->CoarseOutputPin());
    Feed.Send({3, 5});
    EXPECT_EQ(Coarse.Blocks.back(), TReals({4})) << "nothing waits for nobody";
  }
}

}  // namespace
}  // namespace tessalune::test
