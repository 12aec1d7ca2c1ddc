#include <tessalune/analysis/QSTriggerPins.h>
#include <tessalune/filters/QSAbs.h>
#include <tessalune/filters/QSAdd.h>
#include <tessalune/frame/pins/KLPins.h>
#include <tessalune/frame/runtime/QSComponentRegistry.h>
#include <tessalune/frame/runtime/QSException.h>
#include <tessalune/package/TessalunePkg.h>
#include <tessalune/primitives/PrimitiveTable.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <iterator>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace tessalune::test {
namespace {

struct TClassCase {
  const char* Class;
  const char* Category;
  const char* DisplayName;
};
// Units in their order, and the classes that each registers in theirs.
const struct TUnitCase {
  const char* Unit;
  std::vector<TClassCase> Classes;
} UnitCases[] = {
    {"TessalunePkg", {}},
    {"QSHilbertDispatcher", {}},
    {"QSSubDispatcher", {}},
    {"SysInit", {}},
    {"QSDispatcher", {}},
    {"QSFrequencyFilter", {}},
    {"QSSimpleFilter", {}},
    {"QSPatternDetector", {{"TQSPatternDetector", "Measurement", "Pattern Detector"}}},
    {"QSSnippetTrigger", {{"TQSSnippetTrigger", "Measurement", "Snippet Trigger"}}},
    {"QSRemoveDC", {{"TQSRemoveDC", "Filters", "Remove DC Component"}}},
    {"QSAbs", {{"TQSAbs", "Math", "Absolute Value Signal"}}},
    {"QSDelayLine", {{"TQSDelayLine", "Filters", "Add Signal Delay"}}},
    {"QSRealTodB", {{"TQSRealTodB", "Filters", "Signal to dB"}}},
    {"QSRepack", {{"TQSRepack", "Filters", "Repacks the Signal Buffers"}}},
    {"QSConjugate", {{"TQSConjugate", "Filters", "Computes Conjugate"}}},
    {"QSPowerSpectrum",
     {{"TQSPowerSpectrum", "Transforms", "Computes Power Spectrum from Complex Signal"}}},
    {"QSHaar",
     {{"TQSHaar", "Transforms", "Performs Haar Transform"},
      {"TQSInverseHaar", "Transforms", "Performs Inverse Haar Transform"}}},
    {"QSGoertzOne", {{"TQSGoertzOne", "Transforms", "Goertzel Filter (Detect Frequency)"}}},
    {"QSDct",
     {{"TQSDct", "Transforms", "Performs Discrete Cosine Transform"},
      {"TQSInverseDct", "Transforms", "Performs Discrete Cosine Inverse Transform"}}},
    {"QSDft",
     {{"TQSDft", "Transforms", "Perform Discrete Forward Fourier (DFT)"},
      {"TQSInverseDft", "Transforms", "Perform Discrete Inverse Fourier (DFT)"},
      {"TQSInverseComplexDft", "Transforms", "Perform Discrete Inverse Complex Fourier (DFT)"}}},
    {"QSFourier",
     {{"TQSFourier", "Transforms", "Perform Fast Forward Fourier (FFT)"},
      {"TQSInverseFourier", "Transforms", "Perform Fast Inverse Fourier (FFT)"},
      {"TQSInverseComplexFourier", "Transforms", "Perform Fast Inverse Complex Fourier (FFT)"}}},
    {"QSCommonIirFilter", {}},
    {"QSBiQuadIir", {{"TQSBiQuadIir", "Filters", "Perform Bi Quad IIR Filter"}}},
    {"QSToSquare", {{"TQSToSquare", "Filters", "Converts to Square Signal"}}},
    {"QSMedian", {{"TQSMedian", "Filters", "Performs Median Filter"}}},
    {"QSApplyWindow", {{"TQSApplyWindow", "Filters", "Applies Window over the Signal"}}},
    {"QSHilbert", {{"TQSHilbert", "Transforms", "Performs Hilbert Transformation"}}},
    {"QSPolarToCart", {{"TQSPolarToCart", "Converters", "Polar to Cartesian converter"}}},
    {"QSCartToPolar", {{"TQSCartToPolar", "Converters", "Cartesian to Polar converter"}}},
    {"QSComplexToReal",
     {{"TQSComplexToReal", "Converters", "Split Complex into Real and Imaginary signals"}}},
    {"QSIntToReal", {{"TQSIntToReal", "Converters", "Integer to Real converter"}}},
    {"QSRealToInt", {{"TQSRealToInt", "Converters", "Real to Integer converter"}}},
    {"QSApplyRealConst", {{"TQSApplyRealConst", "Math", "Applies constant on Real Signal"}}},
    {"QSApplyIntConst", {{"TQSApplyIntConst", "Math", "Applies constant on Real Signal"}}},
    {"QSApplyComplexConst",
     {{"TQSApplyComplexConst", "Math", "Applies constant on Complex Signal"}}},
    {"QSRealToComplex",
     {{"TQSRealToComplex", "Converters", "Combines Real and Imaginary signals to Complex"}}},
    {"QSDivide", {{"TQSDivide", "Math", "Divide Signals"}}},
    {"QSSubtract", {{"TQSSubtract", "Math", "Subtract Signals"}}},
    {"QSAdd", {{"TQSAdd", "Math", "Add Signals"}}},
    {"QSMultiply", {{"TQSMultiply", "Math", "Multiply Signals"}}},
    {"QSSignalGen",
     {{"TQSSignalGen", "Generators", "Real Signal Generator( Sine, Triangle, Rectange, DC)"}}},
    {"QSRandomGen", {{"TQSRandomGen", "Generators", "Random Signal Generator"}}},
    {"QSPlayer", {{"TQSPlayer", "Players", "Signal Player"}}},
    {"QSLowPass", {{"TQSLowPass", "Filters", "Perform Low Pass Filter"}}},
    {"QSLogger", {{"TQSLogger", "Loggers", "Signal File Logger"}}},
    {"QSBandFilter", {}},
    {"QSHighPass", {{"TQSHighPass", "Filters", "Perform High Pass Filter"}}},
    {"QSGaussGen", {{"TQSGaussGen", "Generators", "Gaussian Noise Signal Generator"}}},
    {"QSFir", {{"TQSFir", "Filters", "Perform FIR Filter"}}},
    {"QSBandStop", {{"TQSBandStop", "Filters", "Perform Band Stop Filter"}}},
    {"QSBandPass", {{"TQSBandPass", "Filters", "Perform Band Pass Filter"}}},
    {"QSIir", {{"TQSIir", "Filters", "Perform IIR Filter"}}},
    {"QSSnapshot", {{"TQSSnapshot", "Filters", "Take Signal Snapshot"}}},
    {"QSSwitch", {{"TQSSwitch", "Filters", "On/Off Switch"}}},
    {"QSNoiseStats", {{"TQSNoiseStats", "Analysis", "Perform Noise Stats Analisys"}}},
    {"QSCombFilter", {{"TQSCombFilter", "Filters", "Perform Comb Filter over Signal"}}},
    {"QSRMSMeter", {{"TQSRMSMeter", "Measurement", "RMS Signal Meter"}}},
    {"QSBasicAnalysis", {}},
    {"QSAddComplex", {{"TQSAddComplex", "Math", "Add Complex Signals"}}},
    {"QSDivideComplex", {{"TQSDivideComplex", "Math", "Divide Complex Signals"}}},
    {"QSMultiplyComplex", {{"TQSMultiplyComplex", "Math", "Multiply Complex Signals"}}},
    {"QSSubtractComplex", {{"TQSSubtractComplex", "Math", "Subtract Complex Signals"}}},
    {"QSMean", {{"TQSMean", "Math", "Calculate Mean (Average) Value"}}},
    {"QSMinMax", {{"TQSMinMax", "Math", "Find Signal Minimal and Maximal value"}}}};

// The palette is one a process, so one test tells its story from empty to full.
TEST(Package, RegistersItsClassesUnitByUnit) {
  EXPECT_TRUE(RegisteredComponents().empty()) << "nothing registers by itself";
  const auto Units = GetPackageInfoTable().Units;
  ASSERT_EQ(Units.size(), std::size(UnitCases));
  std::size_t Count = 0;
  for (std::size_t I = 0; I < Units.size(); ++I) {
    const TUnitCase& Case = UnitCases[I];
    SCOPED_TRACE(Case.Unit);
    EXPECT_EQ(Units[I].Name, Case.Unit);
    ASSERT_EQ(Units[I].RegisterPkg != nullptr, !Case.Classes.empty());
    for (int Time = 0; Time < 2; ++Time) RegisterUnits(Units.subspan(I, 1));
    const auto Known = RegisteredComponents();
    ASSERT_EQ(Known.size(), Count + Case.Classes.size()) << "each class once";
    for (const TClassCase& Expected : Case.Classes) {
      const TPublishedTable& Table = Known[Count++].Published();
      EXPECT_EQ(Table.ClassName(), Expected.Class);
      EXPECT_EQ(Table.Category(), Expected.Category);
      EXPECT_EQ(Table.DisplayName(), Expected.DisplayName);
      const TOwned<TComponent> Component = FindComponentClass(Expected.Class)->New();
      EXPECT_EQ(Component->ClassName(), Expected.Class);
      EXPECT_EQ(&Component->PublishedTable(), &Table);
      for (const TPublishedProperty* Row : Table.Properties()) {
        EXPECT_FALSE(Row->Doc.empty()) << Row->Name;
        if (Row->Kind == TPropertyKind::Object) continue;
        EXPECT_EQ(Row->Get(*Component), Row->Default) << Row->Name;
      }
    }
  }
  EXPECT_EQ(FindComponentClass("TQSAbs2"), nullptr);
}

// The icon of a registered class, by size; its pixels differ from those in ASeen.
void ExpectIcon(const TComponent& AComponent, std::int32_t ASize, std::set<std::string>& ASeen) {
  SCOPED_TRACE(std::string(AComponent.ClassName()) + " " + std::to_string(ASize));
  const TIcon Icon = AComponent.GetIcon(ASize);
  EXPECT_EQ(Icon.Width, ASize);
  EXPECT_EQ(Icon.Height, ASize);
  ASSERT_EQ(std::ssize(Icon.Pixels), 4 * ASize * ASize);
  const auto Middle = static_cast<std::size_t>(2 * ASize * ASize);
  EXPECT_EQ(Icon.Pixels[3], 0) << "a corner is transparent";
  EXPECT_EQ(Icon.Pixels[Middle + 3], 255) << "the left edge's middle is not";
  const std::string Pixels(Icon.Pixels.begin(), Icon.Pixels.end());
  EXPECT_TRUE(ASeen.insert(Pixels).second) << "another class has this icon";
}

TEST(Icons, EachClassHasItsOwnInThreeSizes) {
  RegisterAllUnits();
  std::set<std::string, std::less<>> Missing(IconFileNames().begin(), IconFileNames().end());
  EXPECT_EQ(Missing.size(), 190U);
  std::set<std::string> Seen;
  for (const TComponentClass& Class : RegisteredComponents()) {
    std::string Name(Class.Published().ClassName());
    for (char& C : Name) C = static_cast<char>(std::toupper(C));
    const auto Component = Class.New();
    for (const std::int32_t Size : {16, 24, 32}) {
      ExpectIcon(*Component, Size, Seen);
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

// What design tools read. A class's attributes, one a line, are those of itself and its bases.
TEST(Package, PublishesWhatDesignToolsRead) {
  RegisterAllUnits();
  std::string Text;
  for (const TComponentClass& Class : RegisteredComponents()) {
    const TPublishedTable& Table = Class.Published();
    const std::string Name = std::string(Table.ClassName()) + '.';
    const auto Tell = [&](std::string_view ARow, const std::string& AWhat) {
      Text += Name + std::string(ARow) + ' ' + AWhat + '\n';
    };
    for (const TPublishedDesignEntry* Entry : Table.DesignEntries()) {
      Tell(Entry->Property, "menu " + std::string(Entry->Text));
    }
    for (const TPublishedProperty* Row : Table.Properties()) {
      if (!Row->Design.IsEmpty()) Tell(Row->Name, "design " + RangeText(Row->Design, ""));
      if (!Row->OldName.empty()) Tell(Row->Name, "formerly " + std::string(Row->OldName));
      if (!Row->FileFilter.empty()) Tell(Row->Name, "files " + std::string(Row->FileFilter));
    }
    for (const TPublishedPin* Row : Table.Pins()) {
      if (Row->IsList) Tell(Row->Name, "pins " + std::string(Row->PinClass));
    }
    const auto Pins = Table.Pins();
    const bool HasPrimary = std::any_of(Pins.begin(), Pins.end(),
                                        [](const TPublishedPin* ARow) { return ARow->Primary; });
    EXPECT_TRUE(HasPrimary) << Name;
  }
  for (const char* Line : {
           "TQSFir.Taps menu Design &Filter ...",
           "TQSIir.Taps menu Design &Filter ...",
           "TQSBiQuadIir.BiQuads menu Design &Filter ...",
           "TQSLogger.FileName menu Edit &File Name ...",
           "TQSPlayer.FileName menu Edit &File Name ...",
           "TQSPatternDetector.Patterns menu Add Pa&tterns ...",
           "TQSLogger.FileName files Binary files (*.bin)|*.bin|All Files (*.*)|*.*",
           "TQSPlayer.FileName files Binary files (*.bin)|*.bin|All Files (*.*)|*.*",
           "TQSBandStop.Order formerly NumTaps",
           "TQSAdd.InputPins pins TQSKLQueuedRealSinkPin",
           "TQSMultiplyComplex.InputPins pins TQSKLQueuedComplexSinkPin",
           "TQSSignalGen.Phase design between 0 and 6.283185307179586",
           "TQSSignalGen.Amplitude design at least 0",
           "TQSSignalGen.Frequency design between 0 and 500000000",
           "TQSSignalGen.Asymmetry design between -3.141592653589793 and 3.141592653589793",
           "TQSLowPass.Order design between 1 and 1001",
           "TQSHighPass.Alpha design between 0 and 1",
           "TQSHighPass.Frequency design between 0 and 500000000",
           "TQSBandPass.FreqLow design between 0 and 8.988465674311579e+307",
           "TQSBandStop.FreqHigh design between 0 and 8.988465674311579e+307",
           "TQSApplyWindow.Alpha design between 0 and 1",
           "TQSFourier.Alpha design between 0 and 1",
           "TQSDft.SamplingWindowStep design between 0 and 10000",
           "TQSInverseFourier.Order design between 8 and 30",
           "TQSDft.BufferSize design between 0 and 10000",
           "TQSGoertzOne.Frequency design between 0 and 500000000",
           "TQSRepack.BufferSize design between 1 and 10000",
       }) {
    EXPECT_NE(('\n' + Text).find(std::string("\n") + Line + '\n'), std::string::npos) << Line;
  }
}

TEST(Package, IsInitialisedAndFinalisedInPairsByAnyThread) {
  const int Before = InitializationCount();
  BindPrimitivesToBuiltIns();
  std::vector<std::thread> Threads;
  for (int I = 0; I < 4; ++I) {
    Threads.emplace_back([] {
      for (int Time = 0; Time < 1000; ++Time) {
        Initialize();
        Finalize();
      }
    });
  }
  for (std::thread& Each : Threads) Each.join();
  EXPECT_EQ(InitializationCount(), Before);
  Finalize();
  EXPECT_EQ(InitializationCount(), std::max(Before - 1, 0)) << "never below 0";
  Initialize();
  for (const TBoundPrimitive& Each : BoundPrimitives()) {
    EXPECT_FALSE(Each.FromLibrary) << Each.Name << ": what a host bound stays";
  }
  EXPECT_EQ(GetPackageInfoTable().Description, "Norvane - Tessalune Package");
  EXPECT_EQ(GetPackageInfoTable().Needs.size(), 4U);
}

// Two classes of one name: the first stays, and none of the second's array comes in.
TEST(Package, RefusesAClassOfANameThatIsTaken) {
  struct TNewcomer {
    static const TPublishedTable& Abs() {
      static const TPublishedTable Table({.Name = "TQSAbs"}, nullptr);
      return Table;
    }
    static const TPublishedTable& Other() {
      static const TPublishedTable Table({.Name = "TOther"}, nullptr);
      return Table;
    }
  };
  RegisterAllUnits();
  const auto Count = RegisteredComponents().size();
  const auto New = FindComponentClass("TQSAbs")->New;
  try {
    RegisterComponents({{&TNewcomer::Other, New}, {&TNewcomer::Abs, New}});
    ADD_FAILURE();
  } catch (const EQSException& Error) {
    EXPECT_NE(std::string(Error.what()).find("the name TQSAbs already, from "), std::string::npos);
  }
  EXPECT_EQ(RegisteredComponents().size(), Count);
}

}  // namespace
}  // namespace tessalune::test
