// The primitives that make each element of a result from the elements of the same index, to the
// last bit: all of them but the logarithms and the polar form, which test_elementary.cpp has.
#include "GuardedMemory.h"
#include "Vectors.h"

#include <tessalune/primitives/QSBasicDispatcher.h>
#include <tessalune/primitives/QSDispatcher.h>

#include <algorithm>
#include <complex>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>

namespace tessalune::test {
namespace {

using TInts = std::vector<std::int32_t>;

constexpr std::int32_t Max = std::numeric_limits<std::int32_t>::max();
constexpr std::int32_t Min = std::numeric_limits<std::int32_t>::min();

// As many elements as make whole vectors of each type and instruction set and leave a rest.
constexpr std::size_t Several = 70;

template <class TOut, class T>
const T* SourceOr(const TGuarded<TOut>& ATarget, const TGuarded<T>& ASource, bool AIsTarget) {
  if constexpr (std::is_same_v<TOut, T>)
    if (AIsTarget) return ATarget.data();
  return ASource.data();
}

// The first elements, with nothing behind them.
template <class T>
TGuarded<T> First(const std::vector<T>& AValues, std::size_t ACount) {
  const auto End = AValues.begin() + static_cast<std::ptrdiff_t>(ACount);
  return {std::vector<T>(AValues.begin(), End), TGuardedSide::Back};
}

// APrimitive(source..., target, length) gives ADefinition(elements...) at every length up to
// Several and at that of the sources; to a target of its own and to each source that is of its
// type; and touches nothing behind.
template <class TPrimitive, class TDefinition, class... TIn>
void ExpectEach(const char* AName, TPrimitive APrimitive, TDefinition ADefinition,
                const std::vector<TIn>&... X) {
  using TOut = std::invoke_result_t<TDefinition, TIn...>;
  SCOPED_TRACE(AName);
  const std::size_t Whole = std::min({X.size()...});
  for (std::size_t Count = 1; Count <= Whole;
       Count = Count < Several || Count == Whole ? Count + 1 : Whole) {
    const std::tuple Inputs{First(X, Count)...};
    for (std::size_t Way = 0; Way <= sizeof...(TIn); ++Way) {
      TGuarded<TOut> Y(std::vector<TOut>(Count), TGuardedSide::Back);
      std::size_t Input = 0;
      const auto FillFrom = [&](const auto& ASource) {
        if (++Input == Way) std::copy_n(ASource.data(), Count, Y.data());
      };
      if constexpr ((std::is_same_v<TOut, TIn> && ...))
        (FillFrom(X), ...);
      else if (Way > 0)
        continue;
      Input = 0;
      const auto Choose = [&](const auto& ASource) { return SourceOr(Y, ASource, ++Input == Way); };
      const IppStatus Status = std::apply(
          [&](const auto&... AInputs) {
            const std::tuple Sources{Choose(AInputs)...};
            return std::apply(
                [&](auto... A) {
                  return APrimitive(A..., Y.data(), static_cast<std::int32_t>(Count));
                },
                Sources);
          },
          Inputs);
      ASSERT_GE(Status, ippStsNoErr);
      for (std::size_t I = 0; I < Count; ++I) {
        const TOut Expected = ADefinition(X[I]...);
        ASSERT_TRUE(IsSame(Y.data()[I], Expected))
            << testing::PrintToString(Y.data()[I]) << " is not " << testing::PrintToString(Expected)
            << " at " << I << " of " << Count << ", in place " << Way;
      }
    }
  }
}

template <class TPrimitive, class T, class TDefinition>
void Expect(const char* AName, TPrimitive APrimitive, const std::vector<T>& X,
            TDefinition ADefinition) {
  ExpectEach(AName, APrimitive, ADefinition, X);
}
template <class TPrimitive, class T, class TDefinition>
void Expect(const char* AName, TPrimitive APrimitive, const std::vector<T>& X,
            const std::vector<T>& Y, TDefinition ADefinition) {
  ExpectEach(AName, APrimitive, ADefinition, X, Y);
}

// AValues, each beside each other, in a random order.
template <class T>
std::pair<std::vector<T>, std::vector<T>> Pairs(const std::vector<T>& AValues) {
  std::vector<std::pair<T, T>> All;
  for (const T& A : AValues)
    for (const T& B : AValues) All.emplace_back(A, B);
  std::shuffle(All.begin(), All.end(), std::mt19937(1));
  std::pair<std::vector<T>, std::vector<T>> Result;
  for (const auto& [A, B] : All) Result.first.push_back(A), Result.second.push_back(B);
  return Result;
}

const TSamples Reals = {0.0, -0.0, 1.0, -3.7, 2.5, 1e300, 0x1p-1070, Inf, -Inf, NaN, -1 / 3.0};

std::vector<TComplex> Complexes() {
  std::vector<TComplex> Result;
  const auto [Re, Im] = Pairs(Reals);
  for (std::size_t I = 0; I < Re.size(); ++I) Result.push_back({Re[I], Im[I]});
  return Result;
}

// A primitive that works in place, as one from its sources to a target.
template <class T, class TPrimitive>
auto InPlace(TPrimitive APrimitive) {
  return [=](const T* ASource, T* ATarget, std::int32_t ALength) {
    for (std::int32_t I = 0; I < ALength; ++I) ATarget[I] = ASource[I];
    return APrimitive(ATarget, ALength);
  };
}

template <class T>
struct TOperation {
  const char* Name;
  IppStatus (*Constant)(const T*, T, T*, std::int32_t) noexcept;
  IppStatus (*ConstantInPlace)(T, T*, std::int32_t) noexcept;
  IppStatus (*Vectors)(const T*, const T*, T*, std::int32_t) noexcept;
  IppStatus (*VectorsInPlace)(const T*, T*, std::int32_t) noexcept;
  T (*Definition)(T, T);  // of a sample and the constant, or of the second and the first vector
};

template <class T>
void ExpectOperations(const std::vector<T>& AValues, const std::vector<TOperation<T>>& ACases) {
  const auto [X, Y] = Pairs(AValues);
  for (const TOperation<T>& Case : ACases) {
    const auto Definition = Case.Definition;
    for (const T V : AValues) {
      if (V == T{} && Case.Name == std::string("Div")) continue;
      const auto WithV = [&](T A) { return Definition(A, V); };
      const auto Constant = [&](auto* A, auto* B, int N) { return Case.Constant(A, V, B, N); };
      const auto InItself = [&](T* A, int N) { return Case.ConstantInPlace(V, A, N); };
      Expect(Case.Name, Constant, X, WithV);
      if (Case.ConstantInPlace) Expect(Case.Name, InPlace<T>(InItself), X, WithV);
    }
    const auto BySecond = [&](T A, T B) { return Definition(B, A); };
    if (!Case.Vectors) continue;
    Expect(Case.Name, Case.Vectors, X, Y, BySecond);
    const auto ToSecond = [&](const T* A, const T* B, T* ATarget, int N) {
      std::vector<T> SrcDst(static_cast<std::size_t>(N));
      for (std::size_t I = 0; I < SrcDst.size(); ++I) SrcDst[I] = B[I];
      const IppStatus Status = Case.VectorsInPlace(A, SrcDst.data(), N);
      for (std::size_t I = 0; I < SrcDst.size(); ++I) ATarget[I] = SrcDst[I];
      return Status;
    };
    Expect(Case.Name, ToSecond, X, Y, BySecond);
  }
}

TEST(Elementwise, ArithmeticOfRealAndComplexSamples) {
  const auto Add = [](auto X, auto V) { return X + V; };
  const auto Sub = [](auto X, auto V) { return X - V; };
  const auto SubRev = [](auto X, auto V) { return V - X; };
  const auto Mul = [](auto X, auto V) { return X * V; };
  const auto Div = [](auto X, auto V) { return X / V; };
  ExpectOperations<double>(Reals,
                           {{"Add", ippsAddC_64f, ippsAddC_64f_I, ippsAdd_64f, ippsAdd_64f_I, Add},
                            {"Sub", ippsSubC_64f, ippsSubC_64f_I, ippsSub_64f, ippsSub_64f_I, Sub},
                            {"SubCRev", ippsSubCRev_64f, nullptr, nullptr, nullptr, SubRev},
                            {"Mul", ippsMulC_64f, ippsMulC_64f_I, ippsMul_64f, ippsMul_64f_I, Mul},
                            {"Div", ippsDivC_64f, nullptr, ippsDiv_64f, ippsDiv_64f_I, Div}});
  std::vector<TComplex> Values = Complexes();
  Values.resize(20);
  for (const TComplex& Z : RandomComplex(5)) Values.push_back(Z);
  ExpectOperations<TComplex>(
      Values, {{"Add", ippsAddC_64fc, nullptr, ippsAdd_64fc, ippsAdd_64fc_I, Add},
               {"Sub", ippsSubC_64fc, nullptr, ippsSub_64fc, ippsSub_64fc_I, Sub},
               {"SubCRev", ippsSubCRev_64fc, nullptr, nullptr, nullptr, SubRev},
               {"Mul", ippsMulC_64fc, ippsMulC_64fc_I, ippsMul_64fc, ippsMul_64fc_I, Mul},
               {"Div", ippsDivC_64fc, nullptr, ippsDiv_64fc, ippsDiv_64fc_I, Div}});
}

TEST(Elementwise, DivisionByZeroIsRefusedOfAConstantAndWarnedOfInAVector) {
  double X[] = {3.0, 1.0};
  const double Divisor[] = {2.0, 0.0};
  EXPECT_EQ(ippsDivC_64f(X, 0.0, X, 2), ippStsDivByZeroErr);
  EXPECT_EQ(X[0], 3.0);
  EXPECT_EQ(ippsDiv_64f(Divisor, X, X, 1), ippStsNoErr);
  EXPECT_EQ(ippsDiv_64f(Divisor, X, X, 2), ippStsDivByZero);
  TComplex Z[] = {{1, 1}};
  const TComplex Zero[] = {{0, 0}};
  EXPECT_EQ(ippsDivC_64fc(Z, {0, 0}, Z, 1), ippStsDivByZeroErr);
  EXPECT_EQ(Z[0], (TComplex{1, 1}));
  EXPECT_EQ(ippsDivC_64fc(Z, {0, 1}, Z, 1), ippStsNoErr);
  EXPECT_EQ(ippsDiv_64fc_I(Zero, Z, 1), ippStsDivByZero);
}

TEST(Complex, ProductAndQuotientNeitherOverflowNorUnderflowOnTheWay) {
  using TExact = std::complex<long double>;
  for (const double Size : {1.0, 1e300, 1e-300})
    for (const TExact A : {TExact(3, -4), {1, 2}, {0, 5}})
      for (const TExact B : {TExact(2, 7), {-6, 1}, {0, 3}}) {
        const auto Make = [](const TExact& X, double ASize) {
          return TComplex{static_cast<double>(X.real()) * ASize,
                          static_cast<double>(X.imag()) * ASize};
        };
        const TComplex Quotient = Make(A, Size) / Make(B, Size);
        const TComplex Product = Make(A, Size) * Make(B, 1 / Size);
        // Five roundings of either part against the modulus; the scaling by Size makes two more.
        for (const auto& [Is, Expected] : {std::pair(Quotient, A / B), {Product, A * B}}) {
          EXPECT_TRUE(IsNear(Is.Re, Expected.real(), 8 * Eps * std::abs(Expected))) << Size;
          EXPECT_TRUE(IsNear(Is.Im, Expected.imag(), 8 * Eps * std::abs(Expected))) << Size;
        }
      }
}

// AExact times 2^-AScale by a rounding, saturated.
std::int32_t Scaled(long double AExact, std::int32_t AScale, IppRoundMode AMode) {
  if (std::isnan(AExact)) return 0;
  const long double X = std::ldexp(AExact, -std::clamp(AScale, -5000, 5000));
  const long double Rounded = AMode == ippRndZero   ? std::trunc(X)
                              : AMode == ippRndNear ? std::nearbyint(X)
                                                    : std::round(X);
  return static_cast<std::int32_t>(std::clamp<long double>(Rounded, Min, Max));
}

TEST(Elementwise, ScaledIntegersRoundToEvenAndSaturate) {
  struct TCase {
    const char* Name;
    TPtr_ippsAddC_32s_Sfs Primitive;
    std::int64_t (*Exact)(std::int64_t, std::int64_t);
  };
  const auto [X, Unused] = Pairs<std::int32_t>(
      {Min, Max, 0, 1, -1, 2, 3, 5, -5, 7, 46340, 46341, 65536, -65536, 1500000000, -99});
  for (const TCase& Case :
       {TCase{"AddC", ippsAddC_32s_Sfs, [](std::int64_t A, std::int64_t V) { return A + V; }},
        {"SubC", ippsSubC_32s_Sfs, [](std::int64_t A, std::int64_t V) { return A - V; }},
        {"SubCRev", ippsSubCRev_32s_Sfs, [](std::int64_t A, std::int64_t V) { return V - A; }},
        {"MulC", ippsMulC_32s_Sfs, [](std::int64_t A, std::int64_t V) { return A * V; }}})
    for (const std::int32_t V : {0, 1, -3, 6, 46341, 32768, Max, Min})
      for (const std::int32_t Scale : {0, 1, 2, 31, 32, 33, 62, 63, 64, Max, -1, -2, -31, -40, Min})
        Expect(
            Case.Name, [&](auto* A, auto* Y, int N) { return Case.Primitive(A, V, Y, N, Scale); },
            X, [&](auto A) { return Scaled(Case.Exact(A, V), Scale, ippRndNear); });
}

TEST(Elementwise, BitsAndShifts) {
  const auto [Ints, Unused] = Pairs<std::int32_t>({Min, Max, 0, 1, -1, 5, -7, 0x70F0A5A5, 1 << 30});
  const std::vector<std::uint32_t> Bits(Ints.begin(), Ints.end());
  constexpr std::uint32_t V = 0xF0F000FFu;
  const auto And = [](auto* A, auto* Y, int N) { return ippsAndC_32u(A, V, Y, N); };
  const auto Or = [](auto* A, auto* Y, int N) { return ippsOrC_32u(A, V, Y, N); };
  const auto Xor = [](auto* A, auto* Y, int N) { return ippsXorC_32u(A, V, Y, N); };
  Expect("AndC", And, Bits, [](std::uint32_t A) { return A & V; });
  Expect("OrC", Or, Bits, [](std::uint32_t A) { return A | V; });
  Expect("XorC", Xor, Bits, [](std::uint32_t A) { return A ^ V; });
  for (const std::int32_t By : {0, 1, 7, 31, 32, 33, Max}) {
    const int Most = std::min(By, 32);
    const auto Left = [=](auto* A, auto* Y, int N) { return ippsLShiftC_32s(A, By, Y, N); };
    const auto Right = [=](auto* A, auto* Y, int N) { return ippsRShiftC_32s(A, By, Y, N); };
    Expect("LShiftC", Left, Ints, [=](std::int32_t A) {
      return static_cast<std::int32_t>(static_cast<std::uint64_t>(std::int64_t{A}) << Most);
    });
    Expect("RShiftC", Right, Ints,
           [=](std::int32_t A) { return static_cast<std::int32_t>(std::int64_t{A} >> Most); });
  }
  std::int32_t X = 5;
  EXPECT_EQ(ippsLShiftC_32s(&X, -1, &X, 1), ippStsShiftErr);
  EXPECT_EQ(ippsRShiftC_32s(&X, Min, &X, 1), ippStsShiftErr);
  EXPECT_EQ(X, 5);
}

TEST(Elementwise, ConversionsRoundAndSaturate) {
  TSamples X = {2.5,          3.5,    -2.5, -3.7,    0.49999999999999994, -0.5,    2147483646.5,
                2147483647.5, 1e300,  -Inf, NaN,     -2147483648.5,       10.0,    2.75,
                1.0,          -1e300, 0.0,  -0.0,    0x1.8p1023,          0x1p-30, 0x1p-1022,
                1 + 0x1p-24,  Inf,    1e38, 0x1p-150};
  for (const double Y : {1 + 0x3p-24, -0x1.fffffefp+127, 0x1.ffffffp+127, 0x1p-149}) X.push_back(Y);
  for (const double Y : RandomSamples(Several, 1e5)) X.push_back(Y);
  for (const IppRoundMode Mode : {ippRndZero, ippRndNear, ippRndFinancial})
    for (const std::int32_t Scale : {0, 2, -2, -40, 1023, -1022, Max, Min})
      Expect(
          "Convert_64f32s_Sfs",
          [=](auto* A, auto* Y, int N) { return ippsConvert_64f32s_Sfs(A, Y, N, Mode, Scale); }, X,
          [=](double A) { return Scaled(A, Scale, Mode); });
  std::int32_t Integer = 99;
  EXPECT_EQ(ippsConvert_64f32s_Sfs(X.data(), &Integer, 1, static_cast<IppRoundMode>(3), 0),
            ippStsRoundModeNotSupportedErr);
  EXPECT_EQ(Integer, 99);

  const TInts Ints{Min, -1, 0, 1, Max, 77, -77, 1 << 30, 3, 4, 5};
  Expect("32s64f", ippsConvert_32s64f, Ints, [](std::int32_t A) { return double{1.0} * A; });
  Expect("64f32f", ippsConvert_64f32f, X, [](double A) { return static_cast<float>(A); });
  const std::vector<float> Singles(X.begin(), X.end());
  Expect("32f64f", ippsConvert_32f64f, Singles, [](float A) { return double{A}; });
}

template <class T>
void ExpectFillsAndCopies(const std::vector<T>& X, IppStatus (*AZero)(T*, std::int32_t) noexcept,
                          IppStatus (*ASet)(T, T*, std::int32_t) noexcept,
                          std::vector<IppStatus (*)(const T*, T*, std::int32_t) noexcept> ACopies,
                          IppStatus (*AMove)(const T*, T*, std::int32_t) noexcept) {
  if (AZero) Expect("Zero", InPlace<T>(AZero), X, [](T) { return T{}; });
  const auto Set = [=](T* A, std::int32_t N) { return ASet(T(5), A, N); };
  if (ASet) Expect("Set", InPlace<T>(Set), X, [](T) { return T(5); });
  for (const auto Copy : ACopies) Expect("Copy", Copy, X, [](T A) { return A; });
  if (!AMove) return;
  for (const std::size_t From : {0u, 3u, 5u, 9u}) {
    std::vector<T> Memory = X, Expected = X;
    ASSERT_EQ(AMove(&Memory[From], &Memory[5], 9), ippStsNoErr);
    std::copy_n(&X[From], 9, &Expected[5]);
    EXPECT_EQ(Memory, Expected) << From;
  }
}

TEST(Elementwise, FillsCopiesAndMoves) {
  const TSamples X = RandomSamples(Several, 100);
  const TInts Ints(X.begin(), X.end());
  ExpectFillsAndCopies<std::uint8_t>({Ints.begin(), Ints.end()}, ippsZero_8u, ippsSet_8u,
                                     {ippsCopy_8u, ippsMove_8u}, ippsMove_8u);
  ExpectFillsAndCopies<std::int16_t>({Ints.begin(), Ints.end()}, ippsZero_16s, nullptr, {},
                                     nullptr);
  ExpectFillsAndCopies<std::int32_t>(Ints, ippsZero_32s, ippsSet_32s, {ippsCopy_32s}, nullptr);
  ExpectFillsAndCopies<double>(X, ippsZero_64f, ippsSet_64f, {ippsCopy_64f, ippsMove_64f},
                               ippsMove_64f);
  ExpectFillsAndCopies<TComplex>(RandomComplex(Several), ippsZero_64fc, ippsSet_64fc,
                                 {ippsCopy_64fc, ippsMove_64fc}, ippsMove_64fc);
}

TEST(Elementwise, PartsOfComplexSamplesAndBack) {
  using TC = TComplex;
  const std::vector<TC> Z = Complexes();
  const auto Complex = [](double ARe, double AIm) { return TC(ARe, AIm); };
  const auto Square = [](TC A) { return A.Re * A.Re + A.Im * A.Im; };
  const auto Re = [](TC A) { return A.Re; };
  const auto Im = [](TC A) { return A.Im; };
  Expect("Conj", ippsConj_64fc, Z, [=](TC A) { return Complex(A.Re, -A.Im); });
  Expect("Real", ippsReal_64fc, Z, Re);
  Expect("Imag", ippsImag_64fc, Z, Im);
  Expect("PowerSpectr", ippsPowerSpectr_64fc, Z, Square);
  Expect("Magnitude", ippsMagnitude_64fc, Z, [=](TC A) { return std::sqrt(Square(A)); });
  TSamples Other(Z.size());
  const auto ToRe = [&](auto* A, auto* Y, int N) {
    return ippsCplxToReal_64fc(A, Y, Other.data(), N);
  };
  const auto ToIm = [&](auto* A, auto* Y, int N) {
    return ippsCplxToReal_64fc(A, Other.data(), Y, N);
  };
  Expect("CplxToReal", ToRe, Z, Re);
  Expect("CplxToReal", ToIm, Z, Im);
  const auto [X, Y] = Pairs(Reals);
  const auto OfRe = [](auto* A, auto* B, int N) { return ippsRealToCplx_64f(A, nullptr, B, N); };
  const auto OfIm = [](auto* A, auto* B, int N) { return ippsRealToCplx_64f(nullptr, A, B, N); };
  Expect("RealToCplx", ippsRealToCplx_64f, X, Y, Complex);
  Expect("RealToCplx", OfRe, X, [=](double A) { return Complex(A, 0); });
  Expect("RealToCplx", OfIm, X, [=](double A) { return Complex(0, A); });
  TC Kept{9, 9};
  EXPECT_EQ(ippsRealToCplx_64f(nullptr, nullptr, &Kept, 0), ippStsNullPtrErr);
  EXPECT_EQ(ippsRealToCplx_64f(X.data(), nullptr, &Kept, 0), ippStsSizeErr);
  EXPECT_EQ(Kept, (TC{9, 9}));
}

TEST(Elementwise, AbsClearsTheSignAndThresholdReplacesStrictlyBeyondItsLevels) {
  const auto [X, Unused] = Pairs(Reals);
  Expect("Abs", ippsAbs_64f, X, [](double A) { return std::fabs(A); });
  for (const auto& [Low, High] : {std::pair(-1.0, 2.0), {-3.7, 2.5}, {1.0, 1.0}}) {
    const auto Threshold = [=, L = Low, H = High](double* A, std::int32_t N) {
      return ippsThreshold_LTValGTVal_64f_I(A, N, L, -10, H, 20);
    };
    const auto Replaced = [L = Low, H = High](double A) {
      return A > H ? 20.0 : A >= L ? A : -10.0;
    };
    Expect("Threshold", InPlace<double>(Threshold), X, Replaced);
  }
  double Y = 8.0;
  EXPECT_EQ(ippsThreshold_LTValGTVal_64f_I(&Y, 1, 1.0, 0.0, 0.5, 0.0), ippStsThresholdErr);
  EXPECT_EQ(ippsThreshold_LTValGTVal_64f_I(&Y, 1, NaN, 0.0, 0.5, 0.0), ippStsThresholdErr);
  EXPECT_EQ(ippsThreshold_LTValGTVal_64f_I(&Y, 0, 1.0, 0.0, 0.5, 0.0), ippStsSizeErr);
  EXPECT_EQ(Y, 8.0);
}

// From other indices: the flipped conjugate, and the mirrored half of a spectrum.
TEST(Elementwise, FlipsAndMirrors) {
  for (std::size_t Count = 1; Count <= Several; ++Count) {
    const std::vector<TComplex> Source = RandomComplex(Count + 1);
    std::vector<TComplex> Mirrored = Source, Flipped = Source;
    const auto Length = static_cast<std::int32_t>(Count);
    ASSERT_EQ(ippsConjFlip_64fc(Source.data(), Flipped.data(), Length), ippStsNoErr);
    ASSERT_EQ(ippsConjCcs_64fc_I(Mirrored.data(), Length), ippStsNoErr);
    for (std::size_t K = 0; K <= Count; ++K) {
      const bool IsMirrored = K > Count / 2 && K < Count;
      EXPECT_EQ(Mirrored[K], IsMirrored ? Conj(Source[Count - K]) : Source[K])
          << K << ", " << Count;
      EXPECT_EQ(Flipped[K], K < Count ? Conj(Source[Count - 1 - K]) : Source[K]) << K;
    }
  }
}

}  // namespace
}  // namespace tessalune::test
