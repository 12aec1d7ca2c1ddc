#include "FailingAllocator.h"
#include "Samples.h"
#include "SharedPlan.h"
#include "TestedInstructionSet.h"

#include <gtest/gtest.h>
#include <tessalune/primitives/QSBasicDispatcher.h>
#include <tessalune/primitives/QSDispatcher.h>

#include <numbers>

namespace tessalune::test {
namespace {

struct TForward {
  using TSpec = DCTFwdSpec_64f;
  using TOther = DCTInvSpec_64f;
  static constexpr bool IsInverse = false;
  static constexpr auto& InitAlloc = ippsDCTFwdInitAlloc_64f;
  static constexpr auto& Free = ippsDCTFwdFree_64f;
  static constexpr auto& GetBufSize = ippsDCTFwdGetBufSize_64f;
  static constexpr auto& Run = ippsDCTFwd_64f;
};

struct TInverse {
  using TSpec = DCTInvSpec_64f;
  using TOther = DCTFwdSpec_64f;
  static constexpr bool IsInverse = true;
  static constexpr auto& InitAlloc = ippsDCTInvInitAlloc_64f;
  static constexpr auto& Free = ippsDCTInvFree_64f;
  static constexpr auto& GetBufSize = ippsDCTInvGetBufSize_64f;
  static constexpr auto& Run = ippsDCTInv_64f;
};

template <class TDirection>
class TPlan {
 public:
  explicit TPlan(std::size_t ALength, std::int32_t AHint = ippAlgHintAccurate) : FLength(ALength) {
    EXPECT_EQ(TDirection::InitAlloc(&FSpec, static_cast<std::int32_t>(ALength), AHint),
              ippStsNoErr);
  }
  ~TPlan() { EXPECT_EQ(TDirection::Free(FSpec), ippStsNoErr); }

  typename TDirection::TSpec* Spec() const { return FSpec; }

  std::int32_t BufSize() const {
    std::int32_t Result = -1;
    EXPECT_EQ(TDirection::GetBufSize(FSpec, &Result), ippStsNoErr);
    return Result;
  }

  std::vector<double> operator()(const std::vector<double>& AInput) const {
    std::vector<double> Result(FLength);
    EXPECT_EQ(TDirection::Run(AInput.data(), Result.data(), FSpec, nullptr), ippStsNoErr);
    return Result;
  }

