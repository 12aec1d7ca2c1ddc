#include <tessalune/frame/runtime/QSException.h>
#include <tessalune/frame/runtime/QSIcons.h>
#include <tessalune/frame/runtime/QSPublished.h>

#include <algorithm>
#include <string>

namespace tessalune {
namespace {

std::uint32_t Number(TIconFile AFile, std::size_t AOffset, std::size_t ABytes = 4) {
  std::uint32_t Value = 0;
  for (std::size_t I = ABytes; I-- > 0;) Value = Value << 8 | AFile[AOffset + I];
  return Value;
}

// Empty if the file is no bitmap that TClass::Icons takes.
TIcon ReadBitmap(TIconFile AFile) {
  constexpr std::size_t LeastHeaders = 66;  // as far as the masks
  constexpr std::int32_t Largest = 1024;
  if (AFile.size() < LeastHeaders || AFile[0] != 'B' || AFile[1] != 'M') return {};
  const std::uint32_t Pixels = Number(AFile, 10);
  const auto Width = static_cast<std::int32_t>(Number(AFile, 18));
  const auto Rows = static_cast<std::int32_t>(Number(AFile, 22));  // negative: from the top
  const std::uint32_t Form = Number(AFile, 30);
  const bool IsPlain = Form == 0;
  const bool HasMasks = Form == 3 && Number(AFile, 54) == 0xFF0000 && Number(AFile, 58) == 0xFF00 &&
                        Number(AFile, 62) == 0xFF;
  if (Width < 1 || Width > Largest || Rows == 0 || Rows < -Largest || Rows > Largest ||
      Number(AFile, 28, 2) != 32 || !(IsPlain || HasMasks)) {
    return {};
  }
  const std::int32_t Height = Rows < 0 ? -Rows : Rows;
  const std::size_t RowBytes = 4 * static_cast<std::size_t>(Width);
  const std::size_t Bytes = RowBytes * static_cast<std::size_t>(Height);
  if (AFile.size() < Bytes || AFile.size() - Bytes < Pixels) return {};

  TIcon Icon{Width, Height, std::vector<std::uint8_t>(Bytes)};
  for (std::size_t Row = 0; Row < static_cast<std::size_t>(Height); ++Row) {
    const std::size_t Source = Rows < 0 ? Row : static_cast<std::size_t>(Height) - 1 - Row;
    const std::uint8_t* From = AFile.data() + Pixels + Source * RowBytes;
    std::uint8_t* To = Icon.Pixels.data() + Row * RowBytes;
    for (std::size_t I = 0; I < RowBytes; I += 4) {
      To[I] = From[I + 2];
      To[I + 1] = From[I + 1];
      To[I + 2] = From[I];
      To[I + 3] = From[I + 3];
    }
  }
  return Icon;
}

// The bitmaps of one class, without its bases'.
std::vector<TIconFile> BitmapsOf(const TPublishedTable& ATable) {
  if (!ATable.Icons().empty()) return {ATable.Icons().begin(), ATable.Icons().end()};
  std::string Name(ATable.ClassName());
  for (char& Letter : Name) {
    if (Letter >= 'a' && Letter <= 'z') Letter = static_cast<char>(Letter - 'a' + 'A');
  }
  std::vector<TIconFile> Files;
  for (const char* Ending : {"16.bmp", ".bmp", "32.bmp"}) {
    if (const TIconFile File = IconFile(Name + Ending); !File.empty()) Files.push_back(File);
  }
  return Files;
}

}  // namespace

TIcon ClassIcon(const TPublishedTable& ATable, std::int32_t ASize) {
  for (const TPublishedTable* Table = &ATable; Table != nullptr; Table = Table->Parent()) {
    TIcon Best;
    for (const TIconFile File : BitmapsOf(*Table)) {
      TIcon Icon = ReadBitmap(File);
      if (Icon.IsEmpty()) {
        throw EQSException(std::string(Table->ClassName()) +
                           ": an icon is no BMP file of 32 bits a pixel (blue, green, red, alpha), "
                           "not compressed, with at most 1024 by 1024 pixels");
      }
      const bool IsNearer = Best.Width < ASize ? Icon.Width > Best.Width
                                               : Icon.Width >= ASize && Icon.Width < Best.Width;
      if (Best.IsEmpty() || IsNearer) Best = std::move(Icon);
    }
    if (!Best.IsEmpty()) return Best;
  }
  return {};
}

}  // namespace tessalune
