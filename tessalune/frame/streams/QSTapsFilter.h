// The frame of the filters of real streams that are given by taps: by their user, or designed.
#pragma once

#include <tessalune/frame/runtime/QSReports.h>
#include <tessalune/frame/streams/QSCommonFilter.h>
#include <tessalune/frame/streams/QSFilterFrequencyResponse.h>
#include <tessalune/frame/streams/QSFilterState.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace tessalune {

// What a filter is to be made of.
struct TQSTapsDesign {
  TQSFilterType Type = TQSFilterType::ftFIR;
  std::vector<double> Taps;  // none: a wire
  std::string Error;         // why there are none though some were asked for
};

// The filter's state is made anew when its taps change and at every announcement of a rate, equal
// or not. It takes over with the next block, warmed up with the samples before it, so that the
// output goes on as if the new filter had always run: exactly for a finite response, as far as
// 4,096 samples of the past tell for a recursive one. A change in a running stream so gives no
// click but the step from one filter's output to the other's. The samples are kept across a stop
// and a start; those that came while the filter was disabled, or its output led nowhere, are not
// among them.
//
// Without taps, or with such as give no filter, blocks go through unchanged, and DesignError says
// why. A block that a primitive refuses goes through unchanged too; the next one is tried again.
class TQSCommonTapsFilter : public TQSCommonRealFilter, public IRemarks {
 public:
  explicit TQSCommonTapsFilter(TConstruct AConstruct);
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  // Hz, above 0: the rate that the filter is made for until a stream announces its own.
  void SetSampleRateProp(double AValue);
  const TQSFilterFrequencyResponse& FrequencyResponse() const { return FFrequencyResponse; }

  // Why the filter is transparent, and what would do; empty if it filters, if nothing was asked
  // for, and while it waits for a rate that it needs. Listeners hear of a change.
  std::string DesignError() const;

  std::vector<std::string> Remarks() const override { return RemarksFor(FSampleRate); }
  std::vector<std::string> RemarksFor(double ASampleRate) const override;

 protected:
  void AfterConstruction() override;
  void SetSampleRate(double AValue) override;
  void FilterInternalOperation(const TRef<IQSRealBuffer>& AInBuffer,
                               TRef<IQSRealBuffer>& AOutBuffer, bool& ASendOutputData) override;

  // Makes the filter from what IntInit says, for the next block on; any thread.
  virtual void Init();
  // The filter for a stream of that rate (0: unknown). Called under ReadLock or more.
  virtual TQSTapsDesign IntInit(double ASampleRate) const = 0;
  // What else Remarks should say of a filter that works.
  virtual std::vector<std::string> DesignNotes(double) const { return {}; }
  // Lets the filter be a wire until the next Init.
  void FreeFilter();
  // For older forms that have no use any more.
  void DropForm(IReader&, std::string_view) {}

 private:
  using TState = std::unique_ptr<TQSFilterState>;
  // AState is empty and the text says why, if the design gives no filter.
  static std::string Make(TQSTapsDesign& ADesign, TState& AState);
  void HandOver(TState AState);
  void TakeOver();

  TQSFilterFrequencyResponse FFrequencyResponse;
  std::string FDesignError;  // under the lock

  std::mutex FNextMutex;
  TState FNext;  // waits for the next block
  std::atomic<bool> FHasNext{false};

  // Of the thread at the block.
  TState FState;
  TQSRecentSamples FPast;
};

}  // namespace tessalune