 private:
  std::size_t FLength;
  typename TDirection::TSpec* FSpec = nullptr;
};

// By the definition.
std::vector<long double> Exact(const std::vector<double>& AInput, bool AInverse) {
  const std::size_t N = AInput.size();
  std::vector<long double> Cosines(4 * N);
  for (std::size_t I = 0; I < 4 * N; ++I)
    Cosines[I] = std::cos(std::numbers::pi_v<long double> * static_cast<long double>(I) /
                          static_cast<long double>(2 * N));
  std::vector<long double> Result(N);
  for (std::size_t K = 0; K < N; ++K) {
    const long double Scale = std::sqrt((K == 0 ? 1.0L : 2.0L) / static_cast<long double>(N));
    long double Sum = 0;
    for (std::size_t I = 0, Index = K; I < N; ++I) {
      if (AInverse)
        Result[I] += Scale * AInput[K] * Cosines[Index];
      else
        Sum += AInput[I] * Cosines[Index];
      Index += 2 * K;
      if (Index >= 4 * N) Index -= 4 * N;
    }
    if (!AInverse) Result[K] = Scale * Sum;
  }
  return Result;
}

long double RelativeError(const std::vector<double>& AActual,
                          const std::vector<long double>& AExact) {
  long double Error = 0, Norm = 0;
  for (std::size_t I = 0; I < AExact.size(); ++I) {
    Error += (AActual[I] - AExact[I]) * (AActual[I] - AExact[I]);
    Norm += AExact[I] * AExact[I];
  }
  return std::sqrt(Error / Norm);
}

bool IsPowerOfTwo(std::size_t ALength) { return (ALength & (ALength - 1)) == 0; }

// What the header promises of data without structure.
long double Bound(std::size_t ALength, std::int32_t AHint) {
  const auto N = static_cast<long double>(ALength);
  const long double Growth = std::sqrt(std::log2(N));
  if (!IsPowerOfTwo(ALength)) return (ALength <= 100 ? 2 + std::sqrt(N) : 6 * Growth) * Eps;
  if (ALength <= 8) return 2 * Eps;
  if (AHint != ippAlgHintAccurate || ALength <= 512) return 4 * std::sqrt(N) * Eps;
  return (1.2L * Growth + 2) * Eps;
}

template <class TDirection>
class Dct : public testing::Test {};

using TDirections = testing::Types<TForward, TInverse>;
TYPED_TEST_SUITE(Dct, TDirections);

TYPED_TEST(Dct, IsTheSumOfItsDefinitionOnEveryRoadAndInPlace) {
  std::vector<std::size_t> Lengths = {1000, 1021, 1024, 2048, 2310, 4096};
  for (std::size_t N = 1; N <= 600; ++N) Lengths.push_back(N);
  for (const std::size_t N : Lengths) {
    const std::vector<double> X = RandomSamples(N);
    const std::vector<long double> Expected = Exact(X, TypeParam::IsInverse);
    for (const std::int32_t Hint : {ippAlgHintNone, ippAlgHintAccurate}) {
      SCOPED_TRACE(testing::Message() << N << " samples, hint " << Hint);
      const TPlan<TypeParam> Plan(N, Hint);
      const std::vector<double> Y = Plan(X);
      EXPECT_LE(RelativeError(Y, Expected), Bound(N, Hint));

      std::vector<double> InPlace = X;
      // At an odd address, as a buffer of bytes may be.
      std::vector<std::uint8_t> Buffer(static_cast<std::size_t>(Plan.BufSize()) + 1);
      ASSERT_EQ(TypeParam::Run(InPlace.data(), InPlace.data(), Plan.Spec(), Buffer.data() + 1),
                ippStsNoErr);
      EXPECT_EQ(InPlace, Y);
    }
  }
}

TYPED_TEST(Dct, ByRecursionAnyInputErrsByLessThanNEps) {
  for (const std::size_t N : {16u, 512u, 2048u})
    for (std::size_t I = N / 2 - 2; I < N / 2 + 2; ++I) {
      std::vector<double> X(N);
      X[I] = 1;
      const TPlan<TypeParam> Plan(N, ippAlgHintFast);
      EXPECT_LE(RelativeError(Plan(X), Exact(X, TypeParam::IsInverse)),
                static_cast<long double>(N) * Eps)
          << N << " samples, impulse at " << I;
    }
}

TYPED_TEST(Dct, RefusesPlanThenItsDirectionThenPointers) {
  using TSpec = typename TypeParam::TSpec;
  TSpec* New = nullptr;
  EXPECT_EQ(TypeParam::InitAlloc(nullptr, 0, 0), ippStsNullPtrErr);
  for (const std::int32_t Length : {0, -1})
    EXPECT_EQ(TypeParam::InitAlloc(&New, Length, 0), ippStsSizeErr);
  {
    // An odd prime, twice one and powers of two; above 2^29 a convolution has no length.
    const TFailingAllocator Allocator(2);
    for (const std::int32_t Length : {0x7fffffff, 2 * 536870923, 1 << 29, 1 << 30})
      for (const std::int32_t Hint : {ippAlgHintFast, ippAlgHintAccurate})
        EXPECT_EQ(TypeParam::InitAlloc(&New, Length, Hint), ippStsMemAllocErr) << Length;
    EXPECT_EQ(TFailingAllocator::Live, 0);
  }
  EXPECT_EQ(New, nullptr);

  using TOtherDirection = std::conditional_t<TypeParam::IsInverse, TForward, TInverse>;
  const TPlan<TypeParam> Plan(12);
  const TPlan<TOtherDirection> OtherPlan(12);
  const std::vector<double> X(12, 1.0);
  std::vector<double> Y(12, 0.1);
  std::int32_t Size = 77;
  const auto ExpectRefused = [&](TSpec* ASpec, IppStatus AStatus) {
    EXPECT_EQ(TypeParam::Free(ASpec), AStatus);
    EXPECT_EQ(TypeParam::GetBufSize(ASpec, &Size), AStatus);
    EXPECT_EQ(TypeParam::Run(X.data(), Y.data(), ASpec, nullptr), AStatus);
    EXPECT_EQ(TypeParam::Run(nullptr, nullptr, ASpec, nullptr), AStatus);
  };
  ExpectRefused(nullptr, ippStsNullPtrErr);
  ExpectRefused(reinterpret_cast<TSpec*>(OtherPlan.Spec()), ippStsContextMatchErr);
  UnderOtherInstructionSets([&] { ExpectRefused(Plan.Spec(), ippStsContextMatchErr); });
  EXPECT_EQ(TypeParam::GetBufSize(Plan.Spec(), nullptr), ippStsNullPtrErr);
  EXPECT_EQ(TypeParam::Run(nullptr, Y.data(), Plan.Spec(), nullptr), ippStsNullPtrErr);
  EXPECT_EQ(TypeParam::Run(X.data(), nullptr, Plan.Spec(), nullptr), ippStsNullPtrErr);
  EXPECT_EQ(Size, 77);
  EXPECT_EQ(Y, std::vector<double>(12, 0.1));
}

TYPED_TEST(Dct, MayBeSharedByThreadsOnEveryRoad) {
  for (const std::size_t N : {8u, 64u, 99u, 102u, 1000u, 1021u, 1024u, 4096u}) {
    const TPlan<TypeParam> Plan(N);
    EXPECT_EQ(FailuresOfThreads(RandomSamples(N), N, Plan.BufSize(),
                                [&](const double* ASource, double* ATarget, auto* ABuffer) {
                                  return TypeParam::Run(ASource, ATarget, Plan.Spec(), ABuffer);
                                }),
              0)
        << N;
  }
}

TYPED_TEST(Dct, ShowsInfinitiesAndNansInEveryResult) {
  for (const std::size_t N : {1u, 2u, 4u, 8u, 16u, 99u, 102u, 512u, 1000u, 1021u, 1024u})
    for (const std::int32_t Hint : {ippAlgHintFast, ippAlgHintAccurate})
      for (const double Value : {std::nan(""), -HUGE_VAL})
        for (const std::size_t Index : {std::size_t{0}, N / 2, N - 1}) {
          std::vector<double> X = RandomSamples(N);
          X[Index] = Value;
          for (const double Result : TPlan<TypeParam>(N, Hint)(X))
            ASSERT_FALSE(std::isfinite(Result)) << Value << " at " << Index << " of " << N;
        }
}

TYPED_TEST(Dct, WithoutMemoryLeavesAllAsItWas) {
  for (const std::size_t N : {8u, 100u, 101u, 256u, 257u, 512u, 1000u, 1018u, 1024u, 16384u})
    for (const std::int32_t Hint : {ippAlgHintFast, ippAlgHintAccurate}) {
      SCOPED_TRACE(testing::Message() << N << " samples, hint " << Hint);
      const auto Length = static_cast<std::int32_t>(N);
      typename TypeParam::TSpec* Spec = nullptr;
      TFailingAllocator Allocator;
      for (int FailAt = 1; !Spec; ++FailAt) {
        TFailingAllocator::FailAt = FailAt;
        TFailingAllocator::Allocations = 0;
        const IppStatus Status = TypeParam::InitAlloc(&Spec, Length, Hint);
        EXPECT_EQ(Status, Spec ? ippStsNoErr : ippStsMemAllocErr);
        EXPECT_TRUE(Spec || TFailingAllocator::Live == 0) << "allocation " << FailAt;
        ASSERT_LT(FailAt, 20);
      }

      const std::vector<double> X(N, 1.0);
      std::vector<double> Y(N, 0.1);
      std::int32_t BufSize = 0;
      EXPECT_EQ(TypeParam::GetBufSize(Spec, &BufSize), ippStsNoErr);
      const bool IsSmall = N <= 256 || (IsPowerOfTwo(N) && N <= 1024);
      EXPECT_TRUE(!IsSmall || BufSize == 0) << BufSize;
      TFailingAllocator::FailAt = 1;
      TFailingAllocator::Allocations = 0;
      EXPECT_EQ(TypeParam::Run(X.data(), Y.data(), Spec, nullptr),
                BufSize == 0 ? ippStsNoErr : ippStsMemAllocErr);
      EXPECT_EQ(TFailingAllocator::Allocations, BufSize == 0 ? 0 : 1);
      EXPECT_TRUE(BufSize == 0 || Y == std::vector<double>(N, 0.1));
      EXPECT_EQ(TypeParam::Free(Spec), ippStsNoErr);
      EXPECT_EQ(TFailingAllocator::Live, 0);
    }
}

TEST(DctPair, ForthAndBackIsTheInputAndKeepsTheSumOfSquaresOnTheWay) {
  for (const std::size_t N : {1u, 2u, 3u, 4u, 8u, 16u, 100u, 101u, 102u, 512u, 1000u, 1024u})
    for (const std::int32_t Hint : {ippAlgHintNone, ippAlgHintAccurate}) {
      SCOPED_TRACE(testing::Message() << N << " samples, hint " << Hint);
      const std::vector<double> X = RandomSamples(N);
      const std::vector<double> Y = TPlan<TForward>(N, Hint)(X);
      const std::vector<double> Back = TPlan<TInverse>(N, Hint)(Y);
      EXPECT_LE(RelativeError(Back, {X.begin(), X.end()}), 2 * Bound(N, Hint));
      long double Before = 0, After = 0;
      for (const double Value : X) Before += static_cast<long double>(Value) * Value;
      for (const double Value : Y) After += static_cast<long double>(Value) * Value;
      EXPECT_LE(std::fabs(After / Before - 1), 2.001L * Bound(N, Hint));
    }
}

}  // namespace
}  // namespace tessalune::test
