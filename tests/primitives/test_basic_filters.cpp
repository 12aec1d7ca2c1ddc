#include "FailingAllocator.h"
#include "Samples.h"

#include <tessalune/primitives/QSBasicDispatcher.h>

#include <algorithm>
#include <bit>
#include <functional>
#include <limits>
#include <numbers>
#include <string>

namespace tessalune::test {
namespace {

using TSamples = std::vector<double>;
using TReals = std::vector<long double>;

std::int32_t CountOf(const TSamples& ASamples) {
  return static_cast<std::int32_t>(ASamples.size());
}

// A filter, from its state's making to its end.
class TFilter {
 public:
  virtual ~TFilter() = default;
  virtual IppStatus Run(const double* pSrc, double* pDst, std::int32_t len) = 0;

  TSamples Whole(const TSamples& AX) {
    TSamples Y(AX.size());
    EXPECT_EQ(Run(AX.data(), Y.data(), CountOf(AX)), ippStsNoErr);
    return Y;
  }

  // The same stream in place, in blocks of one sample and of many sizes.
  TSamples InBlocks(TSamples AX) {
    std::mt19937 Engine(7);
    for (std::size_t From = 0; From < AX.size();) {
      const std::size_t Wanted = From < 100 ? 1 : 1 + Engine() % 901;
      const std::size_t Length = std::min(Wanted, AX.size() - From);
      double* const Block = AX.data() + From;
      EXPECT_EQ(Run(Block, Block, static_cast<std::int32_t>(Length)), ippStsNoErr);
      From += Length;
    }
    return AX;
  }
};

class TFir : public TFilter {
 public:
  TFir(const TSamples& ATaps, const double* ADelay) {
    EXPECT_EQ(ippsFIRInitAlloc_64f(&State, ATaps.data(), CountOf(ATaps), ADelay), ippStsNoErr);
  }
  ~TFir() override { EXPECT_EQ(ippsFIRFree_64f(State), ippStsNoErr); }
  IppStatus Run(const double* pSrc, double* pDst, std::int32_t len) override {
    return ippsFIR_64f(pSrc, pDst, len, State);
  }
  IppsFIRState_64f* State = nullptr;
};

// Sections of any order, one after the other; the direct form is one section.
struct TSectionTaps {
  TSamples B, A;  // B0 to Border, A0 to Aorder
  std::size_t Order() const { return B.size() - 1; }
};
using TChainTaps = std::vector<TSectionTaps>;

class TIir : public TFilter {
 public:
  TIir(const TChainTaps& AChain, bool AIsBiquads, const double* ADelay) {
    TSamples Taps;
    for (const TSectionTaps& Section : AChain) {
      Taps.insert(Taps.end(), Section.B.begin(), Section.B.end());
      Taps.insert(Taps.end(), Section.A.begin(), Section.A.end());
    }
    const auto Make = AIsBiquads ? ippsIIRInitAlloc_BiQuad_64f : ippsIIRInitAlloc_64f;
    const std::size_t Count = AIsBiquads ? AChain.size() : AChain[0].Order();
    EXPECT_EQ(Make(&State, Taps.data(), static_cast<std::int32_t>(Count), ADelay), ippStsNoErr);
  }
  ~TIir() override { EXPECT_EQ(ippsIIRFree_64f(State), ippStsNoErr); }
  IppStatus Run(const double* pSrc, double* pDst, std::int32_t len) override {
    return ippsIIR_64f(pSrc, pDst, len, State);
  }
  IppsIIRState_64f* State = nullptr;
};

long double Square(long double AX) { return AX * AX; }

void ExpectNear(const TSamples& AActual, const TReals& AExpected, const TReals& ABounds,
                const std::string& ACase) {
  for (std::size_t N = 0; N < AActual.size(); ++N)
    ASSERT_TRUE(IsNear(AActual[N], AExpected[N], ABounds[N])) << ACase << ", sample " << N;
}

// From so many taps on a filter may go by way of the spectra.
constexpr std::size_t LeastFrameTaps = 128;

// What the spectra add to the error of each output: from the samples that its frame can hold.
TReals FrameBounds(const TSamples& ATaps, const TSamples& AX, const TSamples& ADelay) {
  const std::size_t Count = ATaps.size();
  const std::size_t Least = Count - 1 + std::max<std::size_t>(1024, Count / 2);
  std::size_t Frame = std::bit_ceil(Least);
  for (const std::size_t Eighths : {15u, 12u, 10u, 9u})
    if (Eighths * std::bit_floor(Least) / 8 >= Least) Frame = Eighths * std::bit_floor(Least) / 8;
  TReals Squares(1);  // of all samples before one, from the oldest of the delay line on
  for (std::size_t K = Count; K-- > 0;) Squares.push_back(Squares.back() + Square(ADelay[K]));
  for (const double X : AX) Squares.push_back(Squares.back() + Square(X));
  long double Taps = 0;
  for (const double Tap : ATaps) Taps += Square(Tap);
  TReals Result(AX.size());
  for (std::size_t N = 0; N < AX.size(); ++N) {
    const std::size_t From = Count + N - std::min(Count + N, Frame - 1);
    const std::size_t To = std::min(Count + N + Frame - Count + 1, Squares.size() - 1);
    Result[N] = 12 * std::log2(static_cast<long double>(Frame)) * Eps *
                std::sqrt(Taps * (Squares[To] - Squares[From]));
  }
  return Result;
}

class FirLengths : public testing::TestWithParam<std::size_t> {};

TEST_P(FirLengths, ConvolvesWhateverTheBlocks) {
  const std::size_t Count = GetParam();
  const TSamples Taps = RandomSamples(Count, 1.0);
  const TSamples Delay = RandomSamples(Count, 3.0);
  const TSamples X = RandomSamples(2700);
  TReals Expected(X.size()), Bounds(X.size());
  for (std::size_t N = 0; N < X.size(); ++N) {
    long double Magnitude = 0;
    for (std::size_t K = 0; K < Count; ++K) {
      const long double Product =
          static_cast<long double>(Taps[K]) * (K <= N ? X[N - K] : Delay[K - N - 1]);
      Expected[N] += Product;
      Magnitude += std::fabs(Product);
    }
    Bounds[N] = static_cast<long double>(Count + 1) * Eps * Magnitude;
  }
  if (Count >= LeastFrameTaps)
    std::ranges::transform(Bounds, FrameBounds(Taps, X, Delay), Bounds.begin(),
                           [](long double A, long double B) { return std::max(A, B); });
  TFir Fir(Taps, Delay.data());
  const TSamples Y = Fir.Whole(X);
  ExpectNear(Y, Expected, Bounds, "whole");
  const TSamples Blocks = TFir(Taps, Delay.data()).InBlocks(X);
  ExpectNear(Blocks, Expected, Bounds, "in blocks");
  if (Count < LeastFrameTaps) {
    EXPECT_EQ(Blocks, Y);
  }

  TSamples Past(Count), LastInputs(Count);
  for (std::size_t K = 0; K < Count; ++K)
    LastInputs[K] = K < X.size() ? X[X.size() - 1 - K] : Delay[K - X.size()];
  ASSERT_EQ(ippsFIRGetDlyLine_64f(Fir.State, Past.data()), ippStsNoErr);
  EXPECT_EQ(Past, LastInputs);

  ASSERT_EQ(ippsFIRSetDlyLine_64f(Fir.State, Delay.data()), ippStsNoErr);
  EXPECT_EQ(Fir.Whole(X), Y);
  ASSERT_EQ(ippsFIRSetDlyLine_64f(Fir.State, nullptr), ippStsNoErr);
  EXPECT_EQ(Fir.Whole(X), TFir(Taps, nullptr).Whole(X));
}

INSTANTIATE_TEST_SUITE_P(Filters, FirLengths,
                         testing::Values(1, 2, 3, 4, 5, 7, 8, 9, 15, 17, 41, 64, 65, 127, 128, 300,
                                         1001, 5000));

TEST(Filters, WhatIsNotFiniteLeavesAFiniteResponseWithItsLastTap) {
  using TLimits = std::numeric_limits<double>;
  for (const std::size_t Count : {1u, 3u, 8u, 41u, 300u, 1001u})
    for (const double Bad : {TLimits::infinity(), TLimits::quiet_NaN()}) {
      TSamples X(4000, 1.0);
      X[50] = Bad;
      const TSamples Y = TFir(TSamples(Count, 0.5), nullptr).Whole(X);
      for (std::size_t N = 0; N < Y.size(); ++N)
        ASSERT_EQ(std::isfinite(Y[N]), N < 50 || N >= 50 + Count) << Count << ", " << N;
    }
}

TEST(Filters, WhatOverflowsInASpectrumAloneIsNoOverflow) {
  constexpr double Largest = std::numeric_limits<double>::max();
  TSamples X(3000);
  for (const std::size_t N : {50u, 600u, 1100u}) X[N] = Largest;  // two of them meet in an output
  // Three such samples at most, and taps of the norm 0.5 sqrt(1001), in frames of 2,048.
  const long double Bound = 12 * 11 * Eps * std::sqrt(3 * 0.25L * 1001) * Largest;
  const TSamples Y = TFir(TSamples(1001, 0.5), nullptr).Whole(X);
  for (std::size_t N = 0; N < Y.size(); ++N) {
    double Met = 0;
    for (const std::size_t At : {50u, 600u, 1100u}) Met += N - At < 1001 ? Largest / 2 : 0;
    ASSERT_TRUE(IsNear(Y[N], Met, Bound)) << N;
  }
}

// What a filter gives, and how far rounding can lead from it.
struct TResponse {
  TReals Y;
  TReals Bounds;
};

// The impulse response of AB over AA.
TReals Impulse(const TReals& AB, const TReals& AA, std::size_t ALength) {
  TReals Result(ALength);
  for (std::size_t N = 0; N < ALength; ++N) {
    Result[N] = N < AB.size() ? AB[N] : 0;
    for (std::size_t K = 1; K < AA.size() && K <= N; ++K) Result[N] -= AA[K] * Result[N - K];
  }
  return Result;
}

// The section as a direct form II transposed, whose states start as ADelay. A sample's rounding
// errors go through the feedback, those of the section before it through the whole section.
TResponse Filter(const TSectionTaps& ASection, const TResponse& AInput, const double* ADelay,
                 int AErrors) {
  const std::size_t Order = ASection.Order();
  const std::size_t Length = AInput.Y.size();
  TReals B(Order + 1), A(Order + 1), State(Order + 1);
  for (std::size_t K = 0; K <= Order; ++K) {
    B[K] = ASection.B[K] / ASection.A[0];
    A[K] = ASection.A[K] / ASection.A[0];
  }
  if (ADelay) std::copy_n(ADelay, Order, State.begin());
  TResponse Result{TReals(Length), TReals(Length)};
  TReals Errors(Length);
  for (std::size_t N = 0; N < Length; ++N) {
    const long double X = AInput.Y[N];
    const long double Y = Result.Y[N] = B[0] * X + State[0];
    for (std::size_t K = 0; K < Order; ++K) State[K] = B[K + 1] * X - A[K + 1] * Y + State[K + 1];
    long double Magnitude = ADelay && N < Order ? std::fabs(ADelay[N]) : 0.0L;
    for (std::size_t K = 0; K <= Order && K <= N; ++K)
      Magnitude += std::fabs(B[K] * AInput.Y[N - K]) + std::fabs(A[K] * Result.Y[N - K]);
    Errors[N] = static_cast<long double>(AErrors) * Eps * Magnitude;
  }
  const TReals Feedback = Impulse({1}, A, Length);
  const TReals Through = Impulse(B, A, Length);
  for (std::size_t N = 0; N < Length; ++N)
    for (std::size_t K = 0; K <= N; ++K)
      Result.Bounds[N] +=
          std::fabs(Feedback[K]) * Errors[N - K] + std::fabs(Through[K]) * AInput.Bounds[N - K];
  return Result;
}

TResponse Filter(const TChainTaps& AChain, const TSamples& AX, const double* ADelay,
                 bool AIsRestarted = false) {
  TResponse Result{TReals(AX.begin(), AX.end()), TReals(AX.size())};
  for (const TSectionTaps& Section : AChain) {
    // A delay line that was got adds the rounding errors of its entries, as many again.
    const int Errors = static_cast<int>(2 * Section.Order() + 2) * (AIsRestarted ? 2 : 1);
    Result = Filter(Section, Result, ADelay, Errors);
    if (ADelay) ADelay += Section.Order();
  }
  return Result;
}

// Poles between 0.5 and 0.95 from the origin, at angles all around.
TSectionTaps RandomSection(std::size_t AOrder, std::mt19937& AEngine) {
  std::uniform_real_distribution<double> Uniform(0, 1);
  TReals A = {1};
  const auto Multiply = [&A](const TReals& AFactor) {
    TReals Product(A.size() + AFactor.size() - 1);
    for (std::size_t I = 0; I < A.size(); ++I)
      for (std::size_t J = 0; J < AFactor.size(); ++J) Product[I + J] += A[I] * AFactor[J];
    A = Product;
  };
  for (std::size_t Left = AOrder; Left > 0; Left -= std::min<std::size_t>(Left, 2)) {
    const double Radius = 0.5 + 0.45 * Uniform(AEngine);
    const double Angle = std::numbers::pi * Uniform(AEngine);
    if (Left == 1)
      Multiply({1, -Radius});
    else
      Multiply({1, -2 * Radius * std::cos(Angle), Radius * Radius});
  }
  const double A0 = 0.5 + Uniform(AEngine);
  TSectionTaps Result;
  for (std::size_t K = 0; K <= AOrder; ++K) {
    Result.B.push_back(2 * Uniform(AEngine) - 1);
    Result.A.push_back(static_cast<double>(A[K]) * A0);
  }
  return Result;
}

struct TIirCase {
  bool IsBiquads;
  std::size_t Count;  // of sections, or the order
};
std::string NameOf(const TIirCase& ACase) {
  return (ACase.IsBiquads ? "Sections" : "Order") + std::to_string(ACase.Count);
}
void PrintTo(const TIirCase& ACase, std::ostream* AStream) { *AStream << NameOf(ACase); }

class IirFilters : public testing::TestWithParam<TIirCase> {};

TEST_P(IirFilters, FollowTheRecurrenceWhateverTheBlocks) {
  const auto [IsBiquads, Count] = GetParam();
  std::mt19937 Engine(static_cast<unsigned>(Count));
  TChainTaps Chain;
  for (std::size_t I = 0; I < (IsBiquads ? Count : 1); ++I)
    Chain.push_back(RandomSection(IsBiquads ? 2 : Count, Engine));
  const TSamples Delay = RandomSamples(IsBiquads ? 2 * Count : Count, 1.0);
  const TSamples X = RandomSamples(1400);

  const TResponse FromZero = Filter(Chain, X, nullptr);
  ExpectNear(TIir(Chain, IsBiquads, nullptr).Whole(X), FromZero.Y, FromZero.Bounds, "from zero");
  const TResponse FromDelay = Filter(Chain, X, Delay.data());
  TIir Iir(Chain, IsBiquads, Delay.data());
  const TSamples Y = Iir.Whole(X);
  ExpectNear(Y, FromDelay.Y, FromDelay.Bounds, "from a delay line");
  EXPECT_EQ(TIir(Chain, IsBiquads, Delay.data()).InBlocks(X), Y);

  // On with the delay line of the begin, of the next sample, of the middle, as if nothing had been.
  const TResponse Restarted = Filter(Chain, X, Delay.data(), true);
  for (const std::ptrdiff_t Cut : {0, 1, 700}) {
    const TSamples Front(X.begin(), X.begin() + Cut), Back(X.begin() + Cut, X.end());
    ASSERT_EQ(ippsIIRSetDlyLine_64f(Iir.State, Delay.data()), ippStsNoErr);
    if (Cut > 0) {
      EXPECT_EQ(Iir.Whole(Front), TSamples(Y.begin(), Y.begin() + Cut));
    }
    TSamples Middle(Delay.size());
    ASSERT_EQ(ippsIIRGetDlyLine_64f(Iir.State, Middle.data()), ippStsNoErr);
    ExpectNear(TIir(Chain, IsBiquads, Middle.data()).Whole(Back),
               TReals(Restarted.Y.begin() + Cut, Restarted.Y.end()),
               TReals(Restarted.Bounds.begin() + Cut, Restarted.Bounds.end()),
               "restarted at " + std::to_string(Cut));
  }
  ASSERT_EQ(ippsIIRSetDlyLine_64f(Iir.State, nullptr), ippStsNoErr);
  ExpectNear(Iir.Whole(X), FromZero.Y, FromZero.Bounds, "set to zero");
}

INSTANTIATE_TEST_SUITE_P(Filters, IirFilters,
                         testing::Values(TIirCase{false, 1}, TIirCase{false, 2}, TIirCase{false, 3},
                                         TIirCase{false, 4}, TIirCase{false, 5},
                                         TIirCase{false, 12}, TIirCase{true, 1}, TIirCase{true, 2},
                                         TIirCase{true, 3}, TIirCase{true, 4}, TIirCase{true, 5},
                                         TIirCase{true, 7}, TIirCase{true, 8}, TIirCase{true, 9},
                                         TIirCase{true, 17}),
                         [](const auto& AInfo) { return NameOf(AInfo.param); });

TEST(Filters, SilenceBehindASignalEndsInZeros) {
  // Halves with each sample, so that without the flush the last outputs would be denormal.
  const TSectionTaps Halving[] = {{{1, 0}, {1, -0.5}}, {{1, 0, 0, 0}, {1, -0.5, 0, 0}}};
  for (const TSectionTaps& Section : Halving) {
    TSamples X(1200);
    X[0] = 1.0;
    TIir Iir({Section}, false, nullptr);
    const TSamples Y = Iir.InBlocks(X);
    EXPECT_EQ(Y[1022], std::numeric_limits<double>::min());
    EXPECT_EQ(TSamples(Y.begin() + 1023, Y.end()), TSamples(X.size() - 1023));
    volatile double Denormal = std::numeric_limits<double>::min();
    Denormal = Denormal / 2;
    EXPECT_GT(Denormal, 0.0) << "the thread's own mode was not put back";
  }
}

TEST(Filters, ExhaustedMemoryIsToldAndNothingIsLost) {
  const TSamples Taps(300, 0.25);
  IppsFIRState_64f* Fir = nullptr;
  IppsIIRState_64f* Iir = nullptr;
  const std::vector<std::pair<std::function<IppStatus()>, std::function<IppStatus()>>> Pairs = {
      {[&] { return ippsFIRInitAlloc_64f(&Fir, Taps.data(), 41, Taps.data()); },
       [&] { return ippsFIRFree_64f(Fir); }},
      {[&] { return ippsFIRInitAlloc_64f(&Fir, Taps.data(), 300, Taps.data()); },
       [&] { return ippsFIRFree_64f(Fir); }},
      {[&] { return ippsIIRInitAlloc_64f(&Iir, Taps.data(), 2, Taps.data()); },
       [&] { return ippsIIRFree_64f(Iir); }},
      {[&] { return ippsIIRInitAlloc_64f(&Iir, Taps.data(), 20, Taps.data()); },
       [&] { return ippsIIRFree_64f(Iir); }},
      {[&] { return ippsIIRInitAlloc_BiQuad_64f(&Iir, Taps.data(), 10, Taps.data()); },
       [&] { return ippsIIRFree_64f(Iir); }}};
  for (const auto& [Make, Free] : Pairs) {
    int Needed = 0;
    {
      TFailingAllocator Allocator;
      ASSERT_EQ(Make(), ippStsNoErr);
      Needed = Allocator.Allocations;
      EXPECT_EQ(Free(), ippStsNoErr);
      EXPECT_EQ(Allocator.Live, 0);
    }
    Fir = nullptr;
    Iir = nullptr;
    for (int FailAt = 1; FailAt <= Needed; ++FailAt) {
      TFailingAllocator Allocator(FailAt);
      EXPECT_EQ(Make(), ippStsMemAllocErr) << FailAt;
      EXPECT_EQ(Allocator.Live, 0) << FailAt;
      EXPECT_TRUE(!Fir && !Iir) << FailAt;
    }
  }
  EXPECT_EQ(
      ippsFIRInitAlloc_64f(&Fir, Taps.data(), std::numeric_limits<std::int32_t>::max(), nullptr),
      ippStsMemAllocErr);
}

}  // namespace
}  // namespace tessalune::test
