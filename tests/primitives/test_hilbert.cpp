#include "FailingAllocator.h"
#include "Samples.h"
#include "SharedPlan.h"
#include "SpectrumOracle.h"
#include "TestedInstructionSet.h"

#include <gtest/gtest.h>
#include <tessalune/primitives/QSDispatcher.h>
#include <tessalune/primitives/QSHilbertDispatcher.h>
#include <tessalune/primitives/Transforms.h>

namespace tessalune::test {
namespace {

constexpr long double SingleEps = 0x1p-24L;

class TPlan {
 public:
  explicit TPlan(std::size_t ALength) : FLength(ALength) {
    EXPECT_EQ(ippsHilbertInitAlloc_32f32fc(&FSpec, static_cast<std::int32_t>(ALength), 2),
              ippStsNoErr);
  }
  ~TPlan() { EXPECT_EQ(ippsHilbertFree_32f32fc(FSpec), ippStsNoErr); }

  HilbertSpec_32f32fc* Spec() const { return FSpec; }

  std::vector<TExact> operator()(const std::vector<float>& AInput) const {
    std::vector<Ipp32fc> Output(FLength);
    EXPECT_EQ(ippsHilbert_32f32fc(AInput.data(), Output.data(), FSpec), ippStsNoErr);
    std::vector<TExact> Result;
    for (const Ipp32fc& Value : Output) Result.emplace_back(Value.Re, Value.Im);
    return Result;
  }

