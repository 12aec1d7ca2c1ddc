// Icons: the small pictures by which palettes and diagrams show components.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace tessalune {

class TPublishedTable;

// The bytes of a picture's file.
using TIconFile = std::span<const std::uint8_t>;

struct TIcon {
  std::int32_t Width = 0;   // pixels
  std::int32_t Height = 0;  // pixels
  // 4 bytes each: red, green, blue, alpha, the colours not multiplied by the alpha; row by row from
  // the top, without gaps.
  std::vector<std::uint8_t> Pixels{};

  bool IsEmpty() const { return Pixels.empty(); }
  bool operator==(const TIcon&) const = default;
};

// The icon of a class, else of its nearest base that has any; empty if none of them has. The
// library's own classes have them in 16, 24 and 32 pixels; a class of another package brings its
// own in its table (TPublishedTable::TClass::Icons) or inherits. ASize is the width that is wanted:
// if there is none of that width, the result is the next wider one, or the widest; it is not
// scaled. Raises EQSException for an icon of another package that is no such bitmap. Any thread.
TIcon ClassIcon(const TPublishedTable& ATable, std::int32_t ASize);

// The pictures that are built into the library, as files. A class's bitmap has its name in
// capitals: "TQSABS.bmp" is of 24 pixels, "TQSABS16.bmp" and "TQSABS32.bmp" are of 16 and 32. There
// are some more of 24 pixels, and the PNG files of streams.
std::span<const std::string_view> IconFileNames();
// Empty if there is no such file.
TIconFile IconFile(std::string_view AName);

}  // namespace tessalune
