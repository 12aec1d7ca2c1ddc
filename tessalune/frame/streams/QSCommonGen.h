// The chain of the generators: sources that make one block per pump.
//
//   Start   the stream begins: sinks get its rate, a pump is chosen, OnStart fires
//   pump    each pump makes one block and sends it, a walk down the graph on the pump's thread
//   Stop    the stream ends: sinks get a stop, OnStop fires
//
// Who pumps. At the start a request goes downstream; a sink may claim to pump (one that
// feeds a converter, say) and wins if its claim is of a stronger type, or of the same with a higher
// priority than PumpPriority. Otherwise the generator is its own pump, and ClockSource tells what
// drives it.
//
// The generator's own clock keeps absolute deadlines, so it does not drift: block n is made at the
// start plus n * BufferSize / SampleRate seconds. After a stall it makes up for what it missed,
// block upon block, as long as it is behind by at most a second; what is further back is left out,
// and the deadlines count from then on.
//
// Locks. A block is made and sent under WriteLock, so a setter or a Stop on another thread waits
// for the block in progress, and no block follows once Stop has returned there. Inside the block,
// on the pump's thread, everything may be called: a Stop takes effect there when the block has
// reached all sinks. Starts and stops are sent, and events fired, outside the lock, but in the
// order in which they took effect, each to all sinks before the next; a stream's blocks come behind
// its start. A Start or Stop inside a block, or inside a handler of a start or a stop, is therefore
// told when that one has been told; what a start so delayed fails with leaves through whoever
// pumped.
#pragma once

#include <tessalune/frame/runtime/QSClock.h>
#include <tessalune/frame/runtime/QSThread.h>
#include <tessalune/frame/streams/QSPumpable.h>
#include <tessalune/frame/streams/QSStreamPins.h>

#include <array>
#include <atomic>
#include <cstdint>

namespace tessalune {

class TQSBasicCommonGen : public TLockComponent, public IPumpable {
 public:
  explicit TQSBasicCommonGen(TConstruct AConstruct);
  ~TQSBasicCommonGen() override;
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  // Starts the stream, unless one runs or the generator is disabled. What prevents it (a file that
  // cannot be opened, here or downstream) is an EQSException; no stream runs then.
  void Start() final;
  // Ends the stream; nothing if none runs.
  void Stop() final;
  // Makes one block now, on this thread; for a host that pumps (with csExternal). True if the
  // stream still runs afterwards.
  bool Pump() final;
  bool IsRunning() const final { return FIsRunning; }

  // Ticks that drive the generator at csExternal or csAuto. A tick makes one block; one with a
  // count of samples makes as many blocks as its time holds, at the rates of both streams. A start
  // and a stop on the pin start and stop the generator.
  TKLClockMultiSinkPin& ClockInputPin() { return FClockInputPin; }
  TKLBasicPin* TickPin() final { return &FClockInputPin; }

  // While false, Start does nothing and a running stream pauses: it makes no blocks. Default true.
  bool Enabled() const final { return FEnabled; }
  void SetEnabled(bool AValue) final;

  // The priority of the generator's own claim to pump; default 0.
  std::uint32_t PumpPriority() const { return FPumpPriority; }
  void SetPumpPriority(std::uint32_t AValue);

  // Default csAuto; takes effect at the next start.
  TQSClockSource ClockSource() const final { return FClockSource; }
  void SetClockSource(TQSClockSource AValue) final;
  // How the clock thread kept its deadlines, since the start.
  TClockLag ClockLag() const final;

  // The stream has ended and its sinks know. Fires on the thread that ended it.
  void SetOnStop(TNotifyEvent AHandler) final { NotifySetter(FOnStop, std::move(AHandler)); }

  // Where the clock thread takes the time from; the machine's clock if none is set. Set it while
  // no stream runs.
  void SetTimeSource(TRef<IClock> AClock) { FTimeSource = std::move(AClock); }

 protected:
  virtual TKLNotifyResult NotifyOutputPins(IKLNotifyOperation& AOperation) = 0;
  virtual void RequestPump();
  virtual void IntStartStream();
  virtual void IntStart();
  virtual void StreamStop();
  virtual void StartPump();
  virtual void TryStart();
  virtual std::int32_t GetBufferSize() const = 0;
  virtual double GetSampleRate() const = 0;
  virtual bool GetCanStart() const { return FEnabled; }
  virtual void IntPump() = 0;
  virtual TKLNotifyResult DispatchOperation(TKLBasicPin& ASender, TKLBasicPin* AOtherPin,
                                            const TGUID& ADataTypeID,
                                            IKLNotifyOperation& AOperation, TKLNotifyState AState);
  virtual void SetRate(double ARate) = 0;
  virtual void NotifyIgnoreOutputPin();
  // A tick of the external clock: makes the blocks that are due.
  virtual void Clock(std::int32_t ASamples) = 0;

  void BeforeDestruction() override;

