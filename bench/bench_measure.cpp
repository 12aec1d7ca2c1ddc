// What conversions, transforms and measurements cost beside the primitives that they stand on, on
// the same memory.
#include "StreamBench.h"

#include <tessalune/tessalune.h>

#include <benchmark/benchmark.h>

#include <cmath>
#include <concepts>
#include <cstring>
#include <utility>

namespace tessalune::bench {
namespace {

constexpr std::int32_t Size = 1024;

template <class T>
std::vector<T> Samples(std::int32_t ACount) {
  std::vector<T> Made;
  for (std::int32_t I = 0; I < ACount; ++I) {
    const double X = 20000.0 * std::sin(0.37 * I * (I % 1000));
    if constexpr (std::same_as<T, TComplex>)
      Made.push_back({X, 0.5 * X - 1.0});
    else
      Made.push_back(static_cast<T>(X));
  }
  return Made;
}

// Feeds the same block again and again to the inputs of one component, and keeps what the pin gives
// that AOutput names.
template <class TIn, class TOut, class TComponentType>
struct TOne {
  TOwned<TComponentType> It = Create<TComponentType>();
  std::vector<TIn> In;
  TRef<IQSDataBuffer> Block;
  std::vector<std::unique_ptr<TQSKLTypedSourcePin<TSampleTraits<TIn>::Type>>> Feeds;
  TTypedEnd<TOut> End;
  std::vector<TOut> Out;

