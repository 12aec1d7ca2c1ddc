// Plans of transforms: what is refused, what happens when memory is exhausted, what is shared.
#include "FailingAllocator.h"
#include "TestedInstructionSet.h"
#include "TransformFamilies.h"

#include <atomic>
#include <barrier>
#include <cstring>
#include <thread>
#include <type_traits>

namespace tessalune::test {
namespace {

// Complex and real lengths of each road: straight-line code, powers of two in work memory on the
// stack and not, mixed radices without and with straight-line code, sums, convolutions.
constexpr std::int32_t LengthsOfRoads[] = {1,   2,    3,    4,    6,    13,   16,   59,   94,
                                           120, 149,  179,  181,  225,  251,  256,  298,  302,
                                           360, 1024, 1043, 1500, 1511, 2048, 4096, 8192, 16384};

// A value that no transform of the tests gives.
constexpr int Untouched = 4711;

template <class TFamily>
std::vector<typename TFamily::TValue> RandomSource(TDirection ADirection, std::int32_t ALength) {
  std::mt19937 Engine(static_cast<std::uint32_t>(ALength));
  std::uniform_real_distribution<typename TFamily::TValue> Draw(-1, 1);
  std::vector<typename TFamily::TValue> Result(SourceValues<TFamily>(ADirection, ALength));
  for (auto& X : Result) X = Draw(Engine);
  return Result;
}

template <class TFamily>
std::vector<typename TFamily::TValue> UntouchedTarget(TDirection ADirection, std::int32_t ALength) {
  return std::vector<typename TFamily::TValue>(TargetValues<TFamily>(ADirection, ALength),
                                               Untouched);
}

template <class T>
bool HasSameBits(const std::vector<T>& A, const std::vector<T>& B) {
  return A.size() == B.size() && std::memcmp(A.data(), B.data(), A.size() * sizeof(T)) == 0;
}

template <class T>
bool IsUntouched(const std::vector<T>& AValues) {
  return std::all_of(AValues.begin(), AValues.end(), [](T X) { return X == Untouched; });
}

template <class TFamily>
class TransformPlans : public testing::Test {
 protected:
  using TPlan = typename TFamily::TPlan;

  // The pointer that a plan variable has before InitAlloc.
  static TPlan* Before() { return reinterpret_cast<TPlan*>(FDummy); }

  static void ExpectNoPlan(std::int32_t ALengthOrOrder, std::int32_t AFlag, IppStatus AStatus) {
    TPlan* Plan = Before();
    EXPECT_EQ(TFamily::InitAlloc(&Plan, ALengthOrOrder, AFlag, 0), AStatus)
        << ALengthOrOrder << ", flag " << AFlag;
    EXPECT_EQ(Plan, Before());
  }

  // All that takes a plan refuses APlan, before it looks at the data.
  static void ExpectRefused(TPlan* APlan, IppStatus AStatus) {
    std::int32_t Size = Untouched;
    EXPECT_EQ(TFamily::Free(APlan), AStatus);
    if constexpr (TFamily::HasBuffer) {
      EXPECT_EQ(TFamily::GetBufSize(APlan, &Size), AStatus);
    }
    EXPECT_EQ(Size, Untouched);
    for (const TDirection Direction : TFamily::Directions) {
      const auto Source = RandomSource<TFamily>(Direction, 8);
      auto Target = UntouchedTarget<TFamily>(Direction, 8);
      EXPECT_EQ(Transform<TFamily>(Direction, Source.data(), Target.data(), APlan), AStatus);
      EXPECT_EQ(Transform<TFamily>(Direction, nullptr, nullptr, APlan),
                TFamily::HasBuffer ? AStatus : ippStsNullPtrErr);
      EXPECT_TRUE(IsUntouched(Target));
    }
  }

