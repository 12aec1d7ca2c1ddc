// Snippets of a stream around level crossings.
//
// Positions count the samples of a stream from its start, 0 being the first, on every instance;
// that is what makes them comparable between instances on parallel streams.
//
// A crossing at position p gives a snippet of the Size samples from p - SamplesBefore on, as soon
// as the last of them is there. A crossing counts if more than SamplesBefore samples of the history
// lie before it, so that neither the first sample of a stream nor one whose past is not known is
// one; and if it lies beyond p' + MinimalDistance + SamplesBefore, p' being the trigger before, if
// there was one. The blocks in which the samples come make no difference.
//
// While TriggerInputPin is linked there is no detection: the triggers that come in say where to
// cut, before or after the samples have come. A trigger is dropped when samples of its snippet have
// left the history, or never were in it; Remarks tells.
//
// The history holds the last blocks by reference: as many as have Size * SynchronizeTollerance
// samples, and as are more than SynchronizeTollerance, but at least what a crossing may need. What
// passes while the component is disabled is not kept, and the history begins anew behind it. A
// start and a stop clear the history and the waiting triggers. A change of Snippet or Trigger takes
// effect with the next block, for which the whole history is searched again, behind the last
// trigger.
#pragma once

#include <tessalune/analysis/QSTriggerPins.h>
#include <tessalune/frame/runtime/QSReports.h>
#include <tessalune/frame/streams/QSCommonFilter.h>

#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace tessalune {

// What is cut.
class TQSDataSnippet final : public TLockPersistent {
 public:
  using TLockPersistent::TLockPersistent;
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  // Samples of a snippet; at least 1, default 1024.
  std::int32_t Size() const { return FSize; }
  void SetSize(std::int32_t AValue);

  // Samples of it that lie before the crossing; at least 0, default 512. One above Size counts as
  // Size.
  std::int32_t SamplesBefore() const { return FSamplesBefore; }
  void SetSamplesBefore(std::int32_t AValue);

 private:
  TField<std::int32_t> FSize;
  TField<std::int32_t> FSamplesBefore;
};

// What is detected.
class TQSTrigger final : public TLockPersistent {
 public:
  using TLockPersistent::TLockPersistent;
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  // Samples by which a crossing has to lie beyond the trigger before and SamplesBefore; default
  // 100. Below 0 snippets may overlap further.
  std::int32_t MinimalDistance() const { return FMinimalDistance; }
  void SetMinimalDistance(std::int32_t AValue);

  // Default teRising.
  TQSTriggerEdge Edge() const { return FEdge; }
  void SetEdge(TQSTriggerEdge AValue);

  // Default 0.
  double Level() const { return FLevel; }
  void SetLevel(double AValue);

  // How far the history reaches back, in snippets and in blocks; default 50. So much later than its
  // samples may a trigger from another instance come.
  std::int32_t SynchronizeTollerance() const { return FSynchronizeTollerance; }
  void SetSynchronizeTollerance(std::int32_t AValue);

 private:
  TField<std::int32_t> FMinimalDistance;
  TField<TQSTriggerEdge> FEdge;
  TField<double> FLevel;
  TField<std::int32_t> FSynchronizeTollerance;
};

// The record of a snippet; read-only, any thread.
class TQSSnippetTriggerData final : public IQSData {
 public:
  static TRef<TQSSnippetTriggerData> Create(bool AWasTriggeredExternally,
                                            std::int64_t ATriggerPosition,
                                            std::int32_t ASamplesBefore,
                                            std::int32_t ASampleInBuffer, double ALevel,
                                            TQSTriggerEdge AEdge);
  TRef<IQSData> MakeCopy() const override;
  TPropertyRecord PropertyValue() const override;

  // The trigger came through TriggerInputPin; Level and Edge are those of its sender then.
  bool WasTriggeredExternally() const { return FWasTriggeredExternally; }
  std::int64_t TriggerPosition() const { return FTriggerPosition; }  // of the crossing
  std::int32_t SamplesBefore() const { return FSamplesBefore; }
  std::int32_t SampleInBuffer() const { return FSampleInBuffer; }  // of the crossing
  double Level() const { return FLevel; }
  TQSTriggerEdge Edge() const { return FEdge; }

 private:
  bool FWasTriggeredExternally = false;
  std::int64_t FTriggerPosition = 0;
  std::int32_t FSamplesBefore = 0;
  std::int32_t FSampleInBuffer = 0;
  double FLevel = 0.0;
  TQSTriggerEdge FEdge = TQSTriggerEdge::teRising;
};
// A record has one implementation, so its interface is its class.
using IQSSnippetTriggerData = TQSSnippetTriggerData;

using TQSTriggerEvent =
    std::function<void(TObject& ASender, TRef<IQSSnippetTriggerData> ATriggerData)>;

