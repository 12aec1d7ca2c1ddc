// The frame of components that join several streams sample by sample.
//
// Each input keeps what comes until the others have something to match it; what can go out goes out
// at once, on the thread that brought the last of it.
//
// Samples. The first sample of each stream meets the first of the others. A stream that starts
// later joins in at the next sample to go out, or, on the same input, behind the one before it. A
// stream that ends is matched as far as it goes; then the others go on without it.
//
// Blocks. The output is cut where a block of any input ends, in output time: like blocks on all
// inputs give like blocks, one for each. With OutputBuffer.AutoSize off, all blocks but the last
// have OutputBuffer.Size samples. Either way the same streams give the same blocks, bit for bit,
// whatever the threads and pumps do. A block without samples leaves no trace.
//
// Rates. The output has the highest rate of those streams with which it starts. What is slower is
// stretched by straight lines between neighbouring samples, at exact positions (TQSStretch); behind
// its last sample it keeps that sample until the time of it is over. A stream that joins later with
// a higher rate is read at the output's positions, so it may alias; Remarks tells. A stream without
// a rate counts as one of the output's rate. Blocks without a start are such a stream.
//
// Start and stop. One start goes out, when every linked input has a stream or is known to have none
// (its source answered TKLQueryStreamOperation by TKLIgnoreStreamOperation, or its stream has ended
// already). An input that is linked but never gets a stream holds the others up: Remarks tells. The
// stop follows the last stream. An input whose link was taken off before a stream came is noticed
// when the next operation arrives.
//
// Losses. An input keeps 1,024,000 samples at most, or one block that has more. Where it runs
// further ahead of the others, its oldest samples are dropped, and it is out of step from there on:
// Dropped and Losses tell.
//
// Threads. Any number may deliver at once. One of them sends, holding no lock, what all have
// brought; the others return when theirs is queued, or, with a start or a stop, and with a block
// on an input that is half full, wait until it was sent. A handler behind the output may do
// everything; what it brings goes out behind the operation that it is called for. What a sink
// throws leaves through whoever sends; what follows is sent all the same.
#pragma once

#include <tessalune/frame/runtime/QSReports.h>
#include <tessalune/frame/streams/QSQueuedPins.h>

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <span>
#include <string>
#include <vector>

namespace tessalune {

// How the output's blocks are cut.
class TQSOutputBufferSize final : public TLockPersistent {
 public:
  using TLockPersistent::TLockPersistent;
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  // Samples a block while AutoSize is off, from 1 to 2^26; default 1024. Takes effect with the next
  // block.
  std::int32_t Size() const { return FSize; }
  void SetSize(std::int32_t AValue);

  // Default true: the inputs' blocks tell where the output is cut. Takes effect with the next
  // block; what is held of one of Size samples goes out before it.
  bool AutoSize() const { return FAutoSize; }
  void SetAutoSize(bool AValue);

 private:
  TField<std::int32_t> FSize;
  TField<bool> FAutoSize;
};

class TQSMultiInput : public TLockComponent, public ILossReport, public IRemarks {
 public:
  explicit TQSMultiInput(TConstruct AConstruct);
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  TQSOutputBufferSize& OutputBuffer() { return FOutputBuffer; }
  // Of the output, in Hz, from its start on; 0 before the first, or if no stream told one.
  double SampleRate() const { return FCalculatedRate; }
  // Samples that full queues have dropped, of all inputs, since the first stream began.
  std::int64_t Dropped() const;

  std::vector<TLoss> Losses() const override;
  std::vector<std::string> Remarks() const override;

 protected:
  // What arrives at an input, and at an output from below.
  virtual TKLNotifyResult SinkDispatch(TQSKLQueuedPinImpl& AInput, TKLBasicPin& ASender,
                                       TKLBasicPin* AOtherPin, const TGUID& ADataTypeID,
                                       IKLNotifyOperation& AOperation, TKLNotifyState AState);
  virtual TKLNotifyResult SourceDispatch(TKLBasicPin& ASender, TKLBasicPin* AOtherPin,
                                         const TGUID& ADataTypeID, IKLNotifyOperation& AOperation,
                                         TKLNotifyState AState);
  // Output samples for one sample of each input, as long as the component lives. The rates are
  // those of the inputs all the same.
  virtual std::int32_t OutputsPerInput() const { return 1; }
  // Sends what the next ABufferSize samples of the inputs, FPieces, make, or adds it to a block of
  // FBlockSize samples, of which FFilled are there; outside the locks.
  virtual void CalculateSendOutput(std::int32_t ABufferSize) = 0;
  // Sends what is there of such a block.
  virtual void SendFilled() = 0;
  virtual TKLSourcePin& GetOutputPin() = 0;
  // Finds the rate for a start; inside the mutex.
  virtual void CalculateRate();

