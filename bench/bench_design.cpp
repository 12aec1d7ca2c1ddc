// What a design takes: a chain of sections of order 41, and a finite response of 1,001 taps.
#include "StreamBench.h"
#include "Verify.h"

#include <tessalune/tessalune.h>

#include <benchmark/benchmark.h>

#include <cmath>

namespace tessalune::bench {
namespace {

using enum TQSFilterType;
using enum TQSDesignFilterType;

void Register(const std::string& AWhat, TQSFilterType AType, TQSDesignFilterType AKind, int AOrder,
              TQSIIRFilterType APrototype, TQSWindowType AWindow) {
  const auto Design = [=] {
    return QSFilterCalc(AType, AKind, AOrder, 5000.0, 9000.0, 48000.0, AWindow, APrototype, 1.0);
  };
  benchmark::RegisterBenchmark(
      NameOf(AWhat, AOrder, "tessalune").c_str(), [=](benchmark::State& AState) {
        // In the pass band, and far beyond it.
        const double At = AKind == dfLowPass ? 0.0 : 6800.0 / 48000.0;
        const auto Info = Design();
        const auto& Taps = Info->GetTaps();
        Verify(std::fabs(QSTapsResponse(AType, Taps, At).Magnitude - 1.0) < 0.12, AWhat);
        Verify(QSTapsResponse(AType, Taps, 0.45L).Magnitude < 0.01, AWhat);
        for (auto _ : AState) benchmark::DoNotOptimize(Design());
      });
}

const bool IsRegistered = [] {
  using enum TQSIIRFilterType;
  using enum TQSWindowType;
  Register("design.bessel", ftBiquadIIR, dfLowPass, 41, iirBessel, wtHamming);
  Register("design.butterworth", ftBiquadIIR, dfLowPass, 41, iirButterworth, wtHamming);
  Register("design.chebyshev", ftBiquadIIR, dfLowPass, 41, iirChebyshev, wtHamming);
  Register("design.chebyshevband", ftBiquadIIR, dfBandPass, 41, iirChebyshev, wtHamming);
  Register("design.taps", ftFIR, dfBandPass, 1001, iirBessel, wtHamming);
  Register("design.kaisertaps", ftFIR, dfBandPass, 1001, iirBessel, wtKaiser);
  return true;
}();

}  // namespace
}  // namespace tessalune::bench