  TOne(std::int32_t ACount, std::int32_t AOutCount)
      : In(Samples<TIn>(ACount)),
        Block(TQSTypedBuffer<TIn>::CreateData(In.data(), ACount)),
        Out(static_cast<std::size_t>(AOutCount)) {}
  void Feed(TKLBasicPin& AInput) {
    Feeds.push_back(std::make_unique<TQSKLTypedSourcePin<TSampleTraits<TIn>::Type>>(TKLPinOwner{}));
    Feeds.back()->Connect(AInput);
  }
  void Start() {
    for (auto& Each : Feeds) Each->Notify(MakeRef<TKLStartSampleRateOperation>(44100.0));
  }
  void Pump() {
    for (auto& Each : Feeds) Each->SubmitBuffer(Block);
  }
};

// AJoin(component's stage) links it and sets its properties; AWork(samples, result) is the plain
// program.
template <class TComponentType, class TIn, class TOut, class TJoin, class TWork>
void Register(const std::string& AName, std::int32_t ACount, std::int32_t AOutCount, TJoin AJoin,
              TWork AWork) {
  RegisterBeside(AName, "primitives", ACount, [=] {
    auto One = std::make_shared<TOne<TIn, TOut, TComponentType>>(ACount, AOutCount);
    AJoin(*One);
    One->Start();
    auto Work = AWork();
    return TBeside{[One] { One->Pump(); },
                   [One, Work]() mutable {
                     Work(One->In.data(), One->Out.data());
                     benchmark::ClobberMemory();
                   },
                   [One] { return One->End.Has(One->Out); }, One};
  });
}

constexpr auto Plainly = [](auto& AOne) {
  AOne.Feed(AOne.It->InputPin());
  AOne.It->OutputPin().Connect(AOne.End.Pin);
};

void RegisterConversions() {
  Register<TQSConjugate, TComplex, TComplex>("conjugate/1024", Size, Size, Plainly, [] {
    return [](const TComplex* AIn, TComplex* AOut) { ippsConj_64fc(AIn, AOut, Size); };
  });
  Register<TQSRealToInt, double, std::int32_t>("realtoint/1024", Size, Size, Plainly, [] {
    return [Round = Create<TQSRealToInt>()->Round()](const double* AIn, std::int32_t* AOut) {
      ippsConvert_64f32s_Sfs(AIn, AOut, Size, Round ? ippRndNear : ippRndZero, 0);
    };
  });
  Register<TQSIntToReal, std::int32_t, double>("inttoreal/1024", Size, Size, Plainly, [] {
    return [](const std::int32_t* AIn, double* AOut) { ippsConvert_32s64f(AIn, AOut, Size); };
  });
  Register<TQSComplexToReal, TComplex, double>(
      "complextoreal/1024", Size, Size,
      [](auto& AOne) {
        AOne.Feed(AOne.It->InputPin());
        AOne.It->RealOutputPin().Connect(AOne.End.Pin);
      },
      [] {
        return [Other = std::vector<double>(Size)](const TComplex* AIn, double* AOut) mutable {
          ippsCplxToReal_64fc(AIn, AOut, Other.data(), Size);
        };
      });
  Register<TQSCartToPolar, TComplex, double>(
      "carttopolar/1024", Size, Size,
      [](auto& AOne) {
        AOne.Feed(AOne.It->InputPin());
        AOne.It->MagnOutputPin().Connect(AOne.End.Pin);
      },
      [] {
        return [Other = std::vector<double>(Size)](const TComplex* AIn, double* AOut) mutable {
          ippsCartToPolar_64fc(AIn, AOut, Other.data(), Size);
        };
      });
  Register<TQSRealToComplex, double, TComplex>(
      "realtocomplex/1024", Size, Size,
      [](auto& AOne) {
        AOne.Feed(AOne.It->RealInputPin());
        AOne.Feed(AOne.It->ImagInputPin());
        AOne.It->OutputPin().Connect(AOne.End.Pin);
      },
      [] {
        return [](const double* AIn, TComplex* AOut) { ippsRealToCplx_64f(AIn, AIn, AOut, Size); };
      });
  Register<TQSPolarToCart, double, TComplex>(
      "polartocart/1024", Size, Size,
      [](auto& AOne) {
        AOne.Feed(AOne.It->MagnInputPin());
        AOne.Feed(AOne.It->PhaseInputPin());
        AOne.It->OutputPin().Connect(AOne.End.Pin);
      },
      [] {
        return
            [](const double* AIn, TComplex* AOut) { ippsPolarToCart_64fc(AIn, AIn, AOut, Size); };
      });
}

// --- transforms ---

// The frame's window and transform, as the component does them: all bins.
class TPlainFourier {
 public:
  explicit TPlainFourier(std::int32_t AOrder) : FSize(1 << AOrder) {
    FFTSpec_R_64f* Plan = nullptr;
    ippsFFTInitAlloc_R_64f(&Plan, AOrder, IPP_FFT_NODIV_BY_ANY, ippAlgHintAccurate);
    FPlan.reset(Plan, ippsFFTFree_R_64f);
    std::int32_t Bytes = 0;
    ippsFFTGetBufSize_R_64f(Plan, &Bytes);
    FWork.resize(static_cast<std::size_t>(Bytes) + 1);
    FWindow.resize(static_cast<std::size_t>(FSize));
    FWindowed.resize(FWindow.size());
    QSWindowCalculator::CalculateWindowForMult(TQSExtendedWindowType::xwtHanning, 4, 1.0,
                                               std::span<double>(FWindow));
  }
  void operator()(const double* AIn, TComplex* AOut) {
    ippsMul_64f(FWindow.data(), AIn, FWindowed.data(), FSize);
    ippsFFTFwd_RToCCS_64f(FWindowed.data(), reinterpret_cast<double*>(AOut), FPlan.get(),
                          FWork.data());
    ippsConjCcs_64fc_I(AOut, FSize);
  }

