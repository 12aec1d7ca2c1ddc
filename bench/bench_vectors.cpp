// Vector primitives: what a sample costs, beside the plain loop that computes the definition. For
// element operations that loop is compiled for 512-bit vectors, so it runs only where the processor
// has them; for elementary functions it calls the C library. Each case compares its result with the
// plain loop's before it measures.
#include "Verify.h"

#include <tessalune/primitives/InstructionSet.h>
#include <tessalune/primitives/QSBasicDispatcher.h>
#include <tessalune/primitives/QSDispatcher.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <map>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#if TESSALUNE_HAS_X86_SETS
#define TESSALUNE_WIDE                                                  \
  [[gnu::noinline,                                                      \
    gnu::target("avx512f,avx512dq,avx512bw,avx512vl,avx2,fma,bmi,bmi2," \
                "prefer-vector-width=512"),                             \
    gnu::optimize("-ffp-contract=off,-fno-math-errno,-fno-trapping-math")]]
#else
#define TESSALUNE_WIDE [[gnu::noinline]]
#endif

namespace tessalune::bench {
namespace {

constexpr double Constant = 0.75;
constexpr TComplex ComplexConstant{0.6, -0.8};
constexpr std::int32_t IntConstant = 12345;

// Arrays for all kinds of cases: what a case writes goes to Y, YRe and YIm, W or F.
struct TArrays {
  std::vector<double> ARe, AIm, Positive, YRe, YIm;
  std::vector<TComplex> A, B, Y;
  std::vector<std::int32_t> V, W;
  std::vector<float> F;
  std::size_t Count;

  explicit TArrays(std::size_t ACount)
      : ARe(ACount),
        AIm(ACount),
        Positive(ACount),
        YRe(ACount),
        YIm(ACount),
        A(ACount),
        B(ACount),
        Y(ACount),
        V(ACount),
        W(ACount),
        F(ACount),
        Count(ACount) {
    std::mt19937_64 Engine(4711);
    std::uniform_real_distribution<double> Uniform(-10, 10);
    for (std::size_t I = 0; I < ACount; ++I) {
      A[I] = {ARe[I] = Uniform(Engine), AIm[I] = Uniform(Engine)};
      B[I] = {Uniform(Engine), Uniform(Engine)};
      V[I] = static_cast<std::int32_t>(Engine());
      Positive[I] = std::fabs(ARe[I]);
    }
  }

  // YRe is what a case in place starts from.
  void ClearResults() {
    YRe = ARe;
    std::fill(YIm.begin(), YIm.end(), 0.0);
    std::fill(Y.begin(), Y.end(), TComplex{});
    std::fill(W.begin(), W.end(), 0);
    std::fill(F.begin(), F.end(), 0.0F);
  }

