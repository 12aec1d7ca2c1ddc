#include <tessalune/frame/runtime/QSCategories.h>
#include <tessalune/frame/runtime/QSComponentRegistry.h>
#include <tessalune/frame/runtime/QSMainThread.h>
#include <tessalune/sources/QSFileFailure.h>
#include <tessalune/sources/QSPlayer.h>

#include <algorithm>
#include <cerrno>
#include <limits>
#include <new>
#include <system_error>

namespace tessalune {
namespace {

constexpr TPropertyInfo<std::string> FileNameInfo{.Name = "FileName",
                                                  .Default = "",
                                                  .Effect = TTakesEffect::NextStart,
                                                  .Doc = "The file to play; empty plays nothing.",
                                                  .FileFilter = QSSampleFileFilter};
constexpr TPropertyInfo<TQSPlayerMode> ModeInfo{
    .Name = "Mode",
    .Default = TQSPlayerMode::pmStop,
    .Doc = "At the end of the file: stop, go on with its beginning, or fall silent."};
constexpr TPropertyInfo<bool> SavedBufferSizesInfo{
    .Name = "SavedBufferSizes",
    .Default = false,
    .Doc =
        "The file has the count of its bytes before each block, as the logger writes it with "
        "SaveBufferSizes."};
constexpr TPropertyInfo<std::int64_t> CurrentSampleInfo{
    .Name = "CurrentSample", .Bounds = {.Min = 0}, .Unit = "samples"};

constexpr std::int64_t LargestBlock = std::numeric_limits<std::int32_t>::max();

std::int64_t Cut32(std::int64_t AValue) { return std::min(AValue, LargestBlock); }

}  // namespace

TQSPlayer::TQSPlayer(TConstruct AConstruct)
    : TQSCommonBaseRealGen(AConstruct),
      FOutputPin({*this, FLock}, DispatchEvent()),
      FProgressPin({*this, FLock}, [this](std::int64_t AValue) { SetCurrentSample(AValue); }) {
  FOutputPin.AddFunctionSource(ClockInputPin());
}

// A stop that could not have the lock has left the file open.
TQSPlayer::~TQSPlayer() {
  if (FFileHandle != ClosedFile) FileClose(FFileHandle);
}

namespace {

constexpr TClassText PlayerText{
    .Use =
        R"(Plays a recording into a graph: a file that TQSLogger has written, or any file of raw samples.
Audio files and tables become such a file by `tessalune convert`. The file does not tell type or
rate: set `SampleRate`, and the type is that of the input that is linked. With `pmRepeat` a short
recording goes round, `SavedBufferSizes` plays blocks as they were logged.)",
    .BadInput =
        R"(A file that cannot be opened ends the run with the system's reason; `validate` tells one that is
missing. One that is cut or cannot be read while it plays ends there as if it had no more, and the
summary tells what was missing. Nothing in a file shows that its type, its rate or its counts are
not what was set: the samples are then meaningless. A count that claims more than the file has is
cut to the file.)",
    .Accuracy =
        R"(Exact: bytes are taken for samples as they are (little-endian, 8 bytes a real, 16 a complex, 4 an
integer one). Each block is read when it is due; memory for one block, however long the file is.)",
    .Formulas =
        R"(    y[n] = the n-th sample of the file; with pmRepeat that at n modulo the file's length)",
    .SeeAlso = "TQSLogger, TQSSignalGen, TQSIntToReal, TQSRepack",
    .Example =
        R"(Plays what the example of TQSLogger has written (run that first), and goes on with its beginning.)",
};

}  // namespace

const TPublishedTable& TQSPlayer::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSPlayer",
                       .DisplayName = "Signal Player",
                       .Category = categories::Players,
                       .Doc = "Plays a file of raw samples, as the logger writes it.",
                       .Text = PlayerText},
                      &TQSCommonBufferGen::Published())
          .Pin("OutputPin", &TQSPlayer::OutputPin, "The file's samples.", true)
          .Pin("ProgressPin", &TQSPlayer::ProgressPin, "The position in the file, in samples.")
          .Property(FileNameInfo, &TQSPlayer::FileName, &TQSPlayer::SetFileName)
          .DesignEntry("Edit &File Name ...", "FileName")
          .Property(ModeInfo, &TQSPlayer::Mode, &TQSPlayer::SetMode)
          .Property(SavedBufferSizesInfo, &TQSPlayer::SavedBufferSizes,
                    &TQSPlayer::SetSavedBufferSizes)
          .Event("OnProgress", &TQSPlayer::SetOnProgress, {"Total", "Position"},
                 "Progress through the file, in samples; on the main thread.")
          .Event("OnError", &TQSPlayer::SetOnError, {"Message", "ErrorCode", "Handled"},
                 "The file could not be opened.");
  return Table;
}

