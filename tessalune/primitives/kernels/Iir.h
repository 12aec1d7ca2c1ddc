#pragma once

#include <tessalune/primitives/kernels/Fir.h>
#include <tessalune/primitives/kernels/History.h>

#include <algorithm>
#include <cstddef>
#include <cstring>

// A recursive filter of any order as one direct form: the forward part is a convolution, the
// feedback runs sample by sample.
namespace tessalune::TESSALUNE_BUILTINS::kernels {

// The last outputs, which the feedback keeps in registers: it is the way through memory that would
// make a sample wait for its predecessor.
constexpr std::size_t KeptOutputs = 8;

// pY[n] becomes the output, from what the forward part makes of the inputs. In front of pY lie
// ACount outputs, KeptOutputs at least. AFeedback[k] is what output n - k - 1 takes part with: the
// latest last, so that only one operation waits for it.
inline void Recur(double* pY, std::size_t ALength, const double* AFeedback,
                  std::size_t ACount) noexcept {
  double Feedback[KeptOutputs], Kept[KeptOutputs];
  std::copy_n(AFeedback, KeptOutputs, Feedback);
  std::reverse_copy(pY - KeptOutputs, pY, Kept);
  for (std::size_t N = 0; N < ALength; ++N) {
    double Y = pY[N];
    for (std::size_t K = ACount; K > KeptOutputs; --K) Y -= AFeedback[K - 1] * *(pY + N - K);
    Repeat<KeptOutputs>(TESSALUNE_EACH(I) {
      constexpr std::size_t K = KeptOutputs - 1 - I;
      Y -= Feedback[K] * Kept[K];
      if constexpr (K > 0) Kept[K] = Kept[K - 1];
    });
    Kept[0] = Y;
    pY[N] = Y;
  }
}

// pSrc may be pDst.
class TDirectIir {
 public:
  // Doubles that the memory of an object has.
  static constexpr std::size_t Size(std::size_t AOrder) noexcept {
    return TDirectFir::Size(AOrder + 1) + THistory::Size(FeedbackCount(AOrder)) +
           FeedbackCount(AOrder) + (AOrder + 1) + AOrder;
  }

  // pTaps: B0 to Border, A0 to Aorder.
  void Attach(double* AMemory, const double* pTaps, std::size_t AOrder) noexcept {
    FOrder = AOrder;
    FForwardTaps = AMemory;
    FFeedback = FForwardTaps + AOrder + 1;
    FDue = FFeedback + FeedbackCount(AOrder);
    FDueFrom = AOrder;
    const double* const A = pTaps + AOrder + 1;
    for (std::size_t K = 0; K <= AOrder; ++K) FForwardTaps[K] = pTaps[K] / A[0];
    std::fill_n(FFeedback, FeedbackCount(AOrder), 0.0);
    for (std::size_t K = 0; K < AOrder; ++K) FFeedback[K] = A[K + 1] / A[0];
    double* const Memory = FDue + AOrder;
    FOutputs.Attach(Memory, FeedbackCount(AOrder));
    FForward.Attach(Memory + THistory::Size(FeedbackCount(AOrder)), FForwardTaps, AOrder + 1);
  }

  void Filter(const double* pSrc, double* pDst, std::size_t ALength) noexcept {
    while (ALength > 0) {
      std::size_t Length = ALength;
      double* const Y = FOutputs.Reserve(Length);
      FForward.Filter(pSrc, Y, Length);
      for (std::size_t N = 0; N < Length && FDueFrom < FOrder; ++N) Y[N] += FDue[FDueFrom++];
      Recur(Y, Length, FFeedback, FeedbackCount(FOrder));
      std::memcpy(pDst, Y, Length * sizeof *pDst);
      FOutputs.Advance(Length);
      pSrc += Length;
      pDst += Length;
      ALength -= Length;
    }
  }

  std::size_t Order() const noexcept { return FOrder; }

  // What the past adds to output I from now on: the state I of the direct form II transposed.
  double Delay(std::size_t I) const noexcept {
    double Result = FDueFrom + I < FOrder ? FDue[FDueFrom + I] : 0.0;
    for (std::size_t K = FOrder; K > I; --K)
      Result +=
          FForwardTaps[K] * FForward.History().Ago(K - I) - FFeedback[K - 1] * FOutputs.Ago(K - I);
    return Result;
  }

  // Replaces the past by what it adds; null stands for nothing.
  void SetDelay(const double* pDelay) noexcept {
    for (std::size_t K = 1; K <= FOrder; ++K) FForward.History().Ago(K) = 0.0;
    for (std::size_t K = 1; K <= FeedbackCount(FOrder); ++K) FOutputs.Ago(K) = 0.0;
    if (pDelay) std::copy_n(pDelay, FOrder, FDue);
    FDueFrom = pDelay ? 0 : FOrder;
  }

 private:
  static constexpr std::size_t FeedbackCount(std::size_t AOrder) noexcept {
    return std::max(AOrder, KeptOutputs);
  }

  double* FForwardTaps;
  double* FFeedback;
  double* FDue;          // what a delay line adds to the next outputs,
  std::size_t FDueFrom;  // from this entry on
  std::size_t FOrder;
  THistory FOutputs;
  TDirectFir FForward;
};

}  // namespace tessalune::TESSALUNE_BUILTINS::kernels
