#include "FailingAllocator.h"
#include "GuardedMemory.h"
#include "Vectors.h"

#include <tessalune/primitives/QSBasicDispatcher.h>

#include <algorithm>
#include <functional>
#include <numbers>
#include <string>

namespace tessalune::test {
namespace {

using TReals = std::vector<long double>;

// A filter, from its state's making to its end.
class TFilter {
 public:
  // Taps as the primitives take them, of a chain of sections or of one section.
  static TFilter Fir(const TSamples& ATaps, const double* ADelay) {
    TFilter Result;
    EXPECT_EQ(ippsFIRInitAlloc_64f(&Result.FFir, ATaps.data(), LengthOf(ATaps), ADelay),
              ippStsNoErr);
    return Result;
  }
  static TFilter Iir(const TSamples& ATaps, bool AIsChain, const double* ADelay) {
    TFilter Result;
    const auto Make = AIsChain ? ippsIIRInitAlloc_BiQuad_64f : ippsIIRInitAlloc_64f;
    const std::int32_t Count = AIsChain ? LengthOf(ATaps) / 6 : LengthOf(ATaps) / 2 - 1;
    EXPECT_EQ(Make(&Result.FIir, ATaps.data(), Count, ADelay), ippStsNoErr);
    return Result;
  }
  TFilter(TFilter&& AOther)
      : FFir(std::exchange(AOther.FFir, nullptr)), FIir(std::exchange(AOther.FIir, nullptr)) {}
  ~TFilter() {
    EXPECT_TRUE(!FFir || ippsFIRFree_64f(FFir) == ippStsNoErr);
    EXPECT_TRUE(!FIir || ippsIIRFree_64f(FIir) == ippStsNoErr);
  }

  TSamples Whole(const TSamples& AX) {
    TSamples Y(AX.size());
    Run(AX.data(), Y.data(), Y.size());
    return Y;
  }
  // The same stream in place, in blocks of one sample and of many sizes.
  TSamples InBlocks(TSamples AX) {
    std::mt19937 Engine(7);
    for (std::size_t From = 0, Length = 0; From < AX.size(); From += Length) {
      Length = std::min(From < 100 ? 1 : 1 + Engine() % 901, AX.size() - From);
      Run(AX.data() + From, AX.data() + From, Length);
    }
    return AX;
  }
  void SetDelay(const double* ADelay) {
    EXPECT_EQ(FFir ? ippsFIRSetDlyLine_64f(FFir, ADelay) : ippsIIRSetDlyLine_64f(FIir, ADelay),
              ippStsNoErr);
  }
  TSamples Delay(std::size_t ACount) {
    TSamples Result(ACount);
    EXPECT_EQ(FFir ? ippsFIRGetDlyLine_64f(FFir, Result.data())
                   : ippsIIRGetDlyLine_64f(FIir, Result.data()),
              ippStsNoErr);
    return Result;
  }

 private:
  TFilter() = default;
  void Run(const double* ASource, double* ATarget, std::size_t ALength) {
    const auto Length = static_cast<std::int32_t>(ALength);
    const TGuarded<double> Source(TSamples(ASource, ASource + ALength), TGuardedSide::Back);
    const TGuarded<double> Other(TSamples(ALength), TGuardedSide::Back);
    double* const Target = ASource == ATarget ? Source.data() : Other.data();
    EXPECT_EQ(FFir ? ippsFIR_64f(Source.data(), Target, Length, FFir)
                   : ippsIIR_64f(Source.data(), Target, Length, FIir),
              ippStsNoErr);
    std::copy_n(Target, ALength, ATarget);
  }

