#include <tessalune/primitives/ArgumentChecks.h>
#include <tessalune/primitives/BasicFilters.h>
#include <tessalune/primitives/StateMemory.h>
#include <tessalune/primitives/kernels/LongFir.h>

namespace tessalune::TESSALUNE_BUILTINS {
namespace {

struct TFirState : TRecordHead {
  static constexpr std::int32_t Context = 0x46495200;

  kernels::TFir Filter;
};

void SetDelayLine(kernels::TFir& AFilter, const double* pDlyLine) noexcept {
  for (std::size_t K = 0; K < AFilter.Count(); ++K)
    AFilter.History().Ago(K + 1) = pDlyLine ? pDlyLine[K] : 0.0;
}

}  // namespace

IppStatus ippsFIRInitAlloc_64f(IppsFIRState_64f** ppState, const double* pTaps,
                               std::int32_t tapsLen, const double* pDlyLine) noexcept {
  if (!ppState || !pTaps) return ippStsNullPtrErr;
  if (tapsLen < 1) return ippStsFIRLenErr;
  double* Memory = nullptr;
  auto* const State = AllocateRecord<TFirState>(kernels::TFir::Size(Count(tapsLen)), Memory);
  if (!State) return ippStsMemAllocErr;
  if (!State->Filter.Attach(Memory, pTaps, Count(tapsLen))) {
    FreeRecord(State);
    return ippStsMemAllocErr;
  }
  if (pDlyLine) SetDelayLine(State->Filter, pDlyLine);
  *ppState = reinterpret_cast<IppsFIRState_64f*>(State);
  return ippStsNoErr;
}

IppStatus ippsFIRFree_64f(IppsFIRState_64f* pState) noexcept {
  if (!pState) return ippStsNullPtrErr;
  auto* const State = RecordOf<TFirState>(pState);
  if (!State) return ippStsContextMatchErr;
  State->Filter.Free();
  FreeRecord(State);
  return ippStsNoErr;
}

IppStatus ippsFIR_64f(const double* pSrc, double* pDst, std::int32_t numIters,
                      IppsFIRState_64f* pState) noexcept {
  const IppStatus Status = CheckArguments(numIters, pSrc, pDst, pState);
  if (Status != ippStsNoErr) return Status;
  auto* const State = RecordOf<TFirState>(pState);
  if (!State) return ippStsContextMatchErr;
  State->Filter.Filter(pSrc, pDst, Count(numIters));
  return ippStsNoErr;
}

IppStatus ippsFIRGetDlyLine_64f(const IppsFIRState_64f* pState, double* pDlyLine) noexcept {
  if (!pState || !pDlyLine) return ippStsNullPtrErr;
  const auto* const State = RecordOf<const TFirState>(pState);
  if (!State) return ippStsContextMatchErr;
  for (std::size_t K = 0; K < State->Filter.Count(); ++K)
    pDlyLine[K] = State->Filter.History().Ago(K + 1);
  return ippStsNoErr;
}

IppStatus ippsFIRSetDlyLine_64f(IppsFIRState_64f* pState, const double* pDlyLine) noexcept {
  if (!pState) return ippStsNullPtrErr;
  auto* const State = RecordOf<TFirState>(pState);
  if (!State) return ippStsContextMatchErr;
  SetDelayLine(State->Filter, pDlyLine);
  return ippStsNoErr;
}

}  // namespace tessalune::TESSALUNE_BUILTINS
