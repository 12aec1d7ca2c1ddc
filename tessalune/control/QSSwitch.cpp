#include <tessalune/control/QSControlFilter.h>
#include <tessalune/control/QSSwitch.h>
#include <tessalune/frame/runtime/QSCategories.h>
#include <tessalune/frame/runtime/QSComponentRegistry.h>

#include <memory>
#include <utility>

namespace tessalune {
namespace {

constexpr TPropertyInfo<bool> EnabledInfo{.Name = "Enabled",
                                          .Default = true,
                                          .Effect = TTakesEffect::AtOnce,
                                          .Doc = "While false, blocks end here."};
constexpr TPropertyInfo<bool> ResetOnEnableInfo{
    .Name = "ResetOnEnable",
    .Default = false,
    .Effect = TTakesEffect::AtOnce,
    .Doc = "Whether what is behind the gate gets a new start whenever it opens."};

}  // namespace

TQSSwitch::TQSSwitch(TConstruct AConstruct)
    : TLockComponent(AConstruct),
      FOutputPin({*this, FLock},
                 [this](TKLBasicPin& ASender, TKLBasicPin* AOtherPin, const TGUID& ADataTypeID,
                        IKLNotifyOperation& AOperation, TKLNotifyState AState) {
                   return SourceDispatch(ASender, AOtherPin, ADataTypeID, AOperation, AState);
                 }),
      FInputPin({*this, FLock},
                [this](TKLBasicPin& ASender, TKLBasicPin* AOtherPin, const TGUID& ADataTypeID,
                       IKLNotifyOperation& AOperation, TKLNotifyState AState) {
                  return SinkDispatch(ASender, AOtherPin, ADataTypeID, AOperation, AState);
                }) {
  FOutputPin.AddDataTypeSource(FInputPin);
  FOutputPin.AddFunctionSource(FInputPin);
}

namespace {

constexpr TClassText SwitchText{
    .Use =
        R"(A gate for a stream of any type, opened and closed by `Enabled`, in a graph file by `"at"`: to
record a part of a run, to let a slow analysis see some blocks only. What is kept back is taken
out of the stream, so what follows comes earlier; to silence a signal in a mix, multiply by 0 and
1 (TQSMultiply) instead. With `ResetOnEnable` what is behind the gate begins anew whenever it
opens.)",
    .BadInput =
        R"(Any sample is passed on as it is. A start that comes while the gate is shut is told when it opens;
stops go through at any time. A component with several inputs that waits for a gate that is shut
is told not to.)",
    .Accuracy =
        R"(Exact: blocks go through by reference, at the cost of one check each. The gate acts between
blocks; a block that is on its way when it closes still passes.)",
    .Formulas = "    open: y = x, block by block; shut: nothing",
    .SeeAlso = "TQSSnapshot, TQSMultiply, TQSSnippetTrigger",
    .Example = R"(A tone of 50 ms, let through from 10 to 35 ms: 25 ms of samples come out.)",
};

}  // namespace

const TPublishedTable& TQSSwitch::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSSwitch",
                       .DisplayName = "On/Off Switch",
                       .Category = categories::Filters,
                       .Doc = "A gate in a stream of any sample type: blocks pass while it is "
                              "enabled, and end here while not.",
                       .Text = SwitchText},
                      &TComponent::Published())
          .Pin("OutputPin", &TQSSwitch::OutputPin, "The stream while the gate is open.", true)
          .Pin("InputPin", &TQSSwitch::InputPin, "The stream, of any sample type.", true)
          .Property(EnabledInfo, &TQSSwitch::Enabled, &TQSSwitch::SetEnabled)
          .Property(ResetOnEnableInfo, &TQSSwitch::ResetOnEnable, &TQSSwitch::SetResetOnEnable);
  return Table;
}

void TQSSwitch::SetEnabled(bool AValue) {
  NotifySetter(EnabledInfo, FEnabled, AValue, [this] { EnabledChanged(); });
}
void TQSSwitch::SetResetOnEnable(bool AValue) {
  NotifySetter(ResetOnEnableInfo, FResetOnEnable, AValue);
}

// --- what comes in ---

TKLNotifyResult TQSSwitch::SinkDispatch(TKLBasicPin&, TKLBasicPin*, const TGUID& ADataTypeID,
                                        IKLNotifyOperation& AOperation, TKLNotifyState) {
  if (AOperation.IsType<TKLStartSampleRateOperation>()) {
    return Start(AOperation.GetInstance<TKLStartSampleRateOperation>());
  }
  if (AOperation.IsType<TKLStopOperation>()) return Stop(AOperation);
  if (AOperation.IsType<TKLSuppliedBufferOperation>()) {
    return Pass(AOperation.GetInstance<TKLSuppliedBufferOperation>(), ADataTypeID);
  }
  if (AOperation.IsType<TKLStartPumpOperation>() || AOperation.IsType<TKLPumpRequestOperation>() ||
      AOperation.IsType<TKLIgnoreStreamOperation>()) {
    FOutputPin.Notify(AOperation);
  }
  return {};
}

