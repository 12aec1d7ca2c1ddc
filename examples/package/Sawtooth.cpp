// A generator.
#include "workshop.h"

#include <tessalune/tessalune.h>

#include <cmath>

namespace workshop {
namespace {

using namespace tessalune;

class TSawtooth final : public TQSCommonRealGen {
 public:
  using TQSCommonRealGen::TQSCommonRealGen;
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  double Frequency() const { return FFrequency; }
  void SetFrequency(double AValue) { NotifySetter(FrequencyInfo, FFrequency, AValue); }

 protected:
  // Both are called inside the lock.
  void StartStream() override { FPlace = 0.0; }
  void Generate(TRef<IQSRealBuffer>& ASignal, bool&, bool&) override {
    const double Step = FFrequency / SampleRate();
    double* Samples = ASignal->Write();
    for (int I = 0; I < ASignal->GetSize(); ++I) {
      Samples[I] = 2.0 * FPlace - 1.0;
      FPlace += Step;
      FPlace -= std::floor(FPlace);
    }
  }

 private:
  static constexpr TPropertyInfo<double> FrequencyInfo{.Name = "Frequency",
                                                       .Default = 500.0,
                                                       .Bounds = AtLeast(0.0),
                                                       .Unit = "Hz",
                                                       .Doc = "Teeth a second."};
  TField<double> FFrequency;
  double FPlace = 0.0;  // in the tooth, from 0 to 1
};

const TPublishedTable& TSawtooth::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TSawtooth",
                       .DisplayName = "Sawtooth Generator",
                       .Category = "Workshop",
                       .Doc = "Teeth that rise from -1 to 1."},
                      &TQSCommonRealGen::Published())
          .Property(FrequencyInfo, &TSawtooth::Frequency, &TSawtooth::SetFrequency);
  return Table;
}

}  // namespace

void Sawtooth::RegisterPkg() { RegisterComponents({ClassOf<TSawtooth>()}); }

}  // namespace workshop
