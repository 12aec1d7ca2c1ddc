#pragma once

#include <tessalune/frame/streams/QSCommonFilter.h>
#include <tessalune/frame/streams/QSDelayQueue.h>

#include <array>
#include <atomic>
#include <cstdint>

namespace tessalune {

// Where a comb takes its echo from; in order from 0.
enum class TQSCombFeed : std::uint8_t {
  cfForward,  // the input: y[n] = x[n] + Coefficient x[n - Delay]
  cfBack,     // the output: y[n] = x[n] + Coefficient y[n - Delay]
};
template <>
struct TEnumNames<TQSCombFeed> {
  static constexpr std::array<std::string_view, 2> Names{"cfForward", "cfBack"};
};

// Adds to a stream its own past, which lifts and lowers frequencies at even distances like the
// teeth of a comb. A stream begins with a past of zeros; so does what follows a new Delay or Feed,
// and any setting of Enabled.
//
// With cfBack and a Delay above the size of the blocks, the filter is another one, which depends on
// how the stream is cut into blocks: there is no direct path. A block of N samples puts out what
// went into the delay Delay samples before, and what goes in is the block plus Coefficient times
// the N samples that went in last. Take blocks of at least Delay samples for the comb above. And
// with a Coefficient of 1 or more the feedback does not die away.
//
// The cost of a sample does not depend on the delay, and the memory grows with what has come in,
// not with the number that Delay is.
class TQSCombFilter : public TQSCommonRealFilter {
 public:
  using TQSCommonRealFilter::TQSCommonRealFilter;
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  // At least 0, default 0.9; takes effect with the next block, on its past too.
  double Coefficient() const { return FCoefficient; }
  void SetCoefficient(double AValue);

  // Samples; default 1000. Takes effect with the next block.
  std::uint32_t Delay() const { return FDelay; }
  void SetDelay(std::uint32_t AValue);

  // Default cfForward; takes effect with the next block.
  TQSCombFeed Feed() const { return FFeed; }
  void SetFeed(TQSCombFeed AValue);

  void SetEnabled(bool AValue) override;

 protected:
  void StreamStart() override;
  void FilterInternalOperation(const TRef<IQSRealBuffer>& AInBuffer,
                               TRef<IQSRealBuffer>& AOutBuffer, bool& ASendOutputData) override;

 private:
  void FeedForward(const double* AIn, double* AOut, std::int32_t ACount);
  void FeedBack(const double* AIn, double* AOut, std::int32_t ACount);
  void FeedBackBeyond(const double* AIn, double* AOut, std::int32_t ACount);

  TField<double> FCoefficient;
  TField<std::uint32_t> FDelay;
  TField<TQSCombFeed> FFeed;
  std::atomic<bool> FForgets{true};  // the past counts no more
  TQSDelayQueue FPast;               // of the thread that computes
};

namespace QSCombFilter {
void RegisterPkg();
}

}  // namespace tessalune
