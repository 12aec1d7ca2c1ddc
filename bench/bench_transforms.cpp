// Fourier transforms beside FFTW: complex and real, double and single precision, and the making of
// plans. Each case compares its result with a long double transform before it measures, and tells
// the error.
#include "Verify.h"

#include "../tests/primitives/SpectrumOracle.h"

#include <tessalune/primitives/QSBasicDispatcher.h>
#include <tessalune/primitives/QSDispatcher.h>

#include <benchmark/benchmark.h>
#if TESSALUNE_HAS_FFTW
#include <fftw3.h>
#endif

#include <cmath>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace tessalune::bench {
namespace {

using test::TExact;
using test::TSpectrumOracle;

enum class TKind { Complex, Real };

// A transform under measurement: from Source to Target, both set once.
class ITransform {
 public:
  virtual ~ITransform() = default;
  virtual void Run() = 0;
};

// Samples that a float holds exactly; of a real transform only the first half is used.
template <class T>
std::vector<T> Samples(std::size_t ACount) {
  std::mt19937 Engine(4711);
  std::uniform_int_distribution<int> Uniform(-1000000, 1000000);
  std::vector<T> Result(ACount);
  for (T& X : Result) X = static_cast<T>(Uniform(Engine));
  return Result;
}

template <class T>
struct TPrimitives;

template <>
struct TPrimitives<double> {
  using TSample = TComplex;
  using TComplexSpec = DFTSpec_C_64fc;
  using TRealSpec = DFTSpec_R_64f;
  static constexpr auto& InitComplex = ippsDFTInitAlloc_C_64fc;
  static constexpr auto& FreeComplex = ippsDFTFree_C_64fc;
  static constexpr auto& Complex = ippsDFTFwd_CToC_64fc;
  static constexpr auto& InitReal = ippsDFTInitAlloc_R_64f;
  static constexpr auto& FreeReal = ippsDFTFree_R_64f;
  static constexpr auto& Real = ippsDFTFwd_RToCCS_64f;
};

template <>
struct TPrimitives<float> {
  using TSample = Ipp32fc;
  using TComplexSpec = DFTSpec_C_32fc;
  using TRealSpec = DFTSpec_R_32f;
  static constexpr auto& InitComplex = ippsDFTInitAlloc_C_32fc;
  static constexpr auto& FreeComplex = ippsDFTFree_C_32fc;
  static constexpr auto& Complex = ippsDFTFwd_CToC_32fc;
  static constexpr auto& InitReal = ippsDFTInitAlloc_R_32f;
  static constexpr auto& FreeReal = ippsDFTFree_R_32f;
  static constexpr auto& Real = ippsDFTFwd_RToCCS_32f;
};

template <class T, TKind AKind>
class TOurs final : public ITransform {
 public:
  using P = TPrimitives<T>;
  static constexpr const char* Who = "tessalune";

  TOurs(std::int32_t ALength, const T* ASource, T* ATarget) : FSource(ASource), FTarget(ATarget) {
    if constexpr (AKind == TKind::Complex)
      P::InitComplex(&FComplex, ALength, IPP_FFT_NODIV_BY_ANY, ippAlgHintNone);
    else
      P::InitReal(&FReal, ALength, IPP_FFT_NODIV_BY_ANY, ippAlgHintNone);
  }
  ~TOurs() override {
    if (FComplex) P::FreeComplex(FComplex);
    if (FReal) P::FreeReal(FReal);
  }
  TOurs(const TOurs&) = delete;
  TOurs& operator=(const TOurs&) = delete;

  void Run() override {
    if constexpr (AKind == TKind::Complex)
      P::Complex(reinterpret_cast<const typename P::TSample*>(FSource),
                 reinterpret_cast<typename P::TSample*>(FTarget), FComplex, nullptr);
    else
      P::Real(FSource, FTarget, FReal, nullptr);
  }

