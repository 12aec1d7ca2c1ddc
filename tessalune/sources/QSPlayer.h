#pragma once

#include <tessalune/frame/runtime/QSFiles.h>
#include <tessalune/frame/runtime/QSReports.h>
#include <tessalune/frame/streams/QSCommonGen.h>
#include <tessalune/frame/streams/QSValuePins.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <vector>

namespace tessalune {

// What a player does at the end of its file; in order from 0.
enum class TQSPlayerMode : std::uint8_t {
  pmStop,    // ends the stream
  pmRepeat,  // goes on with the file's beginning, in the same block
  pmZero,    // falls silent: the stream stays up and sends nothing
};
template <>
struct TEnumNames<TQSPlayerMode> {
  static constexpr std::array<std::string_view, 3> Names{"pmStop", "pmRepeat", "pmZero"};
};

// Plays a file that TQSLogger has written, or any file of raw samples.
//
// The file does not tell its sample type: each sink takes the bytes for samples of its own type,
// and a sample has as many bytes as the largest of these types (1 without a sink). Without counts
// each pump sends BufferSize samples, the last block what is left. With SavedBufferSizes each pump
// sends one block as it was logged; SavedBufferSizes must match the logger's SaveBufferSizes, since
// nothing in the file shows a mismatch.
//
// Memory is taken for what the file holds, not for what a count claims: a block is cut where the
// file ends. A file that ends inside a count ends before it. With pmRepeat and counts, a record
// longer than the whole file is cut as well. A count above 2^31 - 1 is taken for that.
//
// A file that is cut while it is played, or cannot be read, ends there as if it had no more;
// Missing and ReadError tell the difference. One that grows is played to the end that it has by
// then.
//
// At the end of the file with pmStop, the end of the stream is queued for the main thread; sinks
// then get a stop, and OnStop fires. A file that cannot be opened fails the start: the stream has
// been stopped when OnError fires, and EQSException follows unless it was handled.
class TQSPlayer : public TQSCommonBaseRealGen, public IFileUser, public ILossReport {
 public:
  explicit TQSPlayer(TConstruct AConstruct);
  ~TQSPlayer() override;
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  TQSKLChannelSourcePin& OutputPin() { return FOutputPin; }
  // Holds CurrentSample within 0 to SamplesCount, and the times of both ends in days. A linked pin
  // that sets it moves the player there.
  TKLInt64TimeRangedStatePin& ProgressPin() { return FProgressPin; }

  // UTF-8; default empty: Start does nothing. Takes effect at the next start.
  std::string FileName() const { return FLock->Getter(FFileName); }
  void SetFileName(std::string AValue);
  // Default pmStop; takes effect at the next end of the file.
  TQSPlayerMode Mode() const { return FMode; }
  void SetMode(TQSPlayerMode AValue);
  // Default false; takes effect at the next pump.
  bool SavedBufferSizes() const { return FSavedBufferSizes; }
  void SetSavedBufferSizes(bool AValue);

  // After each block, on the main thread: SamplesCount and CurrentSample of that moment, cut to 32
  // bits.
  void SetOnProgress(TQSSignalProgressEvent AHandler) {
    NotifySetter("OnProgress", FOnProgress, std::move(AHandler));
  }
  // The file could not be opened; on the thread that started the player.
  void SetOnError(TQSErrorEvent AHandler) {
    NotifySetter("OnError", FOnError, std::move(AHandler));
  }

  // Bytes that the file had when it was opened and did not give when its end was met: it was cut
  // meanwhile, or could not be read on. 0 until an end has been met; kept until the next start.
  std::int64_t Missing() const { return FMissing; }
  // What the system said when the file could not be read, such as "Input/output error"; empty if it
  // could, as far as it was. Kept until the next start.
  std::string ReadError() const;

  // The file's length in samples (bytes of counts taken for samples); 0 before the first start. It
  // is that of the start, and follows CurrentSample where the file has grown since.
  std::int64_t SamplesCount() const { return FSize; }
  // The position in samples from the file's beginning, counts not counted. Setting it in a running
  // stream moves there; with counts, to the beginning of the block that holds the sample. At least
  // 0; beyond the end is the end.
  std::int64_t CurrentSample() const { return FSample; }
  void SetCurrentSample(std::int64_t AValue);

  // What a host asks of any source and any component with a file. The limit cuts blocks of a file
  // with counts, too; what is left of a cut block is the next one.
  bool EndsByItself() const override { return FMode == TQSPlayerMode::pmStop; }
  std::optional<std::int64_t> Length() const override { return SamplesCount(); }
  // The file that was opened last; before the first start, the one that FileName names.
  std::vector<TUsedFile> UsedFiles() const override;
  // What the file did not give (see Missing and ReadError).
  std::vector<TLoss> Losses() const override;
  // Among others that the file ends inside a sample, a count or a block.
  std::vector<std::string> Remarks() const override;

 protected:
  TKLNotifyResult NotifyOutputPins(IKLNotifyOperation& AOperation) override;
  bool GetCanStart() const override;
  void StartStream() override;
  void IntStart() override;
  void StreamStop() override;
  void IntPump() override;
  void Generate(TRef<IQSRealBuffer>& ASignal, bool& APopulated, bool& AFinished) override;
  TKLNotifyResult DispatchOperation(TKLBasicPin& ASender, TKLBasicPin* AOtherPin,
                                    const TGUID& ADataTypeID, IKLNotifyOperation& AOperation,
                                    TKLNotifyState AState) override;

 private:
  bool Play(TQSLinearMemoryBuffer& ASignal, std::int64_t AWanted, bool& ANeedsStop);
  std::size_t Read(void* AData, std::size_t ABytes);
  bool ReadCount(std::uint32_t& ACount, bool& ANeedsStop);
  bool ReadBlock(TQSLinearMemoryBuffer& ASignal, std::int64_t AWanted, bool& ANeedsStop);
  void Enlarge(TQSLinearMemoryBuffer& ASignal, std::int64_t ABytes);
  void TakeSampleSize();
  void TakePosition();
  void Rewind();
  void SeekToSample();
  std::int64_t BytesPerSample() const;
  void QueueEnd(TStream AEnding);
  void DoProgress();

  std::string PlayedName() const;
  void RemarkEnd(const std::string& AWhere);

  std::string FFileName;
  std::string FPlayedName;  // that was opened last; empty before
  std::string FEndRemark;
  TFileHandle FFileHandle = ClosedFile;
  TField<TQSPlayerMode> FMode;
  TEvent<TQSSignalProgressEvent> FOnProgress;
  TField<std::int64_t> FSize;
  TField<std::int64_t> FSample;
  TField<std::int64_t> FMissing;
  TField<std::int32_t> FReadError;            // the system's number, 0 if there is none
  std::int64_t FFileBytes = 0;                // the file's length, as far as it is known
  std::atomic<std::int64_t> FPlayedBytes{0};  // of samples, since the file's beginning
  std::int32_t FSampleSize = 0;               // 0 without a sink
  TEvent<TQSErrorEvent> FOnError;
  bool FStreamStarted = false;
  bool FEndQueued = false;
  std::int64_t FLeftOfBlock = 0;  // bytes behind a block that was cut
  TField<bool> FSavedBufferSizes;
  TQSKLChannelSourcePin FOutputPin;
  TKLInt64TimeRangedStatePin FProgressPin;
};

namespace QSPlayer {
void RegisterPkg();
}

}  // namespace tessalune
