#pragma once

#include <tessalune/frame/runtime/QSReports.h>
#include <tessalune/frame/streams/QSCommonFilter.h>
#include <tessalune/primitives/BasicFilters.h>

#include <memory>
#include <string>
#include <vector>

namespace tessalune {

// Takes the constant part out of a real stream, with a high-pass of order 1 whose edge is at about
// 20 Hz, one sample later:
//   y[n] = x[n - 1] - x[n - 2] + (1 - 2 pi 20 / rate) y[n - 1]
// A step dies away by a factor of e in 1 / (2 pi 20) s, 8 ms. It begins anew at each start.
//
// At a rate below LeastRate that is no stable filter: there the stream passes unchanged, and
// Remarks says so. Before the first start, too, blocks pass unchanged.
class TQSRemoveDC : public TQSCommonRealFilter, public IRemarks {
 public:
  using TQSCommonRealFilter::TQSCommonRealFilter;
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  // Hz; a little above 2 pi 20 / 2, at which the pole 1 - 2 pi 20 / rate comes to -1.
  static constexpr double LeastRate = 62.9;

  std::vector<std::string> Remarks() const override;
  std::vector<std::string> RemarksFor(double ASampleRate) const override;

 protected:
  void SetSampleRate(double AValue) override;
  void FilterInternalOperation(const TRef<IQSRealBuffer>& AInBuffer,
                               TRef<IQSRealBuffer>& AOutBuffer, bool& ASendOutputData) override;

 private:
  struct TStateEnd {
    void operator()(IppsIIRState_64f* AState) const noexcept { ippsIIRFree_64f(AState); }
  };
  std::unique_ptr<IppsIIRState_64f, TStateEnd> FState;  // of the thread that computes
  TField<bool> FLacksMemory;
};

namespace QSRemoveDC {
void RegisterPkg();
}

}  // namespace tessalune
