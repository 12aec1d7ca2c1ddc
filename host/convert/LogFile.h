// The log format: bare little-endian samples, or records of a 4-byte count of bytes and that many
// bytes of samples. Nothing in the file tells the sample type or whether there are counts.
#pragma once

#include "InputFile.h"
#include "OutputFile.h"
#include "SampleStream.h"

#include <string>
#include <string_view>
#include <vector>

namespace tessalune::host {

// Walks over a log's records. Without counts all of the file is one record.
class TLogRecords {
 public:
  TLogRecords(TInputFile& AFile, bool AHasCounts) : FFile(AFile), FHasCounts(AHasCounts) {}

  // The bytes of the next record; 0 at the end. An empty record is passed over. A count that the
  // file does not hold raises EQSException; a stream's shows later (see FailShort).
  std::int64_t Next();
  // Where the record at hand begins, behind its count.
  std::int64_t Start() const { return FCountAt + 4; }
  // The bytes of a count that was cut, at the end.
  std::int64_t CutCount() const { return FCutCount; }
  // Raises the EQSException for a record of which only AFollow bytes are there.
  [[noreturn]] void FailShort(std::int64_t AFollow) const;

 private:
  TInputFile& FFile;
  const bool FHasCounts;
  std::uint32_t FCount = 0;   // of the record at hand
  std::int64_t FCountAt = 0;  // where that count stands
  std::int64_t FCutCount = 0;
};

class TLogReader final : public ISampleReader {
 public:
  TLogReader(const std::string& AFileName, TSampleType AType, bool AHasCounts);
  std::size_t Read(std::span<double> ANumbers) override;
  std::int64_t Skip(std::int64_t ANumbers) override;
  std::vector<std::string> Remarks() const override { return FRemarks; }

 private:
  void NextRecord();
  bool IsInRecord();
  // AGot bytes of the record have been passed, where AWanted were asked for.
  void Passed(std::int64_t AGot, std::int64_t AWanted);
  void RemarkLeftOut(std::int64_t ABytes, std::string_view AWhere);

  TInputFile FFile;
  TLogRecords FRecords;
  const TSampleTypeInfo& FInfo;
  const bool FHasCounts;
  std::int64_t FLeftInRecord = 0;  // bytes
  bool FIsLast = false;            // no record follows
  bool FAtEnd = false;
  std::vector<char> FBytes;
  std::vector<std::string> FRemarks;
};

class TLogWriter final : public ISampleWriter {
 public:
  // With counts, a record holds ABlockSize samples, the last one what is left.
  TLogWriter(TOutputFile& AFile, TSampleType AType, bool AHasCounts, std::size_t ABlockSize);
  void Write(std::span<const double> ANumbers) override;
  void Finish() override;
  std::vector<std::string> Remarks() const override;

 private:
  void WriteRecord();

  TOutputFile& FFile;
  const TSampleTypeInfo& FInfo;
  const bool FHasCounts;
  const std::size_t FRecordBytes;
  TRounding FRounding;
  std::vector<char> FBytes;
};

}  // namespace tessalune::host
