// The generators of noise: uniform and Gaussian.
#pragma once

#include <tessalune/frame/streams/QSCommonGen.h>

#include <cstdint>

namespace tessalune {

// What the two have in common: the seed. Every stream begins at Seed, so the same settings, in
// blocks of the same sizes, give the same samples. What a block leaves of the sequence is one
// number of 32 bits, the seed of the next: the sequence depends on how it is cut into blocks, and
// two streams whose seeds meet once, at the start of a block, go on alike.
class TQSSeededRealGen : public TQSCommonRealGen {
 public:
  using TQSCommonRealGen::TQSCommonRealGen;

  // Any value; default 31192. Setting another one begins its sequence with the next block.
  std::uint32_t Seed() const { return FSeed; }
  void SetSeed(std::uint32_t AValue);

 protected:
  static const TPropertyInfo<std::uint32_t> SeedInfo;
  void StartStream() override { FStateSeed = FSeed; }

  std::uint32_t FStateSeed = 0;  // of the next block; under the lock

 private:
  TField<std::uint32_t> FSeed;
};

// Noise that is uniformly distributed between two bounds (ippsRandUniform_Direct_64f): 2^32 values
// in even steps.
//
// A change of a bound takes effect with the next block, the sequence runs on. Where the bounds
// would cross, the one that was not set moves to the one that was.
class TQSRandomGen : public TQSSeededRealGen {
 public:
  using TQSSeededRealGen::TQSSeededRealGen;
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  // The least sample, in the signal's unit; default -20000. With Low equal to High every sample is
  // that value.
  double Low() const { return FLow; }
  void SetLow(double AValue);
  // The greatest sample; default 20000.
  double High() const { return FHigh; }
  void SetHigh(double AValue);

 protected:
  void Generate(TRef<IQSRealBuffer>& ASignal, bool& APopulated, bool& AFinished) override;

 private:
  TField<double> FLow;
  TField<double> FHigh;
};

// Noise with a normal distribution (ippsRandGauss_Direct_64f: Marsaglia's polar method). With the
// defaults that is noise of 9000 RMS.
//
// The primitive begins anew at each block, from the seed that the block before it left. Blocks
// below some tens of samples therefore bend the distribution: with blocks of one sample the mean
// may be off by a tenth of StdDev and StdDev by 4 %, with blocks of 8 by half a per cent and more;
// from blocks of 64 on nothing of it shows beside the chance in a million samples. Where a graph
// needs small blocks, generate large ones and cut them behind the generator. Neighbouring samples
// are not wholly independent (correlations of 0.01 to 0.03 are met with some seeds).
//
// A change of Mean or StdDev takes effect with the next block, the sequence runs on.
class TQSGaussGen : public TQSSeededRealGen {
 public:
  using TQSSeededRealGen::TQSSeededRealGen;
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  // In the signal's unit; default 0.
  double Mean() const { return FMean; }
  void SetMean(double AValue);
  // The standard deviation, in the signal's unit; default 9000. A negative one mirrors the samples
  // at Mean, 0 gives Mean.
  double StdDev() const { return FStdDev; }
  void SetStdDev(double AValue);

 protected:
  void Generate(TRef<IQSRealBuffer>& ASignal, bool& APopulated, bool& AFinished) override;

 private:
  TField<double> FMean;
  TField<double> FStdDev;
};

namespace QSRandomGen {
void RegisterPkg();
}
namespace QSGaussGen {
void RegisterPkg();
}

}  // namespace tessalune
