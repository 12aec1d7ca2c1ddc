#include <tessalune/frame/runtime/QSCategories.h>
#include <tessalune/frame/runtime/QSComponentRegistry.h>
#include <tessalune/sources/QSRandomGen.h>

namespace tessalune {
namespace {

constexpr TPropertyInfo<double> LowInfo{
    .Name = "Low", .Default = -20000.0, .Doc = "The least sample; above High it moves High along."};
constexpr TPropertyInfo<double> HighInfo{
    .Name = "High",
    .Default = 20000.0,
    .Doc = "The greatest sample; below Low it moves Low along."};
constexpr TPropertyInfo<double> MeanInfo{
    .Name = "Mean", .Default = 0.0, .Doc = "The mean of the distribution."};
constexpr TPropertyInfo<double> StdDevInfo{
    .Name = "StdDev", .Default = 9000.0, .Doc = "The standard deviation of the distribution."};

}  // namespace

// --- the seed ---

constexpr TPropertyInfo<std::uint32_t> TQSSeededRealGen::SeedInfo{
    .Name = "Seed",
    .Default = 31192,
    .Doc = "Where the sequence begins, at a stream's start and when it is set."};

void TQSSeededRealGen::SetSeed(std::uint32_t AValue) {
  NotifySetter(SeedInfo, FSeed, AValue, [this] { FStateSeed = FSeed; });
}

// --- uniform ---

namespace {

constexpr TClassText RandomGenText{
    .Use =
        R"(Noise with equal chances for all values between two bounds: dither, random test data, a start for
other distributions. For noise as nature has it take TQSGaussGen. The same `Seed` gives the same
samples, so runs can be repeated; give each of several generators a seed of its own.)",
    .BadInput =
        R"(Bounds that would cross move along: the one that was not set follows the one that was. With `Low`
equal to `High` every sample is that value.)",
    .Accuracy =
        R"(2^32 values in even steps between the bounds. The sequence depends on how it is cut into blocks,
since each block begins with a seed of 32 bits that the one before left: two streams whose seeds
meet go on alike. A few operations a sample.)",
    .Formulas = "    mean (Low + High) / 2, standard deviation (High - Low) / sqrt(12)",
    .SeeAlso = "TQSGaussGen, TQSSignalGen, TQSAdd",
    .Example = "Noise between -1 and 1.",
};

}  // namespace

const TPublishedTable& TQSRandomGen::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSRandomGen",
                       .DisplayName = "Random Signal Generator",
                       .Category = categories::Generators,
                       .Doc = "Generates noise that is uniformly distributed between two bounds.",
                       .Text = RandomGenText},
                      &TQSCommonRealGen::Published())
          .Property(LowInfo, &TQSRandomGen::Low, &TQSRandomGen::SetLow)
          .Property(HighInfo, &TQSRandomGen::High, &TQSRandomGen::SetHigh)
          .Property(SeedInfo, &TQSSeededRealGen::Seed, &TQSSeededRealGen::SetSeed);
  return Table;
}

// The other bound's move is a change of its own, of which listeners hear behind this one.
void TQSRandomGen::SetLow(double AValue) {
  const ILockSection Section = WriteLock();
  if (NotifySetter(LowInfo, FLow, AValue) && FLow > FHigh) NotifySetter(HighInfo, FHigh, AValue);
}
void TQSRandomGen::SetHigh(double AValue) {
  const ILockSection Section = WriteLock();
  if (NotifySetter(HighInfo, FHigh, AValue) && FLow > FHigh) NotifySetter(LowInfo, FLow, AValue);
}

void TQSRandomGen::Generate(TRef<IQSRealBuffer>& ASignal, bool&, bool&) {
  ippsRandUniform_Direct_64f(ASignal->Write(), ASignal->GetSize(), FLow, FHigh, &FStateSeed);
}

void QSRandomGen::RegisterPkg() { RegisterComponents({ClassOf<TQSRandomGen>()}); }

// --- Gaussian ---

namespace {

constexpr TClassText GaussGenText{
    .Use =
        R"(Noise with a normal distribution: the hiss of amplifiers and of channels, to be added to a signal
(TQSAdd) that has to stand it. `StdDev` is its RMS value where `Mean` is 0. Its spectrum is flat;
filter it for coloured noise. The same `Seed` gives the same samples.)",
    .BadInput =
        R"(A negative `StdDev` mirrors the samples at `Mean`, one of 0 gives `Mean`. What is no finite number
is refused.)",
    .Accuracy =
        R"(Take blocks of 64 samples or more: each begins anew from a seed of 32 bits, and short blocks bend
the distribution; with blocks of 8 the mean may be off by half a per cent of `StdDev`, with blocks
of one sample by a tenth. Where a graph needs small blocks, cut them behind the generator by
TQSRepack. Neighbouring samples are not wholly independent: with some seeds correlations of 0.01
to 0.03 are met. Some tens of operations a sample.)",
    .Formulas = R"(    p(x) = exp(-(x - Mean)^2 / (2 StdDev^2)) / (StdDev sqrt(2 pi))

Marsaglia's polar method, on a generator that adds a subtract-with-borrow one (modulus 2^32 - 18)
and a linear congruential one.)",
    .SeeAlso = "TQSRandomGen, TQSSignalGen, TQSBandPass, TQSRepack",
    .Example = "Noise with a standard deviation of 1.",
};

}  // namespace

const TPublishedTable& TQSGaussGen::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSGaussGen",
                       .DisplayName = "Gaussian Noise Signal Generator",
                       .Category = categories::Generators,
                       .Doc = "Generates noise with a normal distribution. Each block begins the "
                              "generator anew, so blocks below some tens of samples bend the "
                              "distribution.",
                       .Text = GaussGenText},
                      &TQSCommonRealGen::Published())
          .Property(MeanInfo, &TQSGaussGen::Mean, &TQSGaussGen::SetMean)
          .Property(StdDevInfo, &TQSGaussGen::StdDev, &TQSGaussGen::SetStdDev)
          .Property(SeedInfo, &TQSSeededRealGen::Seed, &TQSSeededRealGen::SetSeed);
  return Table;
}

void TQSGaussGen::SetMean(double AValue) { NotifySetter(MeanInfo, FMean, AValue); }
void TQSGaussGen::SetStdDev(double AValue) { NotifySetter(StdDevInfo, FStdDev, AValue); }

void TQSGaussGen::Generate(TRef<IQSRealBuffer>& ASignal, bool&, bool&) {
  ippsRandGauss_Direct_64f(ASignal->Write(), ASignal->GetSize(), FMean, FStdDev, &FStateSeed);
}

void QSGaussGen::RegisterPkg() { RegisterComponents({ClassOf<TQSGaussGen>()}); }

}  // namespace tessalune
