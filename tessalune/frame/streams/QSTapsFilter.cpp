#include <tessalune/frame/streams/QSTapsFilter.h>

#include <algorithm>
#include <utility>

namespace tessalune {

TQSCommonTapsFilter::TQSCommonTapsFilter(TConstruct AConstruct)
    : TQSCommonRealFilter(AConstruct), FFrequencyResponse(FLock, FSampleRate) {
  FPast.SetCapacity(TQSFilterState::RecursiveMemory);
}

namespace {

constexpr TClassText CommonTapsFilterText{
    .BadInput =
        R"(Where the settings give no filter the stream passes unchanged; `DesignError` and the notes of
`run` say why and what would do.)",
    .Accuracy =
        R"(A change of the filter gives no click in a stream that runs: the new filter is warmed up with the
samples that came before, exactly for a finite response, as far as 4,096 samples of the past tell
for a recursive one. These samples are kept across a stop and a start.)",
};

}  // namespace

const TPublishedTable& TQSCommonTapsFilter::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSCommonTapsFilter", .Text = CommonTapsFilterText},
                      &TQSCommonRealFilter::Published())
          .Field("DesignError", &TQSCommonTapsFilter::DesignError,
                 "Why the filter passes its stream through unchanged, and what would do; empty if "
                 "it filters.");
  return Table;
}

void TQSCommonTapsFilter::AfterConstruction() {
  TQSCommonRealFilter::AfterConstruction();
  Init();
}

void TQSCommonTapsFilter::SetSampleRateProp(double AValue) {
  FLock->NotifySetterMinExlude("SampleRate", FSampleRate, AValue, 0.0, 44100.0, [this] { Init(); });
}

void TQSCommonTapsFilter::SetSampleRate(double AValue) {
  const ILockSection Section = WriteLock();
  TQSCommonRealFilter::SetSampleRate(AValue);
  Init();
}

std::string TQSCommonTapsFilter::DesignError() const {
  const ILockSection Section = ReadLock();
  return FDesignError;
}

std::vector<std::string> TQSCommonTapsFilter::RemarksFor(double ASampleRate) const {
  const ILockSection Section = ReadLock();
  TQSTapsDesign Design = IntInit(ASampleRate);
  TState State;
  const std::string Error = Make(Design, State);
  if (!Error.empty()) return {"passes its stream through unchanged: " + Error};
  return State ? DesignNotes(ASampleRate) : std::vector<std::string>();
}

// --- the state ---

std::string TQSCommonTapsFilter::Make(TQSTapsDesign& ADesign, TState& AState) {
  if (ADesign.Error.empty() && !ADesign.Taps.empty()) {
    try {
      AState = std::make_unique<TQSFilterState>(ADesign.Type, ADesign.Taps);
    } catch (const EQSException& Error) {
      ADesign.Error = Error.what();
    }
  }
  return ADesign.Error;
}

void TQSCommonTapsFilter::Init() {
  const ILockSection Section = WriteLock();
  TQSTapsDesign Design = IntInit(FSampleRate);
  TState State;
  std::string Error = Make(Design, State);
  if (State) {
    FFrequencyResponse.SetTaps(Design.Type, std::move(Design.Taps));
  } else {
    FFrequencyResponse.Clear();
  }
  HandOver(std::move(State));
  if (Error == FDesignError) return;
  FDesignError = std::move(Error);
  FLock->NotifyChange({}, "DesignError", [this] { return ToValue(FDesignError); });
}

void TQSCommonTapsFilter::FreeFilter() { HandOver(nullptr); }

// One that waits in vain goes here.
void TQSCommonTapsFilter::HandOver(TState AState) {
  const std::lock_guard Lock(FNextMutex);
  FNext = std::move(AState);
  FHasNext.store(true, std::memory_order_release);
}

void TQSCommonTapsFilter::TakeOver() {
  {
    const std::lock_guard Lock(FNextMutex);
    FState = std::move(FNext);
    FHasNext.store(false, std::memory_order_relaxed);
  }
  if (!FState) return;
  FState->WarmUp(FPast);
  FPast.SetCapacity(std::max(FState->Memory(), TQSFilterState::RecursiveMemory));
}

void TQSCommonTapsFilter::FilterInternalOperation(const TRef<IQSRealBuffer>& AInBuffer,
                                                  TRef<IQSRealBuffer>& AOutBuffer, bool&) {
  if (FHasNext.load(std::memory_order_acquire)) TakeOver();
  const std::int32_t Count = AInBuffer->GetSize();
  if (Count == 0) return;
  const double* const In = AInBuffer->Read();
  FPast.Add(In, static_cast<std::size_t>(Count));
  if (!FState || !FState->Filter(In, AOutBuffer->Write(), Count)) AOutBuffer = AInBuffer;
}

}  // namespace tessalune
