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
// At the end of the file with pmStop, the end of the stream is queued for the main thread; sinks
// then get a stop, and OnStop fires. A file that cannot be opened fails the start: the stream has
// been stopped when OnError fires, and EQSException follows unless it was handled.
class TQSPlayer : public TQSCommonBaseRealGen, public IFileUser {
 public:
  explicit TQSPlayer(TConstruct AConstruct);
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
    NotifySetter(FOnProgress, std::move(AHandler));
  }
  // The file could not be opened; on the thread that started the player.
  void SetOnError(TQSErrorEvent AHandler) { NotifySetter(FOnError, std::move(AHandler)); }

  // The file's length in samples (bytes of counts taken for samples); 0 before the first start.
  std::int64_t SamplesCount() const { return FSize; }
  // The position in samples from the file's beginning, counts not counted. Setting it in a running
  // stream moves there; with counts, to the beginning of the block that holds the sample. At least
  // 0; beyond the end is the end.
  std::int64_t CurrentSample() const { return FSample; }
  void SetCurrentSample(std::int64_t AValue);

  // What a host asks of any source and any component with a file. The limit cuts blocks of a file
  // with counts, too; what is left of a cut block is not sent.
  void LimitBlock(std::int64_t ASamples) override;
  bool EndsByItself() const override { return FMode == TQSPlayerMode::pmStop; }
  std::optional<std::int64_t> Length() const override { return SamplesCount(); }
  std::vector<TUsedFile> UsedFiles() const override;

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
  bool Play(TQSLinearMemoryBuffer& ASignal, bool& ANeedsStop);
  bool ReadCount(std::uint32_t& ACount, bool& ANeedsStop);
  bool ReadBlock(TQSLinearMemoryBuffer& ASignal, std::int64_t AWanted, bool& ANeedsStop);
  void TakeSampleSize();
  void Rewind();
  void SeekToSample();
  std::int64_t BytesPerSample() const;
  void QueueEnd();
  void DoProgress();

  std::string FFileName;
  TFileHandle FFileHandle = ClosedFile;
  TField<TQSPlayerMode> FMode;
  TEvent<TQSSignalProgressEvent> FOnProgress;
  TField<std::int64_t> FSize;
  TField<std::int64_t> FSample;
  std::int64_t FFileBytes = 0;                // the file's length at the start
  std::atomic<std::int64_t> FPlayedBytes{0};  // of samples, since the file's beginning
  std::int32_t FSampleSize = 0;               // 0 without a sink
  TField<std::int64_t> FBlockLimit{std::numeric_limits<std::int64_t>::max()};  // samples
  TEvent<TQSErrorEvent> FOnError;
  bool FStreamStarted = false;
  std::uint64_t FStreamSerial = 0;  // tells a stream's queued end from the next stream
  bool FEndQueued = false;
  TField<bool> FSavedBufferSizes;
  TQSKLChannelSourcePin FOutputPin;
  TKLInt64TimeRangedStatePin FProgressPin;
};

namespace QSPlayer {
void RegisterPkg();
}

}  // namespace tessalune
