#include <tessalune/primitives/ArgumentChecks.h>
#include <tessalune/primitives/Libcdispatcher.h>
#include <tessalune/primitives/QSBasicDispatcher.h>
#include <tessalune/primitives/QSDispatcher.h>
#include <tessalune/primitives/kernels/Elementary.h>
#include <tessalune/primitives/kernels/Elementwise.h>

namespace tessalune::TESSALUNE_BUILTINS {
namespace {

using kernels::RealLanes;
using kernels::TReals;
using kernels::TWords;

// The C library's angles of the lanes that the vectors' one does not serve.
[[gnu::noinline]] TReals AnglesOutside(TReals ADone, TWords AOutside, TReals Y, TReals X) noexcept {
  for (std::size_t L = 0; L < RealLanes; ++L)
    if (AOutside[L] != 0) ADone[L] = _atan2(Y[L], X[L]);
  return ADone;
}

// In its loop, where its constants stay in registers.
[[gnu::always_inline]] inline TReals Angles(const kernels::TComplexes& ASamples) noexcept {
  const kernels::TAngle Angle = kernels::Atan2(ASamples.Im, ASamples.Re);
  if (!kernels::Any(Angle.Outside)) [[likely]]
    return Angle.Value;
  return AnglesOutside(Angle.Value, Angle.Outside, ASamples.Im, ASamples.Re);
}

[[gnu::noinline]] kernels::TSinCos SinCosOutside(kernels::TSinCos ADone, TReals X) noexcept {
  for (std::size_t L = 0; L < RealLanes; ++L)
    if (ADone.Outside[L] != 0) {
      ADone.Sin[L] = _sin(X[L]);
      ADone.Cos[L] = _cos(X[L]);
    }
  return ADone;
}

[[gnu::always_inline]] inline kernels::TComplexes OnCircle(TReals ARadius, TReals AAngle) noexcept {
  kernels::TSinCos Unit = kernels::SinCos(AAngle);
  if (kernels::Any(Unit.Outside)) [[unlikely]]
    Unit = SinCosOutside(Unit, AAngle);
  return {Unit.Cos * ARadius, Unit.Sin * ARadius};
}

// Statuses of a logarithm of 0 and of a negative number; the latter goes first.
template <class TBase>
IppStatus Logarithm(const double* pSrc, double* pDst, std::int32_t len, IppStatus AOfZero,
                    IppStatus AOfNegative) noexcept {
  const IppStatus Status = CheckArguments(len, pSrc, pDst);
  if (Status != ippStsNoErr) return Status;
  TWords HasZero{};
  TWords HasNegative{};
  const auto Step = [&](TReals X) {
    HasZero |= X == 0.0;
    HasNegative |= X < 0.0;
    return kernels::Logarithm<TBase>(X);
  };
  kernels::Vectorwise(pDst, Count(len), Step, pSrc);
  if (kernels::Any(HasNegative)) return AOfNegative;
  return kernels::Any(HasZero) ? AOfZero : ippStsNoErr;
}

}  // namespace

IppStatus ippsMagnitude_64fc(const TComplex* pSrc, double* pDst, std::int32_t len) noexcept {
  const IppStatus Status = CheckArguments(len, pSrc, pDst);
  if (Status == ippStsNoErr)
    kernels::Map(pSrc, pDst, Count(len),
                 [](const TComplex& X) { return _sqrt(kernels::Power(X)); });
  return Status;
}

IppStatus ippsPhase_64fc(const TComplex* pSrc, double* pDst, std::int32_t len) noexcept {
  const IppStatus Status = CheckArguments(len, pSrc, pDst);
  if (Status == ippStsNoErr)
    kernels::Vectorwise(
        pDst, Count(len), [](const kernels::TComplexes& X) { return Angles(X); }, pSrc);
  return Status;
}

IppStatus ippsCartToPolar_64fc(const TComplex* pSrc, double* pDstMagn, double* pDstPhase,
                               std::int32_t len) noexcept {
  const IppStatus Status = TESSALUNE_BUILTINS::ippsMagnitude_64fc(pSrc, pDstMagn, len);
  const IppStatus PhaseStatus = TESSALUNE_BUILTINS::ippsPhase_64fc(pSrc, pDstPhase, len);
  return Status != ippStsNoErr ? Status : PhaseStatus;
}

IppStatus ippsPolarToCart_64fc(const double* pSrcMagn, const double* pSrcPhase, TComplex* pDst,
                               std::int32_t len) noexcept {
  const IppStatus Status = CheckArguments(len, pSrcMagn, pSrcPhase, pDst);
  if (Status == ippStsNoErr)
    kernels::Vectorwise(
        pDst, Count(len), [](TReals M, TReals P) { return OnCircle(M, P); }, pSrcMagn, pSrcPhase);
  return Status;
}

IppStatus ippsLn_64f(const double* pSrc, double* pDst, std::int32_t len) noexcept {
  return Logarithm<kernels::TNatural>(pSrc, pDst, len, ippStsLnZeroArg, ippStsLnNegArg);
}

IppStatus ippsLog10_64f_A53(const double* pSrc, double* pDst, std::int32_t len) noexcept {
  return Logarithm<kernels::TDecimal>(pSrc, pDst, len, ippStsSingularity, ippStsDomain);
}

}  // namespace tessalune::TESSALUNE_BUILTINS
