// Blocks: copy-on-write, universal references, bounds, and memory that a steady graph recycles.
#include "Allocations.h"
#include "FrameTools.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <cstring>

namespace tessalune::testing {
namespace {

template <class T>
class Blocks : public ::testing::Test {
 protected:
  static TRef<TQSTypedBuffer<T>> Counting(std::int32_t ASize) {
    auto Block = TQSTypedBuffer<T>::CreateSize(ASize);
    for (std::int32_t I = 0; I < ASize; ++I) Block->Write()[I] = Nth(I);
    return Block;
  }
  static T Nth(std::int32_t AIndex) { return T(static_cast<std::uint8_t>(AIndex + 1)); }
};
using TSamples = ::testing::Types<double, TComplex, std::int32_t, std::uint32_t, std::uint8_t>;
TYPED_TEST_SUITE(Blocks, TSamples);

TYPED_TEST(Blocks, StorageIsAlignedTo64Bytes) {
  for (const std::int32_t Size : {1, 7, 64, 1000, 100000}) {
    const auto Block = this->Counting(Size);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(Block->Read()) % 64, 0U) << Size;
    EXPECT_EQ(Block->GetByteSize(), std::int64_t{Size} * std::int64_t{sizeof(TypeParam)});
  }
}

TYPED_TEST(Blocks, ACopySharesUntilSomebodyWrites) {
  using TBuffer = TQSTypedBuffer<TypeParam>;
  const auto First = this->Counting(5);
  const auto Second = TBuffer::CreateCopy(*First);
  EXPECT_EQ(First->Read(), Second->Read());
  EXPECT_FALSE(First->Unique());
  Second->Modify()[0] = TypeParam(9);
  EXPECT_NE(First->Read(), Second->Read());
  EXPECT_EQ(First->GetItem(0), this->Nth(0)) << "the other holder saw the change";
  EXPECT_EQ(Second->GetItem(4), this->Nth(4)) << "Modify did not keep the content";
  const auto Third = TBuffer::CreateCopy(*First);
  std::fill_n(Third->Write(), 5, TypeParam(7));
  EXPECT_EQ(First->GetItem(4), this->Nth(4));
  EXPECT_TRUE(First->Unique() && Second->Unique() && Third->Unique());
  const TypeParam* Before = First->Read();
  EXPECT_EQ(First->Write(), Before) << "a block of one's own is written in place";
}

TYPED_TEST(Blocks, APacketIsTakenAsItIsOrReadAnew) {
  using TBuffer = TQSTypedBuffer<TypeParam>;
  const auto Own = this->Counting(3);
  EXPECT_EQ(TBuffer::CreateUniversal(Own).Get(), Own.Get());
  // 35 bytes: whole elements only.
  const auto Bytes = TQSLinearMemoryBuffer::CreateSize(35);
  std::memset(Bytes->ByteWrite(), 0, 35);
  const auto Cut = TBuffer::CreateUniversal(Bytes);
  EXPECT_EQ(Cut->GetSize(), 35 / static_cast<std::int32_t>(sizeof(TypeParam)));
  EXPECT_EQ(Cut->GetItem(0), TypeParam{});
  EXPECT_EQ(Cut->ByteRead(), Bytes->ByteRead()) << "no byte is copied";
}

TYPED_TEST(Blocks, ResizeKeepsOnRequest) {
  const auto Block = this->Counting(8);
  const auto Other = TQSTypedBuffer<TypeParam>::CreateCopy(*Block);
  Block->Resize(1000, true);
  EXPECT_EQ(Block->GetItem(7), this->Nth(7));
  Block->Resize(2, true);
  EXPECT_EQ(Block->GetItem(1), this->Nth(1));
  Block->Resize(0, true);
  EXPECT_EQ(Block->GetSize(), 0);
  EXPECT_EQ(Other->GetItem(7), this->Nth(7)) << "the other holder's block was resized";
  ExpectAll(Refusal([&] { Block->Resize(-1, false); }), {"Size", "-1", "at least 0"});
}

TYPED_TEST(Blocks, CopyToStaysInsideBothBlocks) {
  const auto From = this->Counting(6);
  const auto To = TQSTypedBuffer<TypeParam>::CreateCopy(*From);
  From->CopyTo(0, *To, 2, 4);
  EXPECT_EQ(To->GetItem(1), this->Nth(1));
  EXPECT_EQ(To->GetItem(2), this->Nth(0));
  EXPECT_EQ(To->GetItem(5), this->Nth(3));
  EXPECT_EQ(From->GetItem(2), this->Nth(2));
  From->CopyTo(6, *To, 0, 0);  // an empty range at the end is inside
  constexpr std::int32_t Most = std::numeric_limits<std::int32_t>::max();
  for (const auto& [Source, Index, Count] :
       {std::array{-1, 0, 1}, {0, -1, 1}, {0, 0, -1}, {3, 0, 4}, {0, 3, 4}, {Most, 0, Most}}) {
    Refusal([&, S = Source, I = Index, C = Count] { From->CopyTo(S, *To, I, C); });
  }
}

class TNoSamples final : public IQSData {
 public:
  TRef<IQSData> MakeCopy() const override { return MakeRef<TNoSamples>(); }
};

TEST(Blocks, APacketWithoutSamplesIsRefusedButTravelsWithACopy) {
  Refusal([] { TQSRealBuffer::CreateUniversal(MakeRef<TNoSamples>()); });
  Refusal([] { TQSGenericBuffer::CreateUniversal(nullptr); });
  const auto Block = TQSRealBuffer::CreateSize(1);
  const auto Custom = MakeRef<TNoSamples>();
  Block->AddCustom(Custom);
  const auto Copy = Block->MakeCopy();
  ASSERT_EQ(Copy->GetCustomCount(), 1U);
  EXPECT_EQ(Copy->GetCustom(0).Get(), Custom.Get());
}

// --- in a graph ---

TEST(BlocksInAGraph, AFilterInPlaceNeverChangesWhatOthersSee) {
  // Tapped: before the filter in the order of links, behind it, by a sink that keeps its block.
  const auto Gen = PumpedGen();
  Gen->SetSignalType(TQSSignalType::stDc);
  Gen->SetAmplitude(1.0);
  const auto One = Create<TQSApplyRealConst>();
  const auto Two = Create<TQSApplyRealConst>();
  One->SetValue(10.0);
  Two->SetValue(100.0);
  TRealRecorder Before;
  TRealRecorder Between;
  TRealRecorder After;
  TRef<IQSData> Kept;
  TQSKLRealSourcePin Further{TKLPinOwner()};
  TRealRecorder Forwarder;
  TRealRecorder Forwarded;
  Before.OnOperation = [&](IKLNotifyOperation& AOperation) {
    if (IsBlock(AOperation)) {
      Kept = AOperation.GetInstance<TKLSuppliedBufferOperation>().Value;
    }
  };
  Forwarder.OnOperation = [&](IKLNotifyOperation& AOperation) { Further.Notify(AOperation); };
  Link(*Gen, Before);
  Link(*Gen, *One, *Two);
  Link(*One, Between);
  Link(*Two, After);
  Link(*Gen, Forwarder);
  Link(Further, Forwarded);
  Gen->Start();
  Gen->Pump();
  EXPECT_EQ(TQSRealBuffer::CreateUniversal(Kept)->GetItem(3), 1.0);
  EXPECT_EQ(Before.Samples(), std::vector<double>(16, 1.0));
  EXPECT_EQ(Between.Samples(), std::vector<double>(16, 11.0));
  EXPECT_EQ(After.Samples(), std::vector<double>(16, 111.0));
  EXPECT_EQ(Forwarded.Samples(), std::vector<double>(16, 1.0));
}

TEST(BlocksInAGraph, TakeNothingFromTheSystemInItsSteadyStateOnTwoThreads) {
  if (!CountsAllocations) GTEST_SKIP() << "the sanitizer has an operator new of its own";
  const auto Gen = PumpedGen(1024);
  const std::array Filters{Create<TQSApplyRealConst>(), Create<TQSApplyRealConst>(),
                           Create<TQSApplyRealConst>()};
  Filters[1]->Threading().SetEnabled(true);
  std::atomic<int> Blocks{0};
  TQSKLRealSinkPin Sink({}, test::Hear([&](auto& AOperation) { Blocks += IsBlock(AOperation); }));
  Link(*Gen, *Filters[0], *Filters[1], *Filters[2], Sink);
  Gen->Start();
  // Each round ends with its blocks worked off, so that all rounds need the same memory.
  const auto Round = [&](int ACount) {
    for (int I = 0; I < ACount; ++I) {
      const int Seen = Blocks;
      Gen->Pump();
      while (Blocks == Seen) std::this_thread::yield();
    }
  };
  // With a thread of its own a filter gives back memory that the source has taken, and which of
  // the two lets go of an operation last is chance: their stocks fill up to a bound, not at once.
  std::uint64_t Taken = 1;
  for (int I = 0; I < 50 && Taken > 0; ++I) {
    Round(2000);
    const std::uint64_t Before = RecycledSystemAllocations() + Allocations();
    Round(300);
    Taken = RecycledSystemAllocations() + Allocations() - Before;
  }
  EXPECT_EQ(Taken, 0U);
  Gen->Stop();
}

}  // namespace
}  // namespace tessalune::testing