 private:
  std::int32_t FSize;
  std::shared_ptr<FFTSpec_R_64f> FPlan;
  std::vector<std::uint8_t> FWork;
  std::vector<double> FWindow;
  std::vector<double> FWindowed;
};

void RegisterTransforms() {
  for (const int Order : {10, 16}) {
    const std::int32_t N = 1 << Order;
    const auto Hann = [Order](TQSFourier& AIt) {
      AIt.SetOrder(Order);
      AIt.SetWindowType(TQSExtendedWindowType::xwtHanning);
    };
    Register<TQSFourier, double, TComplex>(
        NameOf("fourier", N, "whole"), N, N,
        [Hann](auto& AOne) {
          Hann(*AOne.It);
          Plainly(AOne);
        },
        [Order] { return TPlainFourier(Order); });
    // Blocks of the step: each makes a frame, whose last ones are the same.
    Register<TQSFourier, double, TComplex>(
        NameOf("fourier", N, "quarters"), N / 4, N,
        [Hann, N](auto& AOne) {
          Hann(*AOne.It);
          AOne.It->SetSamplingWindowStep(static_cast<std::uint32_t>(N / 4));
          Plainly(AOne);
          // So that the first three pumps do not end before there is a frame.
          AOne.Start();
          for (int I = 0; I < 8; ++I) AOne.Pump();
        },
        [Order, N] {
          return [Plain = TPlainFourier(Order),
                  Frame = std::vector<double>(static_cast<std::size_t>(N))](
                     const double* AIn, TComplex* AOut) mutable {
            for (int I = 0; I < 4; ++I)
              std::copy_n(AIn, Frame.size() / 4,
                          Frame.data() + I * static_cast<std::ptrdiff_t>(Frame.size() / 4));
            Plain(Frame.data(), AOut);
          };
        });
    Register<TQSFourier, double, double>(
        NameOf("fourier", N, "magnitudes"), N, N / 2,
        [Hann](auto& AOne) {
          Hann(*AOne.It);
          AOne.Feed(AOne.It->InputPin());
          AOne.It->SetSynchronize(false);
          AOne.It->SetOnFrequencyResult([](auto&&...) {});
          AOne.It->SpectrumOutputPin().Connect(AOne.End.Pin);
        },
        [Order, N] {
          return [Plain = TPlainFourier(Order),
                  Bins = std::vector<TComplex>(static_cast<std::size_t>(N) + 2),
                  N](const double* AIn, double* AOut) mutable {
            Plain(AIn, Bins.data());
            ippsMagnitude_64fc(Bins.data(), AOut, N / 2);
            double Peak = 0.0;
            std::int32_t At = 0;
            ippsMaxIndx_64f(AOut + 1, N / 2 - 1, &Peak, &At);
            benchmark::DoNotOptimize(At);
          };
        });
  }
  Register<TQSDft, double, TComplex>(
      "dft/1000/component", 1000, 1000,
      [](auto& AOne) {
        AOne.It->SetBufferSize(1000);
        Plainly(AOne);
      },
      [] {
        DFTSpec_R_64f* Plan = nullptr;
        ippsDFTInitAlloc_R_64f(&Plan, 1000, IPP_FFT_NODIV_BY_ANY, ippAlgHintAccurate);
        std::int32_t Bytes = 0;
        ippsDFTGetBufSize_R_64f(Plan, &Bytes);
        return [Kept = std::shared_ptr<DFTSpec_R_64f>(Plan, ippsDFTFree_R_64f),
                Work = std::vector<std::uint8_t>(static_cast<std::size_t>(Bytes) + 1)](
                   const double* AIn, TComplex* AOut) mutable {
          ippsDFTFwd_RToCCS_64f(AIn, reinterpret_cast<double*>(AOut), Kept.get(), Work.data());
          ippsConjCcs_64fc_I(AOut, 1000);
        };
      });
  Register<TQSDct, double, double>("dct/1024/component", Size, Size, Plainly, [] {
    DCTFwdSpec_64f* Plan = nullptr;
    ippsDCTFwdInitAlloc_64f(&Plan, Size, ippAlgHintAccurate);
    return [Kept = std::shared_ptr<DCTFwdSpec_64f>(Plan, ippsDCTFwdFree_64f)](
               const double* AIn, double* AOut) { ippsDCTFwd_64f(AIn, AOut, Kept.get(), nullptr); };
  });
  Register<TQSHilbert, double, TComplex>(
      "hilbert/1024/component", Size, Size,
      [](auto& AOne) {
        AOne.It->SetBufferSize(Size);
        Plainly(AOne);
      },
      [] {
        HilbertSpec_32f32fc* Plan = nullptr;
        ippsHilbertInitAlloc_32f32fc(&Plan, Size, ippAlgHintAccurate);
        return [Kept = std::shared_ptr<HilbertSpec_32f32fc>(Plan, ippsHilbertFree_32f32fc),
                Singles = std::vector<float>(Size),
                Bins = std::vector<Ipp32fc>(Size)](const double* AIn, TComplex* AOut) mutable {
          ippsConvert_64f32f(AIn, Singles.data(), Size);
          ippsHilbert_32f32fc(Singles.data(), Bins.data(), Kept.get());
          ippsConvert_32f64f(reinterpret_cast<const float*>(Bins.data()),
                             reinterpret_cast<double*>(AOut), 2 * Size);
        };
      });
}

// --- measurements: sinks, whose result is compared where there is one ---

template <class TComponentType, class TJoin, class TWork>
void RegisterSink(const std::string& AName, TJoin AJoin, TWork AWork) {
  RegisterBeside(AName, "primitives", Size, [=] {
    struct TStage {
      TOne<double, double, TComponentType> One{Size, 1};
      double Found = 0.0;
      double Plain = 0.0;
      std::vector<double> Work = std::vector<double>(Size);
    };
    auto Stage = std::make_shared<TStage>();
    Stage->One.Feed(Stage->One.It->InputPin());
    AJoin(*Stage->One.It, Stage->Found);
    Stage->One.Start();
    return TBeside{[Stage] { Stage->One.Pump(); },
                   [Stage, AWork] {
                     Stage->Plain = AWork(Stage->One.In.data(), Stage->Work.data());
                     benchmark::ClobberMemory();
                   },
                   [Stage] { return Stage->Found == Stage->Plain; }, Stage};
  });
}

void RegisterMeasurements() {
  const auto Value = [](auto& AIt, double& AFound) {
    AIt.SetSynchronizeType(TQSSynchronizeType::stNone);
    AIt.SetOnValueChange([&AFound](TObject&, double AValue) { AFound = AValue; });
  };
  RegisterSink<TQSMean>("mean/1024", Value, [](const double* AIn, double*) {
    double Mean = 0.0;
    ippsMean_64f(AIn, Size, &Mean);
    return Mean;
  });
  RegisterSink<TQSRMSMeter>("rms/1024", Value, [](const double* AIn, double* AWork) {
    double Mean = 0.0;
    ippsMul_64f(AIn, AIn, AWork, Size);
    ippsMean_64f(AWork, Size, &Mean);
    return std::sqrt(Mean);
  });
  const auto Nothing = [](const double*, double*) { return 0.0; };
  RegisterSink<TQSMinMax>(
      "minmax/1024",
      [](TQSMinMax& AIt, double& AFound) {
        AIt.SetSynchronizeType(TQSSynchronizeType::stNone);
        AIt.SetOnValueChange(
            [&AFound](TObject&, double AMin, double AMax) { AFound = AMin + AMax; });
      },
      [](const double* AIn, double*) {
        double Min = 0.0;
        double Max = 0.0;
        ippsMinMax_64f(AIn, Size, &Min, &Max);
        return Min + Max;
      });
  RegisterSink<TQSSnippetTrigger>(
      "trigger.idle/1024",
      [](TQSSnippetTrigger& AIt, double& AFound) {
        AIt.Trigger().SetLevel(1e6);
        AIt.SetOnTriggered([&AFound](auto&&...) { AFound = 1.0; });
      },
      Nothing);
  RegisterSink<TQSPatternDetector>(
      "pattern10/1024",
      [](TQSPatternDetector& AIt, double& AFound) {
        for (int I = 0; I < 10; ++I) {
          auto Point = AIt.Patterns().Add();
          Point->SetSample(100.0 * I);
          Point->SetMin(-1e6);
          Point->SetMax(1e6);
        }
        AIt.SetOnPatternDetected([&AFound](auto&&...) { AFound = 0.0; });
      },
      Nothing);
}

// Figures of a frame beside eight complex transforms of its size.
void RegisterNoiseStats(int AOrder) {
  const std::int32_t N = 1 << AOrder;
  RegisterBeside(NameOf("noisestats", N, "hann"), "transforms", N, [=] {
    struct TStage {
      TOne<double, double, TQSNoiseStats> One;
      double Sinad = 0.0;
      std::vector<TComplex> Bins;
      std::shared_ptr<FFTSpec_C_64fc> Plan;
      std::vector<std::uint8_t> Work;
      explicit TStage(std::int32_t ASize) : One(ASize, 1), Bins(static_cast<std::size_t>(ASize)) {}
    };
    auto Stage = std::make_shared<TStage>(N);
    Stage->One.It->SetOrder(AOrder);
    Stage->One.It->SetWindowType(TQSExtendedWindowType::xwtHanning);
    Stage->One.It->SetOnStatsAvailable(
        [&Sinad = Stage->Sinad](TObject&, const auto& AStats) { Sinad = AStats->SINAD(); });
    Stage->One.Feed(Stage->One.It->InputPin());
    Stage->One.Start();
    FFTSpec_C_64fc* Plan = nullptr;
    ippsFFTInitAlloc_C_64fc(&Plan, AOrder, IPP_FFT_DIV_FWD_BY_N, ippAlgHintAccurate);
    Stage->Plan = {Plan, ippsFFTFree_C_64fc};
    std::int32_t Bytes = 0;
    ippsFFTGetBufSize_C_64fc(Plan, &Bytes);
    Stage->Work.resize(static_cast<std::size_t>(Bytes) + 1);
    return TBeside{[Stage] { Stage->One.Pump(); },
                   [Stage] {
                     for (int I = 0; I < 8; ++I) {
                       ippsFFTFwd_CToC_64fc(Stage->Bins.data(), Stage->Bins.data(),
                                            Stage->Plan.get(), Stage->Work.data());
                     }
                     benchmark::ClobberMemory();
                   },
                   [Stage] { return std::isfinite(Stage->Sinad) && Stage->Sinad != 0.0; }, Stage};
  });
}

// --- chains, beside the sum of their primitives ---

constexpr double Rate = 44100.0;

class TNoisyTone {
 public:
  TNoisyTone() {
    for (TQSCommonRealGen* Each : {static_cast<TQSCommonRealGen*>(FNoise.get()),
                                   static_cast<TQSCommonRealGen*>(FTone.get())}) {
      Each->SetClockSource(TQSClockSource::csExternal);
      Each->SetBufferSize(Size);
    }
    Sum->InputPins().SetCount(2);
    FNoise->OutputPin().Connect(Sum->InputPins()[0]);
    FTone->OutputPin().Connect(Sum->InputPins()[1]);
  }
  void Start() {
    FNoise->Start();
    FTone->Start();
  }
  void Pump() {
    FNoise->Pump();
    FTone->Pump();
  }
  TOwned<TQSAdd> Sum = Create<TQSAdd>();

