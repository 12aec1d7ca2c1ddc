#include <tessalune/filters/QSRemoveDC.h>
#include <tessalune/frame/runtime/QSCategories.h>
#include <tessalune/frame/runtime/QSComponentRegistry.h>

namespace tessalune {

const TPublishedTable& TQSRemoveDC::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSRemoveDC",
                       .DisplayName = "Remove DC Component",
                       .Category = categories::Filters,
                       .Doc = "The stream without its constant part: a high-pass of order 1 with "
                              "its edge at 20 Hz. Below 62.9 samples a second the stream passes "
                              "unchanged."},
                      &TQSCommonRealFilter::Published());
  return Table;
}

void TQSRemoveDC::SetSampleRate(double AValue) {
  TQSCommonRealFilter::SetSampleRate(AValue);
  FState = nullptr;
  FLacksMemory = false;
  if (!(AValue >= LeastRate)) return;
  const double Taps[] = {0.0, -1.0, 1.0, -1.0, 1.0 - 125.66370614359172 / AValue, 0.0};
  IppsIIRState_64f* State = nullptr;
  FLacksMemory = ippsIIRInitAlloc_64f(&State, Taps, 2, nullptr) != ippStsNoErr;
  if (!FLacksMemory) FState.reset(State);
}

std::vector<std::string> TQSRemoveDC::Remarks() const {
  if (FLacksMemory) return {"there was no memory for its filter; the stream passes unchanged"};
  return RemarksFor(SampleRate());
}

std::vector<std::string> TQSRemoveDC::RemarksFor(double ASampleRate) const {
  if (ASampleRate == 0.0 || ASampleRate >= LeastRate) return {};
  return {"at " + NumberText(ASampleRate) + " samples a second its filter is not stable, so the " +
          "stream passes unchanged; it takes " + NumberText(LeastRate) + " or more"};
}

void TQSRemoveDC::FilterInternalOperation(const TRef<IQSRealBuffer>& AInBuffer,
                                          TRef<IQSRealBuffer>& AOutBuffer, bool&) {
  if (!FState || ippsIIR_64f(AInBuffer->Read(), AOutBuffer->Write(), AOutBuffer->GetSize(),
                             FState.get()) != ippStsNoErr) {
    AOutBuffer = AInBuffer;
  }
}

void QSRemoveDC::RegisterPkg() { RegisterComponents({ClassOf<TQSRemoveDC>()}); }

}  // namespace tessalune
