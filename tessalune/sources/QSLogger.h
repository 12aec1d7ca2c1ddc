#pragma once

#include <tessalune/frame/runtime/QSFiles.h>
#include <tessalune/frame/runtime/QSReports.h>
#include <tessalune/frame/streams/QSStreamPins.h>
#include <tessalune/frame/streams/QSValuePins.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tessalune {

// Writes every block that it receives to a file: a sink for streams of any sample type.
//
// The file. It has no header and no record of type or rate: just the bytes of one block after the
// other, as they lie in memory (little-endian: real samples 8 bytes, complex 16, integer and
// unsigned 4, byte blocks 1). With SaveBufferSizes each block has before it the count of its bytes
// in the file, an unsigned integer of 4 bytes. Who reads the file has to know both; TQSPlayer does
// by its properties.
//
// A start of the stream opens the file (what stood under that name is replaced), a stop closes it.
// A block that comes with no start before it opens the file as well. Blocks are written on the
// thread that delivers them, under the component's lock. Each is handed to the system in one call
// or two; the logger does not look at the results: on a full disk Logged counts on. What the system
// did not take is counted in Lost.
//
// A file that cannot be opened: OnError, and EQSException unless it was handled (see
// ReportCannotOpen). After a handled failure each further block tries again, up to the stop, and is
// dropped if that fails too.
class TQSLogger : public TLockComponent, public IFileUser, public ILossReport {
 public:
  explicit TQSLogger(TConstruct AConstruct);
  ~TQSLogger() override;
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  TQSKLBinarySinkPin& InputPin() { return FInputPin; }
  // Progress toward Ceiling, in blocks of the present size: position, 0, total. Silent without one.
  TKLIntRangedSourcePin& ProgressPin() { return FProgressPin; }

  // UTF-8; default empty: nothing is logged. During a stream the next block goes to the new file.
  std::string FileName() const { return FLock->Getter(FFileName); }
  void SetFileName(std::string AValue);
  // Default true. Setting it false closes the file; setting it true does not open it again: the
  // next start, or the next Log, does.
  bool Enabled() const { return FEnabled; }
  void SetEnabled(bool AValue);
  // Bytes of samples after which the logger stops by itself, 0 for no limit; default 0. The block
  // that reaches it is cut. A value below Logged lets the next block fall and the file open.
  std::int64_t Ceiling() const { return FCeiling; }
  void SetCeiling(std::int64_t AValue);
  // Default false.
  bool SaveBufferSizes() const { return FSaveBufferSizes; }
  void SetSaveBufferSizes(bool AValue);

  // Progress toward Ceiling, after each block, on the main thread: total and position in blocks.
  void SetOnProgress(TQSSignalProgressEvent AHandler) {
    NotifySetter("OnProgress", FOnProgress, std::move(AHandler));
  }
  // The file has been closed; on the thread that closed it.
  void SetOnFileClose(TNotifyEvent AHandler) {
    NotifySetter("OnFileClose", FOnFileClose, std::move(AHandler));
  }
  // The file could not be opened; on the thread that tried.
  void SetOnError(TQSErrorEvent AHandler) {
    NotifySetter("OnError", FOnError, std::move(AHandler));
  }

  // Bytes of samples in this file, counts not included.
  std::int64_t Logged() const { return FLogged; }
  // Bytes, of samples and counts, that the system did not take: a disk that is full. Since the file
  // was opened.
  std::int64_t Lost() const { return FLost; }
  bool IsOpen() const { return FIsOpen; }

  // What a host asks of any component with a file.
  std::vector<TUsedFile> UsedFiles() const override;
  std::vector<TLoss> Losses() const override;

  // Writes one block outside a stream; opens the file if none is open.
  void Log(const TRef<IQSGenericBuffer>& ABuffer);

 protected:
  void BeforeDestruction() override;

 private:
  struct TProgress {
    std::int64_t Position;
    std::int64_t Total;
    bool Reached;
  };

  TKLNotifyResult SinkDispatch(IKLNotifyOperation& AOperation);
  void Start();
  void Stop();
  void FollowFileName();
  void IntLog(const IQSDataBuffer& ABuffer);
  std::optional<TProgress> WriteBlock(const IQSDataBuffer& ABuffer);
  void Write(const void* AData, std::size_t ABytes);
  void Report(const TProgress& AProgress);

  TQSKLBinarySinkPin FInputPin;
  TKLIntRangedSourcePin FProgressPin;
  std::string FCurrentFileName;
  std::string FFileName;
  TFileHandle FFileHandle = ClosedFile;
  bool FLogging = false;  // from the attempt to open to the stop
  TField<std::int64_t> FLogged;
  TField<std::int64_t> FLost;
  TField<std::int64_t> FCeiling;
  TEvent<TQSSignalProgressEvent> FOnProgress;
  TEvent<TNotifyEvent> FOnFileClose;
  TField<bool> FIsOpen;
  TField<bool> FSaveBufferSizes;
  TField<bool> FEnabled;
  TEvent<TQSErrorEvent> FOnError;
};

namespace QSLogger {
void RegisterPkg();
}

}  // namespace tessalune