void TQSPlayer::SetFileName(std::string AValue) {
  NotifySetter(FileNameInfo, FFileName, std::move(AValue));
}
void TQSPlayer::SetMode(TQSPlayerMode AValue) { NotifySetter(ModeInfo, FMode, AValue); }
void TQSPlayer::SetSavedBufferSizes(bool AValue) {
  NotifySetter(SavedBufferSizesInfo, FSavedBufferSizes, AValue);
}
void TQSPlayer::SetCurrentSample(std::int64_t AValue) {
  NotifySetter(CurrentSampleInfo, FSample, AValue, [this] { SeekToSample(); });
}

std::string TQSPlayer::ReadError() const {
  const int Reason = FReadError;
  return Reason == 0 ? std::string() : std::generic_category().message(Reason);
}

std::vector<TLoss> TQSPlayer::Losses() const {
  const std::int64_t Missed = Missing();
  const std::string Reason = ReadError();
  const std::string File = "the file \"" + PlayedName() + "\" ";
  // A device tells no length, so an error may leave nothing to count.
  const std::int64_t Amount = Missed > 0 || Reason.empty() ? Missed : 1;
  return {{.Amount = Amount,
           .Unit = "byte",
           .Text = Reason.empty() ? File + "has become shorter while it was played; its end, " +
                                        NumberText(Missed) + " bytes, did not come"
                                  : File + "could not be read to its end: " + Reason}};
}

std::vector<TUsedFile> TQSPlayer::UsedFiles() const {
  if (!Enabled()) return {};
  return {{.Property = FileNameInfo.Name,
           .FileName = PlayedName(),
           .Way = TFileWay::Reads,
           .Bytes = FPlayedBytes}};
}

std::string TQSPlayer::PlayedName() const {
  const ILockSection Section = ReadLock();
  return FPlayedName.empty() ? FFileName : FPlayedName;
}

std::vector<std::string> TQSPlayer::Remarks() const {
  std::vector<std::string> Remarks = TQSCommonBaseRealGen::Remarks();
  const ILockSection Section = ReadLock();
  if (!FEndRemark.empty()) Remarks.push_back(FEndRemark);
  return Remarks;
}

// --- the stream ---

TKLNotifyResult TQSPlayer::NotifyOutputPins(IKLNotifyOperation& AOperation) {
  return FOutputPin.Notify(AOperation);
}

bool TQSPlayer::GetCanStart() const {
  return TQSCommonBaseRealGen::GetCanStart() && !FileName().empty();
}

TKLNotifyResult TQSPlayer::DispatchOperation(TKLBasicPin& ASender, TKLBasicPin* AOtherPin,
                                             const TGUID& ADataTypeID,
                                             IKLNotifyOperation& AOperation,
                                             TKLNotifyState AState) {
  const auto Dispatch = [&] {
    return TQSCommonBaseRealGen::DispatchOperation(ASender, AOtherPin, ADataTypeID, AOperation,
                                                   AState);
  };
  if (&ASender != &FOutputPin) return Dispatch();
  const ILockSection Section = WriteLock();
  return Dispatch();
}

void TQSPlayer::StartStream() {
  const ILockSection Section = WriteLock();
  TQSCommonBaseRealGen::StartStream();
  if (FFileHandle != ClosedFile) return;
  FFileHandle = FileOpen(FFileName);
  if (FFileHandle == ClosedFile) {
    const int Reason = errno;
    StreamStop();
    FLock->AfterRelease(
        [this, Failed = FFileName, Reason] { ReportCannotOpen(*this, FOnError, Failed, Reason); });
    return;
  }
  FPlayedName = FFileName;
  FEndRemark.clear();
  FFileBytes = FileSize(FFileHandle);
  FPlayedBytes = 0;
  FLeftOfBlock = 0;
  FSample = 0;
  FMissing = 0;
  FReadError = 0;
  TakeSampleSize();
}

void TQSPlayer::IntStart() {
  TQSCommonBaseRealGen::IntStart();
  FStreamStarted = true;
  FEndQueued = false;
}

void TQSPlayer::StreamStop() {
  const ILockSection Section = StopLock();
  FStreamStarted = false;
  TQSCommonBaseRealGen::StreamStop();
  if (FFileHandle != ClosedFile) FileClose(FFileHandle);
  FFileHandle = ClosedFile;
}

