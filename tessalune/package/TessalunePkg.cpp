#include <tessalune/analysis/QSMean.h>
#include <tessalune/analysis/QSMinMax.h>
#include <tessalune/analysis/QSNoiseStats.h>
#include <tessalune/analysis/QSPatternDetector.h>
#include <tessalune/analysis/QSRMSMeter.h>
#include <tessalune/analysis/QSSnippetTrigger.h>
#include <tessalune/analysis/QSTriggerPins.h>
#include <tessalune/control/QSDelayLine.h>
#include <tessalune/control/QSRepack.h>
#include <tessalune/control/QSSnapshot.h>
#include <tessalune/control/QSSwitch.h>
#include <tessalune/filters/QSAbs.h>
#include <tessalune/filters/QSAdd.h>
#include <tessalune/filters/QSApplyComplexConst.h>
#include <tessalune/filters/QSApplyIntConst.h>
#include <tessalune/filters/QSApplyRealConst.h>
#include <tessalune/filters/QSApplyWindow.h>
#include <tessalune/filters/QSBandFilter.h>
#include <tessalune/filters/QSCombFilter.h>
#include <tessalune/filters/QSComplexToReal.h>
#include <tessalune/filters/QSConjugate.h>
#include <tessalune/filters/QSFir.h>
#include <tessalune/filters/QSFrequencyFilter.h>
#include <tessalune/filters/QSIir.h>
#include <tessalune/filters/QSMedian.h>
#include <tessalune/filters/QSRealToComplex.h>
#include <tessalune/filters/QSRealToInt.h>
#include <tessalune/filters/QSRealTodB.h>
#include <tessalune/filters/QSRemoveDC.h>
#include <tessalune/filters/QSSubtract.h>
#include <tessalune/filters/QSToSquare.h>
#include <tessalune/package/TessalunePkg.h>
#include <tessalune/primitives/QSDispatcher.h>
#include <tessalune/primitives/QSHilbertDispatcher.h>
#include <tessalune/sources/QSLogger.h>
#include <tessalune/sources/QSPlayer.h>
#include <tessalune/sources/QSRandomGen.h>
#include <tessalune/sources/QSSignalGen.h>
#include <tessalune/transforms/QSDct.h>
#include <tessalune/transforms/QSDft.h>
#include <tessalune/transforms/QSFourier.h>
#include <tessalune/transforms/QSGoertzOne.h>
#include <tessalune/transforms/QSHaar.h>
#include <tessalune/transforms/QSHilbert.h>
#include <tessalune/transforms/QSPowerSpectrum.h>

#include <array>
#include <mutex>