  static inline double FDummy[1];
};
TYPED_TEST_SUITE(TransformPlans, TTransformFamilies, TFamilyNames);

TYPED_TEST(TransformPlans, AreNotMadeForWhatIsRefused) {
  constexpr std::int32_t Flags[] = {IPP_FFT_NODIV_BY_ANY, 0};  // the length is checked before it
  constexpr std::int32_t Most = std::numeric_limits<std::int32_t>::max();
  for (const std::int32_t Flag : Flags)
    if (TypeParam::TakesOrder)
      for (const std::int32_t Order : {-1, 31, -Most - 1, Most})
        this->ExpectNoPlan(Order, Flag, ippStsFftOrderErr);
    else
      for (const std::int32_t Length : {0, -1, -Most - 1})
        this->ExpectNoPlan(Length, Flag, ippStsSizeErr);
  for (const std::int32_t Argument : {4, 10})
    for (const std::int32_t Flag : {0, 3, 5, 16, -1, -8})
      if (TypeParam::HasFlags) this->ExpectNoPlan(Argument, Flag, ippStsFftFlagErr);
  EXPECT_EQ(TypeParam::InitAlloc(nullptr, -1, 0, 0), ippStsNullPtrErr);
}

// Their tables are never as small as the memory of a machine; the greatest order is one of them.
TYPED_TEST(TransformPlans, OfTheGreatestLengthsAskForMemory) {
  const TFailingAllocator Allocator(2);  // the record is granted
  if (TypeParam::TakesOrder) return this->ExpectNoPlan(30, IPP_FFT_NODIV_BY_ANY, ippStsMemAllocErr);
  constexpr std::int32_t Most = std::numeric_limits<std::int32_t>::max();
  // A prime, twice a prime, products, a power of two; above 2^29 a convolution has no length.
  for (const std::int32_t Length : {Most, Most - 1, 1 << 30, (1 << 30) + 1, 2000000000,
                                    (1 << 29) - 3, (1 << 29) + 11, 2 * 536870923})
    this->ExpectNoPlan(Length, IPP_FFT_NODIV_BY_ANY, ippStsMemAllocErr);
  EXPECT_EQ(TFailingAllocator::Live, 0);
}

TYPED_TEST(TransformPlans, AreRefusedIfNullOrOfAnotherKind) {
  this->ExpectRefused(nullptr, ippStsNullPtrErr);
  ForEachFamily([]<class TOther>() {
    if constexpr (!std::is_same_v<typename TOther::TPlan, typename TypeParam::TPlan>) {
      SCOPED_TRACE(TOther::Name);
      const TOwnPlan<TOther> Plan(8);
      TestFixture::ExpectRefused(reinterpret_cast<typename TypeParam::TPlan*>(Plan.get()),
                                 ippStsContextMatchErr);
    }
  });
}

TYPED_TEST(TransformPlans, RefuseDataAndSizesThatAreNull) {
  const TOwnPlan<TypeParam> Plan(8);
  if constexpr (TypeParam::HasBuffer) {
    EXPECT_EQ(TypeParam::GetBufSize(Plan.get(), nullptr), ippStsNullPtrErr);
  }
  for (const TDirection Direction : TypeParam::Directions) {
    const auto Source = RandomSource<TypeParam>(Direction, 8);
    auto Target = UntouchedTarget<TypeParam>(Direction, 8);
    EXPECT_EQ(Transform<TypeParam>(Direction, nullptr, Target.data(), Plan.get()),
              ippStsNullPtrErr);
    EXPECT_EQ(Transform<TypeParam>(Direction, Source.data(), nullptr, Plan.get()),
              ippStsNullPtrErr);
    EXPECT_TRUE(IsUntouched(Target));
  }
}

TYPED_TEST(TransformPlans, AreRefusedUnderAnotherInstructionSet) {
  const TOwnPlan<TypeParam> Plan(8);
  if (!UnderOtherInstructionSets([&] { this->ExpectRefused(Plan.get(), ippStsContextMatchErr); }))
    GTEST_SKIP() << "this machine has one instruction set only";
}

// Every allocation fails in turn.
TYPED_TEST(TransformPlans, LeaveNothingBehindWhenMemoryIsExhausted) {
  for (const std::int32_t Length : LengthsOfRoads) {
    if (!HasLength<TypeParam>(Length)) continue;
    int Allocations = 0;
    {
      const TFailingAllocator Allocator;
      { const TOwnPlan<TypeParam> Plan(Length); }
      Allocations = TFailingAllocator::Allocations;
      EXPECT_EQ(TFailingAllocator::Live, 0) << Length;
    }
    for (int Failing = 1; Failing <= Allocations; ++Failing) {
      const TFailingAllocator Allocator(Failing);
      this->ExpectNoPlan(LengthArgument<TypeParam>(Length), IPP_FFT_DIV_BY_SQRTN,
                         ippStsMemAllocErr);
      EXPECT_EQ(TFailingAllocator::Live, 0) << Length << ", allocation " << Failing;
    }
    if (!TypeParam::HasFlags) continue;
    {
      const TFailingAllocator Allocator(2);  // the flag is checked before the tables are made
      this->ExpectNoPlan(LengthArgument<TypeParam>(Length), 3, ippStsFftFlagErr);
      EXPECT_EQ(TFailingAllocator::Live, 0) << Length;
    }
    const TFailingAllocator Allocator(1);
    this->ExpectNoPlan(LengthArgument<TypeParam>(Length), 3, ippStsMemAllocErr);
  }
}

// Work memory: on the stack, or one block, or the caller's buffer, of which not a byte more is used
// than GetBufSize tells, wherever it begins.
TYPED_TEST(TransformPlans, TakeWorkMemoryAsPromised) {
  for (const std::int32_t Length : LengthsOfRoads) {
    if (!HasLength<TypeParam>(Length)) continue;
    const TOwnPlan<TypeParam> Plan(Length);
    const std::int32_t Size = Plan.BufferSize();
    ASSERT_GE(Size, 0);
    const bool IsPowerOfTwo = std::has_single_bit(static_cast<std::uint32_t>(Length));
    const bool IsPromisedOnStack =
        Length <= 256 || (IsPowerOfTwo && Length <= TypeParam::OnStackPowers);
    const bool IsOnStack = TypeParam::HasBuffer ? Size == 0 : IsPromisedOnStack;
    EXPECT_TRUE(IsOnStack || !IsPromisedOnStack) << Length;
    for (const TDirection Direction : TypeParam::Directions) {
      SCOPED_TRACE(testing::Message()
                   << Length << (Direction == TDirection::Forward ? " forward" : " inverse"));
      const auto Source = RandomSource<TypeParam>(Direction, Length);
      auto Expected = UntouchedTarget<TypeParam>(Direction, Length);
      {
        const TFailingAllocator Allocator;
        ASSERT_EQ(Transform<TypeParam>(Direction, Source.data(), Expected.data(), Plan.get()),
                  ippStsNoErr);
        EXPECT_EQ(TFailingAllocator::Allocations, IsOnStack ? 0 : 1);
        EXPECT_EQ(TFailingAllocator::Live, 0);
      }
      const TFailingAllocator Allocator(1);
      auto Target = UntouchedTarget<TypeParam>(Direction, Length);
      if (!IsOnStack) {
        EXPECT_EQ(Transform<TypeParam>(Direction, Source.data(), Target.data(), Plan.get()),
                  ippStsMemAllocErr);
        EXPECT_TRUE(IsUntouched(Target));
      }
      for (const std::size_t Shift : {1u, 111u}) {
        if (!TypeParam::HasBuffer) break;
        constexpr std::uint8_t Guard = 0xA5;
        constexpr std::size_t Behind = 256;
        const auto Bytes = static_cast<std::size_t>(Size);
        std::vector<std::uint8_t> Buffer(Shift + Bytes + Behind, Guard);
        Target = UntouchedTarget<TypeParam>(Direction, Length);
        ASSERT_EQ(Transform<TypeParam>(Direction, Source.data(), Target.data(), Plan.get(),
                                       Buffer.data() + Shift),
                  ippStsNoErr);
        EXPECT_TRUE(HasSameBits(Target, Expected));
        const auto End = Buffer.begin() + static_cast<std::ptrdiff_t>(Shift + Bytes);
        EXPECT_EQ(std::count(End, Buffer.end(), Guard), static_cast<std::ptrdiff_t>(Behind));
        EXPECT_EQ(
            std::count(Buffer.begin(), Buffer.begin() + static_cast<std::ptrdiff_t>(Shift), Guard),
            static_cast<std::ptrdiff_t>(Shift));
      }
    }
  }
}

// Threads that use one plan at once, each with a target and a buffer of its own or none, get what
// one alone gets.
TYPED_TEST(TransformPlans, MayBeSharedByThreads) {
  for (const std::int32_t Length : LengthsOfRoads) {
    if (!HasLength<TypeParam>(Length)) continue;
    const TOwnPlan<TypeParam> Plan(Length);
    for (const TDirection Direction : TypeParam::Directions) {
      const auto Source = RandomSource<TypeParam>(Direction, Length);
      auto Alone = UntouchedTarget<TypeParam>(Direction, Length);
      ASSERT_EQ(Transform<TypeParam>(Direction, Source.data(), Alone.data(), Plan.get()),
                ippStsNoErr);
      std::barrier Begin(4);
      std::atomic<int> Failures = 0;
      const auto Run = [&](bool AHasBuffer) {
        std::vector<std::uint8_t> Buffer(static_cast<std::size_t>(Plan.BufferSize()));
        Begin.arrive_and_wait();
        for (int Round = 0; Round < 30; ++Round) {
          auto Target = UntouchedTarget<TypeParam>(Direction, Length);
          Transform<TypeParam>(Direction, Source.data(), Target.data(), Plan.get(),
                               AHasBuffer ? Buffer.data() : nullptr);
          if (!HasSameBits(Target, Alone)) ++Failures;
        }
      };
      {
        std::vector<std::jthread> Threads;
        for (const bool HasBuffer : {true, false, true, false})
          Threads.emplace_back(Run, HasBuffer);
      }
      EXPECT_EQ(Failures, 0) << Length << ", direction " << static_cast<int>(Direction);
    }
  }
}

}  // namespace
}  // namespace tessalune::test
