// What a block costs in the components that move samples or look further than one: beside a memcpy
// of the block, and beside the primitive that they stand on, on the same memory. The counter is the
// time above that.
#include "StreamBench.h"
#include "Verify.h"

#include <tessalune/tessalune.h>

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstring>
#include <functional>

namespace tessalune::bench {
namespace {

constexpr std::int32_t Size = 1024;
using TSamples = std::vector<double>;

const TSamples& Samples() {
  static const TSamples All = [] {
    TSamples Made;
    for (int I = 0; I < Size; ++I) Made.push_back(std::sin(0.37 * I * I));
    return Made;
  }();
  return All;
}

// The same block again and again through one component.
template <class TComponentType>
struct TThrough {
  TOwned<TComponentType> It = Create<TComponentType>();
  TRef<IQSRealBuffer> Block = TQSRealBuffer::CreateData(Samples().data(), Size);
  TQSKLRealSourcePin Source{TKLPinOwner{}};
  TEnd End;

  explicit TThrough(const std::function<void(TComponentType&)>& APrepare) {
    APrepare(*It);
    Source.Connect(It->InputPin());
    It->OutputPin().Connect(End.Pin);
    Source.Notify(MakeRef<TKLStartSampleRateOperation>(44100.0));
  }
  void Pump() { Source.SubmitBuffer(Block); }
};

using TWork = std::function<void(const double* AIn, double* AOut)>;

struct TPlain {
  TWork Work;
  TSamples Out = TSamples(Size);
  void Pump() {
    Work(Samples().data(), Out.data());
    benchmark::ClobberMemory();
  }
};

// The component delivers ADelay samples later than the plain work, in blocks of AOutSize. AWork
// makes the work anew, for each time that it is measured.
template <class TComponentType>
void Register(const std::string& AWhat, std::int64_t ASize, const char* APlainName,
              std::function<void(TComponentType&)> APrepare, std::function<TWork()> AWork,
              int ADelay = 0, int AOutSize = Size) {
  benchmark::RegisterBenchmark(
      NameOf(AWhat, ASize, "tessalune").c_str(), [=](benchmark::State& AState) {
        TThrough<TComponentType> Graph(APrepare);
        TPlain Plain{AWork()};
        const int Sent = (ADelay + AOutSize) / Size + 2;
        for (int I = 0; I < Sent; ++I) {
          Graph.Pump();
          Plain.Pump();
        }
        Verify(Graph.End.Last->GetSize() == AOutSize, AWhat);
        // Of the stream that repeats, from the beginning of the last block on.
        const int Begin = (Sent * Size / AOutSize - 1) * AOutSize - ADelay;
        for (int I = 0; I < AOutSize; ++I) {
          Verify(
              Graph.End.Last->Read()[I] == Plain.Out[static_cast<std::size_t>((Begin + I) % Size)],
              AWhat);
        }
        for (auto _ : AState) Graph.Pump();
        AState.counters["above_plain_s/block"] = SecondsAbovePlain(Graph, Plain, Size);
      });
  benchmark::RegisterBenchmark(NameOf(AWhat, ASize, APlainName).c_str(),
                               [=](benchmark::State& AState) {
                                 TPlain Plain{AWork()};
                                 for (auto _ : AState) Plain.Pump();
                               });
}

TWork Copy() {
  return [](const double* AIn, double* AOut) { std::memcpy(AOut, AIn, Size * sizeof(double)); };
}

TWork Comb() {
  return [](const double* AIn, double* AOut) {
    constexpr int Delay = 1000;
    std::copy_n(AIn + Size - Delay, Delay, AOut);
    std::copy_n(AIn, Size - Delay, AOut + Delay);
    ippsMulC_64f_I(0.9, AOut, Size);
    ippsAdd_64f_I(AIn, AOut, Size);
  };
}

TWork HighPass() {
  const double Taps[] = {0.0, -1.0, 1.0, -1.0, 1.0 - 125.66370614359172 / 44100.0, 0.0};
  IppsIIRState_64f* State = nullptr;
  ippsIIRInitAlloc_64f(&State, Taps, 2, nullptr);
  return [Kept = std::shared_ptr<IppsIIRState_64f>(State, ippsIIRFree_64f)](
             const double* AIn, double* AOut) { ippsIIR_64f(AIn, AOut, Size, Kept.get()); };
}

const TSamples& Sections() {  // a low pass, twice
  static const TSamples All{0.01, 0.02, 0.01, 1, -1.6, 0.65, 0.01, 0.02, 0.01, 1, -1.6, 0.65};
  return All;
}

TWork FiniteResponse(const TSamples& ATaps) {
  IppsFIRState_64f* State = nullptr;
  ippsFIRInitAlloc_64f(&State, ATaps.data(), static_cast<std::int32_t>(ATaps.size()), nullptr);
  return [Kept = std::shared_ptr<IppsFIRState_64f>(State, ippsFIRFree_64f)](
             const double* AIn, double* AOut) { ippsFIR_64f(AIn, AOut, Size, Kept.get()); };
}

TWork DirectForm() {
  IppsIIRState_64f* State = nullptr;
  ippsIIRInitAlloc_64f(&State, Sections().data(), 2, nullptr);
  return [Kept = std::shared_ptr<IppsIIRState_64f>(State, ippsIIRFree_64f)](
             const double* AIn, double* AOut) { ippsIIR_64f(AIn, AOut, Size, Kept.get()); };
}

TWork Chain() {
  IppsIIRState_64f* State = nullptr;
  ippsIIRInitAlloc_BiQuad_64f(&State, Sections().data(), 2, nullptr);
  return [Kept = std::shared_ptr<IppsIIRState_64f>(State, ippsIIRFree_64f)](
             const double* AIn, double* AOut) { ippsIIR_64f(AIn, AOut, Size, Kept.get()); };
}

TWork LowPass() {
  return FiniteResponse(QSFilterCalc(TQSFilterType::ftFIR, TQSDesignFilterType::dfLowPass, 41,
                                     5000.0, -1.0, 44100.0, TQSWindowType::wtHamming, {}, 1.0)
                            ->GetTaps());
}

TWork Median() {
  return [](const double* AIn, double* AOut) { ippsFilterMedian_64f(AIn, AOut, Size, 5); };
}

TWork Window() {
  const auto Weights = std::make_shared<TSamples>(Size);
  QSWindowCalculator::CalculateWindowForMult(TQSExtendedWindowType::xwtHanning, 4, 1.0,
                                             std::span<double>(*Weights));
  return
      [Weights](const double* AIn, double* AOut) { ippsMul_64f(AIn, Weights->data(), AOut, Size); };
}

const bool IsRegistered = [] {
  for (const int Delay : {10, 1000, 100000, 10000000}) {
    const auto Prepare = [Delay](TQSDelayLine& AIt) {
      AIt.DelayValue().SetMode(TQSDelayMode::dmSamples);
      AIt.DelayValue().SetValue(Delay);
    };
    Register<TQSDelayLine>("delayline", Delay, "memcpy", Prepare, Copy, Delay);
  }
  for (const int To : {1000, 1024, 10000}) {
    const auto Prepare = [To](TQSRepack& AIt) { AIt.SetBufferSize(To); };
    Register<TQSRepack>("repack", To, "memcpy", Prepare, Copy, 0, To);
  }
  const auto AsItIs = [](auto&) {};
  Register<TQSCombFilter>("comb", Size, "primitives", AsItIs, Comb);
  Register<TQSRemoveDC>("removedc", Size, "primitive", AsItIs, HighPass);
  Register<TQSMedian>(
      "median", Size, "primitive", [](TQSMedian& AIt) { AIt.SetMask(5); }, Median);
  Register<TQSApplyWindow>("window", Size, "primitive", AsItIs, Window);
  const TSamples Taps(Samples().begin(), Samples().begin() + 101);
  Register<TQSFir>(
      "fir", 101, "primitive", [Taps](TQSFir& AIt) { AIt.Taps().SetValues(Taps); },
      [Taps] { return FiniteResponse(Taps); });
  Register<TQSIir>(
      "iir", 2, "primitive",
      [](TQSIir& AIt) {
        AIt.Taps().SetValues({Sections().begin(), Sections().begin() + 6});
      },
      DirectForm);
  Register<TQSBiQuadIir>(
      "biquads", 2, "primitive", [](TQSBiQuadIir& AIt) { AIt.BiQuads().SetValues(Sections()); },
      Chain);
  Register<TQSLowPass>("lowpass", 41, "primitive", AsItIs, LowPass);
  return true;
}();

}  // namespace
}  // namespace tessalune::bench
