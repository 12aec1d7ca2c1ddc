#include "FailingAllocator.h"
#include "Vectors.h"

#include <tessalune/primitives/QSDispatcher.h>

#include <algorithm>
#include <limits>

namespace tessalune::test {
namespace {

// The definition: NaNs rank above all, and the source goes on with its first and its last sample.
double MedianAt(const TSamples& X, std::ptrdiff_t AIndex, std::ptrdiff_t AHalf) {
  const auto Last = static_cast<std::ptrdiff_t>(X.size()) - 1;
  TSamples Window;
  for (std::ptrdiff_t I = AIndex - AHalf; I <= AIndex + AHalf; ++I)
    Window.push_back(X[static_cast<std::size_t>(std::clamp<std::ptrdiff_t>(I, 0, Last))]);
  const auto Middle = Window.begin() + AHalf;
  std::nth_element(Window.begin(), Middle, Window.end(),
                   [](double A, double B) { return std::isnan(B) ? !std::isnan(A) : A < B; });
  return *Middle;
}

void ExpectMedians(const TSamples& X, std::int32_t AMask) {
  const auto Length = static_cast<std::int32_t>(X.size());
  const IppStatus Expected = AMask % 2 == 0 ? ippStsEvenMedianMaskSize : ippStsNoErr;
  TSamples Apart(X.size() + 1, 777.0), InPlace = X;
  ASSERT_EQ(ippsFilterMedian_64f(X.data(), Apart.data(), Length, AMask), Expected);
  ASSERT_EQ(ippsFilterMedian_64f(InPlace.data(), InPlace.data(), Length, AMask), Expected);
  EXPECT_EQ(Apart.back(), 777.0);
  for (std::size_t I = 0; I < X.size(); ++I) {
    const double Median = MedianAt(X, static_cast<std::ptrdiff_t>(I), (AMask - 1) / 2);
    for (const double Y : {Apart[I], InPlace[I]})
      ASSERT_TRUE(Y == Median || (Y != Y && Median != Median))
          << "length " << Length << ", mask " << AMask << ", sample " << I << ": " << Y
          << " is not " << Median;
  }
}

// Random samples of which many are equal.
TSamples Coarse(std::size_t ACount) {
  TSamples Result = RandomSamples(ACount, 4.0);
  for (std::size_t I = 0; I < ACount; I += 2) Result[I] = std::round(Result[I]);
  return Result;
}

TEST(Median, IsThatOfTheMaskAtEveryLength) {
  for (std::size_t Count = 1; Count <= 70; ++Count)
    for (const std::int32_t Mask : {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 15, 16, 17, 31, 69, 101})
      ExpectMedians(Coarse(Count), Mask);
}

TEST(Median, RunsOnFromBlockToBlock) {
  TSamples Monotonous;
  for (int I = 0; I < 600; ++I) Monotonous.push_back(I < 100 ? -Inf : I > 500 ? Inf : I);
  for (const std::int32_t Mask : {3, 5, 7, 9, 31, 101}) ExpectMedians(Monotonous, Mask);
  for (const std::size_t Count : {511u, 512u, 513u, 517u, 1030u, 1600u})
    for (const std::int32_t Mask : {3, 5, 7, 9, 31, 101, 1023, 1300})
      ExpectMedians(Coarse(Count), Mask);
}

TEST(Median, AMaskLargerThanTheSourceCostsWhatTheSourceDoes) {
  const TSamples X = Coarse(40);
  TSamples Expected(40), Actual(40);
  ASSERT_EQ(ippsFilterMedian_64f(X.data(), Expected.data(), 40, 101), ippStsNoErr);
  ASSERT_EQ(
      ippsFilterMedian_64f(X.data(), Actual.data(), 40, std::numeric_limits<std::int32_t>::max()),
      ippStsNoErr);
  EXPECT_EQ(Actual, Expected);
}

TEST(Median, NotANumberRanksAboveAllInALargeMaskAndIsForgottenBehindIt) {
  TSamples X = Coarse(700);
  for (const std::size_t At : {0u, 3u, 4u, 5u, 20u, 513u, 514u, 515u, 516u, 517u, 699u})
    X[At] = NaN;
  std::fill_n(X.begin() + 200, 40, NaN);
  X[100] = X[214] = Inf;
  for (const std::int32_t Mask : {9, 31, 101}) {
    TSamples Numbers = X;
    // The first and the last sample stay, whatever the mask makes of them.
    Numbers.front() = Numbers.back() = 0.5;
    ExpectMedians(Numbers, Mask);
  }
  for (const std::int32_t Mask : {3, 5, 7}) {
    TSamples Y(700);
    ASSERT_EQ(ippsFilterMedian_64f(X.data(), Y.data(), 700, Mask), ippStsNoErr);
    for (std::int32_t I = 0; I < 700; ++I) {
      const auto Begin = X.begin() + std::max(0, I - Mask / 2);
      const auto End = X.begin() + std::min(699, I + Mask / 2) + 1;
      const double Value = Y[static_cast<std::size_t>(I)];
      EXPECT_TRUE(std::any_of(Begin, End,
                              [=](double Z) { return Z == Value || (Z != Z && Value != Value); }))
          << "mask " << Mask << ": " << Value << " is no sample around " << I;
    }
    EXPECT_TRUE(std::isnan(Y.front()) && std::isnan(Y.back()));
  }
}

TEST(Median, ExhaustionLeavesTheCopy) {
  const TSamples X = Coarse(50);
  TSamples Y(50), InPlace = X;
  {
    TFailingAllocator Allocator(1);
    EXPECT_EQ(ippsFilterMedian_64f(X.data(), Y.data(), 50, 10), ippStsMemAllocErr);
    EXPECT_EQ(ippsFilterMedian_64f(InPlace.data(), InPlace.data(), 50, 101), ippStsMemAllocErr);
    EXPECT_EQ(Allocator.Allocations, 2);
    EXPECT_EQ(Y, X);
    EXPECT_EQ(InPlace, X);
    EXPECT_EQ(ippsFilterMedian_64f(X.data(), Y.data(), 50, 7), ippStsNoErr);
    EXPECT_EQ(Allocator.Allocations, 2);
  }
  TFailingAllocator Allocator;
  EXPECT_EQ(ippsFilterMedian_64f(X.data(), Y.data(), 50, 9), ippStsNoErr);
  EXPECT_EQ(Allocator.Allocations, 1);
  EXPECT_EQ(Allocator.Live, 0);
}

}  // namespace
}  // namespace tessalune::test