  void BeforeDestruction() override;
  // The event for the output pin.
  TKLNotifyEvent SourceEvent();

  // A piece of each input, in the order of the pins.
  std::vector<TQSInputPiece> FPieces;
  std::int32_t FBlockSize = 0;  // 0: each piece is a block
  std::int32_t FFilled = 0;

 private:
  template <class T>
  friend class TQSKLQueuedSinkPin;
  enum class TStep : std::uint8_t { None, Ask, Start, Pump, Block, Flush, Stop };
  using TMutexLock = std::unique_lock<std::mutex>;

  void QueuedPinCreateFunction(TQSKLQueuedPinImpl& AInput);
  void QueuedPinDestroyFunction(TQSKLQueuedPinImpl& AInput);
  void Begin(TQSKLQueuedPinImpl& AInput, double ARate);
  void TakeBlock(TQSKLQueuedPinImpl& AInput, TRef<IQSDataBuffer> ABlock);
  void StopInput(TQSKLQueuedPinImpl& AInput);
  TKLNotifyResult StartPump(const TKLStartPumpOperation& AOperation, TMutexLock& AMutex);
  TKLNotifyResult Ignore(TQSKLQueuedPinImpl& AInput, IKLNotifyOperation& AOperation);
  TKLNotifyResult AskInputs(IKLNotifyOperation& AOperation);
  bool IsShort(TQSKLQueuedPinImpl& AInput) const;
  void PumpInputs(TKLMasterPumpOperation& ARequest);
  TQSKLQueuedPinImpl* Awaited() const;

  void TrySend(TMutexLock& AMutex);
  void Send(TStep AStep, TMutexLock& AMutex);
  void SendAlong(TWaitKind AKind, TMutexLock& AMutex);
  TStep NextStep();
  TStep NextStart();
  TStep NextBlock();

  TQSOutputBufferSize FOutputBuffer;
  TField<double> FCalculatedRate;

  mutable std::mutex FMutex;  // for what follows; no call to others under it
  std::vector<TQSKLQueuedPinImpl*> FAllInputPins;
  int FStreams = 0;        // of all inputs
  std::size_t FKnown = 0;  // inputs before this one need no look until something is sent
  bool FRunning = false;   // the start is on its way or out, the stop is not
  bool FStartIsOut = false;
  bool FStopsIdle = false;                // a stop came while no stream was there
  bool FPumpIsDue = false;                // no other source can still be in its start
  TRef<TKLStartPumpOperation> FHeldPump;  // of a source that came before the start
  TObject* FPumpStarted = nullptr;
  std::int64_t FBlocksIn = 0;
  std::int64_t FBlocksOut = 0;  // and starts and stops

  // Who sends: as long as it is set, others leave what they bring to that thread. One that has sent
  // for long is relieved by the next that comes, so that no call is kept for ever by what others
  // bring.
  TThreadKey FSender = nullptr;
  int FSteps = 0;             // that it has sent
  int FWaiters = 0;           // for its end
  std::uint64_t FRounds = 0;  // how many have sent
  std::condition_variable FSent;
  TQSKLQueuedPinImpl::TGone FGone;  // the sender's
  std::int32_t FCount = 0;          // of samples in FPieces
};

// A frame for inputs of type TIn and an output of type TOut.
template <class TIn, class TOut>
class TQSTypedMultiInput : public TQSMultiInput {
 public:
  using TInPin = TQSKLQueuedSinkPin<TIn>;
  using TOutPin = TQSKLTypedSourcePin<TSampleTraits<TOut>::Type>;
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  TOutPin& OutputPin() { return FOutputPin; }

 protected:
  explicit TQSTypedMultiInput(TConstruct AConstruct);
  void CalculateSendOutput(std::int32_t ABufferSize) override;
  void SendFilled() override;
  TKLSourcePin& GetOutputPin() override { return FOutputPin; }

  // Computes ACount * OutputsPerInput() samples. AInputs has the samples of each input in the order
  // of the pins, null for one without a stream; at least one has. AOut may be what the first of
  // those has. False: there is nothing to send, and the samples are passed over.
  virtual bool Calculate(std::span<const TIn* const> AInputs, TOut* AOut, std::int32_t ACount) = 0;

 private:
  TOut* Room(std::int32_t ACount);

  TOutPin FOutputPin;
  TRef<TQSTypedBuffer<TOut>> FBlock;  // the one that is computed
  std::vector<const TIn*> FSamples;
};

using TQSRealMultiInput = TQSTypedMultiInput<double, double>;
using TQSComplexMultiInput = TQSTypedMultiInput<TComplex, TComplex>;

extern template class TQSTypedMultiInput<double, double>;
extern template class TQSTypedMultiInput<TComplex, TComplex>;
extern template class TQSTypedMultiInput<double, TComplex>;

}  // namespace tessalune
