#include "LogFile.h"

#include <host/Words.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>
#include <type_traits>

namespace tessalune::host {
namespace {

static_assert(std::endian::native == std::endian::little, "logs hold the machine's own bytes");

constexpr std::size_t CountBytes = 4;

template <class T>
void DecodeAs(const char* ABytes, std::span<double> ANumbers) {
  for (double& Number : ANumbers) {
    T Value;
    std::memcpy(&Value, ABytes, sizeof(T));
    Number = static_cast<double>(Value);
    ABytes += sizeof(T);
  }
}

template <class T>
void EncodeAs(double ANumber, std::vector<char>& ABytes) {
  const T Value = static_cast<T>(ANumber);
  char Bytes[sizeof(T)];
  std::memcpy(Bytes, &Value, sizeof(T));
  ABytes.insert(ABytes.end(), Bytes, Bytes + sizeof(T));
}

// Calls AVisit with a value of the C++ type of the numbers in a log of AType.
template <class TVisit>
void VisitNumberType(TSampleType AType, TVisit AVisit) {
  switch (AType) {
    case TSampleType::Real:
    case TSampleType::Complex:
      return AVisit(double());
    case TSampleType::Integer:
      return AVisit(std::int32_t());
    case TSampleType::Unsigned:
      return AVisit(std::uint32_t());
    case TSampleType::Block:
      return AVisit(std::uint8_t());
  }
}

TRounding RoundingFor(TSampleType AType) {
  double Min = 0.0;
  double Max = 0.0;
  VisitNumberType(AType, [&]<class T>(T) {
    Min = static_cast<double>(std::numeric_limits<T>::lowest());
    Max = static_cast<double>(std::numeric_limits<T>::max());
  });
  return {Min, Max};
}

}  // namespace

// --- records ---

std::int64_t TLogRecords::Next() {
  if (!FHasCounts) return FFile.Left();
  while (FFile.Left() >= static_cast<std::int64_t>(CountBytes)) {
    FCountAt = FFile.Position();
    const std::size_t Got = FFile.Read(&FCount, CountBytes);
    if (Got != CountBytes) {
      if (!FFile.IsStream()) FFile.Fail("the file cannot be read on");
      FCutCount = static_cast<std::int64_t>(Got);
      return 0;
    }
    if (FCount > FFile.Left()) FailShort(FFile.Left());
    if (FCount > 0) return FCount;
  }
  FCutCount = FFile.Left();
  return 0;
}

void TLogRecords::FailShort(std::int64_t AFollow) const {
  FFile.Fail("the record at byte " + std::to_string(FCountAt) + " claims " +
             Counted(FCount, "byte") + ", but only " + std::to_string(AFollow) +
             " follow; the file was cut, or it has no counts (then leave the option out that says "
             "it has)");
}

// --- reader ---

TLogReader::TLogReader(const std::string& AFileName, TSampleType AType, bool AHasCounts)
    : FFile(AFileName), FRecords(FFile, AHasCounts), FInfo(InfoOf(AType)), FHasCounts(AHasCounts) {
  if (FFile.Size() == 0) FRemarks.push_back(FFile.Name() + " is empty: there is no sample in it");
}

void TLogReader::RemarkLeftOut(std::int64_t ABytes, std::string_view AWhere) {
  if (ABytes == 0) return;
  FRemarks.push_back("the last " + Counted(ABytes, "byte") + " left out: the file ends inside a " +
                     std::string(AWhere));
}

void TLogReader::NextRecord() {
  const std::int64_t Start = FFile.Position();
  FLeftInRecord = FRecords.Next();
  const auto Bytes = static_cast<std::int64_t>(FInfo.Bytes);
  const std::int64_t Rest = FLeftInRecord % Bytes;
  if (Rest != 0 && FLeftInRecord < FFile.Left()) {
    FFile.Fail("the record at byte " + std::to_string(Start) + " has " +
               Counted(FLeftInRecord, "byte") + ", which is no whole number of " +
               std::string(FInfo.Name) + " samples of " + Counted(Bytes, "byte") +
               "; is --type right?");
  }
  if (FLeftInRecord == 0) {
    RemarkLeftOut(FRecords.CutCount(), "count");
  } else {
    RemarkLeftOut(Rest, "sample");
  }
  FLeftInRecord -= Rest;
  FIsLast = !FHasCounts || Rest != 0;
  FAtEnd = FLeftInRecord == 0;
}

bool TLogReader::IsInRecord() {
  if (FLeftInRecord == 0 && !FAtEnd) NextRecord();
  return !FAtEnd;
}

void TLogReader::Passed(std::int64_t AGot, std::int64_t AWanted) {
  FLeftInRecord -= AGot;
  if (AGot == AWanted) {
    if (FLeftInRecord == 0) FAtEnd = FIsLast;
    return;
  }
  if (!FFile.IsStream()) {
    FFile.Fail("the file cannot be read beyond byte " + std::to_string(FFile.Position()));
  }
  // The stream's end has come, where all of it is one record, or inside one.
  if (FHasCounts) FRecords.FailShort(FFile.Position() - FRecords.Start());
  RemarkLeftOut(FFile.Position() % static_cast<std::int64_t>(FInfo.Bytes), "sample");
  if (FFile.Position() == 0)
    FRemarks.push_back(FFile.Name() + " is empty: there is no sample in it");
  FAtEnd = true;
}

std::size_t TLogReader::Read(std::span<double> ANumbers) {
  if (!IsInRecord()) return 0;
  const std::size_t NumberBytes = FInfo.Bytes / FInfo.Numbers;
  const auto Numbers = static_cast<std::size_t>(
      std::min(static_cast<std::int64_t>(ANumbers.size() / FInfo.Numbers * FInfo.Numbers),
               FLeftInRecord / static_cast<std::int64_t>(NumberBytes)));
  FBytes.resize(Numbers * NumberBytes);
  const std::size_t Got = FFile.Read(FBytes.data(), FBytes.size());
  Passed(static_cast<std::int64_t>(Got), static_cast<std::int64_t>(FBytes.size()));
  const std::size_t Whole = Got / FInfo.Bytes * FInfo.Numbers;
  VisitNumberType(FInfo.Type,
                  [&]<class T>(T) { DecodeAs<T>(FBytes.data(), ANumbers.first(Whole)); });
  return Whole;
}

std::int64_t TLogReader::Skip(std::int64_t ANumbers) {
  const auto NumberBytes = static_cast<std::int64_t>(FInfo.Bytes / FInfo.Numbers);
  std::int64_t Done = 0;
  while (Done < ANumbers && IsInRecord()) {
    const std::int64_t Wanted =
        std::min(FLeftInRecord / NumberBytes, ANumbers - Done) * NumberBytes;
    const std::int64_t Got = FFile.Skip(Wanted);
    Passed(Got, Wanted);
    Done += Got / static_cast<std::int64_t>(FInfo.Bytes) * static_cast<std::int64_t>(FInfo.Numbers);
  }
  return Done;
}

// --- writer ---

TLogWriter::TLogWriter(TOutputFile& AFile, TSampleType AType, bool AHasCounts,
                       std::size_t ABlockSize)
    : FFile(AFile),
      FInfo(InfoOf(AType)),
      FHasCounts(AHasCounts),
      FRecordBytes(ABlockSize * FInfo.Bytes),
      FRounding(RoundingFor(AType)) {}

void TLogWriter::Write(std::span<const double> ANumbers) {
  VisitNumberType(FInfo.Type, [&]<class T>(T) {
    for (const double Number : ANumbers) {
      EncodeAs<T>(std::is_integral_v<T> ? FRounding(Number) : Number, FBytes);
      if (FBytes.size() == FRecordBytes) WriteRecord();
    }
  });
}

void TLogWriter::WriteRecord() {
  if (FHasCounts) {
    const auto Count = static_cast<std::uint32_t>(FBytes.size());
    FFile.Write(&Count, CountBytes);
  }
  FFile.Write(FBytes.data(), FBytes.size());
  FBytes.clear();
}

void TLogWriter::Finish() {
  if (!FBytes.empty()) WriteRecord();
}

std::vector<std::string> TLogWriter::Remarks() const {
  return FRounding.Remarks("samples of type " + std::string(FInfo.Name));
}

}  // namespace tessalune::host
