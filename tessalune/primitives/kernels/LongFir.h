#pragma once

#include <tessalune/primitives/kernels/DftSpec.h>
#include <tessalune/primitives/kernels/Fir.h>

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstring>
#include <limits>

// Long filters: the direct sums for what is short, and the way through the spectrum for the rest.
namespace tessalune::TESSALUNE_BUILTINS::kernels {

// From so many taps on a filter has frames: measured on AVX-512 in blocks of 1,024, where they take
// half the time of the sums.
constexpr std::size_t LeastFrameTaps = 128;

// What a point of a frame costs for each binary digit of its length, in products of the sums.
constexpr std::size_t ProductsAPoint = 5;

// Convolution of a frame with the taps by way of their spectra (overlap-save). The convolution is a
// circular one, in which the outputs from the last tap on have met nothing but their own inputs.
class TFrames {
 public:
  // The shortest length of few small factors whose outputs are a usual block of the streams and,
  // for filters longer than that, a good part of the frame.
  static constexpr std::size_t LengthFor(std::size_t ATaps) noexcept {
    const std::size_t Least = ATaps - 1 + std::max<std::size_t>(1024, ATaps / 2);
    const std::size_t Eighth = std::bit_floor(Least) / 8;
    for (const std::size_t Eighths : {8u, 9u, 10u, 12u, 15u})
      if (Eighths * Eighth >= Least) return Eighths * Eighth;
    return 16 * Eighth;
  }

  // Outputs of a frame.
  static constexpr std::size_t OutputsFor(std::size_t ATaps) noexcept {
    return LengthFor(ATaps) - (ATaps - 1);
  }

  // Allocates and computes all that frames take; false if memory is exhausted.
  bool Make(const double* pTaps, std::size_t ACount) noexcept {
    FFirst = ACount - 1;
    FLength = LengthFor(ACount);
    FTables = nullptr;
    FDft = {};
    const auto LayOut = [&](TPlanRoots& ARoots, TLayout& ALayout) {
      LayOutDft(FDft, static_cast<std::int32_t>(FLength), ARoots, ALayout);
      FSpectrum = ALayout.Take<double>(FLength);
      FFrame = ALayout.Take<double>(FLength);
      FWork = ALayout.Take<std::byte>(FDft.WorkBytes);
    };
    if (!MakeTables(FTables, LayOut)) {
      Free();
      return false;
    }
    std::copy_n(pTaps, ACount, FFrame);
    std::fill(FFrame + ACount, FFrame + FLength, 0.0);
    ToBins(FFrame, FSpectrum, 1.0 / static_cast<double>(FLength));
    return true;
  }

  void Free() noexcept { ippsFree(FTables); }

  std::size_t Outputs() const noexcept { return FLength - FFirst; }

  // The first ALength outputs of the frame at pFrame. False if a value on the way was not finite:
  // then every output may be spoilt.
  bool Convolve(const double* pFrame, double* pDst, std::size_t ALength) const noexcept {
    ToBins(pFrame, FFrame, 1.0);
    // Two real bins in the place of the first complex one.
    const double First = FFrame[0] * FSpectrum[0];
    const double Middle = FFrame[1] * FSpectrum[1];
    MultiplyComplex(FFrame, FSpectrum, FFrame, FLength / 2);
    FFrame[0] = First;
    FFrame[1] = Middle;
    RunToSamples(FDft, TSpectrumLayout::Perm, FFrame, FFrame, 1.0, FWork);
    return CopyFinite(FFrame + FFirst, pDst, ALength);
  }

 private:
  void ToBins(const double* pSamples, double* pBins, double AScale) const noexcept {
    RunToBins(FDft, TSpectrumLayout::Perm, pSamples, pBins, AScale, FWork);
  }

  // Copies, and tells whether all is finite: 0 times anything else is NaN, and stays in a sum.
  static bool CopyFinite(const double* pSrc, double* pDst, std::size_t ALength) noexcept {
    TReals Sum{};
    std::size_t N = 0;
    for (; N + RealLanes <= ALength; N += RealLanes) {
      const TReals X = Load(pSrc + N);
      Sum += X * 0.0;
      Store(pDst + N, X);
    }
    double Total = 0;
    for (std::size_t L = 0; L < RealLanes; ++L) Total += Sum[L];
    for (; N < ALength; ++N) Total += (pDst[N] = pSrc[N]) * 0.0;
    return Total == 0.0;
  }

  std::size_t FFirst;   // the first output that holds
  std::size_t FLength;  // of a frame
  void* FTables;        // the memory of all below
  TRealDft<double> FDft;
  double* FSpectrum;  // of the taps, divided by FLength
  double* FFrame;     // work memory of a call
  std::byte* FWork;
};

// A filter of any length and its past. pSrc may be pDst.
class TFir {
 public:
  // Doubles that the memory of an object has, without what Attach allocates.
  static constexpr std::size_t Size(std::size_t ATaps) noexcept {
    return TDirectFir::Size(ATaps, RoomFor(ATaps));
  }

  // False if memory is exhausted.
  bool Attach(double* AMemory, const double* pTaps, std::size_t ACount) noexcept {
    FDirect.Attach(AMemory, pTaps, ACount, RoomFor(ACount));
    FLeastFrame = std::numeric_limits<std::size_t>::max();
    if (ACount < LeastFrameTaps) return true;
    const std::size_t Length = TFrames::LengthFor(ACount);
    const auto Digits = static_cast<std::size_t>(std::bit_width(Length - 1));
    FLeastFrame = (ProductsAPoint * Length * Digits + ACount - 1) / ACount;
    return FFrames.Make(pTaps, ACount);
  }

  void Free() noexcept {
    if (HasFrames()) FFrames.Free();
  }

  void Filter(const double* pSrc, double* pDst, std::size_t ALength) noexcept {
    if (ALength < FLeastFrame) return FDirect.Filter(pSrc, pDst, ALength);
    for (std::size_t Length; ALength > 0; ALength -= Length) {
      Length = std::min(ALength, FFrames.Outputs());
      if (Length < FLeastFrame)
        FDirect.Filter(pSrc, pDst, Length);
      else
        FilterFrame(pSrc, pDst, Length);
      pSrc += Length;
      pDst += Length;
    }
  }

  std::size_t Count() const noexcept { return FDirect.Count(); }
  THistory& History() noexcept { return FDirect.History(); }
  const THistory& History() const noexcept { return FDirect.History(); }

 private:
  bool HasFrames() const noexcept { return Count() >= LeastFrameTaps; }

  static constexpr std::size_t RoomFor(std::size_t ATaps) noexcept {
    return ATaps < LeastFrameTaps ? 0 : TFrames::OutputsFor(ATaps);
  }

  void FilterFrame(const double* pSrc, double* pDst, std::size_t ALength) noexcept {
    std::size_t Outputs = FFrames.Outputs();
    double* const X = History().Reserve(Outputs);
    std::memcpy(X, pSrc, ALength * sizeof *X);
    std::fill(X + ALength, X + Outputs, 0.0);
    if (!FFrames.Convolve(X - (Count() - 1), pDst, ALength)) FDirect.Convolve(X, pDst, ALength);
    History().Advance(ALength);
  }

  TDirectFir FDirect;
  TFrames FFrames;          // from LeastFrameTaps on
  std::size_t FLeastFrame;  // so many samples are worth a frame
};

}  // namespace tessalune::TESSALUNE_BUILTINS::kernels
