#pragma once

#include <tessalune/primitives/BuiltIns.h>
#include <tessalune/primitives/Ippptypes.h>

#include <cstddef>
#include <cstdint>

namespace tessalune::TESSALUNE_BUILTINS {

// The checks with which most primitives begin: any pointer null, then the length below 1.
template <class... TPointers>
constexpr IppStatus CheckArguments(std::int32_t ALength, TPointers... APointers) noexcept {
  if (((APointers == nullptr) || ...)) return ippStsNullPtrErr;
  if (ALength < 1) return ippStsSizeErr;
  return ippStsNoErr;
}

// Count of elements as a size, of a length that has been checked.
constexpr std::size_t Count(std::int32_t ALength) noexcept {
  return static_cast<std::size_t>(ALength);
}

}  // namespace tessalune::TESSALUNE_BUILTINS
