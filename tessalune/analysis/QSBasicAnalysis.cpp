#include <tessalune/analysis/QSBasicAnalysis.h>
#include <tessalune/frame/runtime/QSMainThread.h>

namespace tessalune {
namespace {

constexpr TPropertyInfo<TQSSynchronizeType> SynchronizeTypeInfo{
    .Name = "SynchronizeType",
    .Default = TQSSynchronizeType::stSingleBuffer,
    .Doc =
        "Where results are told: stNone on the thread that delivers the block, stSingleBuffer "
        "the newest and stQueue every one on the main thread."};

constexpr TClassText BasicAnalysisText{
    .BadInput = "A block without samples gives no result.",
    .Accuracy =
        R"(The result goes out when the block has come: at once with `stNone`, else on the program's main
thread, where `stSingleBuffer` shows the newest only and `stQueue` all, of which 65,536 may wait.
A result that is equal to the one before is not sent again.)",
};

}  // namespace

const TPublishedTable& TQSBasicAnalysis::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSBasicAnalysis", .Text = BasicAnalysisText},
                      &TComponent::Published())
          .Property(SynchronizeTypeInfo, &TQSBasicAnalysis::SynchronizeType,
                    &TQSBasicAnalysis::SetSynchronizeType);
  return Table;
}

void TQSBasicAnalysis::SetSynchronizeType(TQSSynchronizeType AValue) {
  NotifySetter(SynchronizeTypeInfo, FSynchronizeType, AValue);
}

std::vector<TLoss> TQSBasicAnalysis::Losses() const {
  return {{.Amount = Dropped(),
           .Unit = "result",
           .Text = "the main thread did not take the results in time, and the oldest are missing; "
                   "let it process its calls more often, or set SynchronizeType to stNone"}};
}

void TQSBasicAnalysis::NotifyLater() {
  if (FIsNotifying.exchange(true)) return;
  MainThread().Execute(*this, [this] {
    FIsNotifying = false;
    DoSyncNotify();
  });
}

// --- one number ---

TQSBasicRealAnalysis::TQSBasicRealAnalysis(TConstruct AConstruct)
    : TQSTypedBasicAnalysis(AConstruct), FOutputPin({*this, FLock}) {
  FOutputPin.AddFunctionSource(FInputPin);
}

const TPublishedTable& TQSBasicRealAnalysis::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSBasicRealAnalysis"}, &TQSTypedBasicAnalysis::Published())
          .Pin("OutputPin", &TQSBasicRealAnalysis::OutputPin,
               "The result, each time it has changed.", true)
          .Event("OnValueChange", &TQSBasicRealAnalysis::SetOnValueChange, {"Value"},
                 "The result has changed.");
  return Table;
}

void TQSBasicRealAnalysis::SetOnValueChange(TQSRealNotifyEvent AHandler) {
  NotifySetter("OnValueChange", FOnValueChange, std::move(AHandler));
}

void TQSBasicRealAnalysis::ReportResult(const double& AValue) {
  if (AValue == FOutputPin.Value()) return;
  FOutputPin.SetValue(AValue);
  FOnValueChange(*this, AValue);
}

TKLNotifyResult TQSBasicRealAnalysis::DispatchOutputOperation(IKLNotifyOperation& AOperation) {
  return FOutputPin.Notify(AOperation);
}

template class TQSTypedBasicAnalysis<double>;

}  // namespace tessalune
