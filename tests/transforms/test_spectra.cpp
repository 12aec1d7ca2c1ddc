#include "frame/FrameTools.h"
#include "primitives/FailingAllocator.h"
#include "primitives/Vectors.h"
#include "support/Streams.h"

#include <tessalune/transforms/QSDft.h>
#include <tessalune/transforms/QSFourier.h>
#include <tessalune/transforms/QSPowerSpectrum.h>

#include <sys/resource.h>
#include <array>
#include <complex>
#include <numeric>
#include <random>

namespace tessalune::test {
namespace {

using tessalune::testing::ExpectAll;
using tessalune::testing::Refusal;
using enum TQSExtendedWindowType;
using enum TQSFourierNormalization;

// --- frames ---

using TCuts = std::vector<std::ptrdiff_t>;  // the sizes of a stream's blocks, over and over

struct TSetting {
  int N;
  std::uint32_t Step;
};

// The first samples of the frames that a stream of ACount samples, each its own number, gives with
// the settings of its blocks, over and over too. Every frame has to hold a row of samples.
std::vector<int> Frames(const std::vector<TSetting>& ASettings, int ACount, const TCuts& ACuts) {
  TQSFrames Frames;
  Frames.Begin(TQSRealBuffer::CreateSize(ASettings[0].N));
  std::vector<int> Starts;
  std::vector<double> Samples(static_cast<std::size_t>(ACount));
  std::iota(Samples.begin(), Samples.end(), 0);
  std::int32_t Sent = 0;
  for (std::size_t I = 0; Sent < ACount; ++I) {
    const TSetting& Setting = ASettings[I % ASettings.size()];
    const int Size = std::min(static_cast<int>(ACuts[I % ACuts.size()]), ACount - Sent);
    const auto Block = TQSRealBuffer::CreateData(Samples.data() + Sent, Size);
    Sent += Size;
    if (Frames.IsBetween() && Frames.Size() != Setting.N)
      Frames.Resize(TQSRealBuffer::CreateSize(Setting.N));
    Frames.BeginBlock(Setting.Step);
    for (std::int32_t At = 0; Frames.Next(*Block, At);) {
      const auto* Frame = static_cast<const double*>(Frames.Samples());
      for (int N = 1; N < Frames.Size(); ++N) EXPECT_EQ(Frame[N], Frame[0] + N);
      Starts.push_back(static_cast<int>(Frame[0]));
    }
  }
  return Starts;
}

TEST(Frames, LieWhereTheStepPutsThemWhateverTheBlocks) {
  constexpr int Count = 500;
  for (const int N : {4, 16})
    for (const int Step : {0, 1, 3, 8, 15, 16, 17, 32, 100})
      for (const TCuts& Cuts : {TCuts{1}, {2}, {3}, {7}, {16}, {17}, {50}, {Count}, {1, 40, 5}}) {
        SCOPED_TRACE(::testing::Message() << N << " samples, step " << Step << ", cut by "
                                          << ::testing::PrintToString(Cuts));
        std::vector<int> Expected;
        int Start = 0;
        if (Step > 0 && Step < N) {
          // Back to back to the end of the block in which the first frame ends.
          int First = 0;
          for (std::size_t I = 0; First < N; ++I)
            First = std::min(First + static_cast<int>(Cuts[I % Cuts.size()]), Count);
          for (; Start + N <= First; Start += N) Expected.push_back(Start);
          Start = First + Step - N;
        }
        for (; Start + N <= Count; Start += Step == 0 ? N : Step) Expected.push_back(Start);
        EXPECT_EQ(Frames({{N, static_cast<std::uint32_t>(Step)}}, Count, Cuts), Expected);
      }
}

TEST(Frames, AreRowsOfSamplesWhateverChangesBetweenBlocks) {
  std::mt19937 Random(4711);
  std::vector<TSetting> Settings;
  TCuts Cuts;
  for (int I = 0; I < 1000; ++I) {
    Settings.push_back({std::array{4, 7, 16}[Random() % 3],
                        std::array{0U, 1U, 5U, 15U, 16U, 17U, 40U}[Random() % 7]});
    Cuts.push_back(1 + static_cast<std::ptrdiff_t>(Random() % 30));
  }
  const auto Starts = Frames(Settings, 10000, Cuts);
  EXPECT_TRUE(std::is_sorted(Starts.begin(), Starts.end()));
  EXPECT_GT(Starts.size(), 500U);
}

// --- a component between a feed and probes ---

// The ACount samples from AAt on, or as many as there are.
template <class T>
std::vector<T> Part(const std::vector<T>& ASamples, std::size_t AAt, std::size_t ACount) {
  const std::size_t End = std::min(AAt + ACount, ASamples.size());
  return {ASamples.data() + AAt, ASamples.data() + End};
}

template <class T, class TComponentType>
struct TRig {
  TOwned<TComponentType> Component = Create<TComponentType>();
  TFeed<T> Feed{Component->InputPin()};
  TProbe<TComplex> Bins{Component->OutputPin()};
  TProbe<double> Magnitudes{Component->SpectrumOutputPin()};
};

template <class T>
std::vector<T> Noise(std::size_t ACount) {
  if constexpr (std::is_same_v<T, TComplex>) {
    return RandomComplex(ACount);
  } else {
    return RandomSamples(ACount);
  }
}

// What the primitives make of a frame.
template <class T>
std::vector<TComplex> ByPrimitives(std::vector<T> AFrame, const std::vector<double>& AWindow,
                                   std::int32_t AFlag) {
  const auto N = static_cast<std::int32_t>(AFrame.size());
  for (std::size_t I = 0; I < AWindow.size(); ++I) AFrame[I] = AFrame[I] * AWindow[I];
  std::vector<TComplex> Result(AFrame.size() + 1);
  if constexpr (std::is_same_v<T, TComplex>) {
    DFTSpec_C_64fc* Plan = nullptr;
    ippsDFTInitAlloc_C_64fc(&Plan, N, AFlag, ippAlgHintAccurate);
    ippsDFTFwd_CToC_64fc(AFrame.data(), Result.data(), Plan, nullptr);
    ippsDFTFree_C_64fc(Plan);
  } else {
    DFTSpec_R_64f* Plan = nullptr;
    ippsDFTInitAlloc_R_64f(&Plan, N, AFlag, ippAlgHintAccurate);
    ippsDFTFwd_RToCCS_64f(AFrame.data(), &Result[0].Re, Plan, nullptr);
    ippsDFTFree_R_64f(Plan);
    ippsConjCcs_64fc_I(Result.data(), N);
  }
  Result.pop_back();
  return Result;
}

// The frames of a stream, cut and computed in all ways, are those of the primitives.
template <class T, class TComponentType>
void ExpectPrimitives(std::size_t AN, const std::function<void(TComponentType&)>& APrepare,
                      const std::vector<double>& AWindow, std::int32_t AFlag,
                      std::size_t AStep = 0) {
  const std::size_t Step = AStep == 0 ? AN : AStep;
  const auto Samples = Noise<T>(AN + 5 * Step + 1);
  std::vector<TComplex> Bins;
  std::vector<double> Magnitudes;
  for (std::size_t At = 0; At + AN <= Samples.size(); At += Step) {
    const auto Frame = ByPrimitives(Part(Samples, At, AN), AWindow, AFlag);
    Bins.insert(Bins.end(), Frame.begin(), Frame.end());
    std::vector<double> Lower(AN);
    ippsMagnitude_64fc(Frame.data(), Lower.data(), static_cast<std::int32_t>(AN));
    Magnitudes.insert(Magnitudes.end(), Lower.data(), Lower.data() + AN / 2);
  }
  const auto N = static_cast<std::ptrdiff_t>(AN);
  for (const TCuts& Cuts : {TCuts{N}, {N, 1}, {N, 1, 700, 3}}) {
    TRig<T, TComponentType> Rig;
    Rig.Component->SetSamplingWindowStep(static_cast<std::uint32_t>(AStep));
    APrepare(*Rig.Component);
    Rig.Feed.Start();
    Rig.Feed.SendCut(Samples, Cuts);
    EXPECT_TRUE(Rig.Bins.Stream() == Bins) << AN;
    EXPECT_TRUE(Rig.Magnitudes.Stream() == Magnitudes) << AN;
  }
}

TEST(Fourier, GivesWhatThePrimitivesGiveHoweverTheStreamIsCut) {
  struct TCase {
    std::int32_t Order;
    TQSExtendedWindowType Window;
    TQSFourierNormalization Normalization;
    std::int32_t Flag;
  };
  for (const TCase& Case : {TCase{2, xwtNone, fnNone, IPP_FFT_NODIV_BY_ANY},
                            {5, xwtRect, fnNormalizeSqrt, IPP_FFT_DIV_BY_SQRTN},
                            {10, xwtHanning, fnNormalize, IPP_FFT_DIV_FWD_BY_N},
                            {12, xwtCosSum, fnNone, IPP_FFT_NODIV_BY_ANY}}) {
    const std::size_t N = std::size_t{1} << Case.Order;
    std::vector<double> Window(Case.Window == xwtNone ? 0 : N);
    QSWindowCalculator::CalculateWindowForMult(Case.Window, 4, 1.0, std::span(Window));
    const std::function<void(TQSFourier&)> Prepare = [&](TQSFourier& AFourier) {
      AFourier.SetOrder(Case.Order);
      AFourier.SetWindowType(Case.Window);
      AFourier.SetNormalization(Case.Normalization);
    };
    for (const std::size_t Step : {std::size_t{0}, N / 4, 2 * N + 1}) {
      ExpectPrimitives<double>(N, Prepare, Window, Case.Flag, Step);
      ExpectPrimitives<TComplex>(N, Prepare, Window, Case.Flag, Step);
    }
  }
}

TEST(Dft, GivesWhatThePrimitivesGiveForFramesOfAnyLength) {
  using enum TQSWindowType;
  for (const TQSWindowType Type : {wtRect, wtBartlett, wtBlackman, wtHamming, wtHanning, wtKaiser})
    for (const std::int32_t N : {1, 2, 3, 100, 151, 1000}) {
      std::vector<double> Window(static_cast<std::size_t>(Type == wtRect ? 0 : N), 1.0);
      if (Type == wtBartlett) ippsWinBartlett_64f_I(Window.data(), N);
      if (Type == wtBlackman) ippsWinBlackman_64f_I(Window.data(), N, -0.16);
      if (Type == wtHamming) ippsWinHamming_64f_I(Window.data(), N);
      if (Type == wtHanning) ippsWinHann_64f_I(Window.data(), N);
      if (Type == wtKaiser) ippsWinKaiser_64f_I(Window.data(), N, 0.16F);
      const std::function<void(TQSDft&)> Prepare = [&](TQSDft& ADft) {
        ADft.SetBufferSize(N);
        ADft.SetWindowType(Type);
        ADft.SetAlpha(0.16);
        ADft.SetNormalization(fnNormalize);
      };
      const auto Size = static_cast<std::size_t>(N);
      ExpectPrimitives<double>(Size, Prepare, Window, IPP_FFT_DIV_FWD_BY_N, Size / 3);
      ExpectPrimitives<TComplex>(Size, Prepare, Window, IPP_FFT_DIV_FWD_BY_N);
    }
}

TEST(Dft, FollowsItsBlocksUntilItHasASizeOfItsOwn) {
  TRig<double, TQSDft> Rig;
  Rig.Feed.Send(Noise<double>(10));
  Rig.Feed.Start();
  for (const std::size_t Size : {1000U, 500U, 0U, 500U}) Rig.Feed.Send(Noise<double>(Size));
  Rig.Component->SetBufferSize(300);
  Rig.Feed.Send(Noise<double>(500));
  std::vector<std::size_t> Sizes;
  for (const auto& Bins : Rig.Bins.Blocks) Sizes.push_back(Bins.size());
  EXPECT_EQ(Sizes, (std::vector<std::size_t>{1000, 500, 500, 300}));
  EXPECT_TRUE(Rig.Bins.Blocks[1] == Rig.Bins.Blocks[2]);
}

// --- back ---

std::complex<double> ToStd(double A) { return A; }
std::complex<double> ToStd(const TComplex& A) { return {A.Re, A.Im}; }

// The relative error, in the L2 norm, of a stream that goes forth and back in AN samples.
template <class T, class TForward, class TBack>
double ErrorBack(TForward& AForward, TBack& ABack, std::size_t AN) {
  AForward.OutputPin().Connect(ABack.InputPin());
  TFeed<T> Feed(AForward.InputPin());
  TProbe<T> Out(ABack.OutputPin());
  const auto Samples = Noise<T>(3 * AN);
  Feed.Start();
  Feed.SendCut(Samples, {static_cast<std::ptrdiff_t>(AN)});
  const auto Result = Out.Stream();
  if (Result.size() != Samples.size()) return 1.0;
  double Error = 0.0;
  double Whole = 0.0;
  for (std::size_t I = 0; I < Result.size(); ++I) {
    Error += std::norm(ToStd(Result[I]) - ToStd(Samples[I]));
    Whole += std::norm(ToStd(Samples[I]));
  }
  return std::sqrt(Error / Whole);
}

template <class TForward, class TReal, class TComplexBack>
void ExpectBack(std::size_t AN, double ABound, const auto& APrepare) {
  const auto Forward = Create<TForward>();
  const auto Real = Create<TReal>();
  const auto Complex = Create<TComplexBack>();
  APrepare(*Forward, *Real, *Complex);
  EXPECT_LE(ErrorBack<double>(*Forward, *Real, AN), ABound) << AN;
  Forward->OutputPin().DisconnectAll();
  EXPECT_LE(ErrorBack<TComplex>(*Forward, *Complex, AN), ABound) << AN;
}

TEST(InverseFourier, GivesBackWhatTheSpectrumWasMadeOf) {
  // Each way as accurate as the primitives are, and the division by N one rounding more.
  const auto Bound = [](double AN) { return 0x1p-53 * (2.4 * std::sqrt(std::log2(AN)) + 3); };
  for (std::int32_t Order = 2; Order <= 13; ++Order)
    ExpectBack<TQSFourier, TQSInverseFourier, TQSInverseComplexFourier>(
        std::size_t{1} << Order, Bound(std::exp2(Order)),
        [Order](auto&... AEach) { (AEach.SetOrder(Order), ...); });
  for (const std::int32_t N : {1, 2, 3, 60, 1000, 1009}) {
    // 1009 goes by a convolution of 2048.
    const double Most = N == 1009 ? 0x1p-53 * (8 * std::sqrt(11.0) + 5) : Bound(N);
    ExpectBack<TQSDft, TQSInverseDft, TQSInverseComplexDft>(
        static_cast<std::size_t>(N), Most, [N](TQSDft& ADft, auto&...) { ADft.SetBufferSize(N); });
  }
}

TEST(InverseFourier, DividesByTheCountOnTopOfItsNormalization) {
  for (const auto& [Normalization, Divisor] :
       {std::pair{fnNone, 16.0}, {fnNormalizeSqrt, 64.0}, {fnNormalize, 256.0}}) {
    const auto Fft = Create<TQSInverseFourier>();
    const auto Dft = Create<TQSInverseDft>();
    Fft->SetOrder(4);
    TFeed<TComplex> Feed(Fft->InputPin());
    Feed.Pin.Connect(Dft->InputPin());
    TProbe<double> FftOut(Fft->OutputPin());
    TProbe<double> DftOut(Dft->OutputPin());
    Feed.Start();
    Fft->SetNormalization(Normalization);  // with the next block
    Dft->SetNormalization(Normalization);
    Feed.Send(std::vector<TComplex>(16, TComplex{256.0, 0.0}));
    for (const auto* Out : {&FftOut, &DftOut}) EXPECT_EQ(Out->Stream()[0], 16 * 256.0 / Divisor);
  }
}

TEST(InverseFourier, RefusesABlockOfAnotherSizeByBothSizes) {
  const auto Inverse = Create<TQSInverseFourier>();
  TFeed<TComplex> Feed(Inverse->InputPin());
  TProbe<double> Out(Inverse->OutputPin());
  Feed.Send(std::vector<TComplex>(512));
  EXPECT_TRUE(Out.Blocks.empty()) << "outside a stream";
  Feed.Start();
  Inverse->SetOrder(9);  // from the next start on
  ExpectAll(Refusal([&] { Feed.Send(std::vector<TComplex>(512)); }),
            {"TQSInverseFourier", " 512 ", " 1024;", "Order"});
  Feed.Send(std::vector<TComplex>(1024));
  Feed.Start();
  Feed.Send(std::vector<TComplex>(512));
  EXPECT_EQ(Out.Stream().size(), 1024U + 512U);
}

// --- results ---

// A tone on a bin over a mean, and what a component tells of it.
template <class TFilter>
void ExpectFrequencies(std::size_t AN) {
  const double Resolution = 8000.0 / static_cast<double>(AN);
  TRig<double, TFilter> Rig;
  std::vector<double> Told;
  std::string Order;
  TKLRealSinkPin Frequency({}, Hear([&](IKLNotifyOperation& AOperation) {
                             Order += "pin " + std::to_string(Rig.Magnitudes.Blocks.size());
                             const double Value =
                                 AOperation.GetInstance<TKLTypedSuppliedOperation<double>>().Value;
                             EXPECT_TRUE(IsSame(Value, Told.back()));
                           }));
  Rig.Component->FrequencyOutputPin().Connect(Frequency);
  Rig.Component->SetOnFrequencyResult([&](TObject&, double AFrequency, double AMaxFrequency) {
    Order += "event ";
    Told.push_back(AFrequency);
    EXPECT_EQ(AMaxFrequency, 4000.0);
  });
  Rig.Component->SetSynchronize(false);
  const auto Send = [&](double ABin, double AMean) {
    std::vector<double> Samples(AN);
    for (std::size_t I = 0; I < AN; ++I)
      Samples[I] =
          AMean + std::cos(2 * M_PI * ABin * static_cast<double>(I) / static_cast<double>(AN));
    Rig.Feed.Send(Samples);
    return Told.back() / Resolution;
  };
  Rig.Feed.Start(8000.0);
  EXPECT_DOUBLE_EQ(Send(7, 0), 7.0);
  EXPECT_EQ(Order, "event pin 0") << "then the magnitudes";
  constexpr bool TakesDC = std::is_same_v<TFilter, TQSDft>;
  EXPECT_DOUBLE_EQ(Send(3, 5), TakesDC ? 0.0 : 3.0);
  EXPECT_TRUE(std::isnan(Send(3, NAN)));
  Rig.Component->SetIgnoreDC(true);
  EXPECT_DOUBLE_EQ(Send(3, 5), 3.0);
  EXPECT_EQ(Rig.Magnitudes.Blocks.back()[0], 0.0);
  EXPECT_GT(Rig.Bins.Blocks.back()[0].Re, 1.0) << "the bins keep it";
}

TEST(Fourier, TellsTheStrongestFrequency) {
  ExpectFrequencies<TQSFourier>(1024);
  ExpectFrequencies<TQSDft>(997);  // bin k at k * rate / N, of an odd N too
}

TEST(Fourier, KeepsABoundedCountOfResultsForTheMainThread) {
  TRig<double, TQSFourier> Rig;
  std::size_t Told = 0;
  Rig.Component->SetOrder(2);
  Rig.Component->SetOnFrequencyResult([&Told](TObject&, double, double) { ++Told; });
  Rig.Feed.Start();
  Rig.Feed.Send(std::vector<double>(4 * (TQSFourier::MostResults + 5)));
  EXPECT_EQ(Told, 0U);
  ASSERT_EQ(Rig.Component->Remarks().size(), 1U);
  ExpectAll(Rig.Component->Remarks()[0], {"OnFrequencyResult", " 5 ", "Synchronize"});
  RunMainThread();
  EXPECT_EQ(Told, TQSFourier::MostResults);
  Rig.Feed.Start();
  EXPECT_TRUE(Rig.Component->Remarks().empty());
}

TEST(Fourier, TellsAStopOnBothOutputsThoughASinkFails) {
  TRig<double, TQSFourier> Rig;
  TQSKLRealSinkPin Watch({}, Hear([&](IKLNotifyOperation& AOperation) {
                           if (tessalune::testing::IsStop(AOperation))
                             throw EQSException("a sink that fails");
                         }));
  Rig.Component->SpectrumOutputPin().Connect(Watch);
  Rig.Feed.Start();
  EXPECT_THROW(Rig.Feed.Stop(), EQSException);
  EXPECT_EQ(Rig.Bins.Stops + Rig.Magnitudes.Stops, 2);
  Rig.Feed.Send(std::vector<double>(1024));
  EXPECT_TRUE(Rig.Bins.Blocks.empty()) << "outside a stream";
}

// --- changes while a stream runs ---

TEST(Fourier, FollowsItsPropertiesFromTheNextFrameOn) {
  TRig<double, TQSFourier> Rig;
  TQSFourier& It = *Rig.Component;
  It.SetOrder(4);
  Rig.Feed.Start();
  // The first bin of ones is the sum of the weights, a[0] N for a sum of cosines.
  struct TStep {
    std::function<void()> Set;
    double Sum;
  };
  for (const TStep& Step : {TStep{[] {}, 16.0},
                            {[&] { It.SetWindowType(xwtHanning); }, 8.0},
                            {[&] { It.SetWindowType(xwtBlackman); }, 0.42 * 16},
                            {[&] { It.SetAlpha(0.0); }, 8.0},
                            {[&] { It.SetWindowType(xwtCosSum); }, 0.3635819 * 16},
                            {[&] { It.SetNumberTerms(5); }, 0.3635819 * 16},  // alone: nothing
                            {[&] { It.SetAlpha(1.0); }, 0.3232153788877343 * 16},
                            {[&] { It.SetWindowType(xwtNone); }, 16.0},
                            {[&] { It.SetNormalization(fnNormalize); }, 1.0}}) {
    Step.Set();
    Rig.Feed.Send(std::vector<double>(16, 1.0));
    EXPECT_NEAR(Rig.Bins.Blocks.back()[0].Re, Step.Sum, 1e-5);
  }
  // Sliding, another size waits for as many samples.
  It.SetSamplingWindowStep(8);
  Rig.Feed.Send(std::vector<double>(8));
  It.SetOrder(5);
  const std::size_t Before = Rig.Bins.Blocks.size();
  Rig.Feed.Send(std::vector<double>(31));
  EXPECT_EQ(Rig.Bins.Blocks.size(), Before);
  Rig.Feed.Send(std::vector<double>(9));
  EXPECT_EQ(Rig.Bins.Blocks.size(), Before + 2);
}

TEST(Fourier, RefusesAFrameThatThereIsNoMemoryForAndGoesOn) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "the sanitizer has taken the address space";
#endif
  rlimit Bound{};
  ASSERT_EQ(getrlimit(RLIMIT_AS, &Bound), 0);
  const rlimit Tight{rlim_t{4} << 30, Bound.rlim_max};
  setrlimit(RLIMIT_AS, &Tight);
  TRig<double, TQSFourier> Rig;
  Rig.Component->SetName("Spectrum");
  Rig.Component->SetOrder(30);
  const auto Expected = {std::string_view("Spectrum (TQSFourier)"),
                         std::string_view(" 1073741824 "), std::string_view(" bytes"),
                         std::string_view("Order is 30")};
  ExpectAll(Refusal([&] { Rig.Feed.Start(); }), Expected);
  Rig.Component->SetOrder(4);
  Rig.Feed.Start();
  const auto Samples = Noise<double>(64);
  Rig.Feed.Send(Part(Samples, 0, 8));
  Rig.Component->SetOrder(30);
  ExpectAll(Refusal([&] { Rig.Feed.Send(Part(Samples, 8, 32)); }), Expected);
  Rig.Feed.Send(Part(Samples, 40, 24));
  EXPECT_EQ(Rig.Component->Remarks().size(), 1U);
  ASSERT_EQ(Rig.Bins.Blocks.size(), 4U) << "all frames of the order before";
  for (std::size_t I = 0; I < 4; ++I) {
    EXPECT_TRUE(Rig.Bins.Blocks[I] ==
                ByPrimitives(Part(Samples, 16 * I, 16), {}, IPP_FFT_NODIV_BY_ANY));
  }
  Rig.Component->SetOrder(5);
  Rig.Feed.Send(Noise<double>(32));
  EXPECT_EQ(Rig.Bins.Blocks.back().size(), 32U);
  EXPECT_TRUE(Rig.Component->Remarks().empty());
  const auto Inverse = Create<TQSInverseComplexFourier>();
  TFeed<TComplex> Feed(Inverse->InputPin());
  Inverse->SetOrder(30);
  ExpectAll(Refusal([&] { Feed.Start(); }), {" 1073741824 ", " bytes", "Order is 30"});
  setrlimit(RLIMIT_AS, &Bound);
}

TEST(Fourier, BearsWhatItsSinksDoInsideAFrame) {
  TRig<double, TQSFourier> Rig;
  Rig.Component->SetOrder(2);
  std::function<void()> Inside;
  TQSKLComplexSinkPin Sink({}, Hear([&](IKLNotifyOperation& AOperation) {
                             if (Inside && tessalune::testing::IsBlock(AOperation))
                               std::exchange(Inside, {})();
                           }));
  Rig.Component->OutputPin().Connect(Sink);
  // What bin 0 of the frames is, the sums of their samples, when AInside has run in the first.
  const auto Sums = [&](std::function<void()> AInside) {
    Rig.Bins.Blocks.clear();
    Inside = std::move(AInside);
    Rig.Feed.Start();
    try {
      Rig.Feed.Send({1, 1, 1, 1, 2, 2, 2, 2, 3});
    } catch (const EQSException&) {
    }
    Rig.Feed.Send({4, 4, 4, 4, 4, 4, 4});
    std::vector<double> Result;
    for (const auto& Bins : Rig.Bins.Blocks) Result.push_back(Bins[0].Re);
    return Result;
  };
  EXPECT_EQ(Sums({}), (std::vector<double>{4, 8, 15, 16}));
  EXPECT_EQ(Sums([&] {
              Rig.Feed.Send({9, 9, 9});
            }),
            (std::vector<double>{4, 8, 30, 16}))
      << "a block comes behind the one that is taken";
  EXPECT_EQ(Sums([] { throw EQSException("a sink that fails"); }), (std::vector<double>{4, 16}))
      << "the rest of the block is lost";
  EXPECT_EQ(Sums([&] {
              Rig.Feed.Send({9, 9, 9});
              Rig.Feed.Start();
              Rig.Feed.Send({5});
            }),
            (std::vector<double>{4, 17, 16}))
      << "another stream";
  EXPECT_EQ(Sums([&] { Rig.Component->SetOrder(3); }), (std::vector<double>{4, 23}));
}

TEST(Fourier, TakesNoMemoryOfThePrimitivesInItsSteadyState) {
  const TFailingAllocator Primitives;  // counts
  const auto Fourier = Create<TQSFourier>();
  const auto Dft = Create<TQSDft>();
  const auto Back = Create<TQSInverseFourier>();
  Fourier->SetOrder(12);  // whose plan takes work memory
  Back->SetOrder(12);
  Dft->SetBufferSize(1009);
  Dft->SetSamplingWindowStep(500);
  TFeed<double> Feed(Fourier->InputPin());
  Feed.Pin.Connect(Dft->InputPin());
  Fourier->OutputPin().Connect(Back->InputPin());
  TProbe<double> Samples(Back->OutputPin());
  TProbe<TComplex> Bins(Dft->OutputPin());
  Feed.Start();
  const auto Allocations = [&]() -> int {
    for (int I = 0; I < 30; ++I) Feed.Send(Noise<double>(1500));
    return TFailingAllocator::Allocations;
  };
  const int Before = Allocations();
  EXPECT_EQ(Allocations(), Before);
  EXPECT_GT(Samples.Blocks.size(), 20U);
  EXPECT_GT(Bins.Blocks.size(), 150U);
}

// --- powers ---

TEST(PowerSpectrum, GivesSquaresOrMagnitudesOfAllBinsOrHalf) {
  const auto Power = Create<TQSPowerSpectrum>();
  TFeed<TComplex> Feed(Power->InputPin());
  TProbe<double> Out(Power->OutputPin());
  const auto Send = [&](std::size_t ACount) {
    Feed.Send(std::vector<TComplex>(ACount, TComplex{3.0, -4.0}));
    return Out.Blocks.back();
  };
  Feed.Start(500.0);
  EXPECT_EQ(Send(5), std::vector<double>(5, 25.0));
  Power->SetMagnitude(true);
  Power->SetProcessHalf(true);
  EXPECT_EQ(Send(5), std::vector<double>(5, 5.0)) << "half of them from the next start on";
  Feed.Start(500.0);
  EXPECT_EQ(Send(5), std::vector<double>(2, 5.0));
  EXPECT_TRUE(Send(1).empty());
  EXPECT_EQ(Out.Blocks.size(), 4U) << "empty blocks are sent as well";
  EXPECT_EQ(Out.StartRates, (std::vector<double>{500.0, 500.0}));
}

}  // namespace
}  // namespace tessalune::test
