#include "frame/FrameTools.h"
#include "primitives/Samples.h"
#include "support/Rig.h"

#include <tessalune/filters/QSAbs.h>
#include <tessalune/filters/QSApplyComplexConst.h>
#include <tessalune/filters/QSApplyIntConst.h>
#include <tessalune/filters/QSApplyRealConst.h>
#include <tessalune/filters/QSComplexToReal.h>
#include <tessalune/filters/QSConjugate.h>
#include <tessalune/filters/QSRealToInt.h>
#include <tessalune/filters/QSRealTodB.h>
#include <tessalune/filters/QSToSquare.h>

#include <bit>
#include <functional>
#include <limits>
#include <string>

namespace tessalune::test {
namespace {

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();
constexpr double Infinity = std::numeric_limits<double>::infinity();
constexpr double Largest = std::numeric_limits<double>::max();
constexpr std::int32_t MaxInt = std::numeric_limits<std::int32_t>::max();
constexpr std::int32_t MinInt = std::numeric_limits<std::int32_t>::min();

std::string Text(double A) { return NumberText(A); }
std::string Text(std::int32_t A) { return NumberText(A); }
std::string Text(const TComplex& A) { return NumberText(A.Re) + " + i " + NumberText(A.Im); }

// A filter of samples of one type, and one that converts, between a feed and a probe.
template <class TFilter>
struct TRigOf {
  using TIn = typename TFilter::TBuffer::TSample;
  using TRig = TStreamRig<TFilter, TIn>;
};
template <>
struct TRigOf<TQSRealToInt> {
  using TRig = TStreamRig<TQSRealToInt, double, std::int32_t>;
};
template <>
struct TRigOf<TQSIntToReal> {
  using TRig = TStreamRig<TQSIntToReal, std::int32_t, double>;
};
template <class TFilter>
using TRig = typename TRigOf<TFilter>::TRig;

// What a filter with these properties makes of these samples, one for one. Each block is sent
// twice: to a filter that is its only receiver and may compute in place, and to one that is not.
template <class TFilter>
struct TCase {
  std::string What;
  std::function<void(TFilter&)> Prepare;
  decltype(TRig<TFilter>().Next(1)) In;
  decltype(TRig<TFilter>().Send(1)) Out;
};

template <class TFilter>
void Check(const std::vector<TCase<TFilter>>& ACases) {
  for (const auto& Case : ACases)
    for (const bool Shared : {false, true}) {
      TRig<TFilter> Rig;
      TProbe<std::remove_cvref_t<decltype(Case.In[0])>> Other;
      if (Shared) Rig.Feed.Pin.Connect(Other.Pin);
      Case.Prepare(*Rig.It);
      const auto Result = Rig.Send(Case.In);
      ASSERT_EQ(Result.size(), Case.Out.size()) << Case.What;
      for (std::size_t I = 0; I < Result.size(); ++I) {
        EXPECT_TRUE(IsSame(Result[I], Case.Out[I]))
            << Case.What << ": " << Text(Case.In[I]) << " gives " << Text(Result[I])
            << ", expected is " << Text(Case.Out[I]);
        EXPECT_TRUE(!Shared || IsSame(Other.Blocks.at(0)[I], Case.In[I])) << Case.What;
      }
    }
}

// --- values ---

TEST(Abs, GivesTheAbsoluteValue) {
  Check<TQSAbs>({{"abs",
                  [](auto&) {},
                  {-1.5, 0.0, -0.0, 2.0, -Infinity, NaN, -Largest},
                  {1.5, 0.0, 0.0, 2.0, Infinity, NaN, Largest}}});
}

TEST(ToSquare, GivesHighOnlyAboveLevel) {
  Check<TQSToSquare>({{"defaults",
                       [](auto&) {},
                       {0.0, -0.0, 5e-324, -5e-324, Infinity, -Infinity, NaN},
                       {-1000, -1000, 1000, -1000, 1000, -1000, -1000}},
                      {"set",
                       [](auto& F) {
                         F.SetLevel(2.0);
                         F.SetHigh(-7.0);
                         F.SetLow(Infinity);
                       },
                       {2.0, std::nextafter(2.0, 3.0), -3.0},
                       {Infinity, -7.0, Infinity}},
                      {"a level that is no number",
                       [](auto& F) { F.SetLevel(NaN); },
                       {1.0, NaN},
                       {-1000, -1000}}});
}

TEST(RealTodB, GivesDecibelsAndTheLowestDoubleForWhatHasNone) {
  const double Floor = std::bit_cast<double>(std::uint64_t{0xFFEFFFFFFFFFFFFF});
  const auto Amplitude = [](auto& F) { F.SetMode(TQSdBMode::dbmAmplitude); };
  Check<TQSRealTodB>({{"power",
                       [](auto&) {},
                       {1.0, 100.0, 0.1, 0.0, -0.0, -1.0, NaN, Infinity, -Infinity},
                       {0.0, 20.0, -10.0, Floor, Floor, Floor, Floor, Infinity, Floor}},
                      {"amplitude",
                       Amplitude,
                       {1.0, 100.0, 0.1, 0.0, -1.0, NaN},
                       {0.0, 40.0, -20.0, Floor, Floor, Floor}}});
  TStreamRig<TQSRealTodB> Rig;
  for (const double X : {5e-324, 0.37, 2.0, 12345.678, Largest}) {
    const long double Expected = 10 * std::log10(static_cast<long double>(X));
    EXPECT_TRUE(IsNear(Rig.Send({X})[0], Expected, 3 * Eps * std::fabs(Expected))) << X;
  }
}

TEST(ApplyRealConst, ComputesEachOperation) {
  using enum TQSRealApplyOperation;
  const auto With = [](TQSRealApplyOperation AOperation, double AValue) {
    return [=](TQSApplyRealConst& F) {
      F.SetApplyOperation(AOperation);
      F.SetValue(AValue);
    };
  };
  Check<TQSApplyRealConst>(
      {{"defaults", [](auto&) {}, {1.0, -2.5}, {1.0, -2.5}},
       {"add", With(faoAdd, 2), {1.0, -2.0, NaN, Infinity}, {3.0, 0.0, NaN, Infinity}},
       {"subtract", With(faoSubtract, 2), {1.0, 2.0, -Infinity}, {-1.0, 0.0, -Infinity}},
       {"subtract const", With(faoSubtractConst, 2), {1.0, 5.0, Infinity}, {1.0, -3.0, -Infinity}},
       {"multiply", With(faoMultiply, -2), {1.0, 0.0, Largest, NaN}, {-2.0, -0.0, -Infinity, NaN}},
       {"divide", With(faoDivide, 4), {1.0, -6.0, 0.0, NaN}, {0.25, -1.5, 0.0, NaN}},
       {"divide by -0", With(faoDivide, -0.0), {1.0, 0.0, NaN, -Infinity}, {0.0, 0.0, 0.0, 0.0}},
       {"divide by NaN", With(faoDivide, NaN), {1.0, 0.0}, {NaN, NaN}},
       {"divide const",
        With(faoDivideConst, 2),
        {4.0, 0.0, -1.0, -0.0, NaN, Infinity},
        {0.5, 0.0, -2.0, -0.0, NaN, 0.0}},
       {"divide const 0", With(faoDivideConst, 0), {4.0, 0.0}, {0.0, 0.0}},
       {"set", With(faoSet, 2.5), {1.0, NaN}, {2.5, 2.5}}});
}

TEST(ApplyIntConst, ComputesEachOperation) {
  using enum TQSIntApplyOperation;
  const auto With = [](TQSIntApplyOperation AOperation, std::int32_t AValue) {
    return [=](TQSApplyIntConst& F) {
      F.SetApplyOperation(AOperation);
      F.SetValue(AValue);
    };
  };
  Check<TQSApplyIntConst>(
      {{"defaults", [](auto&) {}, {1, -2}, {1, -2}},
       {"add", With(iaoAdd, 2), {1, -5, MaxInt, MaxInt - 2}, {3, -3, MaxInt, MaxInt}},
       {"subtract", With(iaoSubtract, 2), {1, MinInt, MinInt + 1}, {-1, MinInt, MinInt}},
       {"subtract const", With(iaoSubtractConst, 2), {1, MinInt, 5}, {1, MaxInt, -3}},
       {"multiply", With(iaoMultiply, -3), {7, -7, MinInt, 1 << 30}, {-21, 21, MaxInt, MinInt}},
       {"divide", With(iaoDivide, 2), {7, -7, 1, MinInt}, {3, -3, 0, MinInt / 2}},
       {"divide by -1", With(iaoDivide, -1), {5, MinInt, MaxInt}, {-5, MaxInt, -MaxInt}},
       {"divide by 0", With(iaoDivide, 0), {7, -7, MinInt}, {0, 0, 0}},
       {"divide const", With(iaoDivideConst, 100), {7, 0, -7, 101, MinInt}, {14, 0, -14, 0, 0}},
       {"divide const, least", With(iaoDivideConst, MinInt), {-1, 1, 0}, {MaxInt, MinInt, 0}},
       {"and", With(iaoAnd, 12), {10, -1, 3}, {8, 12, 0}},
       {"or", With(iaoOr, 12), {10, -16, 0}, {14, -4, 12}},
       {"xor", With(iaoXor, 12), {10, -1}, {6, -13}},
       {"left", With(iaoLShift, 4), {1, -1, 0x12345678}, {16, -16, 0x23456780}},
       {"left 32", With(iaoLShift, 32), {1, -1}, {0, 0}},
       {"left less than 0", With(iaoLShift, -1), {1, -1}, {1, -1}},
       {"right", With(iaoRShift, 4), {256, -256, -1, 15}, {16, -16, -1, 0}},
       {"right 1000", With(iaoRShift, 1000), {MaxInt, MinInt}, {0, -1}},
       {"right less than 0", With(iaoRShift, MinInt), {1, -1}, {1, -1}},
       {"set", With(iaoSet, -9), {1, 0}, {-9, -9}}});
}

TEST(ApplyComplexConst, ComputesEachOperation) {
  using enum TQSComplexApplyOperation;
  const auto With = [](TQSComplexApplyOperation AOperation, double ARe, double AIm) {
    return [=](TQSApplyComplexConst& F) {
      F.SetApplyOperation(AOperation);
      F.SetRealValue(ARe);
      F.SetImagValue(AIm);
    };
  };
  Check<TQSApplyComplexConst>(
      {{"defaults", [](auto&) {}, {{1, -2}}, {{1, -2}}},
       {"add", With(caoAdd, 2, 3), {{1, -5}, {NaN, 0}}, {{3, -2}, {NaN, 3}}},
       {"subtract", With(caoSubtract, 2, 3), {{1, -5}}, {{-1, -8}}},
       {"subtract const", With(caoSubtractConst, 2, 3), {{1, -5}}, {{1, 8}}},
       {"multiply", With(caoMultiply, 2, 3), {{1, -5}, {0, 1}}, {{17, -7}, {-3, 2}}},
       {"divide", With(caoDivide, 1, 1), {{2, 0}, {3, -1}, {0, 4}}, {{1, -1}, {1, -2}, {2, 2}}},
       {"divide by a real", With(caoDivide, 2, 0), {{2, 4}, {NaN, 1}}, {{0, 0}, {0, 0}}},
       {"divide by an imaginary", With(caoDivide, -0.0, 2), {{2, 4}}, {{0, 0}}},
       {"divide by NaN", With(caoDivide, NaN, 1), {{2, 4}}, {{NaN, NaN}}},
       {"divide const",
        With(caoDivideConst, 4, 9),
        {{2, 3}, {2, 0}, {0, 3}, {-0.0, 5}, {NaN, 3}, {-8, Infinity}},
        {{2, 3}, {2, 0}, {0, 3}, {-0.0, 5}, {NaN, 3}, {-0.5, 0}}},
       {"set", With(caoSet, 4, -9), {{2, 3}, {NaN, NaN}}, {{4, -9}, {4, -9}}}});
  TStreamRig<TQSApplyComplexConst, TComplex> Rig;
  With(caoDivide, 2, 1)(*Rig.It);
  const TComplex Quotient = Rig.Send({{7, -4}})[0];  // (7 - 4i)(2 - i) / 5
  EXPECT_TRUE(IsNear(Quotient.Re, 2.0L, 8 * Eps));
  EXPECT_TRUE(IsNear(Quotient.Im, -3.0L, 8 * 3 * Eps));
}

TEST(Conjugate, TurnsTheImaginaryPartAndTheOrderIfAsked) {
  Check<TQSConjugate>({{"conjugate",
                        [](auto&) {},
                        {{1, -2}, {NaN, 0.0}, {-0.0, -0.0}, {3, Infinity}},
                        {{1, 2}, {NaN, -0.0}, {-0.0, 0.0}, {3, -Infinity}}},
                       {"flipped",
                        [](auto& F) { F.SetFlip(true); },
                        {{1, -2}, {3, 4}, {5, 0.0}},
                        {{5, -0.0}, {3, -4}, {1, 2}}}});
}

TEST(RealToInt, GoesTowardsZeroOrToTheNearestAndSaturates) {
  const auto Round = [](auto& F) { F.SetRound(true); };
  Check<TQSRealToInt>(
      {{"towards 0", [](auto&) {}, {2.7, -2.7, -0.0, 0.999, -1e-300}, {2, -2, 0, 0, 0}},
       {"nearest", Round, {2.7, -2.7, 0.5, 1.5, -2.5, 1e-300}, {3, -3, 0, 2, -2, 0}},
       {"beyond",
        [](auto&) {},
        {2147483647.9, 2147483648.0, -2147483648.9, 1e300, -Largest, Infinity, -Infinity, NaN},
        {MaxInt, MaxInt, MinInt, MaxInt, MinInt, MaxInt, MinInt, 0}},
       {"beyond by rounding",
        Round,
        {2147483647.4, 2147483647.5, -2147483648.5, Infinity, -Infinity, -NaN},
        {MaxInt, MaxInt, MinInt, MaxInt, MinInt, 0}}});
  Check<TQSIntToReal>({{"back",
                        [](auto&) {},
                        {0, 1, -1, MaxInt, MinInt},
                        {0.0, 1.0, -1.0, 2147483647.0, -2147483648.0}}});
}

// What a complex stream becomes on the two outputs of TFilter, whose names these are.
template <class TFilter>
void ExpectParts(const std::vector<TComplex>& AIn, const char* AFirstName,
                 const std::vector<double>& AFirst, const char* ASecondName,
                 const std::vector<double>& ASecond) {
  const auto Filter = Create<TFilter>();
  const TPublishedTable& Table = Filter->PublishedTable();
  TFeed<TComplex> Feed(Filter->InputPin());
  TProbe<double> First(Table.FindPin(AFirstName)->Get(*Filter));
  TProbe<double> Second;
  std::size_t FirstsAtSecond = 0;
  bool Fails = false;
  TQSKLRealSinkPin Watch({}, Hear([&](IKLNotifyOperation& AOperation) {
                           if (Fails && testing::IsStop(AOperation))
                             throw EQSException("a sink that fails");
                           if (testing::IsBlock(AOperation)) FirstsAtSecond = First.Blocks.size();
                         }));
  Second.Pin.Connect(Table.FindPin(ASecondName)->Get(*Filter));
  Table.FindPin(ASecondName)->Get(*Filter).Connect(Watch);
  Feed.Start(500.0);
  Feed.Send(AIn);
  EXPECT_EQ(FirstsAtSecond, 1U) << "the first output comes first";
  for (std::size_t I = 0; I < AIn.size(); ++I) {
    EXPECT_DOUBLE_EQ(First.Blocks.at(0).at(I), AFirst[I]);
    EXPECT_DOUBLE_EQ(Second.Blocks.at(0).at(I), ASecond[I]);
  }
  Watch.Disconnect(Table.FindPin(ASecondName)->Get(*Filter));
  Table.FindPin(AFirstName)->Get(*Filter).Connect(Watch);
  Fails = true;
  EXPECT_THROW(Feed.Stop(), EQSException);
  for (const auto* Out : {&First, &Second}) {
    EXPECT_EQ(Out->StartRates, std::vector<double>{500.0});
    EXPECT_EQ(Out->Stops, 1) << "though a sink of the other output fails";
  }
  Fails = false;
}

TEST(ComplexToReal, SplitsItsStreamIntoPartsOrPolarForm) {
  ExpectParts<TQSComplexToReal>({{1, -2}, {-0.0, Infinity}}, "RealOutputPin", {1, -0.0},
                                "ImagOutputPin", {-2, Infinity});
  ExpectParts<TQSCartToPolar>({{3, 4}, {-2, 0.0}, {0, -1}}, "MagnOutputPin", {5, 2, 1},
                              "PhaseOutputPin", {std::atan2(4, 3), M_PI, -M_PI_2});
}

TEST(ApplyRealConst, AChangeTakesEffectWithTheNextBlock) {
  TStreamRig<TQSApplyRealConst> Rig;
  Rig.Feed.Start();
  for (const double Value : {1.0, 2.0, -3.0}) {
    Rig.It->SetValue(Value);
    EXPECT_EQ(Rig.Send({10.0}), std::vector<double>{10.0 + Value});
  }
  Rig.It->SetEnabled(false);
  Rig.It->SetEnabled(true);
  EXPECT_EQ(Rig.Send({10.0}), std::vector<double>{7.0});
}

TEST(AFilter, ComputesNothingWhileItsOutputLeadsNowhere) {
  TStreamRig<testing::THookFilter> Rig;
  int Computed = 0;
  Rig.It->OnBlock = [&] { ++Computed; };
  Rig.Feed.Start();
  Rig.Out.Pin.DisconnectAll();
  Rig.Send(1);
  EXPECT_EQ(Computed, 0);
  Rig.Out.Pin.Connect(Rig.It->OutputPin());
  Rig.Send(1);
  EXPECT_EQ(Computed, 1);
}

}  // namespace
}  // namespace tessalune::test
