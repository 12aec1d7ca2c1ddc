#include "Samples.h"

#include <tessalune/primitives/QSBasicDispatcher.h>

#include <complex>
#include <functional>
#include <limits>

namespace tessalune::test {
namespace {

using TWide = std::complex<long double>;

constexpr std::int32_t Max = std::numeric_limits<std::int32_t>::max();
constexpr std::int32_t Min = std::numeric_limits<std::int32_t>::min();
constexpr double Inf = std::numeric_limits<double>::infinity();

TWide Wide(double X) { return X; }
TWide Wide(const TComplex& X) { return {X.Re, X.Im}; }

template <class T>
std::vector<T> Samples(std::size_t ACount, unsigned AShift) {
  const std::vector<double> Random = RandomSamples(2 * (ACount + AShift));
  std::vector<T> Result(ACount);
  for (std::size_t I = 0; I < ACount; ++I)
    if constexpr (std::is_same_v<T, TComplex>)
      Result[I] = {Random[2 * (I + AShift)], Random[2 * (I + AShift) + 1]};
    else
      Result[I] = Random[I + AShift];
  return Result;
}

// All lengths around a few vectors' width; the samples behind the end stay.
constexpr std::size_t Longest = 70;

template <class T>
void ExpectSamples(const std::vector<T>& AActual, std::size_t ACount,
                   const std::vector<T>& AUntouched,
                   const std::function<TWide(std::size_t)>& AOracle, const char* AName) {
  for (std::size_t I = 0; I < Longest; ++I) {
    const TWide Expected = I < ACount ? AOracle(I) : Wide(AUntouched[I]);
    // Each part of a quotient makes five rounding errors of the modulus at most, a product three;
    // operands of up to 15 bound what a difference may cancel.
    const long double Error = std::abs(Wide(AActual[I]) - Expected);
    ASSERT_LE(Error, 16 * Eps * std::abs(Expected) + 200 * Eps)
        << AName << ", length " << ACount << ", sample " << I;
  }
}

template <class T>
struct TConstantCase {
  const char* Name;
  IppStatus (*Apart)(const T*, T, T*, std::int32_t) noexcept;
  IppStatus (*InPlace)(T, T*, std::int32_t) noexcept;
  TWide (*Oracle)(TWide, TWide);
};

template <class T>
void CheckConstants(const std::vector<TConstantCase<T>>& ACases, T AValue) {
  const std::vector<T> Source = Samples<T>(Longest, 0), Old = Samples<T>(Longest, 50);
  for (const TConstantCase<T>& Case : ACases)
    for (std::size_t Count = 1; Count <= Longest; ++Count) {
      const auto Length = static_cast<std::int32_t>(Count);
      const auto Oracle = [&](std::size_t I) { return Case.Oracle(Wide(Source[I]), Wide(AValue)); };
      std::vector<T> Target = Old;
      ASSERT_EQ(Case.Apart(Source.data(), AValue, Target.data(), Length), ippStsNoErr);
      ExpectSamples<T>(Target, Count, Old, Oracle, Case.Name);
      Target = Source;
      ASSERT_EQ(Case.InPlace ? Case.InPlace(AValue, Target.data(), Length)
                             : Case.Apart(Target.data(), AValue, Target.data(), Length),
                ippStsNoErr);
      ExpectSamples<T>(Target, Count, Source, Oracle, Case.Name);
    }
}

TEST(BasicArithmetic, VectorAndConstant) {
  const auto Add = [](TWide X, TWide V) { return X + V; };
  const auto Sub = [](TWide X, TWide V) { return X - V; };
  const auto SubRev = [](TWide X, TWide V) { return V - X; };
  const auto Mul = [](TWide X, TWide V) { return X * V; };
  const auto Div = [](TWide X, TWide V) { return X / V; };
  CheckConstants<double>({{"AddC", ippsAddC_64f, ippsAddC_64f_I, Add},
                          {"SubC", ippsSubC_64f, ippsSubC_64f_I, Sub},
                          {"SubCRev", ippsSubCRev_64f, nullptr, SubRev},
                          {"MulC", ippsMulC_64f, ippsMulC_64f_I, Mul},
                          {"DivC", ippsDivC_64f, nullptr, Div}},
                         -3.7);
  CheckConstants<TComplex>({{"AddC", ippsAddC_64fc, nullptr, Add},
                            {"SubC", ippsSubC_64fc, nullptr, Sub},
                            {"SubCRev", ippsSubCRev_64fc, nullptr, SubRev},
                            {"MulC", ippsMulC_64fc, ippsMulC_64fc_I, Mul},
                            {"DivC", ippsDivC_64fc, nullptr, Div}},
                           {1.3, -2.9});
}

template <class T>
struct TVectorCase {
  const char* Name;
  IppStatus (*Apart)(const T*, const T*, T*, std::int32_t) noexcept;
  IppStatus (*InPlace)(const T*, T*, std::int32_t) noexcept;
  TWide (*Oracle)(TWide, TWide);
};

template <class T>
void CheckVectors(const std::vector<TVectorCase<T>>& ACases) {
  const std::vector<T> First = Samples<T>(Longest, 0), Second = Samples<T>(Longest, 50),
                       Old = Samples<T>(Longest, 100);
  for (const TVectorCase<T>& Case : ACases)
    for (std::size_t Count = 1; Count <= Longest; ++Count) {
      const auto Length = static_cast<std::int32_t>(Count);
      const auto Oracle = [&](std::size_t I) {
        return Case.Oracle(Wide(First[I]), Wide(Second[I]));
      };
      std::vector<T> Target = Old;
      ASSERT_EQ(Case.Apart(First.data(), Second.data(), Target.data(), Length), ippStsNoErr);
      ExpectSamples<T>(Target, Count, Old, Oracle, Case.Name);
      Target = First;
      ASSERT_EQ(Case.Apart(Target.data(), Second.data(), Target.data(), Length), ippStsNoErr);
      ExpectSamples<T>(Target, Count, First, Oracle, Case.Name);
      Target = Second;
      ASSERT_EQ(Case.InPlace(First.data(), Target.data(), Length), ippStsNoErr);
      ExpectSamples<T>(Target, Count, Second, Oracle, Case.Name);
    }
}

TEST(BasicArithmetic, TwoVectorsInTheirPublicOrder) {
  const auto Add = [](TWide A, TWide B) { return A + B; };
  const auto Sub = [](TWide A, TWide B) { return B - A; };
  const auto Mul = [](TWide A, TWide B) { return A * B; };
  const auto Div = [](TWide A, TWide B) { return B / A; };
  CheckVectors<double>({{"Add", ippsAdd_64f, ippsAdd_64f_I, Add},
                        {"Sub", ippsSub_64f, ippsSub_64f_I, Sub},
                        {"Mul", ippsMul_64f, ippsMul_64f_I, Mul},
                        {"Div", ippsDiv_64f, ippsDiv_64f_I, Div}});
  CheckVectors<TComplex>({{"Add", ippsAdd_64fc, ippsAdd_64fc_I, Add},
                          {"Sub", ippsSub_64fc, ippsSub_64fc_I, Sub},
                          {"Mul", ippsMul_64fc, ippsMul_64fc_I, Mul},
                          {"Div", ippsDiv_64fc, ippsDiv_64fc_I, Div}});
}

TEST(BasicArithmetic, ComplexQuotientsAreThoseOfTheTypeToTheBit) {
  const double Special[] = {0.0, -0.0, 1.0, -3.0, 1e300, 0x1p-1070, Inf, -Inf, std::nan("")};
  std::vector<TComplex> Values;
  for (const double Re : Special)
    for (const double Im : Special) Values.push_back({Re, Im});
  const auto Length = static_cast<std::int32_t>(Values.size());
  const auto Expect = [](const TComplex& AActual, const TComplex& AExpected) {
    EXPECT_TRUE(IsSame(AActual.Re, AExpected.Re) && IsSame(AActual.Im, AExpected.Im))
        << AActual.Re << ' ' << AActual.Im << " is not " << AExpected.Re << ' ' << AExpected.Im;
  };
  for (const TComplex& Divisor : Values) {
    const std::vector<TComplex> Divisors(Values.size(), Divisor);
    std::vector<TComplex> Quotients(Values.size()), ByConstant(Values.size());
    ASSERT_GE(ippsDiv_64fc(Divisors.data(), Values.data(), Quotients.data(), Length), ippStsNoErr);
    const bool IsZero = Divisor == TComplex{};
    ASSERT_EQ(ippsDivC_64fc(Values.data(), Divisor, ByConstant.data(), Length),
              IsZero ? ippStsDivByZeroErr : ippStsNoErr);
    for (std::size_t I = 0; I < Values.size(); ++I) {
      Expect(Quotients[I], Values[I] / Divisor);
      if (!IsZero) Expect(ByConstant[I], Values[I] / Divisor);
    }
  }
}

TEST(BasicArithmetic, DivisionByZero) {
  double Target[] = {99.0, 99.0, 99.0, 99.0};
  const double Divisor[] = {0.0, 2.0, 0.0, 0.0}, Dividend[] = {3.0, 3.0, -3.0, 0.0};
  EXPECT_EQ(ippsDivC_64f(Dividend, 0.0, Target, 4), ippStsDivByZeroErr);
  EXPECT_EQ(Target[0], 99.0);
  EXPECT_EQ(ippsDiv_64f(Divisor, Dividend, Target, 4), ippStsDivByZero);
  EXPECT_EQ(Target[0], Inf);
  EXPECT_EQ(Target[1], 1.5);
  EXPECT_EQ(Target[2], -Inf);
  EXPECT_TRUE(std::isnan(Target[3]));

  TComplex Complex[] = {{1, 1}};
  const TComplex Zero[] = {{0, 0}};
  EXPECT_EQ(ippsDivC_64fc(Complex, {0, 0}, Complex, 1), ippStsDivByZeroErr);
  EXPECT_EQ(Complex[0], (TComplex{1, 1}));
  EXPECT_EQ(ippsDivC_64fc(Complex, {0, 1}, Complex, 1), ippStsNoErr);
  EXPECT_EQ(Complex[0], (TComplex{1, -1}));
  EXPECT_EQ(ippsDiv_64fc_I(Zero, Complex, 1), ippStsDivByZero);
  EXPECT_TRUE(std::isnan(Complex[0].Re) && std::isnan(Complex[0].Im));
}

TEST(BasicArithmetic, ScaledIntegersRoundToEvenAndSaturate) {
  struct TCase {
    TPtr_ippsAddC_32s_Sfs Function;
    std::int32_t X, Value, Scale, Expected;
  };
  const TCase Cases[] = {
      {ippsAddC_32s_Sfs, Max, 1, 0, Max},
      {ippsAddC_32s_Sfs, Min, -1, 0, Min},
      {ippsAddC_32s_Sfs, -5, 3, 0, -2},
      {ippsAddC_32s_Sfs, Max, Max, 1, Max},
      {ippsAddC_32s_Sfs, 2, 3, 1, 2},     // 2.5
      {ippsAddC_32s_Sfs, 4, 3, 1, 4},     // 3.5
      {ippsAddC_32s_Sfs, -2, -3, 1, -2},  // -2.5
      {ippsAddC_32s_Sfs, 5, 6, 2, 3},     // 2.75
      {ippsAddC_32s_Sfs, 3, 4, -2, 28},
      {ippsAddC_32s_Sfs, 1, 0, -31, Max},
      {ippsAddC_32s_Sfs, -1, 0, -31, Min},
      {ippsAddC_32s_Sfs, -1, 0, Min, Min},
      {ippsAddC_32s_Sfs, 1, -1, Min, 0},
      {ippsAddC_32s_Sfs, Max, Max, 33, 0},  // just below one half
      {ippsAddC_32s_Sfs, Min, Min, 33, 0},  // -0.5
      {ippsAddC_32s_Sfs, Min, Min, Max, 0},
      {ippsSubC_32s_Sfs, Min, 1, 0, Min},
      {ippsSubC_32s_Sfs, 7, 10, 0, -3},
      {ippsSubC_32s_Sfs, 0, Min, 0, Max},
      {ippsSubCRev_32s_Sfs, 7, 10, 0, 3},
      {ippsSubCRev_32s_Sfs, 1, Min, 0, Min},
      {ippsMulC_32s_Sfs, -6, 7, 0, -42},
      {ippsMulC_32s_Sfs, 65536, 32768, 0, Max},
      {ippsMulC_32s_Sfs, 65536, -32768, 0, Min},
      {ippsMulC_32s_Sfs, 46341, 46341, 0, Max},  // the first square beyond
      {ippsMulC_32s_Sfs, 46340, 46340, 0, 2147395600},
      {ippsMulC_32s_Sfs, Min, Min, 0, Max},
      {ippsMulC_32s_Sfs, Min, Min, 32, 1 << 30},
      {ippsMulC_32s_Sfs, Min, Min, 63, 0},  // 0.5
      {ippsMulC_32s_Sfs, Min, Max, 62, -1},
      {ippsMulC_32s_Sfs, Min, Min, 62, 1},
  };
  for (const TCase& Case : Cases) {
    std::vector<std::int32_t> X(Several, Case.X);
    ASSERT_EQ(Case.Function(X.data(), Case.Value, X.data(), Several, Case.Scale), ippStsNoErr);
    EXPECT_EQ(X, std::vector<std::int32_t>(Several, Case.Expected))
        << Case.X << ", " << Case.Value << ", scale " << Case.Scale;
  }
}

TEST(BasicArithmetic, BitsAndShifts) {
  const std::vector<std::uint32_t> Bits(Several, 0xF0F0A5A5u);
  std::vector<std::uint32_t> Target(Several);
  ippsAndC_32u(Bits.data(), 0xFF0000FFu, Target.data(), Several);
  EXPECT_EQ(Target, std::vector<std::uint32_t>(Several, 0xF00000A5u));
  ippsOrC_32u(Bits.data(), 0x0F000000u, Target.data(), Several);
  EXPECT_EQ(Target, std::vector<std::uint32_t>(Several, 0xFFF0A5A5u));
  ippsXorC_32u(Bits.data(), 0xFFFFFFFFu, Target.data(), Several);
  EXPECT_EQ(Target, std::vector<std::uint32_t>(Several, 0x0F0F5A5Au));

  struct TCase {
    std::int32_t X, Count, Left, Right;
  };
  for (const TCase& Case : {TCase{5, 0, 5, 5},
                            {5, 1, 10, 2},
                            {-5, 1, -10, -3},
                            {1, 31, Min, 0},
                            {-1, 31, Min, -1},
                            {Max, 1, -2, Max / 2},
                            {-7, 32, 0, -1},
                            {7, 32, 0, 0},
                            {-7, Max, 0, -1}}) {
    std::vector<std::int32_t> Left(Several, Case.X), Right(Several, Case.X);
    EXPECT_EQ(ippsLShiftC_32s(Left.data(), Case.Count, Left.data(), Several), ippStsNoErr);
    EXPECT_EQ(ippsRShiftC_32s(Right.data(), Case.Count, Right.data(), Several), ippStsNoErr);
    EXPECT_EQ(Left, std::vector<std::int32_t>(Several, Case.Left))
        << Case.X << " by " << Case.Count;
    EXPECT_EQ(Right, std::vector<std::int32_t>(Several, Case.Right))
        << Case.X << " by " << Case.Count;
  }
  std::int32_t X = 5;
  EXPECT_EQ(ippsLShiftC_32s(&X, -1, &X, 1), ippStsShiftErr);
  EXPECT_EQ(ippsRShiftC_32s(&X, Min, &X, 1), ippStsShiftErr);
  EXPECT_EQ(X, 5);
}

}  // namespace
}  // namespace tessalune::test
