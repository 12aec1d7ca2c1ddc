#include "Png.h"

#include <algorithm>
#include <cstdint>
#include <string_view>

namespace tessalune::host {
namespace {

std::string BigEndian(std::uint32_t ANumber) {
  std::string Bytes;
  for (int Shift = 24; Shift >= 0; Shift -= 8) Bytes += static_cast<char>(ANumber >> Shift);
  return Bytes;
}

// The check sum of ISO 3309.
std::uint32_t Crc32(std::string_view ABytes) {
  std::uint32_t Sum = ~0U;
  for (const char Byte : ABytes) {
    Sum ^= static_cast<unsigned char>(Byte);
    for (int Bit = 0; Bit < 8; ++Bit) Sum = Sum >> 1 ^ ((Sum & 1) != 0 ? 0xEDB88320U : 0U);
  }
  return ~Sum;
}

std::string Chunk(const std::string& AType, const std::string& AData) {
  return BigEndian(static_cast<std::uint32_t>(AData.size())) + AType + AData +
         BigEndian(Crc32(AType + AData));
}

// A zlib stream (RFC 1950) of blocks that are stored as they are.
std::string Stored(std::string_view ABytes) {
  constexpr std::size_t Most = 65535;
  constexpr std::uint32_t Modulus = 65521;  // of Adler's check sum
  std::uint32_t Low = 1;
  std::uint32_t High = 0;
  for (const char Byte : ABytes) {
    Low = (Low + static_cast<unsigned char>(Byte)) % Modulus;
    High = (High + Low) % Modulus;
  }
  std::string Text = "\x78\x01";
  while (!ABytes.empty()) {
    const std::string_view Block = ABytes.substr(0, Most);
    ABytes.remove_prefix(Block.size());
    Text += ABytes.empty() ? '\1' : '\0';
    for (const std::size_t Size : {Block.size(), ~Block.size()}) {
      Text += static_cast<char>(Size);
      Text += static_cast<char>(Size >> 8);
    }
    Text += Block;
  }
  return Text + BigEndian(High << 16 | Low);
}

}  // namespace

std::string PngOf(const TIcon& AIcon) {
  if (AIcon.IsEmpty()) return {};
  const auto RowBytes = static_cast<std::ptrdiff_t>(4) * AIcon.Width;
  std::string Rows;
  for (auto Row = AIcon.Pixels.begin(); Row != AIcon.Pixels.end(); Row += RowBytes) {
    Rows += '\0';  // no filter
    Rows.append(Row, Row + RowBytes);
  }
  // 8 bits a channel, red, green, blue and alpha.
  const std::string Header = BigEndian(static_cast<std::uint32_t>(AIcon.Width)) +
                             BigEndian(static_cast<std::uint32_t>(AIcon.Height)) +
                             std::string("\x08\x06\0\0\0", 5);
  return "\x89PNG\r\n\x1A\n" + Chunk("IHDR", Header) + Chunk("IDAT", Stored(Rows)) +
         Chunk("IEND", "");
}

}  // namespace tessalune::host
