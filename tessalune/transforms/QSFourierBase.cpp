#include <tessalune/frame/runtime/QSMainThread.h>
#include <tessalune/primitives/QSBasicDispatcher.h>
#include <tessalune/transforms/QSFourierBase.h>

#include <cmath>
#include <new>
#include <utility>

namespace tessalune {
namespace {

constexpr TPropertyInfo<bool> IgnoreDCInfo{
    .Name = "IgnoreDC",
    .Default = false,
    .Effect = TTakesEffect::NextFrame,
    .Doc = "Whether bin 0 of the magnitudes is cleared; the complex output keeps it."};
constexpr TPropertyInfo<std::uint32_t> SamplingWindowStepInfo{
    .Name = "SamplingWindowStep",
    .Default = 0,
    .Design = Between(0U, 10000U),
    .Unit = "samples",
    .Doc =
        "From the start of a frame to that of the next: below the frame's size frames overlap, "
        "above it samples are passed over. 0: back to back."};
constexpr TPropertyInfo<bool> SynchronizeInfo{
    .Name = "Synchronize",
    .Default = true,
    .Effect = TTakesEffect::NextFrame,
    .Doc = "Whether OnFrequencyResult is called on the main thread, else where it is computed."};

TRef<IQSDataBuffer> NewFrame(std::int32_t ASize, bool AIsComplex) {
  if (AIsComplex) return TQSComplexBuffer::CreateSize(ASize);
  return TQSRealBuffer::CreateSize(ASize);
}

}  // namespace

// --- the plan ---

const TPropertyInfo<TQSFourierNormalization> TQSFourierComponent::NormalizationInfo{
    .Name = "Normalization",
    .Default = TQSFourierNormalization::fnNone,
    .Effect = TTakesEffect::NextFrame,
    .Doc =
        "What the transform divides its result by: nothing, the number of samples, or its "
        "square root."};

void TQSFourierComponent::SetNormalization(TQSFourierNormalization AValue) {
  NotifySetter(NormalizationInfo, FNormalize, AValue);
}

void TQSFourierComponent::MakePlan(const TQSFourierPlanKind& AKind) {
  if (FIntState && FIntState->Kind() == AKind) return;
  FIntState = AKind.Size > 0 ? CreateFourierPlan(AKind) : nullptr;
}

void TQSFourierComponent::RefuseMemory(const std::string& AWhat, std::int64_t ABytes,
                                       const std::string& AAdvice) const {
  throw EQSException(Describe() + ": there is no memory for " + AWhat + ", " + NumberText(ABytes) +
                     " bytes and more; " + AAdvice);
}

// --- forward: the component ---

const TPropertyInfo<double> TQSFourierBaseComponent::AlphaInfo{
    .Name = "Alpha",
    .Default = 1.0,
    .Design = Between(0.0, 1.0),
    .Effect = TTakesEffect::NextFrame,
    .Doc = "The parameter of a Blackman or Kaiser window; the others have none."};

TQSFourierBaseComponent::TQSFourierBaseComponent(TConstruct AConstruct)
    : TQSFourierComponent(AConstruct),
      FInputPin({*this, FInputLock}, SinkEvent()),
      FOutputPin({*this, FOutputLock}, SourceDispatch()),
      FSpectrumOutputPin({*this, FOutputLock}, SourceDispatch()),
      FFrequencyOutputPin({*this, FOutputLock}) {
  FOutputPin.AddFunctionSource(FInputPin);
  FSpectrumOutputPin.AddFunctionSource(FInputPin);
  FFrequencyOutputPin.AddFunctionSource(FInputPin);
}

TKLNotifyEvent TQSFourierBaseComponent::SourceDispatch() {
  return GKLPassTroughDispatch(
      FInputPin, [this](TKLBasicPin&, TKLBasicPin* AOtherPin, const TGUID& ADataTypeID,
                        IKLNotifyOperation& AOperation, TKLNotifyState AState) {
        return SinkDispatch(FOutputPin, AOtherPin, ADataTypeID, AOperation, AState);
      });
}

namespace {

constexpr TClassText FourierBaseComponentText{
    .BadInput =
        R"(A NaN or an infinity in a frame reaches all of its bins; the frequency of such a frame is NaN.
What does not fill a frame when the stream stops is dropped. Where there is no memory for a frame,
an error names the bytes and what to change, and the frames stay as they were.)",
    .Accuracy =
        R"(A frame goes out when its last sample has come. With `SamplingWindowStep` below the size of a
frame, frames overlap, and each step costs a whole transform. Magnitudes and frequency are
computed only if somebody listens.)",
};

}  // namespace