namespace tessalune {
namespace {

// In the order in which the units are initialised.
constexpr std::array Units{
    TPackageUnit{"TessalunePkg", nullptr},
    TPackageUnit{"QSHilbertDispatcher", nullptr, &QSHilbertDispatcher::initialization,
                 &QSHilbertDispatcher::Finalization},
    TPackageUnit{"QSSubDispatcher", nullptr},
    TPackageUnit{"SysInit", nullptr},
    TPackageUnit{"QSDispatcher", nullptr, &QSDispatcher::initialization,
                 &QSDispatcher::Finalization},
    TPackageUnit{"QSFrequencyFilter", nullptr},
    TPackageUnit{"QSSimpleFilter", nullptr},
    TPackageUnit{"QSPatternDetector", &QSPatternDetector::RegisterPkg},
    TPackageUnit{"QSSnippetTrigger", &QSSnippetTrigger::RegisterPkg},
    TPackageUnit{"QSRemoveDC", &QSRemoveDC::RegisterPkg},
    TPackageUnit{"QSAbs", &QSAbs::RegisterPkg},
    TPackageUnit{"QSDelayLine", &QSDelayLine::RegisterPkg},
    TPackageUnit{"QSRealTodB", &QSRealTodB::RegisterPkg},
    TPackageUnit{"QSRepack", &QSRepack::RegisterPkg},
    TPackageUnit{"QSConjugate", &QSConjugate::RegisterPkg},
    TPackageUnit{"QSPowerSpectrum", &QSPowerSpectrum::RegisterPkg},
    TPackageUnit{"QSHaar", &QSHaar::RegisterPkg},
    TPackageUnit{"QSGoertzOne", &QSGoertzOne::RegisterPkg},
    TPackageUnit{"QSDct", &QSDct::RegisterPkg},
    TPackageUnit{"QSDft", &QSDft::RegisterPkg},
    TPackageUnit{"QSFourier", &QSFourier::RegisterPkg},
    TPackageUnit{"QSCommonIirFilter", nullptr},
    TPackageUnit{"QSBiQuadIir", &QSBiQuadIir::RegisterPkg},
    TPackageUnit{"QSToSquare", &QSToSquare::RegisterPkg},
    TPackageUnit{"QSMedian", &QSMedian::RegisterPkg},
    TPackageUnit{"QSApplyWindow", &QSApplyWindow::RegisterPkg},
    TPackageUnit{"QSHilbert", &QSHilbert::RegisterPkg},
    TPackageUnit{"QSPolarToCart", &QSPolarToCart::RegisterPkg},
    TPackageUnit{"QSCartToPolar", &QSCartToPolar::RegisterPkg},
    TPackageUnit{"QSComplexToReal", &QSComplexToReal::RegisterPkg},
    TPackageUnit{"QSIntToReal", &QSIntToReal::RegisterPkg},
    TPackageUnit{"QSRealToInt", &QSRealToInt::RegisterPkg},
    TPackageUnit{"QSApplyRealConst", &QSApplyRealConst::RegisterPkg},
    TPackageUnit{"QSApplyIntConst", &QSApplyIntConst::RegisterPkg},
    TPackageUnit{"QSApplyComplexConst", &QSApplyComplexConst::RegisterPkg},
    TPackageUnit{"QSRealToComplex", &QSRealToComplex::RegisterPkg},
    TPackageUnit{"QSDivide", &QSDivide::RegisterPkg},
    TPackageUnit{"QSSubtract", &QSSubtract::RegisterPkg},
    TPackageUnit{"QSAdd", &QSAdd::RegisterPkg},
    TPackageUnit{"QSMultiply", &QSMultiply::RegisterPkg},
    TPackageUnit{"QSSignalGen", &QSSignalGen::RegisterPkg},
    TPackageUnit{"QSRandomGen", &QSRandomGen::RegisterPkg},
    TPackageUnit{"QSPlayer", &QSPlayer::RegisterPkg},
    TPackageUnit{"QSLowPass", &QSLowPass::RegisterPkg},
    TPackageUnit{"QSLogger", &QSLogger::RegisterPkg},
    TPackageUnit{"QSBandFilter", nullptr},
    TPackageUnit{"QSHighPass", &QSHighPass::RegisterPkg},
    TPackageUnit{"QSGaussGen", &QSGaussGen::RegisterPkg},
    TPackageUnit{"QSFir", &QSFir::RegisterPkg},
    TPackageUnit{"QSBandStop", &QSBandStop::RegisterPkg},
    TPackageUnit{"QSBandPass", &QSBandPass::RegisterPkg},
    TPackageUnit{"QSIir", &QSIir::RegisterPkg},
    TPackageUnit{"QSSnapshot", &QSSnapshot::RegisterPkg},
    TPackageUnit{"QSSwitch", &QSSwitch::RegisterPkg},
    TPackageUnit{"QSNoiseStats", &QSNoiseStats::RegisterPkg},
    TPackageUnit{"QSCombFilter", &QSCombFilter::RegisterPkg},
    TPackageUnit{"QSRMSMeter", &QSRMSMeter::RegisterPkg},
    TPackageUnit{"QSBasicAnalysis", nullptr},
    TPackageUnit{"QSAddComplex", &QSAddComplex::RegisterPkg},
    TPackageUnit{"QSDivideComplex", &QSDivideComplex::RegisterPkg},
    TPackageUnit{"QSMultiplyComplex", &QSMultiplyComplex::RegisterPkg},
    TPackageUnit{"QSSubtractComplex", &QSSubtractComplex::RegisterPkg},
    TPackageUnit{"QSMean", &QSMean::RegisterPkg},
    TPackageUnit{"QSMinMax", &QSMinMax::RegisterPkg},
};

// In the order in which they are initialised.
constexpr std::array<std::string_view, 4> Needs{"Ketline", "Brindle", "Norvane runtime",
                                                "run-time library"};

std::mutex Mutex;
int Initializations = 0;

}  // namespace

static_assert(PackageAbi == TESSALUNE_ABI);  // of the project's version

const void* LibraryInstance() noexcept { return &Initializations; }

TIconFile StreamIcon(const TGUID& ADataTypeID) {
  if (ADataTypeID != IKLQSTriggerDataStream.ID) return {};
  return IconFile("IKLQSTRIGGERDATASTREAM.png");
}

// The lock is held while the units' entries run, so that nobody returns before they have.
void Initialize() {
  const std::lock_guard Lock(Mutex);
  if (Initializations++ == 0) InitializeUnits(Units);
}

void Finalize() {
  const std::lock_guard Lock(Mutex);
  if (Initializations > 0 && --Initializations == 0) FinalizeUnits(Units);
}

int InitializationCount() {
  const std::lock_guard Lock(Mutex);
  return Initializations;
}

const TPackageInfoTable& GetPackageInfoTable() {
  static const TPackageInfoTable Table{
      .Description = PackageDescription, .Needs = Needs, .Units = Units};
  return Table;
}

void RegisterUnits(std::span<const TPackageUnit> AUnits) {
  for (const TPackageUnit& Unit : AUnits) {
    if (Unit.RegisterPkg != nullptr) Unit.RegisterPkg();
  }
}

void RegisterAllUnits() { RegisterUnits(Units); }

void InitializeUnits(std::span<const TPackageUnit> AUnits) {
  for (const TPackageUnit& Unit : AUnits) {
    if (Unit.Initialization != nullptr) Unit.Initialization();
  }
}

void FinalizeUnits(std::span<const TPackageUnit> AUnits) {
  for (auto Unit = AUnits.rbegin(); Unit != AUnits.rend(); ++Unit) {
    if (Unit->Finalization != nullptr) Unit->Finalization();
  }
}

}  // namespace tessalune