  std::int32_t Length() const { return static_cast<std::int32_t>(Count); }
};

bool IsClose(double A, double B) { return std::fabs(A - B) <= 1e-12 * (1 + std::fabs(B)); }

bool IsEqual(const TArrays& A, const TArrays& B) {
  for (std::size_t I = 0; I < A.Count; ++I)
    if (!IsClose(A.YRe[I], B.YRe[I]) || !IsClose(A.YIm[I], B.YIm[I]) ||
        !IsClose(A.Y[I].Re, B.Y[I].Re) || !IsClose(A.Y[I].Im, B.Y[I].Im) || A.W[I] != B.W[I] ||
        A.F[I] != B.F[I])
      return false;
  return true;
}

using TRun = void (*)(TArrays&);

struct TCase {
  const char* Name;
  TRun Tessalune;
  TRun Plain;
  bool IsWide;  // whether the plain loop is one for 512-bit vectors
};

// A loop over the samples, I, with the arrays' pointers at hand.
#define TESSALUNE_LOOP(Name, Attribute, Statement)                              \
  Attribute void Name(TArrays& X) {                                             \
    [[maybe_unused]] const double *ARe = X.ARe.data(), *AIm = X.AIm.data(),     \
                                  *P = X.Positive.data();                       \
    [[maybe_unused]] const TComplex *A = X.A.data(), *B = X.B.data();           \
    [[maybe_unused]] const std::int32_t* V = X.V.data();                        \
    [[maybe_unused]] double *YRe = X.YRe.data(), *YIm = X.YIm.data();           \
    [[maybe_unused]] TComplex* Y = X.Y.data();                                  \
    [[maybe_unused]] std::int32_t* W = X.W.data();                              \
    [[maybe_unused]] float* F = X.F.data();                                     \
    const std::size_t Count = X.Count;                                          \
    _Pragma("GCC ivdep") for (std::size_t I = 0; I < Count; ++I) { Statement; } \
  }
#define TESSALUNE_WIDE_LOOP(Name, Statement) TESSALUNE_LOOP(Name, TESSALUNE_WIDE, Statement)
#define TESSALUNE_SCALAR_LOOP(Name, Statement) TESSALUNE_LOOP(Name, [[gnu::noinline]], Statement)

TESSALUNE_WIDE_LOOP(PlainAddC, YRe[I] = ARe[I] + Constant)
TESSALUNE_WIDE_LOOP(PlainMulC, YRe[I] = ARe[I] * Constant)
TESSALUNE_WIDE_LOOP(PlainAdd, YRe[I] = ARe[I] + AIm[I])
TESSALUNE_WIDE_LOOP(PlainMul, YRe[I] = ARe[I] * AIm[I])
TESSALUNE_WIDE_LOOP(PlainDiv, YRe[I] = AIm[I] / ARe[I])
TESSALUNE_WIDE_LOOP(PlainAbs, YRe[I] = std::fabs(ARe[I]))
TESSALUNE_WIDE_LOOP(PlainThreshold, YRe[I] = YRe[I] < -5 ? -6 : YRe[I] > 5 ? 6 : YRe[I])
TESSALUNE_WIDE_LOOP(PlainAddComplex, Y[I] = A[I] + B[I])
TESSALUNE_WIDE_LOOP(PlainMulCComplex, Y[I] = A[I] * ComplexConstant)
TESSALUNE_WIDE_LOOP(PlainMulComplex, Y[I] = A[I] * B[I])
TESSALUNE_WIDE_LOOP(PlainDivComplex, Y[I] = B[I] / A[I])
TESSALUNE_WIDE_LOOP(PlainConj, Y[I] = Conj(A[I]))
TESSALUNE_WIDE_LOOP(PlainSplit, YRe[I] = A[I].Re; YIm[I] = A[I].Im)
TESSALUNE_WIDE_LOOP(PlainJoin, Y[I].Re = ARe[I]; Y[I].Im = AIm[I])
TESSALUNE_WIDE_LOOP(PlainPower, YRe[I] = A[I].Re * A[I].Re + A[I].Im * A[I].Im)
TESSALUNE_WIDE_LOOP(PlainToInt, W[I] = static_cast<std::int32_t>(std::nearbyint(std::clamp(
                                    ARe[I] == ARe[I] ? ARe[I] : 0.0, -0x1p31, 0x1p31 - 1))))
TESSALUNE_WIDE_LOOP(PlainFromInt, YRe[I] = V[I])
TESSALUNE_WIDE_LOOP(PlainToSingle, F[I] = static_cast<float>(ARe[I]))
TESSALUNE_WIDE_LOOP(PlainAnd, W[I] = V[I] & IntConstant)
TESSALUNE_WIDE_LOOP(PlainAddInt, W[I] = static_cast<std::int32_t>(std::clamp<std::int64_t>(
                                     std::int64_t{V[I]} + IntConstant, INT32_MIN, INT32_MAX)))
TESSALUNE_WIDE_LOOP(PlainCopy, YRe[I] = ARe[I])

TESSALUNE_SCALAR_LOOP(LibraryMagnitude, YRe[I] = std::sqrt(A[I].Re * A[I].Re + A[I].Im * A[I].Im))
TESSALUNE_SCALAR_LOOP(LibraryPhase, YRe[I] = std::atan2(A[I].Im, A[I].Re))
TESSALUNE_SCALAR_LOOP(LibraryPolarToCart, Y[I].Re = std::cos(AIm[I]) * ARe[I];
                      Y[I].Im = std::sin(AIm[I]) * ARe[I])
TESSALUNE_SCALAR_LOOP(LibraryLog10, YRe[I] = std::log10(P[I]))
TESSALUNE_SCALAR_LOOP(LibraryLn, YRe[I] = std::log(P[I]))

void PlainHaar(TArrays& X) {
  for (std::size_t K = 0; 2 * K + 1 < X.Count; ++K) {
    const long double Half = (static_cast<long double>(X.ARe[2 * K + 1]) - X.ARe[2 * K]) * 0.5L;
    X.YIm[K] = static_cast<double>(Half);
    X.YRe[K] = static_cast<double>(Half + X.ARe[2 * K]);
  }
  if (X.Count % 2 != 0) X.YRe[X.Count / 2] = X.ARe.back();
}

void PlainHaarInverse(TArrays& X) {
  for (std::size_t K = 0; 2 * K + 1 < X.Count; ++K) {
    X.YRe[2 * K] = X.ARe[K] - X.AIm[K];
    X.YRe[2 * K + 1] = X.ARe[K] + X.AIm[K];
  }
  if (X.Count % 2 != 0) X.YRe.back() = X.ARe[X.Count / 2];
}

template <std::int32_t Mask>
void Median(TArrays& X) {
  ippsFilterMedian_64f(X.ARe.data(), X.YRe.data(), X.Length(), Mask);
}

template <std::int32_t Mask>
void MedianInPlace(TArrays& X) {
  ippsCopy_64f(X.ARe.data(), X.YRe.data(), X.Length());
  ippsFilterMedian_64f(X.YRe.data(), X.YRe.data(), X.Length(), Mask);
}

template <std::int32_t Mask>
void PlainMedian(TArrays& X) {
  double Window[std::size_t{Mask}];
  for (std::int32_t I = 0; I < X.Length(); ++I) {
    for (std::int32_t J = 0; J < Mask; ++J) {
      const std::int32_t At = std::clamp(I + J - Mask / 2, 0, X.Length() - 1);
      Window[J] = X.ARe[static_cast<std::size_t>(At)];
    }
    std::nth_element(std::begin(Window), std::begin(Window) + Mask / 2, std::end(Window));
    X.YRe[static_cast<std::size_t>(I)] = Window[Mask / 2];
  }
}

#define TESSALUNE_CALL(...)                                  \
  [](TArrays& X) {                                           \
    [[maybe_unused]] const std::int32_t Length = X.Length(); \
    __VA_ARGS__;                                             \
  }

const TCase Elements[] = {
    {"AddC_64f", TESSALUNE_CALL(ippsAddC_64f(X.ARe.data(), Constant, X.YRe.data(), Length)),
     PlainAddC, true},
    {"MulC_64f", TESSALUNE_CALL(ippsMulC_64f(X.ARe.data(), Constant, X.YRe.data(), Length)),
     PlainMulC, true},
    {"Add_64f", TESSALUNE_CALL(ippsAdd_64f(X.ARe.data(), X.AIm.data(), X.YRe.data(), Length)),
     PlainAdd, true},
    {"Mul_64f", TESSALUNE_CALL(ippsMul_64f(X.ARe.data(), X.AIm.data(), X.YRe.data(), Length)),
     PlainMul, true},
    {"Div_64f", TESSALUNE_CALL(ippsDiv_64f(X.ARe.data(), X.AIm.data(), X.YRe.data(), Length)),
     PlainDiv, true},
    {"Abs_64f", TESSALUNE_CALL(ippsAbs_64f(X.ARe.data(), X.YRe.data(), Length)), PlainAbs, true},
    {"Threshold_64f",
     TESSALUNE_CALL(ippsThreshold_LTValGTVal_64f_I(X.YRe.data(), Length, -5, -6, 5, 6)),
     PlainThreshold, true},
    {"Add_64fc", TESSALUNE_CALL(ippsAdd_64fc(X.A.data(), X.B.data(), X.Y.data(), Length)),
     PlainAddComplex, true},
    {"MulC_64fc", TESSALUNE_CALL(ippsMulC_64fc(X.A.data(), ComplexConstant, X.Y.data(), Length)),
     PlainMulCComplex, true},
    {"Mul_64fc", TESSALUNE_CALL(ippsMul_64fc(X.A.data(), X.B.data(), X.Y.data(), Length)),
     PlainMulComplex, true},
    {"Div_64fc", TESSALUNE_CALL(ippsDiv_64fc(X.A.data(), X.B.data(), X.Y.data(), Length)),
     PlainDivComplex, true},
    {"Conj_64fc", TESSALUNE_CALL(ippsConj_64fc(X.A.data(), X.Y.data(), Length)), PlainConj, true},
    {"CplxToReal_64fc",
     TESSALUNE_CALL(ippsCplxToReal_64fc(X.A.data(), X.YRe.data(), X.YIm.data(), Length)),
     PlainSplit, true},
    {"RealToCplx_64f",
     TESSALUNE_CALL(ippsRealToCplx_64f(X.ARe.data(), X.AIm.data(), X.Y.data(), Length)), PlainJoin,
     true},
    {"PowerSpectr_64fc", TESSALUNE_CALL(ippsPowerSpectr_64fc(X.A.data(), X.YRe.data(), Length)),
     PlainPower, true},
    {"Convert_64f32s",
     TESSALUNE_CALL(ippsConvert_64f32s_Sfs(X.ARe.data(), X.W.data(), Length, ippRndNear, 0)),
     PlainToInt, true},
    {"Convert_32s64f", TESSALUNE_CALL(ippsConvert_32s64f(X.V.data(), X.YRe.data(), Length)),
     PlainFromInt, true},
    {"Convert_64f32f", TESSALUNE_CALL(ippsConvert_64f32f(X.ARe.data(), X.F.data(), Length)),
     PlainToSingle, true},
    {"AndC_32u",
     TESSALUNE_CALL(ippsAndC_32u(reinterpret_cast<const std::uint32_t*>(X.V.data()), IntConstant,
                                 reinterpret_cast<std::uint32_t*>(X.W.data()), Length)),
     PlainAnd, true},
    {"AddC_32s", TESSALUNE_CALL(ippsAddC_32s_Sfs(X.V.data(), IntConstant, X.W.data(), Length, 0)),
     PlainAddInt, true},
    {"Copy_64f", TESSALUNE_CALL(ippsCopy_64f(X.ARe.data(), X.YRe.data(), Length)), PlainCopy, true},
    {"Magnitude_64fc", TESSALUNE_CALL(ippsMagnitude_64fc(X.A.data(), X.YRe.data(), Length)),
     LibraryMagnitude, false},
    {"Phase_64fc", TESSALUNE_CALL(ippsPhase_64fc(X.A.data(), X.YRe.data(), Length)), LibraryPhase,
     false},
    {"PolarToCart_64fc",
     TESSALUNE_CALL(ippsPolarToCart_64fc(X.ARe.data(), X.AIm.data(), X.Y.data(), Length)),
     LibraryPolarToCart, false},
    {"Log10_64f", TESSALUNE_CALL(ippsLog10_64f_A53(X.Positive.data(), X.YRe.data(), Length)),
     LibraryLog10, false},
    {"Ln_64f", TESSALUNE_CALL(ippsLn_64f(X.Positive.data(), X.YRe.data(), Length)), LibraryLn,
     false},
    {"WTHaarFwd_64f",
     TESSALUNE_CALL(ippsWTHaarFwd_64f(X.ARe.data(), Length, X.YRe.data(), X.YIm.data())), PlainHaar,
     false},
    {"WTHaarInv_64f",
     TESSALUNE_CALL(ippsWTHaarInv_64f(X.ARe.data(), X.AIm.data(), X.YRe.data(), Length)),
     PlainHaarInverse, false},
};

const TCase Medians[] = {
    {"FilterMedian3", Median<3>, PlainMedian<3>, false},
    {"FilterMedian5", Median<5>, PlainMedian<5>, false},
    {"FilterMedian7", Median<7>, PlainMedian<7>, false},
    {"FilterMedian7InPlace", MedianInPlace<7>, PlainMedian<7>, false},
    {"FilterMedian31", Median<31>, PlainMedian<31>, false},
    {"FilterMedian101", Median<101>, PlainMedian<101>, false},
};

// Made once for each count.
TArrays& ArraysOf(std::size_t ACount) {
  static std::map<std::size_t, TArrays> Arrays;
  return Arrays.try_emplace(ACount, ACount).first->second;
}

// Once for each case: a case is called several times to find its number of iterations.
void VerifyOnce(const TCase& ACase, TArrays& AArrays) {
  static std::set<std::pair<std::string, std::size_t>> Verified;
  if (!Verified.insert({ACase.Name, AArrays.Count}).second) return;
  AArrays.ClearResults();
  (ACase.Plain)(AArrays);
  const TArrays Expected = AArrays;
  AArrays.ClearResults();
  (ACase.Tessalune)(AArrays);
  Verify(IsEqual(AArrays, Expected), ACase.Name);
}

void Measure(benchmark::State& AState, const TCase& ACase, std::size_t ACount, bool AIsPlain) {
  TArrays& Arrays = ArraysOf(ACount);
  VerifyOnce(ACase, Arrays);
  const TRun Run = AIsPlain ? ACase.Plain : ACase.Tessalune;
  for (auto _ : AState) {
    Run(Arrays);
    benchmark::ClobberMemory();
  }
  AState.counters["s/sample"] = benchmark::Counter(
      static_cast<double>(ACount),
      benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

template <std::size_t N>
void Register(const TCase (&ACases)[N], std::initializer_list<std::size_t> ACounts) {
#if TESSALUNE_HAS_X86_SETS
  const bool HasWide = HasInstructionSet(TInstructionSet::Avx512);
#else
  const bool HasWide = true;
#endif
  for (const TCase& Case : ACases) {
    if (Case.IsWide && !HasWide) continue;
    for (const std::size_t Count : ACounts)
      for (const bool IsPlain : {false, true}) {
        const std::string Name = std::string(Case.Name) + '/' + std::to_string(Count) + '/' +
                                 (IsPlain ? "plain" : "tessalune");
        benchmark::RegisterBenchmark(Name.c_str(), Measure, Case, Count, IsPlain);
      }
  }
}

const bool IsRegistered = [] {
  Register(Elements, {1024, 10'000'000});
  Register(Medians, {1024, 65536});
  return true;
}();

}  // namespace
}  // namespace tessalune::bench