 private:
  const T* FSource;
  T* FTarget;
  typename P::TComplexSpec* FComplex = nullptr;
  typename P::TRealSpec* FReal = nullptr;
};

#if TESSALUNE_HAS_FFTW
// FFTW_MEASURE looks at several plans of its own; its source is copied aside meanwhile, since it
// writes to it.
template <class T, TKind AKind>
class TFftw;

#define TESSALUNE_FFTW(Prefix, T)                                                                \
  template <TKind AKind>                                                                         \
  class TFftw<T, AKind> final : public ITransform {                                              \
   public:                                                                                       \
    static constexpr const char* Who = "fftw";                                                   \
                                                                                                 \
    TFftw(std::int32_t ALength, const T* ASource, T* ATarget, unsigned AFlag = FFTW_MEASURE) {   \
      T* Source = const_cast<T*>(ASource);                                                       \
      const std::size_t Count = 2 * static_cast<std::size_t>(ALength);                           \
      const std::vector<T> Aside(Source, Source + Count);                                        \
      auto* Target = reinterpret_cast<Prefix##complex*>(ATarget);                                \
      if constexpr (AKind == TKind::Complex)                                                     \
        FPlan = Prefix##plan_dft_1d(ALength, reinterpret_cast<Prefix##complex*>(Source), Target, \
                                    FFTW_FORWARD, AFlag);                                        \
      else                                                                                       \
        FPlan = Prefix##plan_dft_r2c_1d(ALength, Source, Target, AFlag);                         \
      std::copy(Aside.begin(), Aside.end(), Source);                                             \
    }                                                                                            \
    ~TFftw() override { Prefix##destroy_plan(FPlan); }                                           \
    TFftw(const TFftw&) = delete;                                                                \
    TFftw& operator=(const TFftw&) = delete;                                                     \
                                                                                                 \
    void Run() override { Prefix##execute(FPlan); }                                              \
                                                                                                 \
   private:                                                                                      \
    Prefix##plan FPlan;                                                                          \
  };
TESSALUNE_FFTW(fftw_, double)
TESSALUNE_FFTW(fftwf_, float)
#undef TESSALUNE_FFTW
#endif

// The exact spectrum of the samples of a length; empty where it would take too long.
template <TKind AKind>
const std::vector<TExact>& Spectrum(std::size_t ALength) {
  static std::map<std::size_t, std::vector<TExact>> Known;
  const auto [Place, IsNew] = Known.try_emplace(ALength);
  if (!IsNew || ALength > 70000 || ALength == 65537) return Place->second;
  const std::vector<double> Values = Samples<double>(2 * ALength);
  std::vector<TExact> Exact(ALength);
  for (std::size_t I = 0; I < ALength; ++I)
    Exact[I] =
        AKind == TKind::Complex ? TExact(Values[2 * I], Values[2 * I + 1]) : TExact(Values[I]);
  return Place->second = TSpectrumOracle(ALength).Forward(Exact);
}

// Relative L2 error, in rounding errors of T.
template <class T, TKind AKind>
double ErrorOf(const T* ABins, std::size_t ALength) {
  const std::vector<TExact>& Exact = Spectrum<AKind>(ALength);
  const std::size_t Bins = Exact.empty() ? 0 : AKind == TKind::Complex ? ALength : ALength / 2 + 1;
  long double Error = 0;
  long double Norm = 0;
  for (std::size_t K = 0; K < Bins; ++K) {
    Error += std::norm(TExact(ABins[2 * K], ABins[2 * K + 1]) - Exact[K]);
    Norm += std::norm(Exact[K]);
  }
  const long double Eps = std::numeric_limits<T>::epsilon() / 2;
  return Bins == 0 ? 0 : static_cast<double>(std::sqrt(Error / Norm) / Eps);
}

template <class T, TKind AKind, template <class, TKind> class TTransform>
void Measure(benchmark::State& AState, const std::string& AName, std::int32_t ALength) {
  const auto Length = static_cast<std::size_t>(ALength);
  const std::vector<T> Source = Samples<T>(2 * Length);
  std::vector<T> Target(2 * Length + 2);
  TTransform<T, AKind> Transform(ALength, Source.data(), Target.data());
  Transform.Run();
  const double Error = ErrorOf<T, AKind>(Target.data(), Length);
  Verify(Error <= 1000, AName);
  for (auto _ : AState) {
    Transform.Run();
    benchmark::DoNotOptimize(Target.data());
    benchmark::ClobberMemory();
  }
  AState.counters["error/eps"] = Error;
  AState.counters["s/sample"] = benchmark::Counter(
      ALength, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

template <class T, TKind AKind>
void Register(const std::string& AWhat, std::int32_t ALength) {
  const auto Add = [&](const char* AWho, auto AMeasure) {
    const std::string Name = AWhat + '/' + std::to_string(ALength) + '/' + AWho;
    benchmark::RegisterBenchmark(Name.c_str(), AMeasure, Name, ALength);
  };
  Add("tessalune", Measure<T, AKind, TOurs>);
#if TESSALUNE_HAS_FFTW
  Add("fftw", Measure<T, AKind, TFftw>);
#endif
}

// Making a plan and giving it back; FFTW's by estimate.
void RegisterPlan(std::int32_t ALength) {
  const std::string Name = "plan/" + std::to_string(ALength) + '/';
  benchmark::RegisterBenchmark((Name + "tessalune").c_str(), [ALength](benchmark::State& AState) {
    for (auto _ : AState) TOurs<double, TKind::Complex>(ALength, nullptr, nullptr);
  });
#if TESSALUNE_HAS_FFTW
  benchmark::RegisterBenchmark((Name + "fftw").c_str(), [ALength](benchmark::State& AState) {
    std::vector<double> Source(2 * static_cast<std::size_t>(ALength));
    std::vector<double> Target(Source);
    for (auto _ : AState) {
      fftw_forget_wisdom();
      TFftw<double, TKind::Complex>(ALength, Source.data(), Target.data(), FFTW_ESTIMATE);
    }
  });
#endif
}

const bool IsRegistered = [] {
  const std::vector<std::int32_t> Smooth = {12, 60, 100, 360, 1000, 1001, 44100, 48000};
  const std::vector<std::int32_t> Primes = {7, 31, 149, 151, 509, 1009, 65537};
  for (int Order = 3; Order <= 20; ++Order) {
    const std::int32_t Length = std::int32_t{1} << Order;
    Register<double, TKind::Complex>("fft_c64", Length);
    Register<double, TKind::Real>("fft_r64", Length);
    Register<float, TKind::Complex>("fft_c32", Length);
    Register<float, TKind::Real>("fft_r32", Length);
  }
  for (const std::int32_t Length : Smooth) {
    Register<double, TKind::Complex>("dft_c64_smooth", Length);
    Register<double, TKind::Real>("dft_r64_smooth", Length);
  }
  for (const std::int32_t Length : Primes) {
    Register<double, TKind::Complex>("dft_c64_prime", Length);
    Register<double, TKind::Real>("dft_r64_prime", Length);
  }
  for (const std::int32_t Length : {64, 1000, 1024, 1009, 65536, 1 << 20}) RegisterPlan(Length);
  return true;
}();

}  // namespace
}  // namespace tessalune::bench
