#include <tessalune/control/QSDelayLine.h>
#include <tessalune/frame/runtime/QSCategories.h>
#include <tessalune/frame/runtime/QSComponentRegistry.h>

#include <cstring>
#include <new>
#include <utility>

namespace tessalune {

TQSDelayLine::TQSDelayLine(TConstruct AConstruct)
    : TQSControlFilter(AConstruct),
      FDelayValue(FLock, "DelayValue", [this] { CalculateDelay(); }) {}

namespace {

constexpr TClassText DelayLineText{
    .Use =
        R"(Holds a stream back by a time or by a number of samples: to bring two roads of a graph into step
again (the other one has a filter with a delay), to play an echo beside the signal, to look at
what came before a trigger. For echoes that die away take TQSCombFilter.)",
    .BadInput =
        R"(Any sample is passed on as it is. Memory that is not to be had ends the run with an error that
names the bytes. A longer delay, set on the way, repeats the newest sample that waits (raised from
0: zeros); a shorter one leaves the newest samples out.)",
    .Accuracy =
        R"(Exact: samples are moved, none is computed. A delay in milliseconds is rounded to whole samples of
the stream's rate. The cost of a sample does not depend on the delay, and the memory is that of
the samples that have come in and wait. Blocks are handled on the thread that delivers them,
whatever `Threading` says.)",
    .Formulas = R"(    y[n] = x[n - D], and 0 for the first D samples, D the delay in samples)",
    .SeeAlso = "TQSCombFilter, TQSRepack, TQSSubtract, TQSSnippetTrigger",
    .Example = "A tone, and the same tone 12 ms later.",
};

}  // namespace

const TPublishedTable& TQSDelayLine::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSDelayLine",
                       .DisplayName = "Add Signal Delay",
                       .Category = categories::Filters,
                       .Doc = "The stream, of any sample type, later by DelayValue; it begins with "
                              "zeros. Works on the thread that delivers, whatever Threading says.",
                       .Text = DelayLineText},
                      &TQSControlFilter::Published())
          .Object("DelayValue", &TQSDelayLine::DelayValue, "How much later.");
  return Table;
}

// Inside the lock. Before the first start there is no rate.
void TQSDelayLine::CalculateDelay() {
  if (FRunning) FSamplesDelay = FDelayValue.Samples(FSampleRate);
}

void TQSDelayLine::SetEnabled(bool AValue) {
  const ILockSection Section = WriteLock();
  TQSControlFilter::SetEnabled(AValue);
  if (!AValue) FForgets = true;
}

void TQSDelayLine::StreamStart() {
  const ILockSection Section = WriteLock();
  TQSControlFilter::StreamStart();
  CalculateDelay();
  FForgets = true;
}

// Makes the queue as long as the delay is.
void TQSDelayLine::FollowDelay(const IQSDataBuffer& ABlock) {
  const bool Forgets = FForgets.load(std::memory_order_relaxed) && FForgets.exchange(false);
  if (Forgets || FQueueType != ABlock.GetDataTypeID()) {
    FQueueType = ABlock.GetDataTypeID();
    FQueue.Reset(ABlock.GetElementSize());
  }
  if (FQueue.Size() != FSamplesDelay) FQueue.Resize(FSamplesDelay);
}

TKLNotifyResult TQSDelayLine::IntSingleBufferOperation(TRef<IQSDataBuffer> ABuffer) {
  if (!FRunning) return FOutputPin.SubmitBuffer(std::move(ABuffer));
  FollowDelay(*ABuffer);
  const std::int64_t Delay = FQueue.Size();
  if (!IsEnabled() || Delay == 0) return FOutputPin.SubmitBuffer(std::move(ABuffer));
  if (!FOutputPin.IsConnected()) return {};
  const std::int64_t Count = ABuffer->GetSize();
  const std::int64_t Waiting = std::min(Count, Delay);
  const std::int64_t Through = Count - Waiting;
  const auto Element = static_cast<std::size_t>(ABuffer->GetElementSize());
  auto Output = StaticRefCast<IQSDataBuffer>(ABuffer->MakeCopy());
  try {
    const std::uint8_t* In = ABuffer->ByteRead();
    std::uint8_t* Out = Output->ByteWrite();
    FQueue.Pop(Out, Waiting);
    if (Through > 0) {
      const std::size_t Bytes = static_cast<std::size_t>(Through) * Element;
      std::memcpy(Out + static_cast<std::size_t>(Waiting) * Element, In, Bytes);
      In += Bytes;
    }
    FQueue.Push(In, Waiting);
  } catch (const std::bad_alloc&) {
    RefuseMemory(FQueue.Size() * ABuffer->GetElementSize(),
                 "this much waits already; make DelayValue shorter");
  }
  ABuffer = nullptr;
  return FOutputPin.SubmitBuffer(std::move(Output));
}

void QSDelayLine::RegisterPkg() { RegisterComponents({ClassOf<TQSDelayLine>()}); }

}  // namespace tessalune
