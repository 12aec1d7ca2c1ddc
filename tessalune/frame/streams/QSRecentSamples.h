// The last samples of a stream.
#pragma once

#include <cstddef>
#include <vector>

namespace tessalune {

// Keeps as many samples as it was told to, at the cost of one copy of each block. Memory for them
// is taken with the first block.
class TQSRecentSamples {
 public:
  // Those that it has stay, as far as there is room for them.
  void SetCapacity(std::size_t ACount);
  void Add(const double* ASamples, std::size_t ACount);
  // At most ACount of them, the oldest first; fewer where there have not been so many.
  std::vector<double> Last(std::size_t ACount) const;

 private:
  std::size_t FCapacity = 0;
  std::vector<double> FRing;  // empty, or of FCapacity samples
  std::size_t FAt = 0;        // where the next one goes
  std::size_t FFilled = 0;
};

}  // namespace tessalune
