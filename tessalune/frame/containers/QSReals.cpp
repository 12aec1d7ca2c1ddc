#include <tessalune/frame/containers/QSReals.h>

#include <limits>
#include <utility>

namespace tessalune {
namespace {

constexpr TPropertyInfo<std::vector<double>> ValuesInfo{
    .Name = "_Values", .Doc = "The coefficients in the order of memory."};
constexpr TPropertyInfo<std::int32_t> CountInfo{
    .Name = "Count",
    .Bounds = Between(0, std::numeric_limits<std::int32_t>::max() / 6),
    .Stored = false,
    .Doc = "How many pairs or sections there are."};

}  // namespace

const TPublishedTable& TQSReals::Published() {
  static const TPublishedTable Table =
      ItemsTable({.Name = "TQSReals", .Doc = "An array of numbers."});
  return Table;
}

// --- TQSBasicReals ---

TQSBasicReals::TQSBasicReals(std::int32_t AGroup, std::string_view AGroupText,
                             TRef<IChangeNotifyLock> ALock, std::string_view APath,
                             std::function<void()> AOnChange)
    : TLockArray(ValuesInfo, std::move(ALock), APath, std::move(AOnChange)),
      FGroup(AGroup),
      FGroupText(AGroupText) {}

TPublishedTable TQSBasicReals::ValuesTable(TPublishedTable::TClass AClass) {
  return TPublishedTable(AClass, nullptr)
      .Content(ValuesInfo, &TLockArray::Values, &TLockArray::SetValues)
      .Property(CountInfo, &TQSBasicReals::Count, &TQSBasicReals::SetCount);
}

std::int32_t TQSBasicReals::Count() const {
  const ILockSection Section = FLock->ReadLock();
  return static_cast<std::int32_t>(FArray.size()) / FGroup;
}

void TQSBasicReals::CheckValues(const std::vector<double>& AValues) const {
  TLockArray::CheckValues(AValues);
  if (AValues.size() % static_cast<std::size_t>(FGroup) != 0) {
    RefuseValue(Describe(), ValuesInfo.Name, NumberText(AValues.size()) + " values",
                std::string(FGroupText));
  }
}

void TQSBasicReals::SerializationRead(IReader& AReader) {
  const ILockSection Section = FLock->WriteLock();
  struct TReading {
    bool& Flag;
    explicit TReading(bool& AFlag) : Flag(AFlag) { Flag = true; }
    ~TReading() { Flag = false; }
  } const Reading(FReading);
  TLockArray::SerializationRead(AReader);
}

void TQSBasicReals::NotifyProp() {
  if (!FReading) TLockArray::NotifyProp();
}

double TQSBasicReals::Get(std::int32_t AIndex, std::int32_t ACount, std::int32_t AAt) const {
  CheckIndex(AIndex, ACount);
  return FArray[static_cast<std::size_t>(AAt)];
}

void TQSBasicReals::Put(std::int32_t AIndex, std::int32_t ACount, std::int32_t AAt, double AValue) {
  CheckIndex(AIndex, ACount);
  CheckValue(static_cast<std::size_t>(AAt), AValue);
  FArray[static_cast<std::size_t>(AAt)] = AValue;
}

void TQSBasicReals::Append(const std::vector<double>& AValues) {
  for (std::size_t I = 0; I < AValues.size(); ++I) CheckValue(FArray.size() + I, AValues[I]);
  FArray.insert(FArray.end(), AValues.begin(), AValues.end());
}

// --- TQSDualReals ---

TQSDualReals::TQSDualReals(TRef<IChangeNotifyLock> ALock, std::string_view APath,
                           std::function<void()> AOnChange)
    : TQSBasicReals(2,
                    "an even count, as many B as A coefficients: B0 to B(n-1), then A0 to A(n-1)",
                    std::move(ALock), APath, std::move(AOnChange)) {}

const TPublishedTable& TQSDualReals::Published() {
  static const TPublishedTable Table =
      ValuesTable({.Name = "TQSDualReals", .Doc = "Pairs of filter coefficients."})
          .OlderForm("Values", ValuesInfo.Name, &TQSDualReals::ReadPairs,
                     "The pairs one by one: A0, B0, A1, B1 and so on.");
  return Table;
}

void TQSDualReals::SetCount(std::int32_t AValue) {
  if (!IsAmong(CountInfo, AValue)) RefuseValue(Describe(), CountInfo, AValue);
  const ILockSection Section = FLock->WriteLock();
  const auto Half = FArray.begin() + Count();
  std::vector<double> B(FArray.begin(), Half);
  std::vector<double> A(Half, FArray.end());
  B.resize(static_cast<std::size_t>(AValue));
  A.resize(static_cast<std::size_t>(AValue));
  FArray = std::move(B);
  FArray.insert(FArray.end(), A.begin(), A.end());
}

double TQSDualReals::BValues(std::int32_t AIndex) const {
  const ILockSection Section = FLock->ReadLock();
  return Get(AIndex, Count(), AIndex);
}

void TQSDualReals::SetBValues(std::int32_t AIndex, double AValue) {
  const ILockSection Section = FLock->WriteLock();
  if (BValues(AIndex) == AValue) return;
  Put(AIndex, Count(), AIndex, AValue);
  TellContent();
}

double TQSDualReals::AValues(std::int32_t AIndex) const {
  const ILockSection Section = FLock->ReadLock();
  return Get(AIndex, Count(), Count() + AIndex);
}

void TQSDualReals::SetAValues(std::int32_t AIndex, double AValue) {
  const ILockSection Section = FLock->WriteLock();
  Put(AIndex, Count(), Count() + AIndex, AValue);
}

void TQSDualReals::Add(double AAValue, double ABValue) {
  const ILockSection Section = FLock->WriteLock();
  AddInt(AAValue, ABValue);
  DoChange();
}

void TQSDualReals::AddInt(double AAValue, double ABValue) {
  const std::int32_t Pairs = Count();
  Append({AAValue, ABValue});
  // Now the A block ends with A, then B: B moves up behind the B block.
  FArray.pop_back();
  FArray.insert(FArray.begin() + Pairs, ABValue);
}

void TQSDualReals::ReadPairs(IReader& AReader, std::string_view AName) {
  const bool IsArray = AReader.ReadArray(AName, [this](ISequentialReader& AElements) {
    const std::vector<double> Values = AElements.ReadNextNumbers();
    const std::size_t Pairs = Values.size() / 2;
    if (Values.size() % 2 != 0) {
      AElements.Fault("the last value has no partner; expected are pairs A0, B0, A1, B1 and so on");
      return;
    }
    std::vector<double> Blocks(Values.size());
    for (std::size_t I = 0; I < Pairs; ++I) {
      Blocks[Pairs + I] = Values[2 * I];
      Blocks[I] = Values[2 * I + 1];
    }
    SetValues(std::move(Blocks));
  });
  if (!IsArray) AReader.Fault(AName, "expected is an array of pairs of numbers");
}

// --- TQSBiQuads ---

TQSBiQuads::TQSBiQuads(TRef<IChangeNotifyLock> ALock, std::string_view APath,
                       std::function<void()> AOnChange)
    : TQSBasicReals(6, "a multiple of six, for each section: B0, B1, B2, A0, A1, A2",
                    std::move(ALock), APath, std::move(AOnChange)) {}

const TPublishedTable& TQSBiQuads::Published() {
  static const TPublishedTable Table =
      ValuesTable({.Name = "TQSBiQuads", .Doc = "The coefficients of second-order sections."})
          .OlderForm("Values", ValuesInfo.Name, &TQSBiQuads::ReadSections,
                     "An array of six numbers for each section.");
  return Table;
}

void TQSBiQuads::SetCount(std::int32_t AValue) {
  if (!IsAmong(CountInfo, AValue)) RefuseValue(Describe(), CountInfo, AValue);
  const ILockSection Section = FLock->WriteLock();
  FArray.resize(6 * static_cast<std::size_t>(AValue));
}

std::int32_t TQSBiQuads::At(std::int32_t ASection, std::int32_t ATap, std::int32_t AOffset) const {
  CheckIndex(ATap, 3);
  return 6 * ASection + AOffset + ATap;
}

double TQSBiQuads::BValues(std::int32_t ASection, std::int32_t ATap) const {
  const ILockSection Section = FLock->ReadLock();
  return Get(ASection, Count(), At(ASection, ATap, 0));
}

void TQSBiQuads::SetBValues(std::int32_t ASection, std::int32_t ATap, double AValue) {
  const ILockSection Section = FLock->WriteLock();
  Put(ASection, Count(), At(ASection, ATap, 0), AValue);
}

double TQSBiQuads::AValues(std::int32_t ASection, std::int32_t ATap) const {
  const ILockSection Section = FLock->ReadLock();
  return Get(ASection, Count(), At(ASection, ATap, 3));
}

void TQSBiQuads::SetAValues(std::int32_t ASection, std::int32_t ATap, double AValue) {
  const ILockSection Section = FLock->WriteLock();
  Put(ASection, Count(), At(ASection, ATap, 3), AValue);
}

void TQSBiQuads::Add(double AB0, double AB1, double AB2, double AA0, double AA1, double AA2) {
  const ILockSection Section = FLock->WriteLock();
  Append({AB0, AB1, AB2, AA0, AA1, AA2});
  DoChange();
}

void TQSBiQuads::ReadSections(IReader& AReader, std::string_view AName) {
  const bool IsArray = AReader.ReadArray(AName, [this](ISequentialReader& ASections) {
    std::vector<double> Values;
    while (ASections.HasNext()) {
      ASections.ReadNextArray([&](ISequentialReader& ASection) {
        const std::vector<double> Six = ASection.ReadNextNumbers();
        if (Six.size() != 6) {
          ASection.Fault("a section has six numbers, B0, B1, B2, A0, A1, A2, and not " +
                         NumberText(Six.size()));
        }
        Values.insert(Values.end(), Six.begin(), Six.end());
      });
    }
    if (Values.size() % 6 == 0) SetValues(std::move(Values));
  });
  if (!IsArray) AReader.Fault(AName, "expected is an array of sections of six numbers");
}

}  // namespace tessalune
