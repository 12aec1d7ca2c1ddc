#include <tessalune/primitives/ArgumentChecks.h>
#include <tessalune/primitives/QSBasicDispatcher.h>
#include <tessalune/primitives/kernels/Elementwise.h>
#include <tessalune/primitives/kernels/Integer.h>

#include <bit>
#include <functional>

namespace tessalune::TESSALUNE_BUILTINS {
namespace {

template <class TIn, class TOut, class TFunction>
IppStatus Unary(const TIn* pSrc, TOut* pDst, std::int32_t len, TFunction AFunction) noexcept {
  const IppStatus Status = CheckArguments(len, pSrc, pDst);
  if (Status == ippStsNoErr) kernels::Map(pSrc, pDst, Count(len), AFunction);
  return Status;
}

template <class T, class TFunction>
IppStatus Binary(const T* pSrc1, const T* pSrc2, T* pDst, std::int32_t len,
                 TFunction AFunction) noexcept {
  const IppStatus Status = CheckArguments(len, pSrc1, pSrc2, pDst);
  if (Status == ippStsNoErr) kernels::Zip(pSrc1, pSrc2, pDst, Count(len), AFunction);
  return Status;
}

template <class T>
IppStatus AddC(const T* pSrc, T val, T* pDst, std::int32_t len) noexcept {
  return Unary(pSrc, pDst, len, [val](const T& X) { return X + val; });
}

template <class T>
IppStatus SubC(const T* pSrc, T val, T* pDst, std::int32_t len) noexcept {
  return Unary(pSrc, pDst, len, [val](const T& X) { return X - val; });
}

template <class T>
IppStatus SubCRev(const T* pSrc, T val, T* pDst, std::int32_t len) noexcept {
  return Unary(pSrc, pDst, len, [val](const T& X) { return val - X; });
}

template <class T>
IppStatus MulC(const T* pSrc, T val, T* pDst, std::int32_t len) noexcept {
  return Unary(pSrc, pDst, len, [val](const T& X) { return X * val; });
}

// Of a loop over complex products g++ 12 makes fused instructions even with -ffp-contract=off; of
// vectors with the parts apart it does not.
IppStatus MulC(const TComplex* pSrc, TComplex val, TComplex* pDst, std::int32_t len) noexcept {
  const IppStatus Status = CheckArguments(len, pSrc, pDst);
  if (Status != ippStsNoErr) return Status;
  const auto Multiply = [B = kernels::Splat(val)](const kernels::TComplexes& A) {
    return kernels::Multiply(A, B);
  };
  kernels::Vectorwise(pDst, Count(len), Multiply, pSrc);
  return ippStsNoErr;
}

IppStatus Mul(const TComplex* pSrc1, const TComplex* pSrc2, TComplex* pDst,
              std::int32_t len) noexcept {
  const IppStatus Status = CheckArguments(len, pSrc1, pSrc2, pDst);
  if (Status != ippStsNoErr) return Status;
  const auto Multiply = [](const kernels::TComplexes& A, const kernels::TComplexes& B) {
    return kernels::Multiply(A, B);
  };
  kernels::Vectorwise(pDst, Count(len), Multiply, pSrc1, pSrc2);
  return ippStsNoErr;
}

template <class T>
IppStatus DivC(const T* pSrc, T val, T* pDst, std::int32_t len) noexcept {
  const IppStatus Status = CheckArguments(len, pSrc, pDst);
  if (Status != ippStsNoErr) return Status;
  if (val == T{}) return ippStsDivByZeroErr;
  kernels::Vectorwise(
      pDst, Count(len), [B = kernels::Splat(val)](auto A) { return kernels::Quotient(A, B); },
      pSrc);
  return ippStsNoErr;
}

template <class T>
IppStatus Sub(const T* pSrc1, const T* pSrc2, T* pDst, std::int32_t len) noexcept {
  return Binary(pSrc1, pSrc2, pDst, len, [](const T& A, const T& B) { return B - A; });
}

template <class T>
IppStatus Div(const T* pSrc1, const T* pSrc2, T* pDst, std::int32_t len) noexcept {
  const IppStatus Status = CheckArguments(len, pSrc1, pSrc2, pDst);
  if (Status != ippStsNoErr) return Status;
  kernels::TWords HasZero{};
  const auto Divide = [&HasZero](auto A, auto B) {
    HasZero |= kernels::IsZero(A);
    return kernels::Quotient(B, A);
  };
  kernels::Vectorwise(pDst, Count(len), Divide, pSrc1, pSrc2);
  return kernels::Any(HasZero) ? ippStsDivByZero : ippStsNoErr;
}

// AExact gives the result as a 64-bit integer, ASaturated saturated to 32 bits.
template <class TExact, class TSaturated>
IppStatus Scaled(const std::int32_t* pSrc, std::int32_t val, std::int32_t* pDst, std::int32_t len,
                 std::int32_t scaleFactor, TExact AExact, TSaturated ASaturated) noexcept {
  if (scaleFactor == 0)
    return Unary(pSrc, pDst, len, [val, ASaturated](std::int32_t X) { return ASaturated(X, val); });
  return Unary(pSrc, pDst, len, [val, scaleFactor, AExact](std::int32_t X) {
    return kernels::Scale(AExact(std::int64_t{X}, std::int64_t{val}), scaleFactor);
  });
}

// The product in double, which vectorises on every processor and is exact where it is not
// saturated.
IppStatus SaturatedMulC(const std::int32_t* pSrc, std::int32_t val, std::int32_t* pDst,
                        std::int32_t len) noexcept {
  const IppStatus Status = CheckArguments(len, pSrc, pDst);
  if (Status != ippStsNoErr) return Status;
  const auto Multiply = [Factor = static_cast<double>(val)](kernels::TInts X) {
    return kernels::Truncate(kernels::Bounded(kernels::AsReals(X) * Factor));
  };
  kernels::Vectorwise(pDst, Count(len), Multiply, pSrc);
  return ippStsNoErr;
}

template <class TFunction>
IppStatus Shifted(const std::int32_t* pSrc, std::int32_t val, std::int32_t* pDst, std::int32_t len,
                  TFunction AFunction) noexcept {
  const IppStatus Status = CheckArguments(len, pSrc, pDst);
  if (Status != ippStsNoErr) return Status;
  if (val < 0) return ippStsShiftErr;
  kernels::Map(pSrc, pDst, Count(len), AFunction);
  return ippStsNoErr;
}

}  // namespace

IppStatus ippsAddC_64f(const double* pSrc, double val, double* pDst, std::int32_t len) noexcept {
  return AddC(pSrc, val, pDst, len);
}
IppStatus ippsSubC_64f(const double* pSrc, double val, double* pDst, std::int32_t len) noexcept {
  return SubC(pSrc, val, pDst, len);
}
IppStatus ippsSubCRev_64f(const double* pSrc, double val, double* pDst, std::int32_t len) noexcept {
  return SubCRev(pSrc, val, pDst, len);
}
IppStatus ippsMulC_64f(const double* pSrc, double val, double* pDst, std::int32_t len) noexcept {
  return MulC(pSrc, val, pDst, len);
}
IppStatus ippsDivC_64f(const double* pSrc, double val, double* pDst, std::int32_t len) noexcept {
  return DivC(pSrc, val, pDst, len);
}
IppStatus ippsAddC_64f_I(double val, double* pSrcDst, std::int32_t len) noexcept {
  return AddC(pSrcDst, val, pSrcDst, len);
}
IppStatus ippsSubC_64f_I(double val, double* pSrcDst, std::int32_t len) noexcept {
  return SubC(pSrcDst, val, pSrcDst, len);
}
IppStatus ippsMulC_64f_I(double val, double* pSrcDst, std::int32_t len) noexcept {
  return MulC(pSrcDst, val, pSrcDst, len);
}

IppStatus ippsAddC_64fc(const TComplex* pSrc, TComplex val, TComplex* pDst,
                        std::int32_t len) noexcept {
  return AddC(pSrc, val, pDst, len);
}
IppStatus ippsSubC_64fc(const TComplex* pSrc, TComplex val, TComplex* pDst,
                        std::int32_t len) noexcept {
  return SubC(pSrc, val, pDst, len);
}
IppStatus ippsSubCRev_64fc(const TComplex* pSrc, TComplex val, TComplex* pDst,
                           std::int32_t len) noexcept {
  return SubCRev(pSrc, val, pDst, len);
}
IppStatus ippsMulC_64fc(const TComplex* pSrc, TComplex val, TComplex* pDst,
                        std::int32_t len) noexcept {
  return MulC(pSrc, val, pDst, len);
}
IppStatus ippsDivC_64fc(const TComplex* pSrc, TComplex val, TComplex* pDst,
                        std::int32_t len) noexcept {
  return DivC(pSrc, val, pDst, len);
}
IppStatus ippsMulC_64fc_I(TComplex val, TComplex* pSrcDst, std::int32_t len) noexcept {
  return MulC(pSrcDst, val, pSrcDst, len);
}

IppStatus ippsAddC_32s_Sfs(const std::int32_t* pSrc, std::int32_t val, std::int32_t* pDst,
                           std::int32_t len, std::int32_t scaleFactor) noexcept {
  return Scaled(pSrc, val, pDst, len, scaleFactor, std::plus<>{}, kernels::SaturatedSum);
}
IppStatus ippsSubC_32s_Sfs(const std::int32_t* pSrc, std::int32_t val, std::int32_t* pDst,
                           std::int32_t len, std::int32_t scaleFactor) noexcept {
  return Scaled(pSrc, val, pDst, len, scaleFactor, std::minus<>{}, kernels::SaturatedDifference);
}
IppStatus ippsSubCRev_32s_Sfs(const std::int32_t* pSrc, std::int32_t val, std::int32_t* pDst,
                              std::int32_t len, std::int32_t scaleFactor) noexcept {
  const auto Reversed = [](auto AFunction) {
    return [AFunction](auto X, auto V) { return AFunction(V, X); };
  };
  return Scaled(pSrc, val, pDst, len, scaleFactor, Reversed(std::minus<>{}),
                Reversed(kernels::SaturatedDifference));
}
IppStatus ippsMulC_32s_Sfs(const std::int32_t* pSrc, std::int32_t val, std::int32_t* pDst,
                           std::int32_t len, std::int32_t scaleFactor) noexcept {
  if (scaleFactor == 0) return SaturatedMulC(pSrc, val, pDst, len);
  return Unary(pSrc, pDst, len, [val, scaleFactor](std::int32_t X) {
    return kernels::Scale(std::int64_t{X} * val, scaleFactor);
  });
}

IppStatus ippsAndC_32u(const std::uint32_t* pSrc, std::uint32_t val, std::uint32_t* pDst,
                       std::int32_t len) noexcept {
  return Unary(pSrc, pDst, len, [val](std::uint32_t X) { return X & val; });
}
IppStatus ippsOrC_32u(const std::uint32_t* pSrc, std::uint32_t val, std::uint32_t* pDst,
                      std::int32_t len) noexcept {
  return Unary(pSrc, pDst, len, [val](std::uint32_t X) { return X | val; });
}
IppStatus ippsXorC_32u(const std::uint32_t* pSrc, std::uint32_t val, std::uint32_t* pDst,
                       std::int32_t len) noexcept {
  return Unary(pSrc, pDst, len, [val](std::uint32_t X) { return X ^ val; });
}

IppStatus ippsLShiftC_32s(const std::int32_t* pSrc, std::int32_t val, std::int32_t* pDst,
                          std::int32_t len) noexcept {
  return Shifted(pSrc, val, pDst, len,
                 [val](std::int32_t X) { return val > 31 ? 0 : X << (val & 31); });
}
IppStatus ippsRShiftC_32s(const std::int32_t* pSrc, std::int32_t val, std::int32_t* pDst,
                          std::int32_t len) noexcept {
  return Shifted(pSrc, val, pDst, len,
                 [Bits = val > 31 ? 31 : val](std::int32_t X) { return X >> Bits; });
}

IppStatus ippsAdd_64f(const double* pSrc1, const double* pSrc2, double* pDst,
                      std::int32_t len) noexcept {
  return Binary(pSrc1, pSrc2, pDst, len, std::plus<>{});
}
IppStatus ippsSub_64f(const double* pSrc1, const double* pSrc2, double* pDst,
                      std::int32_t len) noexcept {
  return Sub(pSrc1, pSrc2, pDst, len);
}
IppStatus ippsMul_64f(const double* pSrc1, const double* pSrc2, double* pDst,
                      std::int32_t len) noexcept {
  return Binary(pSrc1, pSrc2, pDst, len, std::multiplies<>{});
}
IppStatus ippsDiv_64f(const double* pSrc1, const double* pSrc2, double* pDst,
                      std::int32_t len) noexcept {
  return Div(pSrc1, pSrc2, pDst, len);
}
IppStatus ippsAdd_64f_I(const double* pSrc, double* pSrcDst, std::int32_t len) noexcept {
  return Binary(pSrc, pSrcDst, pSrcDst, len, std::plus<>{});
}
IppStatus ippsSub_64f_I(const double* pSrc, double* pSrcDst, std::int32_t len) noexcept {
  return Sub(pSrc, pSrcDst, pSrcDst, len);
}
IppStatus ippsMul_64f_I(const double* pSrc, double* pSrcDst, std::int32_t len) noexcept {
  return Binary(pSrc, pSrcDst, pSrcDst, len, std::multiplies<>{});
}
IppStatus ippsDiv_64f_I(const double* pSrc, double* pSrcDst, std::int32_t len) noexcept {
  return Div(pSrc, pSrcDst, pSrcDst, len);
}

IppStatus ippsAdd_64fc(const TComplex* pSrc1, const TComplex* pSrc2, TComplex* pDst,
                       std::int32_t len) noexcept {
  return Binary(pSrc1, pSrc2, pDst, len, std::plus<>{});
}
IppStatus ippsSub_64fc(const TComplex* pSrc1, const TComplex* pSrc2, TComplex* pDst,
                       std::int32_t len) noexcept {
  return Sub(pSrc1, pSrc2, pDst, len);
}
IppStatus ippsMul_64fc(const TComplex* pSrc1, const TComplex* pSrc2, TComplex* pDst,
                       std::int32_t len) noexcept {
  return Mul(pSrc1, pSrc2, pDst, len);
}
IppStatus ippsDiv_64fc(const TComplex* pSrc1, const TComplex* pSrc2, TComplex* pDst,
                       std::int32_t len) noexcept {
  return Div(pSrc1, pSrc2, pDst, len);
}
IppStatus ippsAdd_64fc_I(const TComplex* pSrc, TComplex* pSrcDst, std::int32_t len) noexcept {
  return Binary(pSrc, pSrcDst, pSrcDst, len, std::plus<>{});
}
IppStatus ippsSub_64fc_I(const TComplex* pSrc, TComplex* pSrcDst, std::int32_t len) noexcept {
  return Sub(pSrc, pSrcDst, pSrcDst, len);
}
IppStatus ippsMul_64fc_I(const TComplex* pSrc, TComplex* pSrcDst, std::int32_t len) noexcept {
  return Mul(pSrc, pSrcDst, pSrcDst, len);
}
IppStatus ippsDiv_64fc_I(const TComplex* pSrc, TComplex* pSrcDst, std::int32_t len) noexcept {
  return Div(pSrc, pSrcDst, pSrcDst, len);
}

}  // namespace tessalune::TESSALUNE_BUILTINS
