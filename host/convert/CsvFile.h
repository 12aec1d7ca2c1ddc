// Columns of numbers as comma-separated text: a header row with the columns' names, then a row a
// sample. A complex sample has the columns "real" and "imaginary", any other one has "value".
#pragma once

#include "InputFile.h"
#include "OutputFile.h"
#include "SampleStream.h"

#include <string>
#include <string_view>
#include <vector>

namespace tessalune::host {

// The lines of a text file, one in memory at a time. A line feed ends a line; a carriage return
// before it is no part of it.
class TLines {
 public:
  explicit TLines(TInputFile& AFile) : FFile(AFile) {}
  // False at the end. The line is good until the next call. Raises EQSException for a line that is
  // longer than any row of numbers.
  bool Next(std::string_view& ALine);
  std::int64_t Number() const { return FNumber; }  // of that line, from 1

 private:
  TInputFile& FFile;
  std::string FBuffer;
  std::size_t FAt = 0;
  std::int64_t FNumber = 0;
};

class TCsvReader final : public ISampleReader {
 public:
  // ANumbers is 1 or 2 (complex). AColumn chooses one of several columns, by name or by its number
  // from 1; empty leaves the choice to the names above. A first row of numbers is no header but
  // data; its columns are named by their numbers.
  TCsvReader(const std::string& AFileName, std::size_t ANumbers, const std::string& AColumn);
  std::size_t Read(std::span<double> ANumbers) override;

 private:
  void ReadHeader();
  void Choose(std::size_t ANumbers, const std::string& AColumn);
  double Cell(const std::vector<std::string_view>& ACells, std::size_t AColumn) const;

  TInputFile FFile;
  TLines FLines;
  std::vector<std::string> FNames;
  std::vector<std::size_t> FColumns;  // those to read
  std::string FPending;               // a first row that is data
};

class TCsvWriter final : public ISampleWriter {
 public:
  TCsvWriter(TOutputFile& AFile, std::size_t ANumbers);
  void Write(std::span<const double> ANumbers) override;
  void Finish() override;

 private:
  TOutputFile& FFile;
  const std::size_t FNumbers;
  std::string FText;
};

}  // namespace tessalune::host
