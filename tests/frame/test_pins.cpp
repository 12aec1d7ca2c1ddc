// Pins and links: what is refused, what is negotiated, what changes while a stream runs.
#include "FrameTools.h"

#include <tessalune/filters/QSApplyComplexConst.h>
#include <tests/support/FormsProbe.h>

#include <chrono>

namespace tessalune::testing {
namespace {

using test::TFormsProbe;

// --- refusals ---

TEST(ALinkIsRefused, WithBothPinsAndWhatWouldFit) {
  const auto Gen = Create<TQSSignalGen>();
  const auto Other = Create<TQSSignalGen>();
  const auto Real = Create<TQSApplyRealConst>();
  const auto Complex = Create<TQSApplyComplexConst>();
  Gen->SetName("Tone");
  Real->SetName("Louder");
  Complex->SetName("Turn");
  Gen->OutputPin().Connect(Real->InputPin());
  const std::string Tone = "Tone (TQSSignalGen).OutputPin";
  struct TCase {
    TKLBasicPin& One;
    TKLBasicPin& Two;
    std::initializer_list<std::string_view> Parts;
  };
  const std::string_view LouderIn = "Louder (TQSApplyRealConst).InputPin";
  const std::string_view LouderOut = "Louder (TQSApplyRealConst).OutputPin";
  const std::string_view TurnIn = "Turn (TQSApplyComplexConst).InputPin";
  for (const TCase& Case : {
           TCase{Gen->OutputPin(), Real->OutputPin(), {Tone, LouderOut, "both are outputs"}},
           TCase{Real->InputPin(), Complex->InputPin(), {LouderIn, TurnIn, "both are inputs"}},
           TCase{Gen->OutputPin(),
                 Complex->InputPin(),
                 {Tone, TurnIn, "blocks of real samples", "blocks of complex samples", "fit"}},
           TCase{Real->OutputPin(), Real->InputPin(), {LouderOut, LouderIn, "takes one link"}},
           TCase{Other->OutputPin(), Real->InputPin(), {LouderIn, Tone, "takes one link"}},
           TCase{Real->InputPin(), Gen->OutputPin(), {Tone, LouderIn, "linked already"}},
           TCase{Gen->OutputPin(), Gen->OutputPin(), {Tone, "same pin"}},
       }) {
    ExpectAll(Refusal([&] { Case.One.Connect(Case.Two); }), Case.Parts);
  }
  EXPECT_EQ(Gen->OutputPin().ConnectedPins().size(), 1U) << "a refused link left something";
  EXPECT_FALSE(Complex->InputPin().IsConnected());
}

TEST(ALinkIsRefused, IfItClosesALoop) {
  std::vector<TOwned<TQSApplyRealConst>> Row;
  for (int I = 0; I < 4; ++I) Row.push_back(Create<TQSApplyRealConst>());
  ExpectAll(Refusal([&] { Row[0]->OutputPin().Connect(Row[0]->InputPin()); }), {"loop"});
  for (std::size_t I = 0; I < 3; ++I) Row[I]->OutputPin().Connect(Row[I + 1]->InputPin());
  ExpectAll(Refusal([&] { Row[3]->OutputPin().Connect(Row[0]->InputPin()); }), {"loop"});
  EXPECT_TRUE(Row[3]->OutputPin().WhyNotConnect(Row[0]->InputPin()));
  Row[1]->OutputPin().Disconnect(Row[2]->InputPin());
  Row[3]->OutputPin().Connect(Row[0]->InputPin());
  // A generator's clock input: its stream derives from the ticks.
  const auto Gen = Create<TQSSignalGen>();
  ExpectAll(Refusal([&] { Gen->OutputPin().Connect(Gen->ClockInputPin()); }), {"loop"});
}

// --- types ---

// Two elements that carry any sample type and take over that of their input.
TEST(ATypeTakenOver, ReachesThroughTheRowInBothDirections) {
  const auto One = Create<TFormsProbe>();
  const auto Two = Create<TFormsProbe>();
  TRecorder<TQSKLIntegerSinkPin> Integers;
  TQSKLRealSourcePin Reals{TKLPinOwner()};
  One->OutputPin.Connect(Two->InputPin);
  EXPECT_EQ(One->InputPin.PossibleTypes().size(), 5U);
  Two->OutputPin.Connect(Integers.Pin);
  EXPECT_EQ(One->InputPin.PossibleTypes(), TKLDataTypes{&IntegerStream});
  EXPECT_EQ(One->OutputPin.LinkType(Two->InputPin), &IntegerStream);
  ExpectAll(Refusal([&] { Reals.Connect(One->InputPin); }),
            {"blocks of real samples", "blocks of integers", "narrowed"});
  Two->OutputPin.Disconnect(Integers.Pin);
  Reals.Connect(One->InputPin);
  EXPECT_EQ(One->OutputPin.LinkType(Two->InputPin), &RealStream);
  ExpectAll(Refusal([&] { Two->OutputPin.Connect(Integers.Pin); }), {"blocks of real samples"});
  One->OutputPin.RemoveDataTypeSource(One->InputPin);
  Two->OutputPin.Connect(Integers.Pin);
}

TEST(ATypeThatALinkSays, HoldsThroughTheRowAsLongAsTheLinkLives) {
  const auto One = Create<TFormsProbe>();
  const auto Two = Create<TFormsProbe>();
  TQSKLIntegerRealComplexBinarySourcePin Player{TKLPinOwner()};
  TQSKLComplexSourcePin Complex{TKLPinOwner()};
  TRecorder<TQSKLIntegerRealComplexBinarySinkPin> End;
  One->OutputPin.Connect(Two->InputPin);
  Two->OutputPin.Connect(End.Pin);
  Player.Connect(One->InputPin);
  EXPECT_EQ(Player.LinkType(One->InputPin), &RealStream);
  EXPECT_EQ(Player.TypeChoice(One->InputPin), SampleTypes());
  EXPECT_TRUE(One->OutputPin.TypeChoice(Two->InputPin).empty()) << "it is the input's";
  Player.Disconnect(One->InputPin);
  Player.Connect(One->InputPin, &UnsignedStream);
  for (const auto& [Source, Sink] : {std::pair<TKLBasicPin&, TKLBasicPin&>(Player, One->InputPin),
                                     {One->OutputPin, Two->InputPin},
                                     {Two->OutputPin, End.Pin}}) {
    EXPECT_EQ(Source.LinkType(Sink), &UnsignedStream);
    EXPECT_TRUE(Source.TypeChoice(Sink).empty());
  }
  TRecorder<TQSKLIntegerSinkPin> Integers;
  ExpectAll(Refusal([&] { Two->OutputPin.Connect(Integers.Pin); }),
            {"blocks of unsigned integers", "blocks of integers", "narrowed"});
  One->OutputPin.Disconnect(Two->InputPin);
  ExpectAll(Refusal([&] { One->OutputPin.Connect(Two->InputPin, &RealStream); }),
            {"cannot carry blocks of real samples", "blocks of unsigned integers", "narrowed"});
  EXPECT_EQ(Two->OutputPin.LinkType(End.Pin), &RealStream);
  One->OutputPin.Connect(Two->InputPin);
  Player.Disconnect(One->InputPin);
  Complex.Connect(One->InputPin);
  EXPECT_EQ(Two->OutputPin.LinkType(End.Pin), &ComplexStream);
}

TEST(ComboPins, CarryEitherFormWithTheStartTranslated) {
  const std::vector Samples{1.0, 2.0, 3.0};
  for (const auto& [BlockSource, BlockSink] :
       {std::pair(true, true), {true, false}, {false, true}, {false, false}}) {
    TQSKLComboRealSourcePin Source{TKLPinOwner()};
    TRealRecorder Blocks;
    TRecorder<TKLRealSinkPin> Values;
    Source.Connect(BlockSink ? static_cast<TKLBasicPin&>(Blocks.Pin) : Values.Pin);
    EXPECT_EQ(Source.HasBlockSinks(), BlockSink);
    if (BlockSource) {
      Source.Notify(MakeRef<TKLStartSampleRateOperation>(8000.0));
      Source.SubmitBuffer(TQSRealBuffer::CreateData(Samples.data(), 3));
    } else {
      Source.Notify(MakeRef<TKLStartRateOperation>(8000.0));
      for (const double Sample : Samples) Source.SubmitReal(Sample);
    }
    Source.EndStop();
    TLog Expected{BlockSink ? "start 8000" : "value start 8000"};
    Expected.insert(Expected.end(), BlockSource && BlockSink ? 1 : 3,
                    BlockSink ? "block" : "value");
    Expected.emplace_back("stop");
    EXPECT_EQ(BlockSink ? Blocks.Log() : Values.Log(), Expected) << BlockSource;
    EXPECT_EQ(BlockSink ? Blocks.Samples() : Values.Samples(), Samples) << BlockSource;
  }
}

// --- values ---

TEST(StatePins, FollowOneAnotherBothWays) {
  std::vector<std::int64_t> AtOne;
  std::vector<std::int64_t> AtTwo;
  TKLInt64TimeRangedStatePin One({}, [&](std::int64_t AValue) { AtOne.push_back(AValue); });
  TKLInt64TimeRangedStatePin Two({}, [&](std::int64_t AValue) { AtTwo.push_back(AValue); });
  One.Connect(Two);
  One.SubmitValueRange(5, 0, 10, 0.0, 0.5);
  EXPECT_EQ(Two.Held().Max, 10);
  EXPECT_EQ(Two.Held().MaxTime, 0.5);
  Two.SetValue(7);
  EXPECT_EQ(One.Value(), 7);
  EXPECT_EQ(One.Held().Max, 10) << "a plain value keeps the range";
  EXPECT_EQ(AtOne, std::vector<std::int64_t>{7});
  EXPECT_EQ(AtTwo, std::vector<std::int64_t>{5});
}

TEST(APinList, LetsLinksOfPinsGoAndTellsOfPinsThatItHasNot) {
  const auto Owner = Create<TFormsProbe>();
  TQSKLRealSourcePin Source{TKLPinOwner()};
  TKLPinListOwner& List = Owner->InputPins;
  List.SetCount(4);
  Source.Connect(List[3]);
  List.SetCount(2);
  EXPECT_FALSE(Source.IsConnected()) << "the link of a pin that went";
  ExpectAll(Refusal([&] { List.SetCount(6); }), {"TFormsProbe", "between 2 and 5 pins"});
  ExpectAll(Refusal([&] { List[2]; }), {"no pin InputPins[2]", "has 2 pins, counted from 0"});
}

// A component whose list shrinks between the question for its count and that for a pin.
struct TShrinks final : TQSCommonRealFilter {
  using TQSCommonRealFilter::TQSCommonRealFilter;
  static constexpr TPropertyInfo<std::uint32_t> Info{
      .Name = "InputPins", .Default = 3, .Bounds = Between(1U, 4U)};
  static const TPublishedTable& Published() {
    static const TPublishedTable Table =
        TPublishedTable({.Name = "TShrinks"}, &TComponent::Published())
            .PinList(Info, &TShrinks::Inputs, "TKLSinkPin")
            .Pin("Output", &TShrinks::Output, "");
    return Table;
  }
  const TPublishedTable& PublishedTable() const override { return Published(); }
  TQSKLComboRealSourcePin& Output() { return FOutputPin; }
  TKLPinListOwner& Inputs() {
    if (--Questions == 0) List.SetCount(1);
    return List;
  }
  void FilterInternalOperation(const TRef<IQSRealBuffer>&, TRef<IQSRealBuffer>&, bool&) override {}
  int Questions = 0;
  TKLPinListOwner List{{*this, FLock}, Info, [this] {
                         return std::make_unique<TQSKLRealSinkPin>(
                             TKLPinOwner(*this, FLock),
                             [](auto&&...) { return TKLNotifyResult{}; });
                       }};
};

TEST(AMessage, NamesAPinWhileAListOfItsComponentShrinks) {
  const auto Filter = Create<TShrinks>();
  Filter->Questions = 4;
  EXPECT_EQ(Filter->Output().Name(), "Output");
  EXPECT_EQ(Filter->List.Count(), 1U);
}

// --- links that change while a stream runs ---

TEST(ALinkMadeInARunningStream, BeginsWithTheStartAndEndsWithAStop) {
  const auto Gen = PumpedGen();
  const auto Filter = Create<TQSApplyRealConst>();
  TRealRecorder AtGen;
  TRealRecorder Behind;
  Filter->OutputPin().Connect(Behind.Pin);
  Gen->SetSampleRate(8000.0);
  Gen->Start();
  Gen->Pump();
  Gen->OutputPin().Connect(AtGen.Pin);
  Gen->OutputPin().Connect(Filter->InputPin());
  Gen->Pump();
  Gen->OutputPin().Disconnect(AtGen.Pin);
  Filter->InputPin().DisconnectAll();
  Gen->Pump();
  Gen->Stop();
  EXPECT_EQ(AtGen.Log(), (TLog{"new start 8000", "block", "stop"}));
  EXPECT_EQ(Behind.Log(), (TLog{"start 8000", "block", "stop"}));
  Gen->OutputPin().Connect(AtGen.Pin);
  EXPECT_EQ(AtGen.Log().size(), 3U) << "no stream runs";
}

TEST(LinksChangedInsideAHandler, AreAsTheyAreForTheRestOfTheCall) {
  const auto Gen = PumpedGen();
  TRealRecorder One;
  TRealRecorder Two;
  TRealRecorder Three;
  One.On(IsBlock, [&] {
    if (Three.Pin.IsConnected()) return;
    Gen->OutputPin().Disconnect(Two.Pin);
    Gen->OutputPin().Disconnect(One.Pin);
    Gen->OutputPin().Connect(Three.Pin);
  });
  Gen->OutputPin().Connect(One.Pin);
  Gen->OutputPin().Connect(Two.Pin);
  Gen->Start();
  Gen->Pump();
  EXPECT_EQ(One.Log(), (TLog{"start 44100", "block", "stop"}));
  EXPECT_EQ(Two.Log(), (TLog{"start 44100", "stop"})) << "something came after Disconnect";
  EXPECT_EQ(Three.Log(), TLog{"new start 44100"});
  Gen->Pump();
  EXPECT_EQ(Three.Count("block"), 1U);
}

TEST(ASinkThatRefusesTheStart, IsNotLinked) {
  const auto Gen = PumpedGen();
  TRealRecorder Sink;
  Sink.OnOperation = [](IKLNotifyOperation&) { throw EQSException("no"); };
  Gen->Start();
  EXPECT_EQ(Refusal([&] { Gen->OutputPin().Connect(Sink.Pin); }), "no");
  EXPECT_FALSE(Sink.Pin.IsConnected());
  EXPECT_FALSE(Gen->OutputPin().IsConnected());
  EXPECT_EQ(Sink.Log(), (TLog{"new start 44100", "stop"}));
}

TEST(AStopThatFails, KeepsNoOtherSinkFromItsStop) {
  TQSKLRealSourcePin Source{TKLPinOwner()};
  TRealRecorder Bad;
  TRealRecorder Good;
  Source.Connect(Bad.Pin);
  Source.Connect(Good.Pin);
  Source.Notify(MakeRef<TKLStartSampleRateOperation>(1.0));
  Bad.OnOperation = [](IKLNotifyOperation&) { throw EQSException("bad"); };
  EXPECT_EQ(Refusal([&] { Source.DisconnectAll(); }), "bad");
  EXPECT_EQ(Good.Count("stop"), 1U);
}

}  // namespace
}  // namespace tessalune::testing