 private:
  TOwned<TQSGaussGen> FNoise = Create<TQSGaussGen>();
  TOwned<TQSSignalGen> FTone = Create<TQSSignalGen>();
};

struct TPlainNoisyTone {
  std::uint32_t Seed = Create<TQSGaussGen>()->Seed();
  double Deviation = Create<TQSGaussGen>()->StdDev();
  double Magnitude = Create<TQSSignalGen>()->Amplitude();
  double Frequency = Create<TQSSignalGen>()->Frequency();
  double Phase = 0.0;
  std::vector<double> Noise = std::vector<double>(Size);
  std::vector<double> Tone = std::vector<double>(Size);
  std::vector<double> Sum = std::vector<double>(Size);

  void Pump() {
    ippsRandGauss_Direct_64f(Noise.data(), Size, 0.0, Deviation, &Seed);
    ippsTone_Direct_64f(Tone.data(), Size, Magnitude, Frequency / Rate, &Phase, ippAlgHintNone);
    ippsAdd_64f(Noise.data(), Tone.data(), Sum.data(), Size);
  }
};

template <class TState>
std::shared_ptr<TState> Kept(TState* AState, IppStatus (*AFree)(TState*)) {
  return {AState, AFree};
}

// Noise, tone, sum, band pass of 101 taps, four sections.
TBeside Filters() {
  const std::vector<double> Sections{0.01, 0.02, 0.01, 1, -1.6, 0.65, 0.5, 0.1, 0.2, 1, -0.3, 0.1,
                                     0.03, 0.02, 0.01, 1, -1.1, 0.45, 0.5, 0.2, 0.2, 1, -0.2, 0.4};
  struct TStage {
    TNoisyTone Source;
    TOwned<TQSBandPass> Band = Create<TQSBandPass>();
    TOwned<TQSBiQuadIir> Chain = Create<TQSBiQuadIir>();
    TEnd End;
    TPlainNoisyTone Plain;
    std::shared_ptr<IppsFIRState_64f> Taps;
    std::shared_ptr<IppsIIRState_64f> States;
    std::vector<double> Out = std::vector<double>(Size);
  };
  auto Stage = std::make_shared<TStage>();
  Stage->Band->SetOrder(101);
  Stage->Band->SetFreqLow(1000.0);
  Stage->Band->SetFreqHigh(5000.0);
  Stage->Chain->BiQuads().SetValues(Sections);
  Stage->Source.Sum->OutputPin().Connect(Stage->Band->InputPin());
  Stage->Band->OutputPin().Connect(Stage->Chain->InputPin());
  Stage->Chain->OutputPin().Connect(Stage->End.Pin);
  Stage->Source.Start();
  const auto Taps = QSFilterCalc(TQSFilterType::ftFIR, TQSDesignFilterType::dfBandPass, 101, 1000.0,
                                 5000.0, Rate, Stage->Band->WindowType(), {}, 1.0)
                        ->GetTaps();
  IppsFIRState_64f* Finite = nullptr;
  ippsFIRInitAlloc_64f(&Finite, Taps.data(), 101, nullptr);
  Stage->Taps = {Finite, ippsFIRFree_64f};
  IppsIIRState_64f* Recursive = nullptr;
  ippsIIRInitAlloc_BiQuad_64f(&Recursive, Sections.data(), 4, nullptr);
  Stage->States = {Recursive, ippsIIRFree_64f};
  return {[Stage] { Stage->Source.Pump(); },
          [Stage] {
            Stage->Plain.Pump();
            ippsFIR_64f(Stage->Plain.Sum.data(), Stage->Out.data(), Size, Stage->Taps.get());
            ippsIIR_64f(Stage->Out.data(), Stage->Out.data(), Size, Stage->States.get());
            benchmark::ClobberMemory();
          },
          [Stage] { return Stage->End.Has(Stage->Out); }, Stage};
}

// Noise, tone, sum, low pass of 41 taps, transform of 1,024 samples, magnitudes.
TBeside Spectrum() {
  struct TStage {
    TNoisyTone Source;
    TOwned<TQSLowPass> Low = Create<TQSLowPass>();
    TOwned<TQSFourier> Transform = Create<TQSFourier>();
    TEnd End;
    TPlainNoisyTone Plain;
    TPlainFourier Fourier{10};
    std::shared_ptr<IppsFIRState_64f> Taps;
    std::vector<double> Filtered = std::vector<double>(Size);
    std::vector<TComplex> Bins = std::vector<TComplex>(Size + 2);
    std::vector<double> Out = std::vector<double>(Size / 2);
  };
  auto Stage = std::make_shared<TStage>();
  Stage->Low->SetOrder(41);
  Stage->Low->SetFrequency(5000.0);
  Stage->Transform->SetWindowType(TQSExtendedWindowType::xwtHanning);
  Stage->Source.Sum->OutputPin().Connect(Stage->Low->InputPin());
  Stage->Low->OutputPin().Connect(Stage->Transform->InputPin());
  Stage->Transform->SpectrumOutputPin().Connect(Stage->End.Pin);
  Stage->Source.Start();
  const auto Taps = QSFilterCalc(TQSFilterType::ftFIR, TQSDesignFilterType::dfLowPass, 41, 5000.0,
                                 -1.0, Rate, Stage->Low->WindowType(), {}, 1.0)
                        ->GetTaps();
  IppsFIRState_64f* Finite = nullptr;
  ippsFIRInitAlloc_64f(&Finite, Taps.data(), 41, nullptr);
  Stage->Taps = {Finite, ippsFIRFree_64f};
  return {[Stage] { Stage->Source.Pump(); },
          [Stage] {
            Stage->Plain.Pump();
            ippsFIR_64f(Stage->Plain.Sum.data(), Stage->Filtered.data(), Size, Stage->Taps.get());
            Stage->Fourier(Stage->Filtered.data(), Stage->Bins.data());
            ippsMagnitude_64fc(Stage->Bins.data(), Stage->Out.data(), Size / 2);
            benchmark::ClobberMemory();
          },
          [Stage] { return Stage->End.Has(Stage->Out); }, Stage};
}

const bool IsRegistered = [] {
  RegisterConversions();
  RegisterTransforms();
  RegisterMeasurements();
  for (const int Order : {12, 16}) RegisterNoiseStats(Order);
  RegisterBeside("chain.filters/1024", "primitives", Size, Filters);
  RegisterBeside("chain.spectrum/1024", "primitives", Size, Spectrum);
  return true;
}();

}  // namespace
}  // namespace tessalune::bench
