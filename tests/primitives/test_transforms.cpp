// What the transforms compute, against TSpectrumOracle.
#include "GuardedMemory.h"
#include "TransformFamilies.h"

namespace tessalune::test {
namespace {

// Both directions of one family, in place and not, with the memory that they take and give to the
// value: a transform that touches more of it crashes.
template <class TFamily>
void ExpectAccurate(const TReferenceSpectrum& AReference,
                    std::int32_t AFlag = IPP_FFT_NODIV_BY_ANY) {
  using TValue = typename TFamily::TValue;
  const std::int32_t Length = AReference.Length();
  if (!HasLength<TFamily>(Length) || (!TFamily::HasFlags && Length > 4096)) return;
  if (!TFamily::HasFlags && AFlag != IPP_FFT_NODIV_BY_ANY) return;
  const TOwnPlan<TFamily> Plan(Length, AFlag);
  for (const TDirection Direction : TFamily::Directions) {
    SCOPED_TRACE(testing::Message()
                 << TFamily::Name << (Direction == TDirection::Forward ? " forward" : " inverse")
                 << ", length " << Length << ", flag " << AFlag);
    const std::vector<long double> Expected = AReference.Result<TFamily>(Direction);
    const long double Scale = ScaleOf(AFlag, Direction, Length);
    const long double Bound = ErrorBound<TFamily>(Length);
    const std::vector<std::uint8_t> Buffer(static_cast<std::size_t>(Plan.BufferSize()));
    for (const TGuardedSide Side : {TGuardedSide::Front, TGuardedSide::Back}) {
      std::vector<TValue> Values = AReference.Source<TFamily>(Direction);
      const TGuarded<TValue> Source(Values, Side);
      const TGuarded<TValue> Target(std::vector<TValue>(Expected.size()), Side);
      Values.resize(std::max(Values.size(), Expected.size()));
      const TGuarded<TValue> Both(Values, Side);
      const TGuarded<std::uint8_t> Work(Buffer, Side);
      ASSERT_EQ(Transform<TFamily>(Direction, Source.data(), Target.data(), Plan.get()),
                ippStsNoErr);
      EXPECT_LE(RelativeError(Target.data(), Expected, Scale), Bound);
      if (TFamily::Layout == TTransformLayout::Analytic) continue;
      std::uint8_t* const Given = Side == TGuardedSide::Back ? Work.data() : nullptr;
      ASSERT_EQ(Transform<TFamily>(Direction, Both.data(), Both.data(), Plan.get(), Given),
                ippStsNoErr);
      EXPECT_LE(RelativeError(Both.data(), Expected, Scale), Bound) << "in place";
    }
  }
}

void ExpectAllAccurate(std::int32_t ALength, std::int32_t AFlag = IPP_FFT_NODIV_BY_ANY) {
  const TReferenceSpectrum Reference(ALength);
  ForEachFamily([&]<class TFamily>() { ExpectAccurate<TFamily>(Reference, AFlag); });
}

TEST(Transforms, AreAccurateAtEveryShortLength) {
  for (std::int32_t Length = 1; Length <= 600; ++Length) ExpectAllAccurate(Length);
}

// Mixed radices up to the largest ones, convolutions, and real samples over each of them.
TEST(Transforms, AreAccurateAtLongLengthsOfEveryRoad) {
  for (const std::int32_t Length :
       {1000,  1021,  1024,  1511,  2048,  2310,  4096,  4099,  8192,   2 * 4099,
        16384, 22201, 30375, 32768, 44100, 59049, 48000, 65536, 131072, 1 << 20})
    ExpectAllAccurate(Length);
}

TEST(Transforms, DivideAsTheFlagSays) {
  for (const std::int32_t Flag :
       {IPP_FFT_DIV_FWD_BY_N, IPP_FFT_DIV_INV_BY_N, IPP_FFT_DIV_BY_SQRTN, IPP_FFT_NODIV_BY_ANY})
    for (const std::int32_t Length :
         {1,   2,   3,   4,   5,   8,   13,  15,  16,  59,   64,   94,   120,
          128, 149, 158, 179, 181, 256, 302, 362, 504, 1024, 2048, 4096, 8192})
      ExpectAllAccurate(Length, Flag);
}

// A value that is not finite belongs to every sum, so that no result hides it.
TEST(Transforms, ShowInfinitiesAndNansInEveryBinAndSample) {
  ForEachFamily([]<class TFamily>() {
    using TValue = typename TFamily::TValue;
    for (const std::int32_t Length : {1,  2,   3,   4,   5,   8,   13,  16,  30,   45,  59,
                                      94, 149, 151, 179, 181, 256, 302, 360, 1024, 8192}) {
      if (!HasLength<TFamily>(Length)) continue;
      if (TFamily::Layout == TTransformLayout::Analytic && Length < 3) continue;
      const TOwnPlan<TFamily> Plan(Length);
      for (const TDirection Direction : TFamily::Directions)
        for (const TValue Value :
             {std::numeric_limits<TValue>::quiet_NaN(), -std::numeric_limits<TValue>::infinity()}) {
          std::vector<TValue> Source(SourceValues<TFamily>(Direction, Length), TValue(0.5));
          const std::size_t Middle = Source.size() / 2 & ~std::size_t{1};
          for (const std::size_t Index : {std::size_t{0}, Middle}) {
            std::vector<TValue> Changed = Source;
            Changed[Index] = Value;
            std::vector<TValue> Target(TargetValues<TFamily>(Direction, Length));
            ASSERT_EQ(Transform<TFamily>(Direction, Changed.data(), Target.data(), Plan.get()),
                      ippStsNoErr);
            const bool IsCosines = TFamily::Layout == TTransformLayout::Cosines;
            const bool IsReal = TFamily::Layout != TTransformLayout::Complex && !IsCosines;
            const bool IsSamples = IsReal && Direction == TDirection::Inverse;
            const bool IsPerm = TFamily::Layout == TTransformLayout::Perm;
            std::size_t Next = 0;
            for (std::size_t I = 0; I < Target.size(); I = Next) {
              const bool IsPair = !IsCosines && !IsSamples && !(IsPerm && I < 2);
              Next = I + (IsPair ? 2 : 1);
              // The cosine of a bin's real part in a sample, Index / 2 and I, may be 0.
              const auto N = static_cast<std::size_t>(Length);
              if (IsSamples && 2 * Index * I % (2 * N) == N) continue;
              ASSERT_FALSE(std::isfinite(Target[I]) && (!IsPair || std::isfinite(Target[I + 1])))
                  << TFamily::Name << ", " << static_cast<int>(Direction) << ", length " << Length
                  << ", input " << Index << ", result " << I << " of " << Value;
            }
          }
        }
    }
  });
}

// The bins of a constant are 0, but for one that is N times as large.
TEST(Transforms, AnAnalyticSignalOverflowsOnlyIfItsSumDoes) {
  const float Large = 6e37F;
  for (const float Sign : {1.0F, -1.0F}) {
    const std::vector<float> X = {Large, Sign * Large, Large, Sign * Large};
    std::vector<float> Y(8);
    ASSERT_EQ(THilbert::Forward(X.data(), Y.data(), TOwnPlan<THilbert>(4).get(), nullptr),
              ippStsNoErr);
    for (std::size_t I = 0; I < 8; ++I) EXPECT_EQ(Y[I], I % 2 == 0 ? X[I / 2] : 0) << I;
  }
}

}  // namespace
}  // namespace tessalune::test
