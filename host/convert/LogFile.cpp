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
  std::uint32_t Count = 0;
  while (FFile.Left() >= static_cast<std::int64_t>(CountBytes)) {
    if (FFile.Read(&Count, CountBytes) != CountBytes) FFile.Fail("the file cannot be read on");
    if (Count > FFile.Left()) {
      FFile.Fail("the record at byte " + std::to_string(FFile.Position() - 4) + " claims " +
                 Counted(Count, "byte") + ", but only " + std::to_string(FFile.Left()) +
                 " follow; the file was cut, or it has no counts (then leave --counts out)");
    }
    if (Count > 0) return Count;
  }
  return 0;
}

// --- reader ---

TLogReader::TLogReader(const std::string& AFileName, TSampleType AType, bool AHasCounts)
    : FFile(AFileName), FRecords(FFile, AHasCounts), FInfo(InfoOf(AType)), FHasCounts(AHasCounts) {
  if (FFile.Size() == 0)
    FRemarks.push_back('"' + AFileName + "\" is empty: there is no sample in it");
}

void TLogReader::NextRecord() {
  const std::int64_t Start = FFile.Position();
  FLeftInRecord = FRecords.Next();
  const auto Bytes = static_cast<std::int64_t>(FInfo.Bytes);
  const std::int64_t Rest = FLeftInRecord % Bytes;
  const std::string Fraction =
      "is no whole number of " + std::string(FInfo.Name) + " samples of " + Counted(Bytes, "byte");
  if (Rest != 0 && FLeftInRecord < FFile.Left()) {
    FFile.Fail("the record at byte " + std::to_string(Start) + " has " +
               Counted(FLeftInRecord, "byte") + ", which " + Fraction + "; is --type right?");
  }
  const std::int64_t LeftOut = FLeftInRecord == 0 ? FFile.Left() : Rest;
  if (LeftOut != 0) {
    FRemarks.push_back("the last " + Counted(LeftOut, "byte") + " left out: the file ends inside " +
                       (Rest != 0 ? "a sample" : "a count"));
  }
  FLeftInRecord -= Rest;
  FIsLast = !FHasCounts || Rest != 0;
  FAtEnd = FLeftInRecord == 0;
}

std::size_t TLogReader::Read(std::span<double> ANumbers) {
  if (FLeftInRecord == 0 && !FAtEnd) NextRecord();
  if (FAtEnd) return 0;
  const std::size_t NumberBytes = FInfo.Bytes / FInfo.Numbers;
  const std::size_t Numbers = std::min(ANumbers.size() / FInfo.Numbers * FInfo.Numbers,
                                       static_cast<std::size_t>(FLeftInRecord) / NumberBytes);
  FBytes.resize(Numbers * NumberBytes);
  if (FFile.Read(FBytes.data(), FBytes.size()) != FBytes.size()) {
    FFile.Fail("the file cannot be read beyond byte " + std::to_string(FFile.Position()));
  }
  VisitNumberType(FInfo.Type,
                  [&]<class T>(T) { DecodeAs<T>(FBytes.data(), ANumbers.first(Numbers)); });
  FLeftInRecord -= static_cast<std::int64_t>(FBytes.size());
  if (FLeftInRecord == 0) FAtEnd = FIsLast;
  return Numbers;
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