void TQSPlayer::IntPump() {
  const ILockSection Section = WriteLock();
  if (!FStreamStarted || !MayPump() || FFileHandle == ClosedFile) return;
  const TStream Current = Stream();
  TakeSampleSize();
  // A block that is too large for one buffer is cut to whole samples.
  const std::int64_t Samples =
      std::min<std::int64_t>(GetBufferSize(), LargestBlock / BytesPerSample());
  auto Buffer = TQSLinearMemoryBuffer::CreateSize(0);
  bool NeedsStop = false;
  if (Play(*Buffer, Samples * FSampleSize, NeedsStop)) FOutputPin.SubmitBuffer(std::move(Buffer));
  if (NeedsStop) QueueEnd(Current);
}

void TQSPlayer::Generate(TRef<IQSRealBuffer>& ASignal, bool&, bool&) {
  if (FFileHandle == ClosedFile) return;
  const TStream Current = Stream();
  const auto Buffer = TQSLinearMemoryBuffer::CreateSize(0);
  bool NeedsStop = false;
  if (Play(*Buffer, Cut32(ASignal->GetByteSize()), NeedsStop)) {
    ASignal = IQSRealBuffer::CreateUniversal(Buffer);
    FOutputPin.SubmitBuffer(ASignal);
  }
  if (NeedsStop) QueueEnd(Current);
}

// The stream has to end where the main thread can see it, not under the lock of the pump. A sink
// may have begun another inside the last block.
void TQSPlayer::QueueEnd(TStream AEnding) {
  if (FEndQueued || AEnding != Stream()) return;
  FEndQueued = true;
  QueueEndStream(AEnding, [this] {
    FireStopBehind([this] {
      FOutputPin.EndStop();
      DoProgress();
    });
  });
}

void TQSPlayer::DoProgress() {
  constexpr double SecondsPerDay = 86400.0;
  const std::int64_t Size = FSize;
  const std::int64_t Position = FSample;
  FProgressPin.SubmitValueRange(Position, 0, Size, 0.0,
                                static_cast<double>(Size) / SampleRate() / SecondsPerDay);
  if (!FOnProgress.IsAssigned()) return;
  MainThread().Execute(
      *this, [this, Size, Position] { FOnProgress(*this, Cut32(Size), Cut32(Position)); });
}

// --- the file ---

std::int64_t TQSPlayer::BytesPerSample() const { return std::max(FSampleSize, 1); }

// The links tell how large a sample is, and they may change while the file is played.
void TQSPlayer::TakeSampleSize() {
  FSampleSize = FOutputPin.GetMaxSampleSize();
  FSize = FFileBytes / BytesPerSample();
}

// A file that grows while it is played has more than it had.
void TQSPlayer::TakePosition() {
  if (FPlayedBytes > FFileBytes) {
    FFileBytes = std::max(FPlayedBytes.load(), FileSize(FFileHandle));
    TakeSampleSize();
  }
  FSample = FPlayedBytes / BytesPerSample();
}

// The bytes that were read. Where they are fewer than asked for, the file has ended, and what it
// had when it was opened beyond that place is missing; or it could not be read.
std::size_t TQSPlayer::Read(void* AData, std::size_t ABytes) {
  const std::size_t Got = FileRead(FFileHandle, AData, ABytes);
  if (Got == ABytes) return Got;
  if (errno != 0) FReadError = errno;
  const std::int64_t End = FilePosition(FFileHandle);
  if (End >= 0) FMissing = std::max(FMissing.Load(), FFileBytes - End);
  return Got;
}

// What was cut while it was played, or cannot be read, is a loss.
void TQSPlayer::RemarkEnd(const std::string& AWhere) {
  if (FMissing == 0 && FReadError == 0) FEndRemark = '"' + FPlayedName + "\" ends inside " + AWhere;
}

void TQSPlayer::Rewind() {
  FileSeek(FFileHandle, 0);
  FPlayedBytes = 0;
  FLeftOfBlock = 0;
}

// One record. The position and the progress are told also when nothing was left to read.
bool TQSPlayer::Play(TQSLinearMemoryBuffer& ASignal, std::int64_t AWanted, bool& ANeedsStop) {
  std::int64_t Wanted = AWanted;
  if (FSavedBufferSizes) {
    std::uint32_t Count = 0;
    if (FLeftOfBlock == 0 && !ReadCount(Count, ANeedsStop)) return false;
    const std::int64_t Block = FLeftOfBlock > 0 ? FLeftOfBlock : Cut32(Count);
    Wanted = std::min(Block, std::min(FBlockLimit.Load(), LargestBlock) * BytesPerSample());
    FLeftOfBlock = Block - Wanted;
  }
  const bool Found = ReadBlock(ASignal, Wanted, ANeedsStop);
  TakePosition();
  DoProgress();
  return Found;
}

