// Globally unique identifiers, by which stream types are told apart.
#pragma once

#include <array>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

namespace tessalune {

// A 128-bit identifier, written as its usual text. The default value is the empty identifier.
class TGUID {
 public:
  constexpr TGUID() = default;

  // "58041272-EF20-4696-87E6-9EE46ABFBD89"; a malformed text does not compile in a constant.
  explicit constexpr TGUID(std::string_view AText) {
    if (AText.size() != 36) throw std::invalid_argument("a GUID has 36 characters");
    int Digits = 0;
    for (std::size_t I = 0; I < AText.size(); ++I) {
      const bool DashPlace = I == 8 || I == 13 || I == 18 || I == 23;
      if (DashPlace != (AText[I] == '-')) throw std::invalid_argument("a GUID's dash is misplaced");
      if (DashPlace) continue;
      std::uint64_t& Half = Digits < 16 ? FHigh : FLow;
      Half = Half << 4 | Digit(AText[I]);
      ++Digits;
    }
  }

  constexpr bool IsEmpty() const { return FHigh == 0 && FLow == 0; }
  friend constexpr bool operator==(const TGUID&, const TGUID&) = default;

  std::string ToString() const {
    constexpr std::string_view Hex = "0123456789ABCDEF";
    std::string Text;
    for (int I = 0; I < 32; ++I) {
      if (I == 8 || I == 12 || I == 16 || I == 20) Text += '-';
      const std::uint64_t Half = I < 16 ? FHigh : FLow;
      Text += Hex[Half >> (60 - 4 * (I % 16)) & 15];
    }
    return Text;
  }

 private:
  static constexpr std::uint64_t Digit(char ACharacter) {
    if (ACharacter >= '0' && ACharacter <= '9') return static_cast<std::uint64_t>(ACharacter - '0');
    if (ACharacter >= 'A' && ACharacter <= 'F') {
      return static_cast<std::uint64_t>(ACharacter - 'A' + 10);
    }
    throw std::invalid_argument("a GUID has the digits 0 to 9 and A to F");
  }

  std::uint64_t FHigh = 0;
  std::uint64_t FLow = 0;
};

constexpr bool IsEqualGUID(const TGUID& ALeft, const TGUID& ARight) { return ALeft == ARight; }

}  // namespace tessalune