  void MasterPump(TObject* APump, std::uint32_t AOperationID);
  void StopPump();
  // Tells the sinks and the host that the stream has ended, outside the lock.
  void PostStop();
  void FireStop() { FireEvent(FOnStop); }
  bool ClockIsExternal() const;
  // Who was chosen to pump the stream.
  void SetPump(TObject* APump) {
    FMasterPump = APump;
    FIsPump = APump == this;
  }
  // The event for the clock pin and the output pins.
  TKLNotifyEvent DispatchEvent();
  // True if a block may be made; inside the lock.
  bool MayPump() const { return FIsRunning && FIsTold && FEnabled; }

  // Samples a second of the stream that ticks on ClockInputPin; 0 if not known.
  std::atomic<double> FClockRate{0.0};

 private:
  class TClockThread;
  class TClockBook;
  TKLNotifyResult ClockDispatch(IKLNotifyOperation& AOperation);
  void StartClock();
  void InTurn(void (TQSBasicCommonGen::*ATell)(std::uint64_t));
  void TellStart(std::uint64_t ATurn);
  void TellStop(std::uint64_t) { PostStop(); }

  TKLClockMultiSinkPin FClockInputPin;
  std::atomic<bool> FIsRunning{false};
  const TRef<TTurns> FTurns = MakeRef<TTurns>();
  std::uint64_t FLastTurn = 0;  // of the start or stop that took effect last
  bool FIsTold = false;         // the sinks know of the stream that runs
  std::atomic<bool> FIsPump{false};
  std::atomic<bool> FExternal{false};  // how ClockSource was understood at the start
  std::atomic<TObject*> FMasterPump{nullptr};
  std::uint32_t FLastOperationID = 0;
  TField<bool> FEnabled;
  TField<TQSClockSource> FClockSource;
  TField<std::uint32_t> FPumpPriority;
  TEvent<TNotifyEvent> FOnStop;
  TRef<IClock> FTimeSource;
  mutable std::mutex FClockGenMutex;
  TRef<TClockThread> FClockGen;
  TRef<TClockBook> FClockBook;  // of the clock that runs or ran last
};

class TQSCommonGen : public TQSBasicCommonGen {
 public:
  using TQSBasicCommonGen::TQSBasicCommonGen;
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  // In Hz, above 0; default 44100. In a running stream the generator and its clock follow at the
  // next block; components downstream learn of a rate only at a start.
  double SampleRate() const final { return FSampleRate; }
  void SetSampleRate(double AValue);

 protected:
  void RequestPump() override;
  void IntStartStream() override;
  double GetSampleRate() const override { return FSampleRate; }
  void SetRate(double /*ARate*/) override {}
  void Clock(std::int32_t ASamples) override;
  // What a descendant does at the start of its stream, before the sinks hear of it.
  virtual void StartStream() {}

  TField<double> FSampleRate;

 private:
  double FClockCredit = 0.0;  // samples that ticks have brought and no block has used
};

class TQSCommonBufferGen : public TQSCommonGen {
 public:
  using TQSCommonGen::TQSCommonGen;
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  // Samples a block, at least 1; default 1024. Takes effect at the next block.
  std::int32_t BufferSize() const final { return FBufferSize; }
  void SetBufferSize(std::int32_t AValue);
  // Sets BufferSize down where it is larger.
  void LimitBlock(std::int64_t ASamples) override;

  // The stream has begun and its sinks know. Fires on the thread that started it.
  void SetOnStart(TNotifyEvent AHandler) { NotifySetter(FOnStart, std::move(AHandler)); }

 protected:
  std::int32_t GetBufferSize() const override { return FBufferSize; }
  void StartPump() override;

  TField<std::int32_t> FBufferSize;

 private:
  TEvent<TNotifyEvent> FOnStart;
};

class TQSCommonBaseRealGen : public TQSCommonBufferGen {
 public:
  using TQSCommonBufferGen::TQSCommonBufferGen;

 protected:
  void IntStart() override;
  // Fills one block. APopulated comes true: clear it to send nothing. AFinished comes false: set it
  // when there is no more; the stream then ends behind this block.
  virtual void Generate(TRef<IQSRealBuffer>& ASignal, bool& APopulated, bool& AFinished) = 0;
  // The next sample of the same signal, as Generate would give it in blocks of BufferSize.
  virtual void GenerateFloat(double& AValue);

 private:
  TRef<IQSRealBuffer> FValues;  // a block that GenerateFloat hands out sample by sample
  std::int32_t FValueIndex = 0;
};

// A generator of a real stream, in blocks or, where no sink takes blocks, in single values.
class TQSCommonRealGen : public TQSCommonBaseRealGen {
 public:
  explicit TQSCommonRealGen(TConstruct AConstruct);
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  TQSKLComboRealSourcePin& OutputPin() { return FOutputPin; }

 protected:
  TKLNotifyResult NotifyOutputPins(IKLNotifyOperation& AOperation) override;
  void IntPump() override;

  TQSKLComboRealSourcePin FOutputPin;
};

}  // namespace tessalune
