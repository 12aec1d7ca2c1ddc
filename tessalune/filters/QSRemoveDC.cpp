#include <tessalune/filters/QSRemoveDC.h>
#include <tessalune/frame/runtime/QSCategories.h>
#include <tessalune/frame/runtime/QSComponentRegistry.h>

namespace tessalune {
namespace {

constexpr TClassText RemoveDCText{
    .Use =
        R"(Takes the constant part, and drift, out of a signal that comes from a converter or a rectifier,
before levels are measured or spectra are taken. There is nothing to set; for another edge take
TQSHighPass.)",
    .BadInput =
        R"(A NaN or an infinity stays in the filter's memory: all that follows is NaN until the stream starts
again. At a sample rate below 62.9 Hz there is no stable filter; the stream passes unchanged then,
and the notes of `run` tell.)",
    .Accuracy =
        R"(The edge is at about 20 Hz, with 6 dB an octave below it, and a step dies away by a factor of e in
8 ms. The output is one sample late. A few operations a sample. It begins anew at each start.)",
    .Formulas = R"(    y[n] = x[n - 1] - x[n - 2] + (1 - 2 pi 20 / rate) y[n - 1]

A high pass of order 1: a difference, and a pole at 1 - 2 pi 20 / rate.)",
    .SeeAlso = "TQSHighPass, TQSMean, TQSApplyRealConst",
    .Example =
        R"(A tone on an offset of 2, before and behind the filter: the offset dies away within some 30 ms.)",
};

}  // namespace

const TPublishedTable& TQSRemoveDC::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSRemoveDC",
                       .DisplayName = "Remove DC Component",
                       .Category = categories::Filters,
                       .Doc = "The stream without its constant part: a high-pass of order 1 with "
                              "its edge at 20 Hz. Below 62.9 samples a second the stream passes "
                              "unchanged.",
                       .Text = RemoveDCText},
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
