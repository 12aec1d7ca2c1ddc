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
// pumped. A start or a block that fails ends its own stream, never one that a handler has begun
// meanwhile.
#pragma once

#include <tessalune/frame/runtime/QSClock.h>
#include <tessalune/frame/runtime/QSReports.h>
#include <tessalune/frame/runtime/QSThread.h>
#include <tessalune/frame/streams/QSPumpable.h>
#include <tessalune/frame/streams/QSStreamPins.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <functional>
#include <string_view>

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
  // Ends the stream; nothing if none runs. When it returns, no block follows and the sinks know,
  // also where another thread was the one that ended it; inside a block, that holds when the block
  // has reached all sinks.
  void Stop() final;
  // Makes one block now, on this thread; for a host that pumps (with csExternal). True if the
  // stream still runs afterwards.
  bool Pump() final;
  bool IsRunning() const final { return FIsRunning; }

  // Ticks that drive the generator at csExternal or csAuto. A tick makes one block; one with a
  // count of samples (a block, a single value) makes as many blocks as its time holds, at the rates
  // of both streams. A start on the pin starts the generator, a stop ends a stream that began while
  // ticks drove it, also where the link that brings it is the last one and goes.
  //
  // One tick makes at most MostBlocksPerTick blocks. Rates that ask for more are no mistake that
  // could be told from an intention, so the stream goes on: what is beyond is left out, and Dropped
  // counts it. Setters and stops of other threads get in between the blocks of a tick; a stop ends
  // them.
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
  void SetOnStop(TNotifyEvent AHandler) final {
    NotifySetter("OnStop", FOnStop, std::move(AHandler));
  }

  // Where the clock thread takes the time from; the machine's clock if none is set. Set it while
  // no stream runs.
  void SetTimeSource(TRef<IClock> AClock) { FTimeSource = std::move(AClock); }

 protected:
  virtual TKLNotifyResult NotifyOutputPins(IKLNotifyOperation& AOperation) = 0;
  // Asks downstream who pumps, and returns who does.
  virtual TObject* RequestPump();
  // Readies the generator for the stream that begins, before its sinks hear of it; inside the lock.
  // It may find that there is no stream to be had, and end it by StreamStop.
  virtual void IntStartStream();
  virtual void IntStart();
  // The end of the stream in the generator itself; inside the lock. Sinks are not told: EndStream
  // does both.
  virtual void StreamStop();
  // Tells the pump that was chosen.
  virtual void StartPump();
  // The sinks know of the stream.
  virtual void FireStart() {}
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
  // Fires OnStop behind ATell, whatever that throws.
  void FireStopBehind(const std::function<void()>& ATell);
  bool ClockIsExternal() const;

  // The number of a stream. Who works for one stream keeps its number and acts, inside the lock, by
  // OnStream or EndStream only.
  using TStream = std::uint64_t;
  // Tells the sinks, if they have heard of the stream, and the host that it has ended; outside the
  // lock.
  void PostStop(TStream AStream);
  // The stream that runs, or the last; inside the lock.
  TStream Stream() const { return FStream; }
  // Runs AStep inside the lock if AStream still runs; false if not.
  bool OnStream(TStream AStream, const std::function<void()>& AStep = {});
  // Ends AStream if it still runs, and tells that by ATell, outside the lock and in its turn.
  void EndStream(TStream AStream, std::function<void()> ATell);
  void EndStream(TStream AStream) {
    EndStream(AStream, [this, AStream] { PostStop(AStream); });
  }
  // The same on the main thread, and again there as long as a circle of locks refuses it.
  void QueueEndStream(TStream AStream, std::function<void()> ATell);
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
  void StartClock(TStream AStream);
  void StopOrForward();
  void InTurn(std::function<void()> ATell);
  void TellStopInTurn(std::function<void()> ATell);
  void TellStart(TStream AStream);
  // Who was chosen to pump the stream.
  void SetPump(TObject* APump) {
    FMasterPump = APump;
    FIsPump = APump == this;
  }

  TKLClockMultiSinkPin FClockInputPin;

  // The states of a stream. All changes happen inside the lock.
  //
  //   none    not FIsRunning
  //   begun   FIsRunning: it took effect in TryStart, which took a turn to tell it. No blocks yet
  //   told    FIsTold as well: in that turn the file was opened, the sinks have the start; blocks
  //           flow, a pump is chosen, OnStart fires, the clock starts
  //   none    StreamStop, from any of these; EndStream has taken a turn to tell the stop
  //
  // A turn is told outside the lock, while streams may end and begin. Each step of a start's turn
  // therefore asks inside the lock whether its own stream, by number, is still the one that runs,
  // and the turn ends there if not. So do the clock thread, the end of a player's file and whatever
  // else works for one stream: IsRunning alone would take the next stream for it.
  std::atomic<bool> FIsRunning{false};
  bool FIsTold = false;
  TStream FStream = 0;
  TField<TStream> FSentStream;  // whose start was sent last
  const TRef<TTurns> FTurns = MakeRef<TTurns>();
  std::atomic<int> FStopsToTell{0};  // stops in their turns, waiting or being told

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

