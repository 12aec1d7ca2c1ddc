#include "FailingAllocator.h"

#include <gtest/gtest.h>
#include <tessalune/primitives/QSBasicDispatcher.h>
#include <tessalune/primitives/QSSubDispatcher.h>

#include <cstring>
#include <limits>
#include <vector>

namespace tessalune::test {
namespace {

TEST(Memory, BlocksAreAlignedWholeAndGiveBackTheAddressThatWasTaken) {
  TFailingAllocator Allocator;
  for (std::int32_t Length : {1, 31, 32, 33, 1000}) {
    std::uint8_t* Bytes = ippsMalloc_8u(Length);
    ASSERT_NE(Bytes, nullptr);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(Bytes) % 32, 0u);
    EXPECT_EQ(Allocator.LastSize, static_cast<std::size_t>(Length) + 36);
    void* Taken = Allocator.LastGiven;
    std::memset(Bytes, 0xFF, static_cast<std::size_t>(Length));  // the address sanitizer looks on
    ippsFree(Bytes);
    EXPECT_EQ(Allocator.LastFreed, Taken);

    double* Doubles = ippsMalloc_64f(Length);
    ASSERT_NE(Doubles, nullptr);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(Doubles) % 32, 0u);
    EXPECT_EQ(Allocator.LastSize, static_cast<std::size_t>(Length) * 8 + 36);
    ippsFree(Doubles);

    _ippFree(_ippMalloc(Length));
    EXPECT_EQ(Allocator.LastSize, static_cast<std::size_t>(Length) + 36);
  }
  EXPECT_EQ(Allocator.Live, 0);
}

TEST(Memory, ExhaustionAndLengthsBelowOneGiveNullWhichMayBeFreed) {
  TFailingAllocator Allocator(1);
  EXPECT_EQ(ippsMalloc_8u(0), nullptr);
  EXPECT_EQ(ippsMalloc_64f(-1), nullptr);
  EXPECT_EQ(Allocator.Allocations, 0);
  EXPECT_EQ(ippsMalloc_8u(1), nullptr);
  EXPECT_EQ(ippsMalloc_64f(std::numeric_limits<std::int32_t>::max()), nullptr);
  EXPECT_EQ(Allocator.LastSize, (std::size_t{1} << 31) * 8 - 8 + 36);
  EXPECT_EQ(Allocator.Allocations, 2);
  Allocator.LastFreed = &Allocator;
  ippsFree(nullptr);
  EXPECT_EQ(Allocator.LastFreed, &Allocator);
}

// The others are in the tables, whose tests see them.
TEST(Memory, BytesAreZeroedAndCopiedOrRefused) {
  std::vector<std::uint8_t> Source{1, 2, 3}, Target{9, 9, 9};
  EXPECT_EQ(ownsCopy_8u(Source.data(), Target.data(), 2), ippStsNoErr);
  EXPECT_EQ(Target, (std::vector<std::uint8_t>{1, 2, 9}));
  EXPECT_EQ(ownsZero_8u(Target.data(), 1), ippStsNoErr);
  EXPECT_EQ(ownsZero_8u(nullptr, 0), ippStsNullPtrErr);
  EXPECT_EQ(ownsZero_8u(Target.data() + 1, 0), ippStsSizeErr);
  EXPECT_EQ(ownsCopy_8u(Source.data(), nullptr, 0), ippStsNullPtrErr);
  EXPECT_EQ(ownsCopy_8u(nullptr, Target.data(), 0), ippStsNullPtrErr);
  EXPECT_EQ(ownsCopy_8u(Source.data(), Target.data() + 1, 0), ippStsSizeErr);
  EXPECT_EQ(Target, (std::vector<std::uint8_t>{0, 2, 9}));
}

#if defined(__x86_64__) || defined(__i386__)
TEST(Memory, ControlWordChangesUnderTheMaskAndComesBack) {
  constexpr std::uint32_t Precision = 0x300;
  const std::uint32_t Before = _ipp_set_rcpc_fpu(0x200, Precision);  // 53-bit significands
  volatile long double One = 1.0L;
  const bool Rounded = One + 0x1p-60L == One;
  const std::uint32_t Within = _ipp_set_rcpc_fpu(0x200, Precision);
  _ipp_set_cw_fpu(Before);
  EXPECT_TRUE(Rounded);
  EXPECT_EQ(Within, (Before & ~Precision) | 0x200u);
  EXPECT_NE(One + 0x1p-60L, One);
}
#endif

}  // namespace
}  // namespace tessalune::test