TKLNotifyResult TQSSwitch::SourceDispatch(TKLBasicPin& ASender, TKLBasicPin* AOtherPin,
                                          const TGUID& ADataTypeID, IKLNotifyOperation& AOperation,
                                          TKLNotifyState AState) {
  if (AOperation.IsType<TKLQueryStreamOperation>() && !FEnabled) {
    FOutputPin.Notify(MakeRef<TKLIgnoreStreamOperation>());
  }
  if (FInputPin.IsConnected()) return FInputPin.Notify(AOperation);
  if (AOperation.IsType<TKLStopOperation>()) return {};  // as in GKLPassTroughDispatch
  return SinkDispatch(ASender, AOtherPin, ADataTypeID, AOperation, AState);
}

TKLNotifyResult TQSSwitch::Start(TKLStartSampleRateOperation& AOperation) {
  // The turn may be left to an earlier one, which runs it later.
  const auto Result = std::make_shared<TKLNotifyResult>();
  FTurns->Run(
      FTurns->Take(), TRef<TCallGate>(&Gate()),
      [this, Result, Start = TRef<IKLNotifyOperation>(&AOperation), Rate = AOperation.Rate] {
        {
          const std::lock_guard Guard(FMutex);
          FIncomingRate = Rate;
          FStartOperationIsCached = !FWay;
          if (!FWay) return;
        }
        *Result = FOutputPin.Notify(*Start);
      });
  return *Result;
}

TKLNotifyResult TQSSwitch::Stop(IKLNotifyOperation& AOperation) {
  const auto Result = std::make_shared<TKLNotifyResult>();
  FTurns->Run(FTurns->Take(), TRef<TCallGate>(&Gate()),
              [this, Result, Stop = TRef<IKLNotifyOperation>(&AOperation)] {
                *Result = FOutputPin.Notify(*Stop);
              });
  return *Result;
}

TKLNotifyResult TQSSwitch::Pass(TKLSuppliedBufferOperation& AOperation, const TGUID& ADataTypeID) {
  TRef<TCallGate> Way;
  {
    const std::lock_guard Guard(FMutex);
    Way = FWay;
  }
  if (!Way) return {};
  const TCallScope Call(*Way);
  if (!Call) return {};
  auto Block = TakeTypedBlock(AOperation, ADataTypeID);
  return Block ? FOutputPin.SubmitBuffer(std::move(Block)) : TKLNotifyResult{};
}

// --- opening and closing ---

// Inside the lock. The sinks are told when it has been left.
void TQSSwitch::EnabledChanged() {
  if (!FEnabled) {
    const std::lock_guard Guard(FMutex);
    if (FWay) FLastWay = std::exchange(FWay, nullptr);
    return;
  }
  const std::uint64_t Turn = FTurns->Take();
  FLock->AfterRelease([this, Turn, Turns = FTurns, Door = TRef<TCallGate>(&Gate())] {
    Turns->Run(Turn, Door, [this] { Open(); });
  });
}

void TQSSwitch::Open() {
  TRef<TCallGate> LastWay;
  {
    const std::lock_guard Guard(FMutex);
    if (!FEnabled || FWay) return;
    LastWay = std::exchange(FLastWay, nullptr);
    if (!FResetOnEnable && !FStartOperationIsCached) {
      FWay = LastWay ? std::move(LastWay) : MakeRef<TCallGate>();
      return;
    }
  }
  // Behind the block that is on its way, in a turn of its own; another opening may have come first.
  const auto Later = [this] {
    FTurns->Run(FTurns->Take(), TRef<TCallGate>(&Gate()), [this] {
      {
        const std::lock_guard Guard(FMutex);
        if (!FEnabled || FWay) return;
      }
      Restart();
    });
  };
  if (LastWay && !LastWay->BeginClose([this, Later] { RunReported(this, Later); })) return;
  Restart();
}

// No block is on its way behind the gate.
void TQSSwitch::Restart() {
  double Rate = 0.0;
  bool IsTold = false;
  const auto HasMore = [&] {
    const std::lock_guard Guard(FMutex);
    if (IsTold && !(FEnabled && FStartOperationIsCached)) return false;
    Rate = FIncomingRate;
    FStartOperationIsCached = false;
    return true;
  };
  struct TOpening {
    TQSSwitch& Switch;
    ~TOpening() {
      const std::lock_guard Guard(Switch.FMutex);
      if (Switch.FEnabled && !Switch.FWay) Switch.FWay = MakeRef<TCallGate>();
    }
  } const Opening{*this};
  for (; HasMore(); IsTold = true) {
    FOutputPin.Notify(MakeRef<TKLStartSampleRateOperation>(Rate));
  }
}

void QSSwitch::RegisterPkg() { RegisterComponents({ClassOf<TQSSwitch>()}); }

}  // namespace tessalune