const TPublishedTable& TQSFourierBaseComponent::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSFourierBaseComponent", .Text = FourierBaseComponentText},
                      &TQSBasicThreadedFilter::Published())
          .Pin("InputPin", &TQSFourierBaseComponent::InputPin,
               "The stream, of real or complex samples.", true)
          .Pin("OutputPin", &TQSFourierBaseComponent::OutputPin,
               "The spectrum of each frame: as many complex bins as samples, bin 0 first.", true)
          .Pin("SpectrumOutputPin", &TQSFourierBaseComponent::SpectrumOutputPin,
               "The magnitudes of the lower half of the bins.")
          .Pin("FrequencyOutputPin", &TQSFourierBaseComponent::FrequencyOutputPin,
               "The frequency of the strongest bin in Hz, from 0 to half of the sample rate.")
          .Property(IgnoreDCInfo, &TQSFourierBaseComponent::IgnoreDC,
                    &TQSFourierBaseComponent::SetIgnoreDC)
          .Property(SamplingWindowStepInfo, &TQSFourierBaseComponent::SamplingWindowStep,
                    &TQSFourierBaseComponent::SetSamplingWindowStep)
          .Property(SynchronizeInfo, &TQSFourierBaseComponent::Synchronize,
                    &TQSFourierBaseComponent::SetSynchronize)
          .Event("OnFrequencyResult", &TQSFourierBaseComponent::SetOnFrequencyResult,
                 {"Frequency", "MaxFrequency"},
                 "A frame's strongest frequency and half of the sample rate, both in Hz.");
  return Table;
}

void TQSFourierBaseComponent::SetAlpha(double AValue) {
  NotifySetter(AlphaInfo, FAlpha, AValue, [this] { NotifyWindow(); });
}

void TQSFourierBaseComponent::SetIgnoreDC(bool AValue) {
  NotifySetter(IgnoreDCInfo, FIgnoreDC, AValue);
}

void TQSFourierBaseComponent::SetSamplingWindowStep(std::uint32_t AValue) {
  NotifySetter(SamplingWindowStepInfo, FSamplingWindowStep, AValue);
}

void TQSFourierBaseComponent::SetSynchronize(bool AValue) {
  NotifySetter(SynchronizeInfo, FSynchronize, AValue);
}

void TQSFourierBaseComponent::SetOnFrequencyResult(TQSFrequencyEvent AHandler) {
  NotifySetter("OnFrequencyResult", FOnFrequencyResult, std::move(AHandler));
}

std::vector<std::string> TQSFourierBaseComponent::Remarks() const {
  const std::lock_guard Lock(FReportMutex);
  std::vector<std::string> Result;
  if (!FRefusal.empty()) Result.push_back("the frames keep the size that they had; " + FRefusal);
  if (FDropped > 0) {
    Result.push_back("the main thread took the results of OnFrequencyResult too late, and " +
                     NumberText(FDropped) +
                     " were dropped; let it process its queue more often, or set Synchronize to "
                     "false");
  }
  return Result;
}

// --- forward: the stream ---

TKLNotifyResult TQSFourierBaseComponent::SinkDispatch(TKLBasicPin&, TKLBasicPin*,
                                                      const TGUID& ADataTypeID,
                                                      IKLNotifyOperation& AOperation,
                                                      TKLNotifyState AState) {
  if (AOperation.IsType<TKLStartSampleRateOperation>()) {
    const double Rate = AOperation.GetInstance<TKLStartSampleRateOperation>().Rate;
    FSampleRate = Rate;
    FWaiting.clear();  // of the stream before, as at its stop
    const bool IsComplex = ADataTypeID == ComplexStream.ID;
    if (IsComplex || ADataTypeID == RealStream.ID) Start(WantedSize(), IsComplex);
    FSpectrumOutputPin.Notify(MakeRef<TKLStartSpectrumOperation>(Rate));
    return FOutputPin.Notify(MakeRef<TKLStartSampleRateOperation>(Rate));
  }
  if (AOperation.IsType<TKLSuppliedBufferOperation>()) return BufferOperation(AOperation, AState);
  if (AOperation.IsType<TKLStopOperation>()) {
    FWaiting.clear();
    StreamStop();
  }
  return OutputPinsNotify(AOperation);
}

