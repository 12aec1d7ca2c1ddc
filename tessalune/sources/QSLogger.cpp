#include <tessalune/frame/runtime/QSCategories.h>
#include <tessalune/frame/runtime/QSComponentRegistry.h>
#include <tessalune/frame/runtime/QSMainThread.h>
#include <tessalune/sources/QSFileFailure.h>
#include <tessalune/sources/QSLogger.h>

#include <algorithm>
#include <bit>
#include <cerrno>

namespace tessalune {
namespace {

static_assert(std::endian::native == std::endian::little, "log files are little-endian");

constexpr TPropertyInfo<std::string> FileNameInfo{.Name = "FileName",
                                                  .Default = "",
                                                  .Doc = "The file to write; empty logs nothing.",
                                                  .FileFilter = QSSampleFileFilter};
constexpr TPropertyInfo<bool> EnabledInfo{
    .Name = "Enabled",
    .Default = true,
    .Effect = TTakesEffect::AtOnce,
    .Doc = "While false, nothing is written; set to true again it opens a file at the next start."};
constexpr TPropertyInfo<std::int64_t> CeilingInfo{
    .Name = "Ceiling",
    .Default = 0,
    .Bounds = {.Min = 0},
    .Unit = "bytes",
    .Doc = "Bytes of samples after which the logger stops by itself; 0 for no limit."};
constexpr TPropertyInfo<bool> SaveBufferSizesInfo{
    .Name = "SaveBufferSizes",
    .Default = false,
    .Doc = "Write the count of its bytes before each block."};

}  // namespace

TQSLogger::TQSLogger(TConstruct AConstruct)
    : TLockComponent(AConstruct),
      FInputPin({*this, FLock},
                [this](TKLBasicPin&, TKLBasicPin*, const TGUID&, IKLNotifyOperation& AOperation,
                       TKLNotifyState) { return SinkDispatch(AOperation); }),
      FProgressPin({*this, FLock}) {}

// A stop that could not have the lock has left the file open.
TQSLogger::~TQSLogger() {
  if (FFileHandle != ClosedFile) FileClose(FFileHandle);
}

namespace {

constexpr TClassText LoggerText{
    .Use =
        R"(Records a stream of any type to a file: to keep results, to look at them (`tessalune convert`
makes audio files and tables), to play them again by TQSPlayer. The file is bare samples with no
header; write down type and rate. With `SaveBufferSizes` it keeps the cut into blocks, with
`Ceiling` it stops by itself.)",
    .BadInput =
        R"(NaN and the infinities are written as they are. A file that cannot be opened ends the run with the
system's reason. On a disk that is full the logger goes on and counts what the system did not
take; `run` ends with an error then.)",
    .Accuracy =
        R"(Exact: bytes as they lie in memory, little-endian. What stood under the name before is replaced at
the start. Each block is handed to the system as it comes, on the thread that delivers it, so a
slow disk holds the stream up; set `Threading` of the filter before it to take that off the
source.)",
    .Formulas =
        R"(    real 8 bytes a sample, complex 16 (real part first), integer and unsigned 4, byte blocks 1; with
    SaveBufferSizes, before each block, the count of its bytes as an unsigned integer of 4 bytes)",
    .SeeAlso = "TQSPlayer, TQSSnapshot, TQSSwitch",
    .Example = "A tone of 100 Hz whose level rises, recorded.",
};

}  // namespace

const TPublishedTable& TQSLogger::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSLogger",
                       .DisplayName = "Signal File Logger",
                       .Category = categories::Loggers,
                       .Doc = "Writes a stream of any sample type to a file.",
                       .Text = LoggerText},
                      &TComponent::Published())
          .Pin("InputPin", &TQSLogger::InputPin, "The stream to write.", true)
          .Pin("ProgressPin", &TQSLogger::ProgressPin, "Progress toward Ceiling, in blocks.")
          .Property(FileNameInfo, &TQSLogger::FileName, &TQSLogger::SetFileName)
          .DesignEntry("Edit &File Name ...", "FileName")
          .Property(EnabledInfo, &TQSLogger::Enabled, &TQSLogger::SetEnabled)
          .Property(CeilingInfo, &TQSLogger::Ceiling, &TQSLogger::SetCeiling)
          .Property(SaveBufferSizesInfo, &TQSLogger::SaveBufferSizes,
                    &TQSLogger::SetSaveBufferSizes)
          .Event("OnProgress", &TQSLogger::SetOnProgress, {"Total", "Position"},
                 "Progress toward Ceiling, in blocks; on the main thread.")
          .Event("OnFileClose", &TQSLogger::SetOnFileClose, {}, "The file has been closed.")
          .Event("OnError", &TQSLogger::SetOnError, {"Message", "ErrorCode", "Handled"},
                 "The file could not be opened.");
  return Table;
}

void TQSLogger::SetFileName(std::string AValue) {
  NotifySetter(FileNameInfo, FFileName, std::move(AValue));
}

void TQSLogger::SetEnabled(bool AValue) {
  NotifySetter(EnabledInfo, FEnabled, AValue, [this] {
    if (!FEnabled) Stop();
  });
}

