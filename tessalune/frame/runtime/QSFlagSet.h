// A small set of enumerators.
#pragma once

#include <cstdint>
#include <initializer_list>

namespace tessalune {

// A set over an enumeration whose values lie between 0 and 31.
template <class TEnum>
class TFlagSet {
 public:
  constexpr TFlagSet() = default;
  constexpr TFlagSet(std::initializer_list<TEnum> AFlags) {
    for (const TEnum Flag : AFlags) FBits |= BitOf(Flag);
  }

  constexpr bool Has(TEnum AFlag) const { return (FBits & BitOf(AFlag)) != 0; }
  constexpr bool IsEmpty() const { return FBits == 0; }
  constexpr TFlagSet& operator|=(TFlagSet AOther) {
    FBits |= AOther.FBits;
    return *this;
  }
  friend constexpr bool operator==(TFlagSet, TFlagSet) = default;

 private:
  static constexpr std::uint32_t BitOf(TEnum AFlag) { return 1U << static_cast<unsigned>(AFlag); }
  std::uint32_t FBits = 0;
};

}  // namespace tessalune