bool TQSPlayer::ReadCount(std::uint32_t& ACount, bool& ANeedsStop) {
  const std::size_t Got = Read(&ACount, sizeof(ACount));
  if (Got == sizeof(ACount)) return true;
  if (Got > 0)
    RemarkEnd("a count, of which " + QuantityText(NumberText(Got), "bytes") + " are there");
  ANeedsStop = FMode == TQSPlayerMode::pmStop;
  if (FMode != TQSPlayerMode::pmRepeat) return false;
  Rewind();
  return Read(&ACount, sizeof(ACount)) == sizeof(ACount);
}

void TQSPlayer::Enlarge(TQSLinearMemoryBuffer& ASignal, std::int64_t ABytes) {
  try {
    ASignal.Resize(static_cast<std::int32_t>(ABytes), true);
  } catch (const std::bad_alloc&) {
    RefuseMemory(ABytes, FSavedBufferSizes
                             ? "its size is a count in the file; SavedBufferSizes has to be as the "
                               "file was written"
                             : "a smaller BufferSize takes less");
  }
}

// Reads up to AWanted bytes; the block grows with what the file gives. True if there is a block to
// send.
bool TQSPlayer::ReadBlock(TQSLinearMemoryBuffer& ASignal, std::int64_t AWanted, bool& ANeedsStop) {
  constexpr std::int64_t FirstChunk = std::int64_t{1} << 20;
  std::int64_t Done = 0;
  bool Rewound = false;
  while (Done < AWanted) {
    const std::int64_t Room = std::min(AWanted, std::max(FirstChunk, 2 * Done));
    if (ASignal.GetByteSize() < Room) Enlarge(ASignal, Room);
    const auto Ask = static_cast<std::size_t>(std::min(AWanted, ASignal.GetByteSize()) - Done);
    const std::size_t Got = Read(ASignal.ByteModify() + Done, Ask);
    Done += static_cast<std::int64_t>(Got);
    FPlayedBytes += static_cast<std::int64_t>(Got);
    if (Got == Ask) continue;
    if (FSavedBufferSizes && Got > 0) {
      RemarkEnd("a block: its count says " + QuantityText(NumberText(AWanted), "bytes") + ", and " +
                NumberText(Done) +
                " follow; it was cut, or has no counts (then SavedBufferSizes is false)");
    } else if (const std::int64_t Rest = FPlayedBytes % BytesPerSample(); Rest > 0) {
      RemarkEnd("a sample: the last " + QuantityText(NumberText(Rest), "bytes") + " of " +
                NumberText(BytesPerSample()) + " are no whole one");
    }
    ANeedsStop = FMode == TQSPlayerMode::pmStop;
    if (FMode != TQSPlayerMode::pmRepeat) break;
    // Nothing even from the file's beginning, or a count that is larger than the file.
    if (Rewound && (Got == 0 || FSavedBufferSizes)) break;
    Rewind();
    Rewound = true;
  }
  ASignal.Resize(static_cast<std::int32_t>(Done), true);
  return Done > 0 || AWanted == 0;
}

// A file with counts is walked from its beginning, since no position tells where a record starts.
void TQSPlayer::SeekToSample() {
  if (FFileHandle == ClosedFile) return;
  FLeftOfBlock = 0;
  const std::int64_t Target =
      FSample > FFileBytes / BytesPerSample() ? FFileBytes : FSample * BytesPerSample();
  if (!FSavedBufferSizes) {
    FileSeek(FFileHandle, Target);
    FPlayedBytes = Target;
  } else {
    Rewind();
    std::int64_t At = 0;
    std::uint32_t Count = 0;
    while (FileRead(FFileHandle, &Count, sizeof(Count)) == sizeof(Count) &&
           FPlayedBytes + Count <= Target) {
      FPlayedBytes += Count;
      At += std::int64_t{Count} + static_cast<std::int64_t>(sizeof(Count));
      FileSeek(FFileHandle, At);
    }
    FileSeek(FFileHandle, At);
  }
  FSample = FPlayedBytes / BytesPerSample();
}

void QSPlayer::RegisterPkg() { RegisterComponents({ClassOf<TQSPlayer>()}); }

}  // namespace tessalune
