#include <tessalune/primitives/ArgumentChecks.h>
#include <tessalune/primitives/BasicFilters.h>
#include <tessalune/primitives/StateMemory.h>
#include <tessalune/primitives/kernels/Biquads.h>
#include <tessalune/primitives/kernels/Denormals.h>
#include <tessalune/primitives/kernels/Iir.h>

#include <new>

namespace tessalune::TESSALUNE_BUILTINS {
namespace {

// One of two filters. A direct form of an order up to 2 is a chain of one section, which is faster.
struct TIirState : TRecordHead {
  static constexpr std::int32_t Context = 0x49495200;

  bool IsChain;
  union {
    kernels::TBiquadChain Chain;
    kernels::TDirectIir Direct;
  };
  std::size_t DelayLength;  // entries of the delay line that the caller sees

  TIirState() noexcept {}
};

void SetDelayLine(TIirState& AState, const double* pDlyLine) noexcept {
  if (!AState.IsChain) return AState.Direct.SetDelay(pDlyLine);
  const auto Entry = [&](std::size_t I) {
    return pDlyLine && I < AState.DelayLength ? pDlyLine[I] : 0.0;
  };
  for (std::size_t I = 0; I < AState.Chain.Count(); ++I)
    AState.Chain.SetDelay(I, {Entry(2 * I), Entry(2 * I + 1)});
}

IppStatus MakeChain(IppsIIRState_64f** ppState, const double* pTaps, std::size_t ASections,
                    std::size_t ADelayLength, const double* pDlyLine) noexcept {
  using namespace kernels;
  constexpr std::size_t GroupValues = sizeof(TSections) / sizeof(double);
  double* Memory = nullptr;
  auto* const State =
      AllocateRecord<TIirState>(TBiquadChain::Groups(ASections) * GroupValues, Memory);
  if (!State) return ippStsMemAllocErr;
  State->IsChain = true;
  State->DelayLength = ADelayLength;
  new (&State->Chain) TBiquadChain;
  State->Chain.Attach(reinterpret_cast<TSections*>(Memory), pTaps, ASections);
  if (pDlyLine) SetDelayLine(*State, pDlyLine);
  *ppState = reinterpret_cast<IppsIIRState_64f*>(State);
  return ippStsNoErr;
}

IppStatus MakeDirect(IppsIIRState_64f** ppState, const double* pTaps, std::size_t AOrder,
                     const double* pDlyLine) noexcept {
  double* Memory = nullptr;
  auto* const State = AllocateRecord<TIirState>(kernels::TDirectIir::Size(AOrder), Memory);
  if (!State) return ippStsMemAllocErr;
  State->IsChain = false;
  State->DelayLength = AOrder;
  new (&State->Direct) kernels::TDirectIir;
  State->Direct.Attach(Memory, pTaps, AOrder);
  if (pDlyLine) SetDelayLine(*State, pDlyLine);
  *ppState = reinterpret_cast<IppsIIRState_64f*>(State);
  return ippStsNoErr;
}

}  // namespace

IppStatus ippsIIRInitAlloc_64f(IppsIIRState_64f** ppState, const double* pTaps, std::int32_t order,
                               const double* pDlyLine) noexcept {
  if (!ppState || !pTaps) return ippStsNullPtrErr;
  if (order < 1) return ippStsIIROrderErr;
  const std::size_t Order = Count(order);
  const double* const A = pTaps + Order + 1;
  if (A[0] == 0.0) return ippStsDivByZeroErr;
  if (Order > 2) return MakeDirect(ppState, pTaps, Order, pDlyLine);
  const double Section[] = {pTaps[0], pTaps[1], Order == 2 ? pTaps[2] : 0.0,
                            A[0],     A[1],     Order == 2 ? A[2] : 0.0};
  return MakeChain(ppState, Section, 1, Order, pDlyLine);
}

IppStatus ippsIIRInitAlloc_BiQuad_64f(IppsIIRState_64f** ppState, const double* pTaps,
                                      std::int32_t numBq, const double* pDlyLine) noexcept {
  if (!ppState || !pTaps) return ippStsNullPtrErr;
  if (numBq < 1) return ippStsIIROrderErr;
  const std::size_t Sections = Count(numBq);
  for (std::size_t I = 0; I < Sections; ++I)
    if (pTaps[6 * I] == 0.0 || pTaps[6 * I + 3] == 0.0) return ippStsDivByZeroErr;
  return MakeChain(ppState, pTaps, Sections, 2 * Sections, pDlyLine);
}

IppStatus ippsIIRFree_64f(IppsIIRState_64f* pState) noexcept {
  if (!pState) return ippStsNullPtrErr;
  auto* const State = RecordOf<TIirState>(pState);
  if (!State) return ippStsContextMatchErr;
  FreeRecord(State);
  return ippStsNoErr;
}

IppStatus ippsIIR_64f(const double* pSrc, double* pDst, std::int32_t len,
                      IppsIIRState_64f* pState) noexcept {
  const IppStatus Status = CheckArguments(len, pSrc, pDst, pState);
  if (Status != ippStsNoErr) return Status;
  auto* const State = RecordOf<TIirState>(pState);
  if (!State) return ippStsContextMatchErr;
  const kernels::TFlushDenormals Flush;
  if (State->IsChain)
    State->Chain.Filter(pSrc, pDst, Count(len));
  else
    State->Direct.Filter(pSrc, pDst, Count(len));
  return ippStsNoErr;
}

IppStatus ippsIIRGetDlyLine_64f(const IppsIIRState_64f* pState, double* pDlyLine) noexcept {
  if (!pState || !pDlyLine) return ippStsNullPtrErr;
  const auto* const State = RecordOf<const TIirState>(pState);
  if (!State) return ippStsContextMatchErr;
  for (std::size_t I = 0; I < State->DelayLength; ++I) {
    if (!State->IsChain) {
      pDlyLine[I] = State->Direct.Delay(I);
      continue;
    }
    const kernels::TBiquadDelay Delay = State->Chain.Delay(I / 2);
    pDlyLine[I] = I % 2 == 0 ? Delay.Next : Delay.Second;
  }
  return ippStsNoErr;
}

IppStatus ippsIIRSetDlyLine_64f(IppsIIRState_64f* pState, const double* pDlyLine) noexcept {
  if (!pState) return ippStsNullPtrErr;
  auto* const State = RecordOf<TIirState>(pState);
  if (!State) return ippStsContextMatchErr;
  SetDelayLine(*State, pDlyLine);
  return ippStsNoErr;
}

}  // namespace tessalune::TESSALUNE_BUILTINS
