// Filters, windows and one bin of a spectrum, by block: what a sample costs, beside plain loops in
// double (PlainFilters.h) and liquid-dsp's filters, which know single precision only. Each case
// compares its first block with the definition before it measures.
#include "PlainFilters.h"
#include "Verify.h"

#include <tessalune/primitives/QSBasicDispatcher.h>
#include <tessalune/primitives/QSDispatcher.h>

#include <benchmark/benchmark.h>

#if TESSALUNE_HAS_LIQUID
#include <liquid/liquid.h>
#endif

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <numbers>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace tessalune::bench {
namespace {

using TSamples = std::vector<double>;

// Filters a block; a new one for each case, whose past is silence.
using TBlock = std::function<void(const TSamples& AX, TSamples& AY)>;

struct TCase {
  std::string Name;
  std::function<TBlock()> Make;
  TSamples X;
  TSamples Expected;
  double Tolerance;  // of the largest expected value
};

constexpr double DoubleTolerance = 1e-12;
constexpr double SingleTolerance = 1e-4;

TSamples RandomSamples(std::size_t ACount) {
  std::mt19937 Engine(4711);
  std::uniform_real_distribution<double> Uniform(-1, 1);
  TSamples Result(ACount);
  for (double& X : Result) X = Uniform(Engine);
  return Result;
}

std::int32_t CountOf(const TSamples& ASamples) {
  return static_cast<std::int32_t>(ASamples.size());
}

TSamples ExpectedFir(const TSamples& ATaps, const TSamples& AX) {
  TSamples Result(AX.size());
  for (std::size_t N = 0; N < AX.size(); ++N) {
    long double Sum = 0;
    for (std::size_t K = 0; K < ATaps.size() && K <= N; ++K) Sum += ATaps[K] * AX[N - K];
    Result[N] = static_cast<double>(Sum);
  }
  return Result;
}

TBlock MakeFir(const TSamples& ATaps) {
  IppsFIRState_64f* State = nullptr;
  ippsFIRInitAlloc_64f(&State, ATaps.data(), CountOf(ATaps), nullptr);
  return [Owner = std::shared_ptr<IppsFIRState_64f>(State, ippsFIRFree_64f)](const TSamples& X,
                                                                             TSamples& Y) {
    ippsFIR_64f(X.data(), Y.data(), CountOf(X), Owner.get());
  };
}

TBlock MakePlainFir(const TSamples& ATaps) {
  return [Fir = std::make_shared<TPlainFir>(ATaps)](const TSamples& X, TSamples& Y) {
    Fir->Run(X.data(), Y.data(), X.size());
  };
}

// Sections of a low pass, with poles not far from the circle.
TSamples BiquadTaps(std::size_t ASections) {
  TSamples Result;
  for (std::size_t I = 0; I < ASections; ++I) {
    const double Radius = 0.8 + 0.03 * static_cast<double>(I);
    const double Taps[] = {0.25, 0.5, 0.25, 1.0, -2 * Radius * std::cos(0.6), Radius * Radius};
    Result.insert(Result.end(), std::begin(Taps), std::end(Taps));
  }
  return Result;
}

TSamples ExpectedBiquads(const TSamples& ATaps, TSamples AX) {
  for (std::size_t I = 0; I < ATaps.size(); I += 6) {
    long double X1 = 0, X2 = 0, Y1 = 0, Y2 = 0;
    for (double& X : AX) {
      const long double Y = ATaps[I] * X + ATaps[I + 1] * X1 + ATaps[I + 2] * X2 -
                            ATaps[I + 4] * Y1 - ATaps[I + 5] * Y2;
      X2 = X1, X1 = X, Y2 = Y1, Y1 = Y;
      X = static_cast<double>(Y);
    }
  }
  return AX;
}

TBlock MakeBiquads(const TSamples& ATaps) {
  IppsIIRState_64f* State = nullptr;
  ippsIIRInitAlloc_BiQuad_64f(&State, ATaps.data(), CountOf(ATaps) / 6, nullptr);
  return [Owner = std::shared_ptr<IppsIIRState_64f>(State, ippsIIRFree_64f)](const TSamples& X,
                                                                             TSamples& Y) {
    ippsIIR_64f(X.data(), Y.data(), CountOf(X), Owner.get());
  };
}

TBlock MakePlainBiquads(const TSamples& ATaps) {
  return [Filter = std::make_shared<TPlainBiquads>(ATaps)](const TSamples& X, TSamples& Y) {
    Filter->Run(X.data(), Y.data(), X.size());
  };
}

// All sections as one direct form, by multiplying out.
TSamples DirectTaps(const TSamples& ATaps) {
  TSamples B = {1}, A = {1};
  const auto Multiply = [](const TSamples& P, const double* Q) {
    TSamples Product(P.size() + 2);
    for (std::size_t I = 0; I < P.size(); ++I)
      for (std::size_t J = 0; J < 3; ++J) Product[I + J] += P[I] * Q[J];
    return Product;
  };
  for (std::size_t I = 0; I < ATaps.size(); I += 6) {
    B = Multiply(B, &ATaps[I]);
    A = Multiply(A, &ATaps[I + 3]);
  }
  B.insert(B.end(), A.begin(), A.end());
  return B;
}

TBlock MakeDirect(const TSamples& ATaps) {
  const TSamples Taps = DirectTaps(ATaps);
  IppsIIRState_64f* State = nullptr;
  ippsIIRInitAlloc_64f(&State, Taps.data(), CountOf(Taps) / 2 - 1, nullptr);
  return [Owner = std::shared_ptr<IppsIIRState_64f>(State, ippsIIRFree_64f)](const TSamples& X,
                                                                             TSamples& Y) {
    ippsIIR_64f(X.data(), Y.data(), CountOf(X), Owner.get());
  };
}

#if TESSALUNE_HAS_LIQUID
std::vector<float> Floats(const TSamples& ASamples) {
  return std::vector<float>(ASamples.begin(), ASamples.end());
}

// A filter of liquid-dsp on a block that has been converted once, at the first call; what is
// measured after it is the filter alone.
template <class TObject, class TRun>
TBlock InFloats(std::shared_ptr<TObject> AObject, TRun ARun) {
  return [=, FX = std::vector<float>(), FY = std::vector<float>()](const TSamples& X,
                                                                   TSamples& Y) mutable {
    const bool IsFirst = FX.empty();
    if (IsFirst) {
      FX = Floats(X);
      FY.resize(FX.size());
    }
    ARun(AObject.get(), FX.data(), static_cast<unsigned>(FX.size()), FY.data());
    if (IsFirst) std::copy(FY.begin(), FY.end(), Y.begin());
    benchmark::DoNotOptimize(FY.data());
  };
}

TBlock MakeLiquidFir(const TSamples& ATaps) {
  std::vector<float> Taps = Floats(ATaps);
  const firfilt_rrrf Fir = firfilt_rrrf_create(Taps.data(), static_cast<unsigned>(Taps.size()));
  return InFloats(std::shared_ptr<firfilt_rrrf_s>(Fir, firfilt_rrrf_destroy),
                  firfilt_rrrf_execute_block);
}

TBlock MakeLiquidBiquads(const TSamples& ATaps) {
  std::vector<float> B, A;
  for (std::size_t I = 0; I < ATaps.size(); ++I)
    (I % 6 < 3 ? B : A).push_back(static_cast<float>(ATaps[I]));
  const iirfilt_rrrf Iir =
      iirfilt_rrrf_create_sos(B.data(), A.data(), static_cast<unsigned>(B.size() / 3));
  return InFloats(std::shared_ptr<iirfilt_rrrf_s>(Iir, iirfilt_rrrf_destroy),
                  iirfilt_rrrf_execute_block);
}
#endif

// A window, on a copy: a block that is weighted again and again ends in denormal numbers.
template <class TApply>
std::function<TBlock()> Windowed(TApply AApply) {
  return [=] {
    return [=](const TSamples& X, TSamples& Y) {
      std::copy(X.begin(), X.end(), Y.begin());
      AApply(Y);
    };
  };
}

template <class TWeight>
TSamples ExpectedWindow(TSamples AX, TWeight AWeight) {
  for (std::size_t N = 0; N < AX.size(); ++N)
    AX[N] *= static_cast<double>(
        AWeight(static_cast<long double>(N), static_cast<long double>(AX.size() - 1)));
  return AX;
}

const TComplex* AsComplex(const TSamples& ASamples) {
  return reinterpret_cast<const TComplex*>(ASamples.data());
}

constexpr double RelFreq = 0.123;  // cycles a sample

TSamples ExpectedGoertzel(const TSamples& AX) {
  const std::size_t Count = AX.size() / 2;
  long double Re = 0, Im = 0;
  for (std::size_t N = 0; N < Count; ++N) {
    const long double Angle = 2 * std::numbers::pi_v<long double> *
                              std::fmod(RelFreq * static_cast<long double>(Count - N), 1.0L);
    Re += AX[2 * N] * std::cos(Angle) - AX[2 * N + 1] * std::sin(Angle);
    Im += AX[2 * N] * std::sin(Angle) + AX[2 * N + 1] * std::cos(Angle);
  }
  return {static_cast<double>(Re), static_cast<double>(Im)};
}

void AddFirs(std::vector<TCase>& ACases) {
  const TSamples X = RandomSamples(1024);
  for (const std::size_t Count : {8u, 41u, 128u, 1001u, 4001u}) {
    const TSamples Taps = RandomSamples(Count);
    const TSamples Expected = ExpectedFir(Taps, X);
    const std::string Name = "fir/" + std::to_string(Count) + '/';
    ACases.push_back(
        {Name + "tessalune", [=] { return MakeFir(Taps); }, X, Expected, DoubleTolerance});
    ACases.push_back(
        {Name + "plain", [=] { return MakePlainFir(Taps); }, X, Expected, DoubleTolerance});
#if TESSALUNE_HAS_LIQUID
    ACases.push_back(
        {Name + "liquid_float", [=] { return MakeLiquidFir(Taps); }, X, Expected, SingleTolerance});
#endif
  }
}

void AddIirs(std::vector<TCase>& ACases) {
  const TSamples X = RandomSamples(1024);
  for (const std::size_t Sections : {1u, 4u, 8u}) {
    const TSamples Taps = BiquadTaps(Sections);
    const TSamples Expected = ExpectedBiquads(Taps, X);
    const std::string Name = "biquads/" + std::to_string(Sections) + '/';
    ACases.push_back(
        {Name + "tessalune", [=] { return MakeBiquads(Taps); }, X, Expected, DoubleTolerance});
    ACases.push_back(
        {Name + "plain", [=] { return MakePlainBiquads(Taps); }, X, Expected, DoubleTolerance});
#if TESSALUNE_HAS_LIQUID
    ACases.push_back({Name + "liquid_float", [=] { return MakeLiquidBiquads(Taps); }, X, Expected,
                      SingleTolerance});
#endif
  }
  // A direct form of order 8 has lost some digits before the first sample.
  const TSamples Taps = BiquadTaps(4);
  ACases.push_back(
      {"iir/8/tessalune", [=] { return MakeDirect(Taps); }, X, ExpectedBiquads(Taps, X), 1e-9});
}

void AddWindows(std::vector<TCase>& ACases) {
  const TSamples X = RandomSamples(1024);
  const TSamples Hann = ExpectedWindow(X, [](long double N, long double Last) {
    return (1 - std::cos(2 * std::numbers::pi_v<long double> * N / Last)) / 2;
  });
  ACases.push_back({"hann/1024/tessalune",
                    Windowed([](TSamples& Y) { ippsWinHann_64f_I(Y.data(), CountOf(Y)); }), X, Hann,
                    DoubleTolerance});
  ACases.push_back({"hann/1024/plain", Windowed([](TSamples& Y) { PlainHann(Y.data(), Y.size()); }),
                    X, Hann, DoubleTolerance});
  // By the usual parameter beta: of a narrow window, and of a wide one, where one Bessel function
  // alone would overflow a double from 713 on.
  for (const double Beta : {8.0, 500.0}) {
    const auto Alpha = static_cast<float>(Beta / 511.5);
    const TSamples Kaiser = ExpectedWindow(X, [=](long double N, long double Last) {
      const auto A = static_cast<long double>(Alpha);
      return std::cyl_bessel_i(0.0L, A * std::sqrt(N * (Last - N))) /
             std::cyl_bessel_i(0.0L, A * Last / 2);
    });
    const std::string Name = "kaiser_" + std::to_string(static_cast<int>(Beta)) + "/1024/";
    ACases.push_back({Name + "tessalune", Windowed([=](TSamples& Y) {
                        ippsWinKaiser_64f_I(Y.data(), CountOf(Y), Alpha);
                      }),
                      X, Kaiser, DoubleTolerance});
    ACases.push_back({Name + "plain", Windowed([=](TSamples& Y) {
                        PlainKaiser(Y.data(), Y.size(), static_cast<double>(Alpha));
                      }),
                      X, Kaiser, DoubleTolerance});
  }
}

void AddGoertzels(std::vector<TCase>& ACases) {
  for (const std::size_t Count : {1024u, 65536u}) {
    const TSamples X = RandomSamples(2 * Count);
    const TSamples Expected = ExpectedGoertzel(X);
    const std::string Name = "goertzel/" + std::to_string(Count) + '/';
    const auto Ours = [](const TSamples& AX, TSamples& Y) {
      TComplex Value;
      ippsGoertz_64fc(AsComplex(AX), CountOf(AX) / 2, &Value, RelFreq);
      Y[0] = Value.Re, Y[1] = Value.Im;
    };
    const auto Plain = [](const TSamples& AX, TSamples& Y) {
      const TComplex Value = PlainGoertzel(AsComplex(AX), AX.size() / 2, RelFreq);
      Y[0] = Value.Re, Y[1] = Value.Im;
    };
    ACases.push_back({Name + "tessalune", [=] { return Ours; }, X, Expected, DoubleTolerance});
    ACases.push_back({Name + "plain", [=] { return Plain; }, X, Expected, 1e-9});
  }
}

bool IsRight(const TSamples& AActual, const TSamples& AExpected, double ATolerance) {
  double Largest = 0;
  for (const double X : AExpected) Largest = std::max(Largest, std::fabs(X));
  for (std::size_t N = 0; N < AExpected.size(); ++N)
    if (!(std::fabs(AActual[N] - AExpected[N]) <= ATolerance * Largest)) return false;
  return true;
}

void Measure(benchmark::State& AState, const TCase& ACase) {
  const TBlock Block = ACase.Make();
  TSamples Y(ACase.X.size());
  Block(ACase.X, Y);
  Verify(IsRight(Y, ACase.Expected, ACase.Tolerance), ACase.Name);
  for (auto _ : AState) {
    Block(ACase.X, Y);
    benchmark::DoNotOptimize(Y.data());
    benchmark::ClobberMemory();
  }
  const bool IsComplex = ACase.Expected.size() != ACase.X.size();
  AState.counters["s/sample"] = benchmark::Counter(
      static_cast<double>(ACase.X.size() / (IsComplex ? 2 : 1)),
      benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

const bool IsRegistered = [] {
  std::vector<TCase> Cases;
  AddFirs(Cases);
  AddIirs(Cases);
  AddWindows(Cases);
  AddGoertzels(Cases);
  for (const TCase& Case : Cases) benchmark::RegisterBenchmark(Case.Name.c_str(), Measure, Case);
  return true;
}();

}  // namespace
}  // namespace tessalune::bench