TKLNotifyResult TQSFourierBaseComponent::OutputPinsNotify(IKLNotifyOperation& AOperation) {
  try {
    FSpectrumOutputPin.Notify(AOperation);
  } catch (...) {
    if (AOperation.IsType<TKLStopOperation>()) FOutputPin.Notify(AOperation);
    throw;
  }
  return FOutputPin.Notify(AOperation);
}

void TQSFourierBaseComponent::Start(std::int32_t ASize, bool AIsComplex) {
  if (FRunning) StreamStop();
  FIsComplex = AIsComplex;
  {
    const std::lock_guard Lock(FReportMutex);
    FDropped = 0;
    FRefusal.clear();
  }
  FRefusedSize = 0;
  FRefusalIsNew = false;
  MakeFrames(ASize, true);
  ++FStream;
  StreamStart();
}

void TQSFourierBaseComponent::StreamStop() {
  TQSFourierComponent::StreamStop();
  StopFFT();
}

void TQSFourierBaseComponent::StopFFT() {
  IntUnInit();
  FFrames.Begin(nullptr);
  FCurrentSize = 0;
  ++FStream;
}

// --- forward: the frames ---

std::int64_t TQSFourierBaseComponent::BytesFor(std::int32_t ASize) const {
  const std::int64_t Samples = FIsComplex ? sizeof(TComplex) : sizeof(double);
  return ASize * (Samples + std::int64_t{sizeof(TComplex)}) +
         FourierPlanBytes({.Size = ASize, .IsComplex = FIsComplex}) + OtherBytes();
}

// The frame and the plans for ASize samples, of a stream that begins or of one that goes on. All is
// as it was if there is no memory.
void TQSFourierBaseComponent::MakeFrames(std::int32_t ASize, bool AIsNew) {
  const std::int32_t Before = std::exchange(FCurrentSize, ASize);
  try {
    if (!AIsNew && ASize == Before) return IntInit();  // the normalisation may be another one
    RequireMemory(BytesFor(ASize));
    TRef<IQSDataBuffer> Frame = ASize > 0 ? NewFrame(ASize, FIsComplex) : nullptr;
    IntInit();
    if (AIsNew)
      FFrames.Begin(std::move(Frame));
    else
      FFrames.Resize(std::move(Frame));
  } catch (const std::bad_alloc&) {
    const std::int64_t Bytes = BytesFor(ASize);
    FCurrentSize = Before;
    if (AIsNew)
      StopFFT();
    else
      IntInit();
    RefuseMemory("frames of " + NumberText(ASize) + " samples", Bytes, SizeAdvice(ASize));
  }
}

// A size that was refused once is not asked for again: each try may take the system its time.
void TQSFourierBaseComponent::ResizeOrder() {
  const std::int32_t Size = WantedSize();
  try {
    const bool Keeps = Size == FCurrentSize || Size == FRefusedSize || Size == 0;
    MakeFrames(Keeps ? FCurrentSize : Size, false);
    if (Size != FCurrentSize || FRefusedSize == 0) return;
    FRefusedSize = 0;
    const std::lock_guard Lock(FReportMutex);
    FRefusal.clear();
  } catch (const EQSException& Refusal) {
    FRefusedSize = Size;
    FRefusalIsNew = true;
    const std::lock_guard Lock(FReportMutex);
    FRefusal = Refusal.what();
  }
}

void TQSFourierBaseComponent::RaiseRefusal() {
  if (!std::exchange(FRefusalIsNew, false)) return;
  const std::lock_guard Lock(FReportMutex);
  throw EQSException(FRefusal);
}

TKLNotifyResult TQSFourierBaseComponent::IntSingleOperation(IKLNotifyOperation& AOperation) {
  if (!AOperation.IsType<TKLSuppliedBufferOperation>()) return {};
  auto Packet = AOperation.GetInstance<TKLSuppliedBufferOperation>().Take();
  if (FIsComplex) {
    return IntSingleBufferOperation(TQSComplexBuffer::CreateUniversal(std::move(Packet)));
  }
  return IntSingleBufferOperation(TQSRealBuffer::CreateUniversal(std::move(Packet)));
}

