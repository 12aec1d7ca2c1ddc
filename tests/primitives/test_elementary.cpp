#include "TestedInstructionSet.h"
#include "Vectors.h"

#include <tessalune/primitives/PrimitiveTable.h>
#include <tessalune/primitives/QSBasicDispatcher.h>
#include <tessalune/primitives/QSDispatcher.h>

#include <algorithm>
#include <limits>

namespace tessalune::test {
namespace {

constexpr double Tiny = std::numeric_limits<double>::denorm_min();
constexpr double Huge = std::numeric_limits<double>::max();

// A function of two reals through the primitive that serves it, and the same of wider precision.
struct TElementary {
  const char* Name;
  TSamples (*Vector)(const TSamples& AFirst, const TSamples& ASecond);
  double (*Plain)(double, double);
  long double (*Wide)(long double, long double);
};

TSamples Phases(const TSamples& X, const TSamples& Y) {
  std::vector<TComplex> Source(X.size());
  TSamples Magnitudes(X.size()), Result(X.size()), Alone(X.size());
  for (std::size_t I = 0; I < X.size(); ++I) Source[I] = {X[I], Y[I]};
  EXPECT_EQ(ippsCartToPolar_64fc(Source.data(), Magnitudes.data(), Result.data(), LengthOf(X)),
            ippStsNoErr);
  for (std::size_t I = 0; I < X.size(); ++I)
    EXPECT_TRUE(IsSame(Magnitudes[I], std::sqrt(X[I] * X[I] + Y[I] * Y[I]))) << I;
  EXPECT_EQ(ippsPhase_64fc(Source.data(), Alone.data(), LengthOf(X)), ippStsNoErr);
  EXPECT_TRUE(std::equal(Alone.begin(), Alone.end(), Result.begin(), IsSame<double>));
  return Result;
}

template <bool IsSine>
TSamples OnUnitCircle(const TSamples& X, const TSamples&) {
  const TSamples Twos(X.size(), 2.0);
  std::vector<TComplex> Points(X.size());
  EXPECT_EQ(ippsPolarToCart_64fc(Twos.data(), X.data(), Points.data(), LengthOf(X)), ippStsNoErr);
  TSamples Result;
  for (const TComplex& Point : Points) Result.push_back((IsSine ? Point.Im : Point.Re) / 2);
  return Result;
}

template <auto& Primitive>
TSamples Logarithms(const TSamples& X, const TSamples&) {
  TSamples Result = X;
  EXPECT_GE(Primitive(Result.data(), Result.data(), LengthOf(X)), ippStsNoErr);
  return Result;
}

const TElementary Elementaries[] = {
    {"atan2(second, first)", Phases, [](double X, double Y) { return std::atan2(Y, X); },
     [](long double X, long double Y) { return std::atan2(Y, X); }},
    {"sin", OnUnitCircle<true>, [](double X, double) { return std::sin(X); },
     [](long double X, long double) { return std::sin(X); }},
    {"cos", OnUnitCircle<false>, [](double X, double) { return std::cos(X); },
     [](long double X, long double) { return std::cos(X); }},
    {"log", Logarithms<ippsLn_64f>, [](double X, double) { return std::log(X); },
     [](long double X, long double) { return std::log(X); }},
    {"log10", Logarithms<ippsLog10_64f_A53>, [](double X, double) { return std::log10(X); },
     [](long double X, long double) { return std::log10(X); }},
};

// What one unit in the last place of AValue is, as a double.
long double Ulp(long double AValue) {
  if (AValue == 0) return Tiny;
  return std::max(std::ldexp(1.0L, std::ilogb(AValue) - 52), static_cast<long double>(Tiny));
}

// Random numbers of all magnitudes from 2^-AExponents to 2^AExponents, of either sign.
TSamples Spread(std::size_t ACount, double AExponents) {
  const TSamples Exponents = RandomSamples(2 * ACount, AExponents);
  TSamples Result(ACount);
  for (std::size_t I = 0; I < ACount; ++I)
    Result[I] = std::copysign(std::exp2(Exponents[2 * I]), Exponents[2 * I + 1]);
  return Result;
}

// Arguments where reductions change and cancellation is worst, each with its neighbours: multiples
// of pi/8, powers of 2 and of 10, and what lies around 1.
TSamples Structured() {
  TSamples Result;
  const auto Add = [&](double X) {
    for (const double Y : {X, std::nextafter(X, Inf), std::nextafter(X, -Inf)})
      Result.insert(Result.end(), {Y, -Y});
  };
  for (int I = 1; I < 3000; ++I) Add(std::acos(-1.0) / 8 * I * (1 + I / 8));
  for (int I = -320; I < 309; ++I) Add(std::pow(10.0, I));
  for (int I = -1074; I < 1024; ++I) Add(std::ldexp(1.0, I));
  for (int I = 1; I < 53; ++I) Add(1 - std::ldexp(1.0, -I)), Add(1 + std::ldexp(1.0, -I));
  for (int I = 0; I < 200; ++I) Add(std::sqrt(0.5) + I / 256.0);
  return Result;
}

void Append(TSamples& ATarget, const TSamples& ASource) {
  ATarget.insert(ATarget.end(), ASource.begin(), ASource.end());
}

constexpr double Special[] = {0.0,  -0.0,  1.0,  -1.0, Inf,    -Inf,      NaN,
                              Tiny, -Tiny, Huge, 1e5,  0x1p70, -0x1.8p401};

struct TArguments {
  TSamples First, Second;
};

TArguments Arguments() {
  constexpr std::size_t Dense = 60000;
  TArguments Result;
  Append(Result.First, RandomSamples(Dense, 3.0));
  Append(Result.First, RandomSamples(Dense, 66000.0));
  Append(Result.First, Spread(Dense, 10.0));
  Append(Result.First, Spread(Dense, 1020.0));
  Append(Result.First, Structured());
  // In another order, so that the pairs are of all kinds; and pairs of about the same size.
  Result.Second = Result.First;
  std::shuffle(Result.Second.begin(), Result.Second.end(), std::mt19937_64(1));
  const TSamples Near = RandomSamples(Dense, 1.0);
  for (std::size_t I = 0; I < Dense; ++I) Result.Second[I] = Result.First[I] * (1 + Near[I]);
  for (const double A : Special)
    for (const double B : Special) Result.First.push_back(A), Result.Second.push_back(B);
  return Result;
}

TEST(Elementary, WithinOneUlpOfTheExactValueAndOfTheCLibrary) {
  const TArguments X = Arguments();
  for (const TElementary& Function : Elementaries) {
    const TSamples Actual = Function.Vector(X.First, X.Second);
    long double Worst = 0;
    for (std::size_t I = 0; I < Actual.size(); ++I) {
      const long double Exact = Function.Wide(X.First[I], X.Second[I]);
      const double Plain = Function.Plain(X.First[I], X.Second[I]);
      if (std::isnan(Plain) || std::isinf(Plain) || Plain == 0) {
        ASSERT_TRUE(IsSame(Plain, Actual[I]))
            << Function.Name << " of " << X.First[I] << ", " << X.Second[I] << ": " << Actual[I];
        continue;
      }
      const long double Error = std::fabs(Actual[I] - Exact) / Ulp(Exact);
      ASSERT_LE(Error, 1) << std::hexfloat << Function.Name << " of " << X.First[I] << ", "
                          << X.Second[I] << ": " << Actual[I] << " differs from " << Exact;
      // Some C libraries are off by more than an ulp themselves, in their log10 above all.
      const bool IsPlainGood = std::fabs(Plain - Exact) < 0.7L * Ulp(Exact);
      ASSERT_TRUE(!IsPlainGood || IsNear(Actual[I], Plain, Ulp(Plain)));
      Worst = std::max(Worst, Error);
    }
    RecordProperty(Function.Name, std::to_string(Worst) + " ulp");
  }
}

TEST(Elementary, LogarithmsOfPowersOfTenAreWhole) {
  TSamples X;
  for (int I = 0; I <= 22; ++I) X.push_back(std::pow(10.0, I));
  ASSERT_EQ(ippsLog10_64f_A53(X.data(), X.data(), LengthOf(X)), ippStsNoErr);
  for (std::size_t I = 0; I < X.size(); ++I) EXPECT_EQ(X[I], static_cast<double>(I));
}

TEST(Elementary, LogarithmsWarnOfZerosAndOfNegativeSamples) {
  struct TCase {
    double Sample;
    IppStatus Ln, Log10;
  };
  const TCase Cases[] = {{-0.0, ippStsLnZeroArg, ippStsSingularity},
                         {-Tiny, ippStsLnNegArg, ippStsDomain},
                         {NaN, ippStsNoErr, ippStsNoErr},
                         {Tiny, ippStsNoErr, ippStsNoErr}};
  for (const TCase& Case : Cases)
    for (std::size_t At = 0; At < 19; ++At) {
      TSamples X(19, 2.0), Y(19);
      X[At] = Case.Sample;
      EXPECT_EQ(ippsLn_64f(X.data(), Y.data(), 19), Case.Ln) << Case.Sample << " at " << At;
      EXPECT_EQ(ippsLog10_64f_A53(X.data(), Y.data(), 19), Case.Log10) << Case.Sample;
    }
  TSamples Both{0.0, -1.0};
  EXPECT_EQ(ippsLn_64f(Both.data(), Both.data(), 2), ippStsLnNegArg);
}

// So a sample's result depends neither on its place nor on the processor.
TEST(Elementary, TheSameBitsAtEveryLengthAndOnEverySet) {
  const TArguments X = Arguments();
  for (const TElementary& Function : Elementaries) {
    const TSamples Whole = Function.Vector(X.First, X.Second);
    for (std::ptrdiff_t Count = 1; Count <= 70; ++Count) {
      const std::ptrdiff_t From = 3 * Count;
      const TSamples Part =
          Function.Vector({X.First.begin() + From, X.First.begin() + From + Count},
                          {X.Second.begin() + From, X.Second.begin() + From + Count});
      for (std::ptrdiff_t I = 0; I < Count; ++I)
        ASSERT_TRUE(
            IsSame(Part[static_cast<std::size_t>(I)], Whole[static_cast<std::size_t>(From + I)]))
            << Function.Name << ", length " << Count << ", sample " << I;
    }
    ASSERT_TRUE(BindPrimitivesToInstructionSet(TInstructionSet::Baseline));
    const TSamples Baseline = Function.Vector(X.First, X.Second);
    ASSERT_TRUE(BindPrimitivesToInstructionSet(TestedInstructionSet()));
    for (std::size_t I = 0; I < Whole.size(); ++I)
      ASSERT_TRUE(IsSame(Whole[I], Baseline[I]))
          << Function.Name << " of " << X.First[I] << ", " << X.Second[I];
  }
}

TEST(Elementary, ANullDestinationOfThePolarFormLeavesTheOtherFilled) {
  const TComplex X{3, 4};
  double Y = 0;
  EXPECT_EQ(ippsCartToPolar_64fc(&X, nullptr, &Y, 1), ippStsNullPtrErr);
  EXPECT_TRUE(IsNear(Y, std::atan2(4.0L, 3.0L), Eps));
  EXPECT_EQ(ippsCartToPolar_64fc(&X, &Y, nullptr, 1), ippStsNullPtrErr);
  EXPECT_EQ(Y, 5);
  EXPECT_EQ(ippsCartToPolar_64fc(&X, nullptr, &Y, 0), ippStsNullPtrErr);
}

}  // namespace
}  // namespace tessalune::test
