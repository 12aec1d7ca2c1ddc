#include <tessalune/primitives/ArgumentChecks.h>
#include <tessalune/primitives/QSBasicDispatcher.h>
#include <tessalune/primitives/kernels/Elementwise.h>
#include <tessalune/primitives/kernels/Integer.h>
#include <tessalune/primitives/kernels/Reductions.h>
#include <tessalune/primitives/kernels/Uniform.h>
#include <tessalune/primitives/kernels/Waveforms.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

namespace tessalune::TESSALUNE_BUILTINS {
namespace {

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();

template <class T>
IppStatus Set(T val, T* pDst, std::int32_t len) noexcept {
  const IppStatus Status = CheckArguments(len, pDst);
  if (Status == ippStsNoErr) kernels::Fill(pDst, Count(len), val);
  return Status;
}

template <class T>
IppStatus Move(const T* pSrc, T* pDst, std::int32_t len) noexcept {
  const IppStatus Status = CheckArguments(len, pSrc, pDst);
  if (Status == ippStsNoErr) std::memmove(pDst, pSrc, Count(len) * sizeof(T));
  return Status;
}

template <class TIn, class TOut>
IppStatus Convert(const TIn* pSrc, TOut* pDst, std::int32_t len) noexcept {
  const IppStatus Status = CheckArguments(len, pSrc, pDst);
  if (Status == ippStsNoErr)
    kernels::Map(pSrc, pDst, Count(len), [](TIn X) { return static_cast<TOut>(X); });
  return Status;
}

template <class TFunction>
IppStatus FromComplex(const TComplex* pSrc, double* pDst, std::int32_t len,
                      TFunction AFunction) noexcept {
  const IppStatus Status = CheckArguments(len, pSrc, pDst);
  if (Status == ippStsNoErr) kernels::Map(pSrc, pDst, Count(len), AFunction);
  return Status;
}

// AValue * 2^-scaleFactor in two steps, each of whose factors a double holds for every scale factor
// that leaves something to round.
class TDoubleScale {
 public:
  explicit TDoubleScale(std::int32_t AScaleFactor) noexcept {
    const int Exponent = -std::clamp(AScaleFactor, -2000, 2000);
    FFirst = std::ldexp(1.0, Exponent / 2);
    FSecond = std::ldexp(1.0, Exponent - Exponent / 2);
  }

  kernels::TReals operator()(kernels::TReals AValue) const noexcept {
    return AValue * FFirst * FSecond;
  }