// A block that a sink or a handler brings about, by a pump of its own, comes behind the one that is
// being taken.
TKLNotifyResult TQSFourierBaseComponent::IntSingleBufferOperation(TRef<IQSDataBuffer> ABuffer) {
  if (FTakes) {
    FWaiting.push_back(std::move(ABuffer));
    return {};
  }
  struct TTaking {
    TQSFourierBaseComponent& Component;
    explicit TTaking(TQSFourierBaseComponent& AComponent) : Component(AComponent) {
      Component.FTakes = true;
    }
    ~TTaking() {
      Component.FTakes = false;
      Component.FWaiting.clear();
    }
  } const Taking(*this);
  TakeBlock(ABuffer);
  while (!FWaiting.empty()) {
    const TRef<IQSDataBuffer> Block = std::move(FWaiting.front());
    FWaiting.pop_front();
    TakeBlock(Block);
  }
  return {};
}

void TQSFourierBaseComponent::TakeBlock(const TRef<IQSDataBuffer>& ABlock) {
  const std::int32_t Count = ABlock->GetSize();
  if (Count == 0) return;
  BlockArrives(Count);
  if (!FIntState) return;
  if (FFrames.IsBetween()) ResizeOrder();
  const std::uint64_t Stream = FStream;
  std::int32_t At = 0;
  FFrames.BeginBlock(FSamplingWindowStep);
  try {
    // A sink or a handler may have begun or ended a stream.
    while (Stream == FStream && FFrames.Next(*ABlock, At)) ProcessFFT();
  } catch (...) {
    if (Stream == FStream) FFrames.Lose(Count - At);
    throw;
  }
  RaiseRefusal();
}

// --- forward: the results ---

// AMake(), which computes something of a frame.
template <class TMake>
auto TQSFourierBaseComponent::WithMemory(TMake AMake) {
  try {
    return AMake();
  } catch (const std::bad_alloc&) {
    RefuseMemory("the spectrum of " + NumberText(FCurrentSize) + " samples", BytesFor(FCurrentSize),
                 SizeAdvice(FCurrentSize));
  }
}

void TQSFourierBaseComponent::ProcessFFT() {
  const std::uint64_t Stream = FStream;
  auto Bins = WithMemory([this] {
    auto Result = TQSComplexBuffer::CreateSize(FCurrentSize);
    SingleFFT(FFrames.Samples(), Result->Write(), FCurrentSize);
    return Result;
  });
  ProcessSpectrum(Bins);
  if (Stream != FStream) return;  // a handler has ended it
  if (WantsFrequency() || FSpectrumOutputPin.IsConnected()) {
    auto Lower = WithMemory([&] { return Magnitudes(*Bins); });
    if (WantsFrequency()) SendFrequency(*Lower, Bins->GetSize());
    FSpectrumOutputPin.SubmitBuffer(std::move(Lower));
  }
  FOutputPin.SubmitBuffer(std::move(Bins));
  if (Stream == FStream) ResizeOrder();
}

bool TQSFourierBaseComponent::WantsFrequency() const {
  return FOnFrequencyResult.IsAssigned() || FFrequencyOutputPin.IsConnected();
}

TRef<IQSRealBuffer> TQSFourierBaseComponent::Magnitudes(const IQSComplexBuffer& ABins) {
  auto Result = TQSRealBuffer::CreateSize(ABins.GetSize() / 2);
  if (Result->GetSize() == 0) return Result;
  ippsMagnitude_64fc(ABins.Read(), Result->Write(), Result->GetSize());
  if (FIgnoreDC) Result->Write()[0] = 0.0;
  return Result;
}

// Of bin k of N: k times the rate over N.
void TQSFourierBaseComponent::SendFrequency(const IQSRealBuffer& AMagnitudes, std::int32_t ASize) {
  const std::int32_t First = FirstPeakBin();
  if (First >= AMagnitudes.GetSize()) return;
  double Peak = 0.0;
  std::int32_t Bin = 0;
  ippsMaxIndx_64f(AMagnitudes.Read() + First, AMagnitudes.GetSize() - First, &Peak, &Bin);
  const double Frequency = std::isnan(Peak) ? Peak : (First + Bin) * FSampleRate / ASize;
  const double MaxFrequency = FSampleRate / 2.0;
  if (FOnFrequencyResult.IsAssigned()) {
    if (FSynchronize)
      QueueResult(Frequency, MaxFrequency);
    else
      FOnFrequencyResult(*this, Frequency, MaxFrequency);
  }
  FFrequencyOutputPin.SubmitValueRange(Frequency, 0.0, MaxFrequency);
}

