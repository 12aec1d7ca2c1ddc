#include <tessalune/analysis/QSTriggerPins.h>
#include <tessalune/filters/QSAbs.h>
#include <tessalune/filters/QSAdd.h>
#include <tessalune/frame/runtime/QSComponentRegistry.h>
#include <tessalune/frame/runtime/QSException.h>
#include <tessalune/package/TessalunePkg.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <iterator>
#include <set>
#include <string>
#include <vector>

namespace tessalune::test {
namespace {

// The palette is one a process, so one test tells its story from empty to full.
TEST(Package, RegistersItsClassesUnitByUnit) {
  struct TCase {
    const char* Unit;
    const char* Class;
    const char* Category;
    const char* DisplayName;
  };
  const TCase Cases[] = {
      {"QSLogger", "TQSLogger", "Loggers", "Signal File Logger"},
      {"QSAbs", "TQSAbs", "Math", "Absolute Value Signal"},
      {"QSPlayer", "TQSPlayer", "Players", "Signal Player"},
      {"QSSignalGen", "TQSSignalGen", "Generators",
       "Real Signal Generator( Sine, Triangle, Rectange, DC)"},
      {"QSRandomGen", "TQSRandomGen", "Generators", "Random Signal Generator"},
      {"QSGaussGen", "TQSGaussGen", "Generators", "Gaussian Noise Signal Generator"},
      {"QSAdd", "TQSAdd", "Math", "Add Signals"},
      {"QSAddComplex", "TQSAddComplex", "Math", "Add Complex Signals"},
      {"QSMultiply", "TQSMultiply", "Math", "Multiply Signals"},
      {"QSMultiplyComplex", "TQSMultiplyComplex", "Math", "Multiply Complex Signals"},
      {"QSSubtract", "TQSSubtract", "Math", "Subtract Signals"},
      {"QSSubtractComplex", "TQSSubtractComplex", "Math", "Subtract Complex Signals"},
      {"QSDivide", "TQSDivide", "Math", "Divide Signals"},
      {"QSDivideComplex", "TQSDivideComplex", "Math", "Divide Complex Signals"},
      {"QSRealToComplex", "TQSRealToComplex", "Converters",
       "Combines Real and Imaginary signals to Complex"},
      {"QSPolarToCart", "TQSPolarToCart", "Converters", "Polar to Cartesian converter"},
      {"QSComplexToReal", "TQSComplexToReal", "Converters",
       "Split Complex into Real and Imaginary signals"},
      {"QSCartToPolar", "TQSCartToPolar", "Converters", "Cartesian to Polar converter"},
      {"QSRealToInt", "TQSRealToInt", "Converters", "Real to Integer converter"},
      {"QSIntToReal", "TQSIntToReal", "Converters", "Integer to Real converter"},
      {"QSConjugate", "TQSConjugate", "Filters", "Computes Conjugate"},
      {"QSFir", "TQSFir", "Filters", "Perform FIR Filter"},
      {"QSIir", "TQSIir", "Filters", "Perform IIR Filter"},
      {"QSBiQuadIir", "TQSBiQuadIir", "Filters", "Perform Bi Quad IIR Filter"},
      {"QSLowPass", "TQSLowPass", "Filters", "Perform Low Pass Filter"},
      {"QSHighPass", "TQSHighPass", "Filters", "Perform High Pass Filter"},
      {"QSBandPass", "TQSBandPass", "Filters", "Perform Band Pass Filter"},
      {"QSBandStop", "TQSBandStop", "Filters", "Perform Band Stop Filter"},
      {"QSPowerSpectrum", "TQSPowerSpectrum", "Transforms",
       "Computes Power Spectrum from Complex Signal"},
      {"QSDft", "TQSDft", "Transforms", "Perform Discrete Forward Fourier (DFT)"},
      {"QSDft", "TQSInverseDft", "Transforms", "Perform Discrete Inverse Fourier (DFT)"},
      {"QSDft", "TQSInverseComplexDft", "Transforms",
       "Perform Discrete Inverse Complex Fourier (DFT)"},
      {"QSFourier", "TQSFourier", "Transforms", "Perform Fast Forward Fourier (FFT)"},
      {"QSFourier", "TQSInverseFourier", "Transforms", "Perform Fast Inverse Fourier (FFT)"},
      {"QSFourier", "TQSInverseComplexFourier", "Transforms",
       "Perform Fast Inverse Complex Fourier (FFT)"},
      {"QSToSquare", "TQSToSquare", "Filters", "Converts to Square Signal"},
      {"QSRealTodB", "TQSRealTodB", "Filters", "Signal to dB"},
      {"QSApplyRealConst", "TQSApplyRealConst", "Math", "Applies constant on Real Signal"},
      {"QSApplyIntConst", "TQSApplyIntConst", "Math", "Applies constant on Real Signal"},
      {"QSCombFilter", "TQSCombFilter", "Filters", "Perform Comb Filter over Signal"},
      {"QSRemoveDC", "TQSRemoveDC", "Filters", "Remove DC Component"},
      {"QSMedian", "TQSMedian", "Filters", "Performs Median Filter"},
      {"QSApplyWindow", "TQSApplyWindow", "Filters", "Applies Window over the Signal"},
      {"QSSwitch", "TQSSwitch", "Filters", "On/Off Switch"},
      {"QSSnapshot", "TQSSnapshot", "Filters", "Take Signal Snapshot"},
      {"QSDelayLine", "TQSDelayLine", "Filters", "Add Signal Delay"},
      {"QSRepack", "TQSRepack", "Filters", "Repacks the Signal Buffers"},
      {"QSApplyComplexConst", "TQSApplyComplexConst", "Math", "Applies constant on Complex Signal"},
      {"QSMean", "TQSMean", "Math", "Calculate Mean (Average) Value"},
      {"QSMinMax", "TQSMinMax", "Math", "Find Signal Minimal and Maximal value"},
      {"QSRMSMeter", "TQSRMSMeter", "Measurement", "RMS Signal Meter"},
      {"QSHilbert", "TQSHilbert", "Transforms", "Performs Hilbert Transformation"},
      {"QSGoertzOne", "TQSGoertzOne", "Transforms", "Goertzel Filter (Detect Frequency)"},
      {"QSDct", "TQSDct", "Transforms", "Performs Discrete Cosine Transform"},
      {"QSDct", "TQSInverseDct", "Transforms", "Performs Discrete Cosine Inverse Transform"},
      {"QSHaar", "TQSHaar", "Transforms", "Performs Haar Transform"},
      {"QSHaar", "TQSInverseHaar", "Transforms", "Performs Inverse Haar Transform"},
      {"QSSnippetTrigger", "TQSSnippetTrigger", "Measurement", "Snippet Trigger"},
      {"QSPatternDetector", "TQSPatternDetector", "Measurement", "Pattern Detector"},
      {"QSNoiseStats", "TQSNoiseStats", "Analysis", "Perform Noise Stats Analisys"},
  };
  EXPECT_TRUE(RegisteredComponents().empty()) << "nothing registers by itself";
  const auto Units = GetPackageInfoTable();
  std::set<std::string> Seen;  // units
  const auto Known = [&] {
    return std::count_if(std::begin(Cases), std::end(Cases),
                         [&](const TCase& ACase) { return Seen.contains(ACase.Unit); });
  };
  for (const TCase& Case : Cases) {
    SCOPED_TRACE(Case.Class);
    EXPECT_EQ(FindComponentClass(Case.Class) == nullptr, Seen.insert(Case.Unit).second);
    const auto Unit = std::find_if(Units.begin(), Units.end(), [&](const TPackageUnit& AUnit) {
      return AUnit.Name == Case.Unit;
    });
    ASSERT_NE(Unit, Units.end());
    ASSERT_NE(Unit->RegisterPkg, nullptr);
    Unit->RegisterPkg();
    Unit->RegisterPkg();
    EXPECT_EQ(std::ssize(RegisteredComponents()), Known()) << "each class once";

    const TComponentClass* Class = FindComponentClass(Case.Class);
    ASSERT_NE(Class, nullptr);
    EXPECT_EQ(Class->Published().Category(), Case.Category);
    EXPECT_EQ(Class->Published().DisplayName(), Case.DisplayName);
    const TOwned<TComponent> Component = Class->New();
    EXPECT_EQ(Component->ClassName(), Case.Class);
    EXPECT_EQ(&Component->PublishedTable(), &Class->Published());
    for (const TPublishedProperty* Row : Component->PublishedTable().Properties()) {
      EXPECT_FALSE(Row->Doc.empty()) << Row->Name;
      if (Row->Kind == TPropertyKind::Object) continue;
      EXPECT_EQ(Row->Get(*Component), Row->Default) << Row->Name;
    }
  }
  EXPECT_EQ(FindComponentClass("TQSAbs2"), nullptr);
  RegisterAllUnits();
  EXPECT_EQ(std::ssize(RegisteredComponents()), Known()) << "every class was among the units";
  EXPECT_EQ(RegisteredComponents().front().Published().ClassName(), "TQSLogger")
      << "in the order of registration";
}

// The icon of a registered class, by size; its pixels differ from those in ASeen.
void ExpectIcon(const TComponentClass& AClass, std::int32_t ASize,
                std::set<std::vector<std::uint8_t>>& ASeen) {
  SCOPED_TRACE(std::string(AClass.Published().ClassName()) + " " + std::to_string(ASize));
  const TIcon Icon = AClass.New()->GetIcon(ASize);
  EXPECT_EQ(Icon.Width, ASize);
  EXPECT_EQ(Icon.Height, ASize);
  ASSERT_EQ(std::ssize(Icon.Pixels), 4 * ASize * ASize);
  const auto Middle = static_cast<std::size_t>(2 * ASize * ASize);
  EXPECT_EQ(Icon.Pixels[3], 0) << "a corner is transparent";
  EXPECT_EQ(Icon.Pixels[Middle + 3], 255) << "the left edge's middle is not";
  EXPECT_TRUE(ASeen.insert(Icon.Pixels).second) << "another class has this icon";
}

TEST(Icons, EachClassHasItsOwnInThreeSizes) {
  RegisterAllUnits();
  std::set<std::string, std::less<>> Missing(IconFileNames().begin(), IconFileNames().end());
  EXPECT_EQ(Missing.size(), 190U);
  std::set<std::vector<std::uint8_t>> Seen;
  for (const TComponentClass& Class : RegisteredComponents()) {
    std::string Name(Class.Published().ClassName());
    for (char& C : Name) C = static_cast<char>(std::toupper(C));
    for (const std::int32_t Size : {16, 24, 32}) {
      ExpectIcon(Class, Size, Seen);
      EXPECT_TRUE(Missing.erase(Name + (Size == 24 ? "" : std::to_string(Size)) + ".bmp"));
    }
  }
  for (const char* Name : {"TQSCARTTOPOLAR1.bmp", "TQSCOMPLEXDFT.bmp", "TQSCOMPLEXFOURIER.bmp",
                           "TQSCOMPLEXGOERTZONE.bmp", "TQSPOLARTOCART1.bmp", "TQSRESIZECOMPLEX.bmp",
                           "TQSRESIZEINT.bmp", "TQSRESIZEREAL.bmp", "TQSSBANDPASS.bmp",
                           "IKLQSTRIGGERDATASTREAM.png"}) {
    EXPECT_TRUE(Missing.erase(Name)) << Name;
  }
  EXPECT_TRUE(Missing.empty()) << "of no class: " << *Missing.begin();
  const TIconFile Stream = StreamIcon(IKLQSTriggerDataStream.ID);
  ASSERT_GT(Stream.size(), 24U);
  EXPECT_EQ(std::string(Stream.begin() + 1, Stream.begin() + 4), "PNG");
  EXPECT_EQ(Stream[19], 16) << "its width";
  EXPECT_TRUE(StreamIcon(TGUID()).empty());
}

TEST(Icons, AreThoseOfTheBaseOrBroughtAlong) {
  const auto Abs = [](std::int32_t ASize) { return ClassIcon(TQSAbs::Published(), ASize); };
  // The first rows of the tile are of its colour (#7040b8), but for the corners.
  const TIcon Icon = Abs(24);
  const auto* Top = Icon.Pixels.data() + 4 * 12;
  EXPECT_EQ(std::vector<int>(Top, Top + 4), (std::vector<int>{0x70, 0x40, 0xB8, 255}));
  for (const auto& [Wanted, Given] :
       std::vector<std::pair<int, int>>{{-1, 16}, {17, 24}, {20, 24}, {25, 32}, {99, 32}}) {
    EXPECT_EQ(Abs(Wanted), Abs(Given)) << Wanted;
  }

  const TPublishedTable Derived({.Name = "TOther"}, &TQSAbs::Published());
  EXPECT_EQ(ClassIcon(Derived, 16), Abs(16));
  const TIconFile Own[] = {IconFile("TQSADD32.bmp"), IconFile("TQSADD16.bmp")};
  const TPublishedTable Bringing({.Name = "TOwn", .Icons = Own}, &TQSAbs::Published());
  const TPublishedTable Next({.Name = "TNext"}, &Bringing);
  EXPECT_EQ(ClassIcon(Next, 16), ClassIcon(TQSAdd::Published(), 16));
  EXPECT_EQ(ClassIcon(Next, 24).Width, 32);
  EXPECT_TRUE(ClassIcon(TComponent::Published(), 16).IsEmpty());

  // Whatever is cut off or changed in a bitmap's headers, it is refused or harmless.
  const TIconFile Sound = IconFile("TQSADD16.bmp");
  for (std::size_t At = 0; At < 66; ++At) {
    std::vector<std::uint8_t> Bytes(Sound.begin(), Sound.end());
    Bytes[At] ^= 0x80;
    const TIconFile Wrong[] = {Bytes};
    const TPublishedTable Table({.Name = "TWrong", .Icons = Wrong}, nullptr);
    try {
      EXPECT_EQ(ClassIcon(Table, 16).Width, 16) << At;
    } catch (const EQSException& Error) {
      EXPECT_NE(std::string(Error.what()).find("TWrong"), std::string::npos);
    }
    const TIconFile Short[] = {Sound.first(At)};
    EXPECT_THROW(ClassIcon(TPublishedTable({.Name = "TShort", .Icons = Short}, nullptr), 16),
                 EQSException);
  }
}

TEST(Package, CountsItsLoads) {
  const int Before = InitializationCount();
  Initialize();
  Initialize();
  EXPECT_EQ(InitializationCount(), Before + 2);
  Finalize();
  Finalize();
  EXPECT_EQ(InitializationCount(), Before);
}

}  // namespace
}  // namespace tessalune::test