  IppsFIRState_64f* FFir = nullptr;
  IppsIIRState_64f* FIir = nullptr;
};

void ExpectNear(const TSamples& AActual, const TReals& AExpected, const TReals& ABounds,
                const std::string& ACase) {
  for (std::size_t N = 0; N < AActual.size(); ++N)
    ASSERT_TRUE(IsNear(AActual[N], AExpected[N], ABounds[N])) << ACase << ", sample " << N;
}

class FirLengths : public testing::TestWithParam<std::size_t> {};
INSTANTIATE_TEST_SUITE_P(Filters, FirLengths,
                         testing::Values(1, 2, 3, 4, 5, 7, 8, 9, 15, 17, 41, 64, 65, 127, 128, 300,
                                         1001, 5000));

TEST_P(FirLengths, ConvolvesWhateverTheBlocks) {
  const std::size_t Count = GetParam();
  const bool GoesBySpectra = Count >= 128;
  const TSamples Taps = RandomSamples(Count, 1.0);
  const TSamples Delay = RandomSamples(Count, 3.0);
  const TSamples X = RandomSamples(2700);
  TReals Expected(X.size()), Bounds(X.size());
  long double TapSquares = 0, Squares = 0;
  for (std::size_t K = 0; K < Count; ++K)
    TapSquares += Taps[K] * Taps[K], Squares += Delay[K] * Delay[K];
  for (const double Sample : X) Squares += Sample * Sample;
  for (std::size_t N = 0; N < X.size(); ++N) {
    long double Magnitude = 0;
    for (std::size_t K = 0; K < Count; ++K) {
      const long double Product =
          static_cast<long double>(Taps[K]) * (K <= N ? X[N - K] : Delay[K - N - 1]);
      Expected[N] += Product;
      Magnitude += std::fabs(Product);
    }
    Bounds[N] = static_cast<long double>(Count + 1) * Eps * Magnitude;
    // No frame has more samples than these, and none more energy than the whole.
    const long double Frame = 4 * static_cast<long double>(Count) + 2048;
    if (GoesBySpectra) Bounds[N] += 12 * std::log2(Frame) * Eps * std::sqrt(TapSquares * Squares);
  }
  TFilter Fir = TFilter::Fir(Taps, Delay.data());
  const TSamples Y = Fir.Whole(X);
  ExpectNear(Y, Expected, Bounds, "whole");
  const TSamples Blocks = TFilter::Fir(Taps, Delay.data()).InBlocks(X);
  ExpectNear(Blocks, Expected, Bounds, "in blocks");
  EXPECT_TRUE(GoesBySpectra || Blocks == Y);

  TSamples LastInputs(Count);
  for (std::size_t K = 0; K < Count; ++K)
    LastInputs[K] = K < X.size() ? X[X.size() - 1 - K] : Delay[K - X.size()];
  EXPECT_EQ(Fir.Delay(Count), LastInputs);
  Fir.SetDelay(Delay.data());
  EXPECT_EQ(Fir.Whole(X), Y);
  Fir.SetDelay(nullptr);
  EXPECT_EQ(Fir.Whole(X), TFilter::Fir(Taps, nullptr).Whole(X));
}

TEST(Filters, WhatIsNotFiniteLeavesAFiniteResponseWithItsLastTap) {
  for (const std::size_t Count : {1u, 3u, 8u, 41u, 300u, 1001u})
    for (const double Bad : {Inf, NaN}) {
      TSamples X(4000, 1.0);
      X[50] = Bad;
      const TSamples Y = TFilter::Fir(TSamples(Count, 0.5), nullptr).Whole(X);
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
  const TSamples Y = TFilter::Fir(TSamples(1001, 0.5), nullptr).Whole(X);
  for (std::size_t N = 0; N < Y.size(); ++N) {
    double Met = 0;
    for (const std::size_t At : {50u, 600u, 1100u}) Met += N - At < 1001 ? Largest / 2 : 0;
    ASSERT_TRUE(IsNear(Y[N], Met, Bound)) << N;
  }
}

// Sections of AOrder, one behind the other, as direct forms II transposed with the states ADelay.
TReals Recurrence(const TSamples& ATaps, std::size_t AOrder, const TSamples& AX,
                  const double* ADelay) {
  TReals Y(AX.begin(), AX.end());
  for (std::size_t At = 0; At < ATaps.size(); At += 2 * (AOrder + 1)) {
    const double *const B = &ATaps[At], *const A = B + AOrder + 1;
    TReals State(AOrder + 1);
    if (ADelay) std::copy_n(ADelay, AOrder, State.begin()), ADelay += AOrder;
    for (long double& Sample : Y) {
      const long double X = Sample / A[0];
      Sample = B[0] * X + State[0];
      for (std::size_t K = 1; K <= AOrder; ++K)
        State[K - 1] = B[K] * X - A[K] * Sample / A[0] + State[K];
    }
  }
  return Y;
}

// Poles between 0.5 and 0.95 from the origin, at angles all around.
TSamples RandomSection(std::size_t AOrder, std::mt19937& AEngine) {
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
  TSamples Result;
  for (std::size_t K = 0; K <= AOrder; ++K) Result.push_back(2 * Uniform(AEngine) - 1);
  for (const long double Each : A) Result.push_back(static_cast<double>(Each) * A0);
  return Result;
}

struct TIirCase {
  bool IsChain;
  std::size_t Count;  // of sections, or the order
};
void PrintTo(const TIirCase& ACase, std::ostream* AStream) {
  *AStream << (ACase.IsChain ? "Sections" : "Order") << ACase.Count;
}

class IirFilters : public testing::TestWithParam<TIirCase> {};
INSTANTIATE_TEST_SUITE_P(Filters, IirFilters,
                         testing::Values(TIirCase{false, 1}, TIirCase{false, 2}, TIirCase{false, 3},
                                         TIirCase{false, 4}, TIirCase{false, 5},
                                         TIirCase{false, 12}, TIirCase{true, 1}, TIirCase{true, 2},
                                         TIirCase{true, 3}, TIirCase{true, 4}, TIirCase{true, 5},
                                         TIirCase{true, 7}, TIirCase{true, 8}, TIirCase{true, 9},
                                         TIirCase{true, 17}),
                         testing::PrintToStringParamName());

TEST_P(IirFilters, FollowTheRecurrenceWhateverTheBlocks) {
  const auto [IsChain, Count] = GetParam();
  const std::size_t Order = IsChain ? 2 : Count;
  std::mt19937 Engine(static_cast<unsigned>(Count));
  TSamples Taps;
  for (std::size_t I = 0; I < (IsChain ? Count : 1); ++I)
    for (const double Tap : RandomSection(Order, Engine)) Taps.push_back(Tap);
  const TSamples Delay = RandomSamples(IsChain ? 2 * Count : Count, 1.0);
  const TSamples X = RandomSamples(1400);
  // What a rounding error leaves rings on; with these poles it stays far below this.
  const auto Bounds = [](const TReals& AExpected) {
    long double Peak = 0;
    for (const long double Y : AExpected) Peak = std::max(Peak, std::fabs(Y));
    return TReals(AExpected.size(), 4e4L * Eps * Peak);
  };

  const TReals FromZero = Recurrence(Taps, Order, X, nullptr);
  const TReals FromDelay = Recurrence(Taps, Order, X, Delay.data());
  TFilter Iir = TFilter::Iir(Taps, IsChain, Delay.data());
  const TSamples Y = Iir.Whole(X);
  ExpectNear(Y, FromDelay, Bounds(FromDelay), "from a delay line");
  EXPECT_EQ(TFilter::Iir(Taps, IsChain, Delay.data()).InBlocks(X), Y);
  const TSamples Zero = TFilter::Iir(Taps, IsChain, nullptr).Whole(X);
  ExpectNear(Zero, FromZero, Bounds(FromZero), "from zero");
  Iir.SetDelay(nullptr);
  EXPECT_EQ(Iir.Whole(X), Zero);

  // On with the delay line of the begin, of the next sample, of the middle, as if nothing had been.
  for (const std::ptrdiff_t Cut : {0, 1, 700}) {
    Iir.SetDelay(Delay.data());
    const TSamples Front(Y.begin(), Y.begin() + Cut);
    EXPECT_TRUE(Cut == 0 || Iir.Whole({X.begin(), X.begin() + Cut}) == Front);
    const TSamples Middle = Iir.Delay(Delay.size());
    ExpectNear(TFilter::Iir(Taps, IsChain, Middle.data()).Whole({X.begin() + Cut, X.end()}),
               {FromDelay.begin() + Cut, FromDelay.end()}, Bounds(FromDelay),
               "restarted at " + std::to_string(Cut));
  }
}

TEST(Filters, SilenceBehindASignalEndsInZeros) {
  // Halves with each sample, so that without the flush the last outputs would be denormal.
  for (const TSamples& Halving : {TSamples{1, 0, 1, -0.5}, {1, 0, 0, 0, 1, -0.5, 0, 0}}) {
    TSamples X(1200);
    X[0] = 1.0;
    const TSamples Y = TFilter::Iir(Halving, false, nullptr).InBlocks(X);
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
  const double* const T = Taps.data();
  for (const auto& Make : std::initializer_list<std::function<IppStatus()>>{
           [&] { return ippsFIRInitAlloc_64f(&Fir, T, 41, T); },
           [&] { return ippsFIRInitAlloc_64f(&Fir, T, 300, T); },
           [&] { return ippsIIRInitAlloc_64f(&Iir, T, 2, T); },
           [&] { return ippsIIRInitAlloc_64f(&Iir, T, 20, T); },
           [&] { return ippsIIRInitAlloc_BiQuad_64f(&Iir, T, 10, T); }}) {
    TFailingAllocator Allocator;
    for (int FailAt = 1; !Fir && !Iir; ++FailAt) {
      ASSERT_LT(FailAt, 20);
      Allocator.FailAt = FailAt;
      Allocator.Allocations = 0;
      if (Make() == ippStsNoErr) continue;
      EXPECT_EQ(Allocator.Live, 0) << FailAt;
      EXPECT_TRUE(!Fir && !Iir) << FailAt;
    }
    EXPECT_TRUE(!Fir || ippsFIRFree_64f(std::exchange(Fir, nullptr)) == ippStsNoErr);
    EXPECT_TRUE(!Iir || ippsIIRFree_64f(std::exchange(Iir, nullptr)) == ippStsNoErr);
    EXPECT_EQ(Allocator.Live, 0);
  }
  EXPECT_EQ(ippsFIRInitAlloc_64f(&Fir, T, std::numeric_limits<std::int32_t>::max(), nullptr),
            ippStsMemAllocErr);
}

}  // namespace
}  // namespace tessalune::test