 private:
  double FFirst;
  double FSecond;
};

}  // namespace

IppStatus ippsSet_8u(std::uint8_t val, std::uint8_t* pDst, std::int32_t len) noexcept {
  return Set(val, pDst, len);
}
IppStatus ippsSet_32s(std::int32_t val, std::int32_t* pDst, std::int32_t len) noexcept {
  return Set(val, pDst, len);
}
IppStatus ippsSet_64f(double val, double* pDst, std::int32_t len) noexcept {
  return Set(val, pDst, len);
}
IppStatus ippsSet_64fc(TComplex val, TComplex* pDst, std::int32_t len) noexcept {
  return Set(val, pDst, len);
}

IppStatus ippsZero_8u(std::uint8_t* pDst, std::int32_t len) noexcept {
  return Set(std::uint8_t{0}, pDst, len);
}
IppStatus ippsZero_16s(std::int16_t* pDst, std::int32_t len) noexcept {
  return Set(std::int16_t{0}, pDst, len);
}
IppStatus ippsZero_32s(std::int32_t* pDst, std::int32_t len) noexcept { return Set(0, pDst, len); }
IppStatus ippsZero_64f(double* pDst, std::int32_t len) noexcept { return Set(0.0, pDst, len); }
IppStatus ippsZero_64fc(TComplex* pDst, std::int32_t len) noexcept {
  return Set(TComplex{}, pDst, len);
}

IppStatus ippsCopy_8u(const std::uint8_t* pSrc, std::uint8_t* pDst, std::int32_t len) noexcept {
  return Move(pSrc, pDst, len);
}
IppStatus ippsCopy_64f(const double* pSrc, double* pDst, std::int32_t len) noexcept {
  return Move(pSrc, pDst, len);
}
IppStatus ippsCopy_32s(const std::int32_t* pSrc, std::int32_t* pDst, std::int32_t len) noexcept {
  return Move(pSrc, pDst, len);
}
IppStatus ippsMove_8u(const std::uint8_t* pSrc, std::uint8_t* pDst, std::int32_t len) noexcept {
  return Move(pSrc, pDst, len);
}
IppStatus ippsMove_64f(const double* pSrc, double* pDst, std::int32_t len) noexcept {
  return Move(pSrc, pDst, len);
}

IppStatus ippsSum_64f(const double* pSrc, std::int32_t len, double* pSum) noexcept {
  const IppStatus Status = CheckArguments(len, pSrc, pSum);
  if (Status == ippStsNoErr) *pSum = kernels::Sum(pSrc, Count(len));
  return Status;
}

IppStatus ippsNorm_L2_64f(const double* pSrc, std::int32_t len, double* pNorm) noexcept {
  const IppStatus Status = CheckArguments(len, pSrc, pNorm);
  if (Status == ippStsNoErr) *pNorm = std::sqrt(kernels::SumOfSquares(pSrc, Count(len)));
  return Status;
}

IppStatus ippsNorm_L2_64fc64f(const TComplex* pSrc, std::int32_t len, double* pNorm) noexcept {
  const IppStatus Status = CheckArguments(len, pSrc, pNorm);
  if (Status == ippStsNoErr) *pNorm = std::sqrt(kernels::SumOfSquares(&pSrc->Re, 2 * Count(len)));
  return Status;
}

IppStatus ippsMean_64f(const double* pSrc, std::int32_t len, double* pMean) noexcept {
  const IppStatus Status = CheckArguments(len, pSrc, pMean);
  if (Status == ippStsNoErr) *pMean = kernels::Sum(pSrc, Count(len)) / len;
  return Status;
}

IppStatus ippsMinMax_64f(const double* pSrc, std::int32_t len, double* pMin,
                         double* pMax) noexcept {
  const IppStatus Status = CheckArguments(len, pSrc, pMin, pMax);
  if (Status != ippStsNoErr) return Status;
  const double Min = kernels::Minimum(pSrc, Count(len));
  const double Max = kernels::Maximum(pSrc, Count(len));
  const bool HasNumbers = Min <= Max;
  *pMin = HasNumbers ? Min : NaN;
  *pMax = HasNumbers ? Max : NaN;
  return ippStsNoErr;
}

IppStatus ippsMaxIndx_64f(const double* pSrc, std::int32_t len, double* pMax,
                          std::int32_t* pIndx) noexcept {
  const IppStatus Status = CheckArguments(len, pSrc, pMax, pIndx);
  if (Status != ippStsNoErr) return Status;
  const double Max = kernels::Maximum(pSrc, Count(len));
  const std::size_t Index = kernels::IndexOf(pSrc, Count(len), Max);
  const bool HasNumbers = Index < Count(len);
  *pMax = HasNumbers ? Max : NaN;
  *pIndx = HasNumbers ? static_cast<std::int32_t>(Index) : 0;
  return ippStsNoErr;
}

IppStatus ippsConvert_64f32s_Sfs(const double* pSrc, std::int32_t* pDst, std::int32_t len,
                                 IppRoundMode rndMode, std::int32_t scaleFactor) noexcept {
  const IppStatus Status = CheckArguments(len, pSrc, pDst);
  if (Status != ippStsNoErr) return Status;
  const TDoubleScale Scale(scaleFactor);
  const auto Convert = [=](auto ARound) {
    kernels::Vectorwise(
        pDst, Count(len), [=](kernels::TReals X) { return ARound(Scale(X)); }, pSrc);
    return ippStsNoErr;
  };
  switch (rndMode) {
    case ippRndZero:
      return Convert(kernels::RoundZero);
    case ippRndNear:
      return Convert(kernels::RoundNear);
    case ippRndFinancial:
      return Convert(kernels::RoundFinancial);
  }
  return ippStsRoundModeNotSupportedErr;
}

IppStatus ippsConvert_32s64f(const std::int32_t* pSrc, double* pDst, std::int32_t len) noexcept {
  return Convert(pSrc, pDst, len);
}
IppStatus ippsConvert_64f32f(const double* pSrc, float* pDst, std::int32_t len) noexcept {
  return Convert(pSrc, pDst, len);
}
IppStatus ippsConvert_32f64f(const float* pSrc, double* pDst, std::int32_t len) noexcept {
  return Convert(pSrc, pDst, len);
}

IppStatus ippsReal_64fc(const TComplex* pSrc, double* pDstRe, std::int32_t len) noexcept {
  return FromComplex(pSrc, pDstRe, len, [](const TComplex& X) { return X.Re; });
}
IppStatus ippsImag_64fc(const TComplex* pSrc, double* pDstIm, std::int32_t len) noexcept {
  return FromComplex(pSrc, pDstIm, len, [](const TComplex& X) { return X.Im; });
}
IppStatus ippsPowerSpectr_64fc(const TComplex* pSrc, double* pDst, std::int32_t len) noexcept {
  return FromComplex(pSrc, pDst, len, kernels::Power);
}

IppStatus ippsRealToCplx_64f(const double* pSrcRe, const double* pSrcIm, TComplex* pDst,
                             std::int32_t len) noexcept {
  const IppStatus Status = CheckArguments(len, pSrcRe ? pSrcRe : pSrcIm, pDst);
  if (Status != ippStsNoErr) return Status;
  if (!pSrcIm)
    kernels::Map(pSrcRe, pDst, Count(len), [](double X) { return TComplex{X, 0.0}; });
  else if (!pSrcRe)
    kernels::Map(pSrcIm, pDst, Count(len), [](double X) { return TComplex{0.0, X}; });
  else
    kernels::Zip(pSrcRe, pSrcIm, pDst, Count(len), [](double X, double Y) {
      return TComplex{X, Y};
    });
  return ippStsNoErr;
}

IppStatus ippsConjCcs_64fc_I(TComplex* pSrcDst, std::int32_t lenDst) noexcept {
  const IppStatus Status = CheckArguments(lenDst, pSrcDst);
  if (Status != ippStsNoErr) return Status;
  const std::size_t Length = Count(lenDst);
  kernels::ConjFlip(pSrcDst + 1, pSrcDst + Length / 2 + 1, (Length - 1) / 2);
  return ippStsNoErr;
}

IppStatus ippsVectorJaehne_64f(double* pDst, std::int32_t len, double magn) noexcept {
  const IppStatus Status = CheckArguments(len, pDst);
  if (Status != ippStsNoErr) return Status;
  if (!(magn >= 0.0)) return ippStsJaehneErr;
  kernels::Jaehne(pDst, Count(len), magn);
  return ippStsNoErr;
}

IppStatus ippsRandUniform_Direct_64f(double* pDst, std::int32_t len, double low, double high,
                                     std::uint32_t* pSeed) noexcept {
  const IppStatus Status = CheckArguments(len, pDst, pSeed);
  if (Status == ippStsNoErr) *pSeed = kernels::RandUniform(pDst, Count(len), low, high, *pSeed);
  return Status;
}

}  // namespace tessalune::TESSALUNE_BUILTINS