// Sends each snippet on OutputPin, then a trigger on TriggerOutputPin, then tells OnTriggered. The
// trigger that goes out names this instance's own Level and Edge, also where another one's trigger
// led to the snippet. While it is enabled nothing else of the stream goes through; disabled, all of
// it and no snippets.
//
// A snippet goes out on the thread that brought the last of what it needed: that of the blocks, or
// that of the instance which sends the trigger. No lock is held meanwhile; snippets, starts and
// stops go out one after the other, in the order in which they were found.
class TQSSnippetTrigger : public TQSCommonRealFilter, public IRemarks {
 public:
  explicit TQSSnippetTrigger(TConstruct AConstruct);
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  TKLQSTriggerSinkPin& TriggerInputPin() { return FTriggerInputPin; }
  TKLQSTriggerSourcePin& TriggerOutputPin() { return FTriggerOutputPin; }
  TQSDataSnippet& Snippet() { return FSnippet; }
  TQSTrigger& Trigger() { return FTrigger; }

  void SetOnTriggered(TQSTriggerEvent AHandler);

  std::vector<std::string> Remarks() const override;

 protected:
  void StreamStart() override;
  void StreamStop() override;
  TKLNotifyResult OutputPinsNotify(IKLNotifyOperation& AOperation) override;
  void InternalOperation(const TRef<IQSRealBuffer>& AInBuffer, TRef<IQSRealBuffer>& AOutBuffer,
                         bool ADoProcess, bool& ASendOutputData) override;
  // Nothing to compute: InternalOperation does it all.
  void FilterInternalOperation(const TRef<IQSRealBuffer>&, TRef<IQSRealBuffer>&, bool&) override {}

 private:
  struct TTriggerBufferWrapper {
    TRef<IQSRealBuffer> Buffer;
    std::int64_t StartSample;  // position of the buffer's first sample
    std::int64_t End() const { return StartSample + Buffer->GetSize(); }
  };
  using TBuffers = std::deque<TTriggerBufferWrapper>;
  // The properties as they were when a block came.
  struct TSettings {
    std::int32_t Size = 0;
    std::int32_t Before = 0;
    std::int64_t Distance = 0;  // MinimalDistance and SamplesBefore
    std::int64_t Tolerance = 0;
    double Level = 0.0;
    TQSTriggerEdge Edge = TQSTriggerEdge::teRising;
    bool Detects = false;
    bool operator==(const TSettings&) const = default;
  };
  using TMutexLock = std::unique_lock<std::mutex>;

  void TriggerSinkEvent(bool AWasTriggeredExternally, std::int64_t ATriggerSample,
                        std::int32_t ASamplesBefore, std::int32_t ASampleInBuffer, double ALevel,
                        TQSTriggerEdge AEdge);
  // What follows is called inside FMutex.
  void ReadSettings();
  void ForgetHistory();
  void PassThroughAndPopFront();
  std::int64_t HistoryBegin() const;
  TBuffers::const_iterator Find(std::int64_t APosition) const;
  std::optional<std::int64_t> NextEdge();
  bool MayTrigger(std::int64_t APosition) const;
  TRef<IQSRealBuffer> Cut(std::int64_t AFirst) const;
  // These leave it while they send.
  void LetSnippetsOut(TMutexLock& AMutex);
  void ServeTriggers(TMutexLock& AMutex);
  void SendSnippetData(TRef<TQSSnippetTriggerData> ATriggerMetadata, TMutexLock& AMutex);

  TKLQSTriggerSinkPin FTriggerInputPin;
  TKLQSTriggerSourcePin FTriggerOutputPin;
  TQSDataSnippet FSnippet;
  TQSTrigger FTrigger;
  TEvent<TQSTriggerEvent> FOnTriggered;

  const TRef<TTurns> FTurns = MakeRef<TTurns>();  // of what goes out
  mutable std::mutex FMutex;  // for what follows; nothing is sent and nobody waits under it
  TSettings FSettings;
  std::int64_t FStartSample = 0;  // position of the next sample to come
  std::int64_t FLastTriggerTotalPosition = 0;
  bool FWasDetected = false;  // own detection has found that one
  std::int64_t FCollectedSamples = 0;
  // In order; those of the history follow one another without a gap.
  std::deque<TRef<TQSSnippetTriggerData>> FTriggers;
  std::int64_t FDue = 0;  // the least position where the snippet of one of them may begin
  TBuffers FBuffers;
  std::optional<std::int64_t> FNext;  // to look for a crossing at; empty: the whole history
  std::int64_t FMissed = 0;           // triggers that gave no snippet
};

namespace QSSnippetTrigger {
void RegisterPkg();
}

}  // namespace tessalune
