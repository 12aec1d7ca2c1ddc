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

const TPublishedTable& TQSRandomGen::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSRandomGen",
                       .DisplayName = "Random Signal Generator",
                       .Category = categories::Generators,
                       .Doc = "Generates noise that is uniformly distributed between two bounds."},
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

const TPublishedTable& TQSGaussGen::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSGaussGen",
                       .DisplayName = "Gaussian Noise Signal Generator",
                       .Category = categories::Generators,
                       .Doc = "Generates noise with a normal distribution. Each block begins the "
                              "generator anew, so blocks below some tens of samples bend the "
                              "distribution."},
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
