#pragma once

#include <stdexcept>
#include <string>

namespace tessalune::bench {

// What is wrong is not worth measuring: ends the whole run, with an exit code that says so.
inline void Verify(bool AIsRight, const std::string& ACase) {
  if (!AIsRight) throw std::runtime_error(ACase + ": the result is wrong, so it is not measured");
}

}  // namespace tessalune::bench
