#include <tessalune/frame/streams/QSRecentSamples.h>

#include <algorithm>

namespace tessalune {

void TQSRecentSamples::SetCapacity(std::size_t ACount) {
  if (ACount == FCapacity) return;
  const std::vector<double> Kept = Last(ACount);
  FRing = {};
  FCapacity = ACount;
  FAt = FFilled = 0;
  Add(Kept.data(), Kept.size());
}

void TQSRecentSamples::Add(const double* ASamples, std::size_t ACount) {
  if (FCapacity == 0 || ACount == 0) return;
  FRing.resize(FCapacity);
  if (ACount > FCapacity) {
    ASamples += ACount - FCapacity;
    ACount = FCapacity;
  }
  const std::size_t ToEnd = std::min(ACount, FCapacity - FAt);
  std::copy_n(ASamples, ToEnd, FRing.data() + FAt);
  std::copy_n(ASamples + ToEnd, ACount - ToEnd, FRing.data());
  FAt = (FAt + ACount) % FCapacity;
  FFilled = std::min(FFilled + ACount, FCapacity);
}

std::vector<double> TQSRecentSamples::Last(std::size_t ACount) const {
  const std::size_t Count = std::min(ACount, FFilled);
  std::vector<double> Result(Count);
  const std::size_t BeforeEnd = Count > FAt ? Count - FAt : 0;  // those before the ring's turn
  std::copy_n(FRing.data() + (FRing.size() - BeforeEnd), BeforeEnd, Result.data());
  std::copy_n(FRing.data() + (FAt - (Count - BeforeEnd)), Count - BeforeEnd,
              Result.data() + BeforeEnd);
  return Result;
}

}  // namespace tessalune
