#include "CsvFile.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>
#include <utility>

namespace tessalune::host {
namespace {

constexpr std::size_t ChunkBytes = 1 << 16;
constexpr std::size_t LongestLine = 1 << 20;

std::string_view Trimmed(std::string_view AText) {
  const auto IsMargin = [](char C) { return C == ' ' || C == '\t'; };
  while (!AText.empty() && IsMargin(AText.front())) AText.remove_prefix(1);
  while (!AText.empty() && IsMargin(AText.back())) AText.remove_suffix(1);
  if (AText.size() >= 2 && AText.front() == '"' && AText.back() == '"') {
    AText = AText.substr(1, AText.size() - 2);
  }
  return AText;
}

std::vector<std::string_view> Cells(std::string_view ALine) {
  std::vector<std::string_view> Cells;
  for (;;) {
    const std::size_t Comma = ALine.find(',');
    Cells.push_back(Trimmed(ALine.substr(0, Comma)));
    if (Comma == std::string_view::npos) return Cells;
    ALine.remove_prefix(Comma + 1);
  }
}

std::optional<double> Number(std::string_view AText) {
  if (!AText.empty() && AText.front() == '+') AText.remove_prefix(1);
  double Value = 0.0;
  const char* End = AText.data() + AText.size();
  const auto Result = std::from_chars(AText.data(), End, Value);
  return Result.ec == std::errc() && Result.ptr == End ? std::optional(Value) : std::nullopt;
}

}  // namespace

bool TLines::Next(std::string_view& ALine) {
  std::size_t Searched = FAt;
  std::size_t End;
  while ((End = FBuffer.find('\n', Searched)) == std::string::npos) {
    FBuffer.erase(0, std::exchange(FAt, 0));
    Searched = FBuffer.size();
    if (Searched > LongestLine) {
      FFile.Fail("line " + std::to_string(FNumber + 1) +
                 " is over a million characters long; "
                 "this is no table of numbers");
    }
    FBuffer.resize(Searched + ChunkBytes);
    const std::size_t Count = FFile.Read(FBuffer.data() + Searched, ChunkBytes);
    FBuffer.resize(Searched + Count);
    if (Count > 0) continue;
    if (FBuffer.empty()) return false;
    FBuffer += '\n';  // the last line has none of its own
  }
  ALine = std::string_view(FBuffer).substr(FAt, End - FAt);
  if (ALine.ends_with('\r')) ALine.remove_suffix(1);
  FAt = End + 1;
  ++FNumber;
  return true;
}

// --- reader ---

TCsvReader::TCsvReader(const std::string& AFileName, std::size_t ANumbers,
                       const std::string& AColumn)
    : FFile(AFileName), FLines(FFile) {
  ReadHeader();
  Choose(ANumbers, AColumn);
}

void TCsvReader::ReadHeader() {
  std::string_view Line;
  if (!FLines.Next(Line)) FFile.Fail("the file is empty; expected is a row of column names");
  if (Line.starts_with("\xEF\xBB\xBF")) Line.remove_prefix(3);
  const auto Names = Cells(Line);
  const bool IsData = std::all_of(Names.begin(), Names.end(),
                                  [](std::string_view AName) { return Number(AName).has_value(); });
  if (IsData) FPending = Line;
  for (std::size_t I = 0; I < Names.size(); ++I) {
    FNames.push_back(IsData ? std::to_string(I + 1) : std::string(Names[I]));
  }
}

void TCsvReader::Choose(std::size_t ANumbers, const std::string& AColumn) {
  const auto Find = [this](const std::string& AName) -> std::optional<std::size_t> {
    const auto Found = std::find(FNames.begin(), FNames.end(), AName);
    if (Found == FNames.end()) return std::nullopt;
    return static_cast<std::size_t>(Found - FNames.begin());
  };
  std::string Names;
  for (const std::string& Name : FNames) Names += (Names.empty() ? "" : ", ") + Name;

  if (ANumbers == 2) {
    const auto Real = Find("real");
    const auto Imaginary = Find("imaginary");
    if (Real && Imaginary) {
      FColumns = {*Real, *Imaginary};
    } else if (FNames.size() == 2) {
      FColumns = {0, 1};
    } else {
      FFile.Fail("complex samples need the columns real and imaginary; it has " + Names);
    }
    return;
  }
  if (!AColumn.empty()) {
    const auto Place = Number(AColumn);
    if (const auto Named = Find(AColumn)) {
      FColumns = {*Named};
    } else if (Place && *Place >= 1 && *Place <= static_cast<double>(FNames.size())) {
      FColumns = {static_cast<std::size_t>(*Place) - 1};
    } else {
      FFile.Fail("there is no column \"" + AColumn + "\"; it has " + Names);
    }
    return;
  }
  const auto Value = FNames.size() == 1 ? std::optional<std::size_t>(0) : Find("value");
  if (!Value) FFile.Fail("which column? Choose with --channel among " + Names);
  FColumns = {*Value};
}

double TCsvReader::Cell(const std::vector<std::string_view>& ACells, std::size_t AColumn) const {
  const auto Value = AColumn < ACells.size() ? Number(ACells[AColumn]) : std::nullopt;
  if (Value) return *Value;
  FFile.Fail("line " + std::to_string(FLines.Number()) + ", column " + FNames[AColumn] + ": " +
             (AColumn < ACells.size() ? '"' + std::string(ACells[AColumn]) + "\" is no number"
                                      : "the row ends before it"));
}

std::size_t TCsvReader::Read(std::span<double> ANumbers) {
  std::size_t Count = 0;
  while (Count + FColumns.size() <= ANumbers.size()) {
    const std::string First = std::exchange(FPending, {});
    std::string_view Line = First;
    if (First.empty() && !FLines.Next(Line)) break;
    if (Trimmed(Line).empty()) continue;
    const auto Row = Cells(Line);
    if (Row.size() > FNames.size()) {
      FFile.Fail("line " + std::to_string(FLines.Number()) + " has " + std::to_string(Row.size()) +
                 " cells, but the table has " + std::to_string(FNames.size()) +
                 " columns; a comma divides columns, and decimals follow a point");
    }
    for (const std::size_t Column : FColumns) ANumbers[Count++] = Cell(Row, Column);
  }
  return Count;
}

// --- writer ---

TCsvWriter::TCsvWriter(TOutputFile& AFile, std::size_t ANumbers)
    : FFile(AFile), FNumbers(ANumbers), FText(ANumbers == 2 ? "real,imaginary\n" : "value\n") {}

void TCsvWriter::Write(std::span<const double> ANumbers) {
  for (std::size_t I = 0; I < ANumbers.size(); ++I) {
    std::array<char, 32> Text;
    const auto End = std::to_chars(Text.data(), Text.data() + Text.size(), ANumbers[I]).ptr;
    FText.append(Text.data(), End);
    FText += (I + 1) % FNumbers == 0 ? '\n' : ',';
  }
  if (FText.size() < ChunkBytes) return;
  FFile.Write(FText.data(), FText.size());
  FText.clear();
}

void TCsvWriter::Finish() { FFile.Write(FText.data(), FText.size()); }

}  // namespace tessalune::host
