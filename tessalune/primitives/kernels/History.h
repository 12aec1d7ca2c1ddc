#pragma once

#include <tessalune/primitives/kernels/Vector.h>

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace tessalune::TESSALUNE_BUILTINS::kernels {

// The past of a stream and room for what comes next, without a gap between them, so that a filter
// reads across the border of two blocks as anywhere else. The room moves on through the memory and
// only now and then back to its begin: a block of one sample does not cost a move of the past.
class THistory {
 public:
  // Doubles that the memory of an object has, which can take ARoom samples at least at a time.
  static constexpr std::size_t Size(std::size_t APast, std::size_t ARoom = 0) noexcept {
    return Margin(APast) + Room(APast, ARoom) + RealLanes;
  }

  // Takes AMemory, of Size(APast, ARoom) doubles, best aligned to a vector. The past becomes zeros.
  void Attach(double* AMemory, std::size_t APast, std::size_t ARoom = 0) noexcept {
    FMemory = AMemory;
    FPast = APast;
    FRoom = Room(APast, ARoom);
    std::fill_n(FMemory, Size(APast, ARoom), 0.0);
    FNext = FMemory + Margin(FPast);
  }

  // Where the next samples go; in front of it lie APast older ones, a vector at least. ACount is
  // how many are wanted, and becomes how many there is room for. Behind the room a whole vector may
  // be read, whatever it holds.
  double* Reserve(std::size_t& ACount) noexcept {
    ACount = std::min(ACount, FRoom);
    if (FNext + ACount > FMemory + Margin(FPast) + FRoom) {
      double* const Begin = FMemory + Margin(FPast);
      std::memmove(Begin - FPast, FNext - FPast, FPast * sizeof(double));
      FNext = Begin;
    }
    return FNext;
  }

  // Makes ACount samples, which have been written there, part of the past.
  void Advance(std::size_t ACount) noexcept { FNext += ACount; }

  // The sample AAge ago, 1 to APast.
  double& Ago(std::size_t AAge) noexcept { return *(FNext - AAge); }
  double Ago(std::size_t AAge) const noexcept { return *(FNext - AAge); }

 private:
  // The past in whole vectors, so that what follows it is aligned.
  static constexpr std::size_t Margin(std::size_t APast) noexcept {
    return (APast + RealLanes - 1) / RealLanes * RealLanes;
  }

  // At least as much as the past, so that a move costs a copy a sample at most.
  static constexpr std::size_t Room(std::size_t APast, std::size_t ARoom) noexcept {
    return std::max<std::size_t>({APast, ARoom, 1024});
  }

  double* FMemory;
  double* FNext;
  std::size_t FPast;
  std::size_t FRoom;
};

}  // namespace tessalune::TESSALUNE_BUILTINS::kernels
