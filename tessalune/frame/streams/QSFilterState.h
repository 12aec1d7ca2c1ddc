// A filter with given taps, at work.
#pragma once

#include <tessalune/frame/streams/QSFilterTypes.h>
#include <tessalune/frame/streams/QSRecentSamples.h>
#include <tessalune/primitives/QSBasicDispatcher.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace tessalune {

// The states of the primitives that filter one stream, one behind the other. For one thread at a
// time.
class TQSFilterState {
 public:
  // Of a recursive filter, however long it remembers.
  static constexpr std::size_t RecursiveMemory = 4096;

  // Raises EQSException for taps, in the layout of AType, that give no filter: a coefficient A0
  // that is 0, a quotient by it that a double does not hold, a single pair of ftIIR, no memory. The
  // text is a part of a sentence that says why and what would do.
  //
  // Sections of ftBiquadIIR with B0 = 0, a delay in them, are what the primitive of chains refuses:
  // they go through that of the direct form.
  TQSFilterState(TQSFilterType AType, std::span<const double> ATaps);

  // How many samples of the past WarmUp makes use of.
  std::size_t Memory() const { return FFirState ? FFirTaps - 1 : RecursiveMemory; }
  // As if the filter had already seen these samples, which come before the next one: a finite
  // response goes on from there exactly; a recursive filter is run over them, from behind the last
  // one that is no finite number.
  void WarmUp(const TQSRecentSamples& APast);

  // False if a primitive refused; AOut is of no use then. AOut may be AIn.
  bool Filter(const double* AIn, double* AOut, std::int32_t ACount);

 private:
  struct TFree {
    void operator()(IppsFIRState_64f* AState) const { ippsFIRFree_64f(AState); }
    void operator()(IppsIIRState_64f* AState) const { ippsIIRFree_64f(AState); }
  };

  void AddDirectForm(std::span<const double> ATaps);
  void AddSections(std::span<const double> ATaps);

  std::unique_ptr<IppsFIRState_64f, TFree> FFirState;
  std::size_t FFirTaps = 0;
  std::vector<std::unique_ptr<IppsIIRState_64f, TFree>> FStages;
};

}  // namespace tessalune