void TQSLogger::SetCeiling(std::int64_t AValue) { NotifySetter(CeilingInfo, FCeiling, AValue); }
void TQSLogger::SetSaveBufferSizes(bool AValue) {
  NotifySetter(SaveBufferSizesInfo, FSaveBufferSizes, AValue);
}

std::vector<TUsedFile> TQSLogger::UsedFiles() const {
  if (!Enabled()) return {};
  return {{.Property = FileNameInfo.Name,
           .FileName = FileName(),
           .Way = TFileWay::Writes,
           .Bytes = Logged()}};
}

std::vector<TLoss> TQSLogger::Losses() const {
  return {{.Amount = Lost(),
           .Unit = "byte",
           .Text = "the file \"" + FileName() +
                   "\" did not take all that was to be written (is the disk full?); its end is "
                   "missing"}};
}

void TQSLogger::BeforeDestruction() {
  RunReported(this, [this] { Stop(); });
  TLockComponent::BeforeDestruction();
}

TKLNotifyResult TQSLogger::SinkDispatch(IKLNotifyOperation& AOperation) {
  if (AOperation.IsType<TKLSuppliedBufferOperation>()) {
    FollowFileName();
    IntLog(*TQSMemoryBuffer::CreateUniversal(
        AOperation.GetInstance<TKLSuppliedBufferOperation>().Value));
  } else if (AOperation.IsType<TKLStartOperation>()) {
    Start();
  } else if (AOperation.IsType<TKLStopOperation>()) {
    Stop();
  }
  return {};
}

void TQSLogger::FollowFileName() {
  {
    const ILockSection Section = ReadLock();
    const bool TriesAgain = FLogging && FFileHandle == ClosedFile;
    if (FCurrentFileName == FFileName && !TriesAgain) return;
  }
  Stop();
  Start();
}

void TQSLogger::Start() {
  std::string Failed;
  int Reason = 0;
  {
    const ILockSection Section = WriteLock();
    if (FFileHandle != ClosedFile || !FEnabled || FFileName.empty()) return;
    FLogging = true;
    FFileHandle = FileCreate(FFileName);
    if (FFileHandle == ClosedFile) {
      Reason = errno;
      Failed = FFileName;
    } else {
      FIsOpen = true;
      FCurrentFileName = FFileName;
      FLogged = 0;
      FLost = 0;
    }
  }
  if (!Failed.empty()) ReportCannotOpen(*this, FOnError, Failed, Reason);
}

void TQSLogger::Stop() {
  const ILockSection Section = StopLock();
  if (FFileHandle != ClosedFile) {
    FileClose(FFileHandle);
    FireEvent(FOnFileClose);
  }
  FIsOpen = false;
  FLogging = false;
  FFileHandle = ClosedFile;
}

void TQSLogger::Log(const TRef<IQSGenericBuffer>& ABuffer) {
  const TCallScope Call(Gate());
  if (!Call) return;
  if (!FIsOpen) Start();
  IntLog(*ABuffer);
}

void TQSLogger::IntLog(const IQSDataBuffer& ABuffer) {
  const std::optional<TProgress> Progress = WriteBlock(ABuffer);
  if (Progress) Report(*Progress);
}

// Gives the progress if there is one to report; that is done outside the lock.
std::optional<TQSLogger::TProgress> TQSLogger::WriteBlock(const IQSDataBuffer& ABuffer) {
  const ILockSection Section = WriteLock();
  const std::int64_t Limit = FCeiling;
  const std::int64_t Before = FLogged;
  if (FFileHandle == ClosedFile || !FEnabled || (Limit > 0 && Before >= Limit)) return {};
  const std::int64_t Size = ABuffer.GetByteSize();
  const std::int64_t LogSize = Limit > 0 ? std::min(Size, Limit - Before) : Size;
  if (FSaveBufferSizes) {
    const auto Count = static_cast<std::uint32_t>(LogSize);
    Write(&Count, sizeof(Count));
  }
  Write(ABuffer.ByteRead(), static_cast<std::size_t>(LogSize));
  const std::int64_t After = Before + LogSize;
  FLogged = After;
  if (Limit == 0 || Size == 0) return {};
  return TProgress{After / Size, Limit / Size, After == Limit};
}

void TQSLogger::Write(const void* AData, std::size_t ABytes) {
  const std::size_t Written = FileWrite(FFileHandle, AData, ABytes);
  if (Written < ABytes) FLost = FLost + static_cast<std::int64_t>(ABytes - Written);
}

void TQSLogger::Report(const TProgress& AProgress) {
  FProgressPin.SubmitValueRange(AProgress.Position, 0, AProgress.Total);
  if (FOnProgress.IsAssigned()) {
    MainThread().Execute(
        *this, [this, AProgress] { FOnProgress(*this, AProgress.Total, AProgress.Position); });
  }
  if (AProgress.Reached) Stop();
}

void QSLogger::RegisterPkg() { RegisterComponents({ClassOf<TQSLogger>()}); }

}  // namespace tessalune
