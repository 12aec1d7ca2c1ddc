// Complex vectors from real ones and back.
#include "Samples.h"

#include <tessalune/primitives/QSBasicDispatcher.h>

namespace tessalune::test {
namespace {

std::vector<TComplex> ComplexSamples(std::size_t ACount) {
  const std::vector<double> Parts = RandomSamples(2 * ACount);
  std::vector<TComplex> Result(ACount);
  for (std::size_t I = 0; I < ACount; ++I) Result[I] = {Parts[2 * I], Parts[2 * I + 1]};
  return Result;
}

struct TPart {
  const char* Name;
  IppStatus (*Primitive)(const TComplex*, double*, std::int32_t) noexcept;
  double (*Definition)(const TComplex&);
};

TEST(ComplexVectors, PartsPowersAndMagnitudes) {
  const auto Power = [](const TComplex& X) { return X.Re * X.Re + X.Im * X.Im; };
  const TPart Parts[] = {{"Real", ippsReal_64fc, [](const TComplex& X) { return X.Re; }},
                         {"Imag", ippsImag_64fc, [](const TComplex& X) { return X.Im; }},
                         {"PowerSpectr", ippsPowerSpectr_64fc, Power},
                         {"Magnitude", ippsMagnitude_64fc,
                          [](const TComplex& X) { return std::sqrt(X.Re * X.Re + X.Im * X.Im); }}};
  for (const TPart& Part : Parts) {
    SCOPED_TRACE(Part.Name);
    ExpectElements(ComplexSamples(70), 9.0, Part.Primitive, Part.Definition);
  }
}

TEST(ComplexVectors, FromRealAndImaginaryOrOneOfThem) {
  for (std::size_t Count = 1; Count <= 70; ++Count) {
    const auto Length = static_cast<std::int32_t>(Count);
    const std::vector<double> Parts = RandomSamples(2 * Count);
    const double *Re = Parts.data(), *Im = Re + Count;
    std::vector<TComplex> Both(Count + 1, TComplex{9, 9}), OnlyRe = Both, OnlyIm = Both;
    ASSERT_EQ(ippsRealToCplx_64f(Re, Im, Both.data(), Length), ippStsNoErr);
    ASSERT_EQ(ippsRealToCplx_64f(Re, nullptr, OnlyRe.data(), Length), ippStsNoErr);
    ASSERT_EQ(ippsRealToCplx_64f(nullptr, Im, OnlyIm.data(), Length), ippStsNoErr);
    for (std::size_t I = 0; I < Count; ++I) {
      ASSERT_EQ(Both[I], (TComplex{Re[I], Im[I]}));
      ASSERT_EQ(OnlyRe[I], (TComplex{Re[I], 0}));
      ASSERT_EQ(OnlyIm[I], (TComplex{0, Im[I]}));
    }
    for (const auto* Target : {&Both, &OnlyRe, &OnlyIm})
      ASSERT_EQ(Target->back(), (TComplex{9, 9}));
  }
  TComplex X{9, 9};
  const double Re = 1;
  EXPECT_EQ(ippsRealToCplx_64f(nullptr, nullptr, &X, 0), ippStsNullPtrErr);
  EXPECT_EQ(ippsRealToCplx_64f(&Re, nullptr, &X, 0), ippStsSizeErr);
  EXPECT_EQ(X, (TComplex{9, 9}));
}

TEST(ComplexVectors, TheUpperHalfOfASpectrumMirrorsTheLower) {
  for (std::size_t Count = 1; Count <= 70; ++Count) {
    const std::vector<TComplex> Before = ComplexSamples(Count + 1);
    std::vector<TComplex> X = Before;
    ASSERT_EQ(ippsConjCcs_64fc_I(X.data(), static_cast<std::int32_t>(Count)), ippStsNoErr);
    for (std::size_t K = 0; K <= Count; ++K) {
      const bool IsMirrored = K > Count / 2 && K < Count;
      EXPECT_EQ(X[K], IsMirrored ? Conj(Before[Count - K]) : Before[K]) << K << " of " << Count;
    }
  }
}

}  // namespace
}  // namespace tessalune::test