class TQSCommonGen : public TQSBasicCommonGen, public IRemarks {
 public:
  using TQSBasicCommonGen::TQSBasicCommonGen;
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  // In Hz, above 0; default 44100. In a running stream the generator and its clock follow at the
  // next block; components downstream learn of a rate only at a start.
  double SampleRate() const final { return FSampleRate; }
  void SetSampleRate(double AValue);

  // The most blocks that one tick makes.
  static constexpr std::int32_t MostBlocksPerTick = 65536;
  // Samples that ticks have asked for beyond that, since the stream began.
  double Dropped() const { return FDropped; }
  std::vector<std::string> Remarks() const override;

 protected:
  TObject* RequestPump() override;
  void IntStartStream() override;
  double GetSampleRate() const override { return FSampleRate; }
  void SetRate(double /*ARate*/) override {}
  void Clock(std::int32_t ASamples) override;
  // What a descendant does at the start of its stream, before the sinks hear of it; inside the
  // lock.
  virtual void StartStream() {}

  TField<double> FSampleRate;

 private:
  bool MakeBlockOnCredit(std::int32_t AMade);

  double FClockCredit = 0.0;  // samples that ticks have brought and no block has used
  TField<double> FDropped;
};

class TQSCommonBufferGen : public TQSCommonGen {
 public:
  using TQSCommonGen::TQSCommonGen;
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  // Samples a block, from 1 to 2^26 (blocks of 512 MiB of real samples); default 1024. Takes effect
  // at the next block. Memory that is not to be had fails the block with an EQSException.
  std::int32_t BufferSize() const final { return FBufferSize; }
  void SetBufferSize(std::int32_t AValue);
  void LimitBlock(std::int64_t ASamples) override { FBlockLimit = ASamples; }

  // The stream has begun and its sinks know. Fires on the thread that started it.
  void SetOnStart(TNotifyEvent AHandler) { NotifySetter("OnStart", FOnStart, std::move(AHandler)); }

 protected:
  std::int32_t GetBufferSize() const override {
    return static_cast<std::int32_t>(std::min<std::int64_t>(FBufferSize, FBlockLimit));
  }
  void FireStart() override { FireEvent(FOnStart); }
  // There is no memory for a block of so many bytes; AAdvice says what to do. An EQSException.
  [[noreturn]] void RefuseMemory(std::int64_t ABytes, std::string_view AAdvice) const;

  TField<std::int32_t> FBufferSize;
  TField<std::int64_t> FBlockLimit{std::numeric_limits<std::int64_t>::max()};

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
  // A block of BufferSize samples.
  TRef<IQSRealBuffer> NewBlock();

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