 private:
  std::size_t FLength;
  HilbertSpec_32f32fc* FSpec = nullptr;
};

// By the definition: the sum over the bins from 0 to N/2, those in between doubled.
std::vector<TExact> AnalyticSignal(const std::vector<float>& AInput) {
  const std::size_t N = AInput.size();
  const TSpectrumOracle Oracle(N);
  std::vector<TExact> Bins = Oracle.Forward({AInput.begin(), AInput.end()});
  for (std::size_t K = 0; K < N; ++K) {
    const long double Weight = K == 0 || 2 * K == N ? 1 : 2 * K < N ? 2 : 0;
    Bins[K] *= Weight / static_cast<long double>(N);
  }
  return Oracle.Inverse(Bins);
}

long double Error(const std::vector<TExact>& AActual, const std::vector<TExact>& AExact) {
  long double Result = 0, Norm = 0;
  for (std::size_t I = 0; I < AExact.size(); ++I) {
    Result += std::norm(AActual[I] - AExact[I]);
    Norm += std::norm(AExact[I]);
  }
  return std::sqrt(Result / Norm);
}

// Of two transforms: by mixed radices, or the larger one of the other roads.
long double Bound(std::size_t ALength) {
  const auto N = static_cast<long double>(ALength);
  if ((ALength & (ALength - 1)) == 0) return 2 * (1.2L * std::sqrt(std::log2(N)) + 1) * SingleEps;
  return 2 * (4 * std::sqrt(std::log2(4 * N)) + 2) * SingleEps;
}

TEST(Hilbert, TakesTheNegativeFrequenciesOfAnyLengthAway) {
  std::vector<std::size_t> Lengths = {1000, 1021, 1024, 4096};
  for (std::size_t N = 3; N <= 600; ++N) Lengths.push_back(N);
  for (const std::size_t N : Lengths) {
    const std::vector<double> Samples = RandomSamples(N);
    const std::vector<float> X(Samples.begin(), Samples.end());
    EXPECT_LE(Error(TPlan(N)(X), AnalyticSignal(X)), Bound(N)) << N;
  }
}

TEST(Hilbert, OneOrTwoSamplesStayAsTheyAre) {
  EXPECT_EQ(TPlan(1)({0.1F}), (std::vector<TExact>{0.1F}));
  EXPECT_EQ(TPlan(2)({0.1F, 0.7F}), (std::vector<TExact>{0.1F, 0.7F}));
}

TEST(Hilbert, OfACosineIsTheSineBesideIt) {
  for (const std::size_t N : {3u, 4u, 99u, 100u, 128u})
    for (const std::size_t Bin : {std::size_t{0}, std::size_t{1}, N / 3, (N - 1) / 2, N / 2}) {
      std::vector<float> X;
      std::vector<TExact> Expected;
      for (std::size_t I = 0; I < N; ++I) {
        const long double Angle = 2 * std::numbers::pi_v<long double> *
                                  static_cast<long double>(I * Bin % N) /
                                  static_cast<long double>(N);
        X.push_back(static_cast<float>(std::cos(Angle)));
        // A constant and the alternating signal have no sine.
        Expected.emplace_back(std::cos(Angle), 2 * Bin % N == 0 ? 0 : std::sin(Angle));
      }
      // The samples' own rounding comes in addition.
      EXPECT_LE(Error(TPlan(N)(X), Expected), Bound(N) + 2 * SingleEps) << N << ", bin " << Bin;
    }
}

// The bins of a constant are 0, but for one that is N times as large.
TEST(Hilbert, OfAConstantOverflowsOnlyIfItsSumDoes) {
  const float Large = 6e37F;
  EXPECT_EQ(TPlan(4)(std::vector<float>(4, Large)), std::vector<TExact>(4, Large));
  const std::vector<float> Alternating = {Large, -Large, Large, -Large};
  EXPECT_EQ(TPlan(4)(Alternating), std::vector<TExact>(Alternating.begin(), Alternating.end()));
}

TEST(Hilbert, ShowsInfinitiesAndNansInEveryResult) {
  for (const std::size_t N : {3u, 4u, 8u, 59u, 100u, 181u, 1024u})
    for (const float Value : {std::nanf(""), -HUGE_VALF})
      for (const std::size_t Index : {std::size_t{0}, N / 2}) {
        std::vector<float> X(N, 0.5F);
        X[Index] = Value;
        for (const TExact& Result : TPlan(N)(X))
          ASSERT_FALSE(std::isfinite(Result.real()) && std::isfinite(Result.imag()))
              << Value << " at " << Index << " of " << N;
      }
}

TEST(Hilbert, PlansMayBeSharedByThreads) {
  for (const std::size_t N : {2u, 8u, 100u, 181u, 1000u, 4096u}) {
    const TPlan Plan(N);
    const std::vector<double> Samples = RandomSamples(N);
    const std::vector<float> X(Samples.begin(), Samples.end());
    EXPECT_EQ(FailuresOfThreads(X, 2 * N, 0,
                                [&](const float* ASource, float* ATarget, const auto*) {
                                  return ippsHilbert_32f32fc(
                                      ASource, reinterpret_cast<Ipp32fc*>(ATarget), Plan.Spec());
                                }),
              0)
        << N;
  }
}

TEST(Hilbert, RefusesPointersThenLengthsAndForeignPlans) {
  HilbertSpec_32f32fc* New = nullptr;
  EXPECT_EQ(ippsHilbertInitAlloc_32f32fc(nullptr, 0, 0), ippStsNullPtrErr);
  for (const std::int32_t Length : {0, -1})
    EXPECT_EQ(ippsHilbertInitAlloc_32f32fc(&New, Length, 0), ippStsSizeErr);
  {
    // Primes and twice one: above 2^29 a convolution has no length.
    const TFailingAllocator Allocator(2);
    for (const std::int32_t Length : {0x7fffffff, 536870923, 2 * 536870923, 1 << 30})
      EXPECT_EQ(ippsHilbertInitAlloc_32f32fc(&New, Length, 0), ippStsMemAllocErr) << Length;
    EXPECT_EQ(TFailingAllocator::Live, 0);
  }
  EXPECT_EQ(New, nullptr);

  const TPlan Plan(8);
  DFTSpec_C_64fc* Foreign = nullptr;
  ASSERT_EQ(ippsDFTInitAlloc_C_64fc(&Foreign, 8, IPP_FFT_NODIV_BY_ANY, 0), ippStsNoErr);
  auto* Other = reinterpret_cast<HilbertSpec_32f32fc*>(Foreign);
  const float X[8] = {};
  Ipp32fc Y[8] = {{5, 6}};
  EXPECT_EQ(ippsHilbert_32f32fc(nullptr, Y, Other), ippStsNullPtrErr);
  EXPECT_EQ(ippsHilbert_32f32fc(X, nullptr, Other), ippStsNullPtrErr);
  EXPECT_EQ(ippsHilbert_32f32fc(X, Y, nullptr), ippStsNullPtrErr);
  EXPECT_EQ(ippsHilbertFree_32f32fc(nullptr), ippStsNullPtrErr);
  const auto ExpectForeign = [&](HilbertSpec_32f32fc* ASpec) {
    EXPECT_EQ(ippsHilbert_32f32fc(X, Y, ASpec), ippStsContextMatchErr);
    EXPECT_EQ(ippsHilbertFree_32f32fc(ASpec), ippStsContextMatchErr);
  };
  ExpectForeign(Other);
  UnderOtherInstructionSets([&] { ExpectForeign(Plan.Spec()); });
  EXPECT_EQ(Y[0].Re, 5);
  EXPECT_EQ(ippsDFTFree_C_64fc(Foreign), ippStsNoErr);
}

TEST(Hilbert, WithoutMemoryLeavesAllAsItWas) {
  for (const std::int32_t N : {1, 8, 64, 163, 256, 257, 1018, 1021, 4096, 65536}) {
    SCOPED_TRACE(N);
    HilbertSpec_32f32fc* Spec = nullptr;
    TFailingAllocator Allocator;
    for (int FailAt = 1; !Spec; ++FailAt) {
      TFailingAllocator::FailAt = FailAt;
      TFailingAllocator::Allocations = 0;
      const IppStatus Status = ippsHilbertInitAlloc_32f32fc(&Spec, N, 2);
      EXPECT_EQ(Status, Spec ? ippStsNoErr : ippStsMemAllocErr);
      EXPECT_TRUE(Spec || TFailingAllocator::Live == 0) << "allocation " << FailAt;
      ASSERT_LT(FailAt, 20);
    }
    const bool IsOnStack = N <= 256 || N == 4096;
    const std::vector<float> X(static_cast<std::size_t>(N), 1.0F);
    std::vector<Ipp32fc> Y(X.size(), {5, 6});
    TFailingAllocator::FailAt = 1;
    EXPECT_EQ(ippsHilbert_32f32fc(X.data(), Y.data(), Spec),
              IsOnStack ? ippStsNoErr : ippStsMemAllocErr);
    for (const Ipp32fc& Value : Y) ASSERT_TRUE(IsOnStack || (Value.Re == 5 && Value.Im == 6));
    EXPECT_EQ(ippsHilbertFree_32f32fc(Spec), ippStsNoErr);
    EXPECT_EQ(TFailingAllocator::Live, 0);
  }
}

}  // namespace
}  // namespace tessalune::test
