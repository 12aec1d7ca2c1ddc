#include <tessalune/control/QSSnapshot.h>
#include <tessalune/frame/runtime/QSCategories.h>
#include <tessalune/frame/runtime/QSComponentRegistry.h>

#include <new>
#include <utility>

namespace tessalune {
namespace {

constexpr TPropertyInfo<bool> EnabledInfo{
    .Name = "Enabled",
    .Default = true,
    .Doc = "While false, nothing is caught; a snapshot that was asked for waits."};
constexpr TPropertyInfo<std::int32_t> SnapShotSizeInfo{.Name = "SnapShotSize",
                                                       .Default = 1024,
                                                       .Bounds = AtLeast(1),
                                                       .Unit = "samples",
                                                       .Doc = "Samples of a snapshot."};

}  // namespace

TQSSnapshot::TQSSnapshot(TConstruct AConstruct)
    : TQSControlFilter(AConstruct),
      FSnapshotPin({*this, FLock}, [this](TKLBasicPin&, TKLBasicPin*, const TGUID&,
                                          IKLNotifyOperation& AOperation, TKLNotifyState) {
        if (AOperation.IsType<TKLClockOperation>()) Snapshot();
        return TKLNotifyResult{};
      }) {}

namespace {

constexpr TClassText SnapshotText{
    .Use =
        R"(Catches a piece of a stream on demand, by a tick on `SnapshotPin` or by `Snapshot`, from a graph
file by `"call"`: for a display that is drawn now and then, a recording of a moment, a spectrum
once a second. Between snapshots nothing goes out. For pieces around an event in the signal take
TQSSnippetTrigger.)",
    .BadInput =
        R"(Any sample is passed on as it is. A request while one is open changes nothing, and so does one
from inside its own event. A snapshot that the end of the stream cuts off is dropped.)",
    .Accuracy =
        R"(Exact: samples are copied. A snapshot begins with the first sample of the next block, so it may
begin up to one block late; take short blocks where that counts. Memory for the samples caught.)",
    .Formulas =
        R"(    y = x[m] to x[m + SnapShotSize - 1], m the first sample of the block behind the request)",
    .SeeAlso = "TQSSnippetTrigger, TQSSwitch, TQSRepack",
    .Example =
        R"(A tone whose frequency rises in steps, and two snapshots of 100 samples, taken at 0 and at 50 ms.)",
};

}  // namespace

const TPublishedTable& TQSSnapshot::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSSnapshot",
                       .DisplayName = "Take Signal Snapshot",
                       .Category = categories::Filters,
                       .Doc = "Each time it is told to, the next SnapShotSize samples of the "
                              "stream, of any sample type, in one block; nothing between.",
                       .Text = SnapshotText},
                      &TComponent::Published())
          .Property(EnabledInfo, &TQSSnapshot::Enabled, &TQSSnapshot::SetEnabled)
          .Object("Threading", &TQSSnapshot::Threading,
                  "Has no effect: blocks are handled on the thread that delivers them.")
          .Pin("OutputPin", &TQSSnapshot::OutputPin, "The snapshots.", true)
          .Pin("InputPin", &TQSSnapshot::InputPin, "The stream, of any sample type.", true)
          .Pin("SnapshotPin", &TQSSnapshot::SnapshotPin,
               "Ticks that ask for a snapshot; every stream can tick.")
          .Property(SnapShotSizeInfo, &TQSSnapshot::SnapShotSize, &TQSSnapshot::SetSnapShotSize)
          .Action("Snapshot", &TQSSnapshot::Snapshot, "Asks for a snapshot.")
          .Event("OnSnapshot", &TQSSnapshot::SetOnSnapshot, {"Buffer"},
                 "A snapshot is complete and goes out next.");
  return Table;
}

void TQSSnapshot::SetSnapShotSize(std::int32_t AValue) {
  NotifySetter(SnapShotSizeInfo, FBufferSize, AValue, [this] { Cancel(); });
}

void TQSSnapshot::SetOnSnapshot(TQSSnapshotEvent AHandler) {
  NotifySetter("OnSnapshot", FOnSnapshot, std::move(AHandler));
}

void TQSSnapshot::Cancel() {
  FCollecting = false;
  FForgets = true;
}

void TQSSnapshot::StreamStart() {
  TQSControlFilter::StreamStart();
  Cancel();
}

// The stream behind it is one of its own: a pump that claimed it would get no blocks.
TKLNotifyResult TQSSnapshot::SinkDispatch(TKLBasicPin& ASender, TKLBasicPin* AOtherPin,
                                          const TGUID& ADataTypeID, IKLNotifyOperation& AOperation,
                                          TKLNotifyState AState) {
  if (AOperation.IsType<TKLStopOperation>()) StreamStop();
  if (AOperation.IsType<TKLStartOperation>() || AOperation.IsType<TKLStopOperation>() ||
      AOperation.IsType<TKLIgnoreStreamOperation>() ||
      (FCollecting && IsEnabled() && AOperation.IsType<TKLSuppliedBufferOperation>())) {
    TQSControlFilter::SinkDispatch(ASender, AOtherPin, ADataTypeID, AOperation, AState);
  }
  return {};
}

TKLNotifyResult TQSSnapshot::IntSingleBufferOperation(TRef<IQSDataBuffer> ABuffer) {
  if (FForgets.load(std::memory_order_relaxed) && FForgets.exchange(false)) FBuilder.Clear();
  const std::int32_t Size = FBufferSize;
  try {
    FBuilder.Take(*ABuffer, 0, Size);
  } catch (const std::bad_alloc&) {
    RefuseMemory(std::int64_t{Size} * ABuffer->GetElementSize(),
                 "SnapShotSize is " + NumberText(Size) + ", a smaller one takes less");
  }
  ABuffer = nullptr;
  if (FBuilder.Held() == Size) Process();
  return {};
}

void TQSSnapshot::Process() {
  FCollecting = false;
  TRef<IQSGenericBuffer> Caught = FBuilder.Release();
  FireEvent(FOnSnapshot, Caught);
  FOutputPin.SubmitBuffer(std::move(Caught));
  FCollecting = false;
}

void QSSnapshot::RegisterPkg() { RegisterComponents({ClassOf<TQSSnapshot>()}); }

}  // namespace tessalune
