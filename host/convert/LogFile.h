// The log format: bare little-endian samples, or records of a 4-byte count of bytes and that many
// bytes of samples. Nothing in the file tells the sample type or whether there are counts.
#pragma once

#include "InputFile.h"
#include "OutputFile.h"
#include "SampleStream.h"

#include <string>
#include <vector>

namespace tessalune::host {

// Walks over a log's records. Without counts all of the file is one record.
class TLogRecords {
 public:
  TLogRecords(TInputFile& AFile, bool AHasCounts) : FFile(AFile), FHasCounts(AHasCounts) {}

  // The bytes of the next record; 0 at the end. An empty record is passed over. A count that the
  // file does not hold raises EQSException; the rest of a cut count is left unread.
  std::int64_t Next();

 private:
  TInputFile& FFile;
  const bool FHasCounts;
};

class TLogReader final : public ISampleReader {
 public:
  TLogReader(const std::string& AFileName, TSampleType AType, bool AHasCounts);
  std::size_t Read(std::span<double> ANumbers) override;
  std::vector<std::string> Remarks() const override { return FRemarks; }

 private:
  void NextRecord();

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
