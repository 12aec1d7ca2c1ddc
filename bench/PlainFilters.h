#pragma once

#include <tessalune/primitives/QSComplex.h>

#include <cstddef>
#include <vector>

// What a careful programmer writes without intrinsics, compiled for all that this machine has: the
// peers of the primitives, in double.
namespace tessalune::bench {

// Blocks of outputs, so that the compiler keeps them in registers.
class TPlainFir {
 public:
  explicit TPlainFir(std::vector<double> ATaps);
  void Run(const double* pSrc, double* pDst, std::size_t ALength);

 private:
  std::vector<double> FTaps;
  std::vector<double> FX;  // the past and the block
};

// Section by section through the block, each a direct form II transposed with its states in
// registers.
class TPlainBiquads {
 public:
  // Six a section: B0, B1, B2, A0 = 1, A1, A2.
  explicit TPlainBiquads(std::vector<double> ATaps);
  void Run(const double* pSrc, double* pDst, std::size_t ALength);

 private:
  std::vector<double> FTaps;
  std::vector<double> FStates;
};

void PlainHann(double* pSrcDst, std::size_t ALength);
void PlainKaiser(double* pSrcDst, std::size_t ALength, double AAlpha);
TComplex PlainGoertzel(const TComplex* pSrc, std::size_t ALength, double AFreq);

}  // namespace tessalune::bench