// The main thread is called once for each result that waits.
void TQSFourierBaseComponent::QueueResult(double AFrequency, double AMaxFrequency) {
  {
    const std::lock_guard Lock(FReportMutex);
    FResults.push_back({AFrequency, AMaxFrequency});
    if (FResults.size() > MostResults) {
      FResults.pop_front();
      ++FDropped;
      return;
    }
  }
  MainThread().Execute(*this, [this] { ShowResult(); });
}

void TQSFourierBaseComponent::ShowResult() {
  TResult Result{};
  {
    const std::lock_guard Lock(FReportMutex);
    Result = FResults.front();
    FResults.pop_front();
  }
  FOnFrequencyResult(*this, Result.Frequency, Result.MaxFrequency);
}

// --- inverse ---

TQSBasicInverseFourierComponent::TQSBasicInverseFourierComponent(TConstruct AConstruct)
    : TQSFourierComponent(AConstruct), FInputPin({*this, FInputLock}, SinkEvent()) {}

TKLNotifyEvent TQSBasicInverseFourierComponent::SourceDispatch() {
  return GKLPassTroughDispatch(
      FInputPin, [this](TKLBasicPin& ASender, TKLBasicPin* AOtherPin, const TGUID& ADataTypeID,
                        IKLNotifyOperation& AOperation, TKLNotifyState AState) {
        return SinkDispatch(ASender, AOtherPin, ADataTypeID, AOperation, AState);
      });
}

namespace {

constexpr TClassText BasicInverseFourierComponentText{
    .BadInput =
        R"(A NaN or an infinity among the bins reaches all samples of the block. For real samples only the
bins up to N / 2 are read, and the imaginary parts of bin 0 and, for an even N, of bin N / 2 count
for 0.)",
    .Accuracy =
        R"(Each block stands alone, and goes out at once. While the output leads nowhere nothing is computed.)",
};

}  // namespace

const TPublishedTable& TQSBasicInverseFourierComponent::Published() {
  static const TPublishedTable Table =
      TPublishedTable(
          {.Name = "TQSBasicInverseFourierComponent", .Text = BasicInverseFourierComponentText},
          &TQSBasicThreadedFilter::Published())
          .Pin("InputPin", &TQSBasicInverseFourierComponent::InputPin,
               "The spectra, each a block of complex bins.", true);
  return Table;
}

TKLNotifyResult TQSBasicInverseFourierComponent::IntSingleOperation(
    IKLNotifyOperation& AOperation) {
  if (!AOperation.IsType<TKLSuppliedBufferOperation>()) return {};
  auto Packet = AOperation.GetInstance<TKLSuppliedBufferOperation>().Take();
  return IntSingleBufferOperation(TQSComplexBuffer::CreateUniversal(std::move(Packet)));
}

TKLNotifyResult TQSBasicInverseFourierComponent::IntSingleBufferOperation(
    TRef<IQSDataBuffer> ABuffer) {
  auto Bins = StaticRefCast<IQSComplexBuffer>(std::move(ABuffer));
  const std::int32_t Count = Bins->GetSize();
  TRef<IQSDataBuffer> Samples;
  try {
    if (!ReadyFor(Count) || !ResultPin().IsConnected()) return {};
    Samples = NewFrame(Count, IsComplexResult());
    if (Count > 0) {
      auto* const Values = reinterpret_cast<double*>(Samples->ByteWrite());
      FIntState->Inverse(Bins->Read(), Values);
      // In two halves where parts are more than an int32 counts.
      ippsMulC_64f_I(1.0 / Count, Values, Count);
      if (IsComplexResult()) ippsMulC_64f_I(1.0 / Count, Values + Count, Count);
    }
  } catch (const std::bad_alloc&) {
    RefuseMemory("a block of " + NumberText(Count) + " samples",
                 Count * std::int64_t{sizeof(TComplex)}, "smaller blocks take less");
  }
  Bins = nullptr;
  return ResultPin().SubmitBuffer(std::move(Samples));
}

}  // namespace tessalune
