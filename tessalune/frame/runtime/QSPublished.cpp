#include <tessalune/frame/runtime/QSException.h>
#include <tessalune/frame/runtime/QSPublished.h>
#include <tessalune/frame/runtime/VBComponent.h>

#include <algorithm>
#include <charconv>
#include <numeric>

namespace tessalune {
namespace {

template <class TRow>
std::vector<const TRow*> BasesFirst(std::vector<const TRow*> ABase, const std::vector<TRow>& AOwn) {
  for (const TRow& Row : AOwn) ABase.push_back(&Row);
  return ABase;
}

std::optional<double> ParseNumber(std::string_view AText) {
  double Value = 0.0;
  const char* End = AText.data() + AText.size();
  const auto Result = std::from_chars(AText.data(), End, Value);
  return Result.ec == std::errc() && Result.ptr == End ? std::optional(Value) : std::nullopt;
}

std::optional<std::int64_t> ParseInteger(std::string_view AText) {
  std::int64_t Value = 0;
  const char* End = AText.data() + AText.size();
  const auto Result = std::from_chars(AText.data(), End, Value);
  return Result.ec == std::errc() && Result.ptr == End ? std::optional(Value) : std::nullopt;
}

std::string Joined(const std::vector<std::string_view>& AWords) {
  std::string Text;
  for (const std::string_view Word : AWords) {
    if (!Text.empty()) Text += ", ";
    Text += Word;
  }
  return Text;
}

std::size_t EditDistance(std::string_view ALeft, std::string_view ARight) {
  const auto Lower = [](char C) { return C >= 'A' && C <= 'Z' ? static_cast<char>(C + 32) : C; };
  std::vector<std::size_t> Row(ARight.size() + 1);
  std::iota(Row.begin(), Row.end(), std::size_t{0});
  for (std::size_t I = 0; I < ALeft.size(); ++I) {
    std::size_t Diagonal = std::exchange(Row[0], I + 1);
    for (std::size_t J = 0; J < ARight.size(); ++J) {
      const std::size_t Replace = Diagonal + (Lower(ALeft[I]) != Lower(ARight[J]));
      Diagonal = std::exchange(Row[J + 1], std::min({Replace, Row[J] + 1, Row[J + 1] + 1}));
    }
  }
  return Row.back();
}

}  // namespace

std::string_view PropertyKindName(TPropertyKind AKind) {
  switch (AKind) {
    case TPropertyKind::Boolean:
      return "Boolean";
    case TPropertyKind::Integer:
      return "Integer";
    case TPropertyKind::Cardinal:
      return "Cardinal";
    case TPropertyKind::Int64:
      return "Int64";
    case TPropertyKind::Double:
      return "Double";
    case TPropertyKind::String:
      return "String";
    case TPropertyKind::Enumeration:
      return "Enumeration";
    case TPropertyKind::Object:
      return "Object";
    case TPropertyKind::Array:
      return "Array";
    case TPropertyKind::Collection:
      return "Collection";
  }
  return "";
}

namespace {

// The plain value of that kind that a text means.
std::optional<TPropertyValue> ParsePlain(TPropertyKind AKind, std::string_view AText) {
  switch (AKind) {
    case TPropertyKind::Boolean:
      if (AText == "true") return true;
      if (AText == "false") return false;
      return std::nullopt;
    case TPropertyKind::Integer:
    case TPropertyKind::Cardinal:
    case TPropertyKind::Int64:
      return ParseInteger(AText);
    case TPropertyKind::Double:
      return ParseNumber(AText);
    case TPropertyKind::String:
    case TPropertyKind::Enumeration:
      return std::string(AText);
    default:
      return std::nullopt;
  }
}

std::string_view WithoutSpaces(std::string_view AText) {
  while (!AText.empty() && AText.front() == ' ') AText.remove_prefix(1);
  while (!AText.empty() && AText.back() == ' ') AText.remove_suffix(1);
  return AText;
}

std::optional<TPropertyValue> ParseList(TPropertyKind AElement, std::string_view AText) {
  if (AText.starts_with('[') && AText.ends_with(']')) AText = AText.substr(1, AText.size() - 2);
  TPropertyList List;
  bool IsOver = WithoutSpaces(AText).empty();
  while (!IsOver) {
    const std::size_t Comma = std::min(AText.find(','), AText.size());
    auto Item = ParsePlain(AElement, WithoutSpaces(AText.substr(0, Comma)));
    if (!Item) return std::nullopt;
    List.Items.push_back(*std::move(Item));
    IsOver = Comma == AText.size();
    AText.remove_prefix(IsOver ? Comma : Comma + 1);
  }
  return List;
}

std::string ExpectedOf(TPropertyKind AKind, const std::vector<std::string_view>& AEnumerators) {
  switch (AKind) {
    case TPropertyKind::Boolean:
      return "true or false";
    case TPropertyKind::Integer:
      return "a whole number of 32 bits";
    case TPropertyKind::Cardinal:
      return "a whole number from 0 to 4294967295";
    case TPropertyKind::Int64:
      return "a whole number";
    case TPropertyKind::Double:
      return "a number";
    case TPropertyKind::String:
      return "a text";
    case TPropertyKind::Enumeration:
      return "one of " + Joined(AEnumerators);
    case TPropertyKind::Object:
      return "an object with properties of its own";
    case TPropertyKind::Array:
    case TPropertyKind::Collection:
      return "an array";
  }
  return {};
}

[[noreturn]] void RefuseKind(const TPersistent& AObject, const TPublishedProperty& AProperty,
                             const TPropertyValue& AValue, const std::string& AExpected) {
  std::string Advice;
  if (const auto* Text = std::get_if<std::string>(&AValue);
      Text != nullptr && !AProperty.Enumerators.empty()) {
    const std::string_view Nearest = NearestName(*Text, AProperty.Enumerators);
    if (!Nearest.empty()) Advice = "did you mean " + std::string(Nearest) + "?";
  }
  RefuseValue(AObject.Describe(), AProperty.Name, ValueText(AValue), AExpected, Advice);
}

}  // namespace

TPropertyValue TPublishedProperty::Parse(std::string_view AText) const {
  const bool IsArray = Kind == TPropertyKind::Array;
  auto Value = IsArray ? ParseList(Element, AText) : ParsePlain(Kind, AText);
  if (!Value) {
    RefuseValue({}, Name, ValueText(std::string(AText)),
                Expected() + (IsArray ? ", with commas between them" : ""));
  }
  return *std::move(Value);
}

std::string TPublishedProperty::Expected() const {
  if (Kind == TPropertyKind::Array) {
    return "an array, each element " + ExpectedOf(Element, Enumerators);
  }
  if (Kind == TPropertyKind::Collection) {
    std::vector<std::string_view> Names;
    for (const TPublishedProperty* Row : ItemTable().Properties()) Names.push_back(Row->Name);
    return "an array of objects with " + Joined(Names);
  }
  return ExpectedOf(Kind, Enumerators);
}

std::string TPublishedPin::PinName(std::size_t AIndex) const {
  return IsList ? std::string(Name) + '[' + NumberText(AIndex) + ']' : std::string(Name);
}

void RefuseType(const TPersistent& AObject, const TPublishedProperty& AProperty,
                const TPropertyValue& AValue) {
  RefuseKind(AObject, AProperty, AValue, AProperty.Expected());
}

void RefuseElementType(const TPersistent& AObject, const TPublishedProperty& AProperty,
                       const TPropertyValue& AValue) {
  RefuseKind(AObject, AProperty, AValue, ExpectedOf(AProperty.Element, AProperty.Enumerators));
}

TPropertyValue RecordValue(const TPersistent& AObject) {
  const TPublishedTable& Table = AObject.PublishedTable();
  const auto Rows = Table.Properties();
  if (Rows.size() == 1 && Rows.front() == Table.ContentRow()) return Rows.front()->Get(AObject);
  TPropertyRecord Record;
  for (const TPublishedProperty* Row : Rows) {
    // Reading a sub-object's properties changes nothing; only the way to it is not const.
    Record.Members.push_back(
        {std::string(Row->Name), Row->Kind == TPropertyKind::Object
                                     ? RecordValue(Row->Object(const_cast<TPersistent&>(AObject)))
                                     : Row->Get(AObject)});
  }
  return Record;
}

void FillFrom(TPersistent& AObject, const TPublishedProperty& ARow, const TPropertyValue& AValue) {
  const auto* List = std::get_if<TPropertyList>(&AValue);
  if (List == nullptr) RefuseType(AObject, ARow, AValue);
  std::size_t Next = 0;
  ARow.Fill(AObject, [&](TPersistent& AItem) {
    if (Next == List->Items.size()) return false;
    const auto* Record = std::get_if<TPropertyRecord>(&List->Items[Next++]);
    if (Record == nullptr) RefuseType(AObject, ARow, AValue);
    for (const TPropertyMember& Member : Record->Members) {
      const TPublishedProperty* Row = AItem.PublishedTable().FindProperty(Member.Name);
      if (Row == nullptr || !Row->Set) RefuseType(AObject, ARow, AValue);
      Row->Set(AItem, Member.Value);
    }
    return true;
  });
}

std::string TPublishedTable::Text(std::string_view TClassText::*ASection) const {
  std::string Text(FClass.Text.*ASection);
  const std::string Base = FParent != nullptr ? FParent->Text(ASection) : std::string();
  return Text + (Text.empty() || Base.empty() ? "" : "\n\n") + Base;
}

std::vector<const TPublishedProperty*> TPublishedTable::Properties() const {
  return BasesFirst(
      FParent != nullptr ? FParent->Properties() : std::vector<const TPublishedProperty*>(),
      FProperties);
}

std::vector<const TPublishedPin*> TPublishedTable::Pins() const {
  return BasesFirst(FParent != nullptr ? FParent->Pins() : std::vector<const TPublishedPin*>(),
                    FPins);
}

std::vector<const TPublishedEvent*> TPublishedTable::Events() const {
  return BasesFirst(FParent != nullptr ? FParent->Events() : std::vector<const TPublishedEvent*>(),
                    FEvents);
}

std::vector<const TPublishedAction*> TPublishedTable::Actions() const {
  return BasesFirst(
      FParent != nullptr ? FParent->Actions() : std::vector<const TPublishedAction*>(), FActions);
}

std::vector<const TPublishedOlderForm*> TPublishedTable::OlderForms() const {
  return BasesFirst(
      FParent != nullptr ? FParent->OlderForms() : std::vector<const TPublishedOlderForm*>(),
      FOlderForms);
}

std::vector<const TPublishedDesignEntry*> TPublishedTable::DesignEntries() const {
  return BasesFirst(
      FParent != nullptr ? FParent->DesignEntries() : std::vector<const TPublishedDesignEntry*>(),
      FDesignEntries);
}

TPublishedTable&& TPublishedTable::DesignEntry(std::string_view AText,
                                               std::string_view AProperty) && {
  FDesignEntries.push_back({AText, AProperty});
  return std::move(*this);
}

namespace {

template <class TRow>
const TRow* FindByName(const std::vector<const TRow*>& ARows, std::string_view AName) {
  const auto Found = std::find_if(ARows.begin(), ARows.end(),
                                  [AName](const TRow* ARow) { return ARow->Name == AName; });
  return Found != ARows.end() ? *Found : nullptr;
}

}  // namespace

const TPublishedProperty* TPublishedTable::FindProperty(std::string_view AName) const {
  for (const TPublishedProperty* Row : Properties()) {
    if (Row->Name == AName || (!AName.empty() && Row->OldName == AName)) return Row;
  }
  return nullptr;
}

const TPublishedPin* TPublishedTable::FindPin(std::string_view AName) const {
  return FindByName(Pins(), AName);
}

const TPublishedOlderForm* TPublishedTable::FindOlderForm(std::string_view AName) const {
  return FindByName(OlderForms(), AName);
}

const TPublishedProperty* TPublishedTable::ContentRow() const {
  if (FContent) return &FProperties[*FContent];
  return FParent != nullptr ? FParent->ContentRow() : nullptr;
}

std::string_view NearestName(std::string_view AName, const std::vector<std::string_view>& ANames) {
  std::string_view Nearest;
  std::size_t Smallest = AName.size() / 3 + 2;
  for (const std::string_view Name : ANames) {
    const std::size_t Distance = EditDistance(AName, Name);
    if (Distance < Smallest) {
      Smallest = Distance;
      Nearest = Name;
    }
  }
  return Nearest;
}

std::string SuggestName(std::string_view AName, const std::vector<std::string_view>& ANames) {
  const std::string_view Nearest = NearestName(AName, ANames);
  return Nearest.empty() ? "" : "; did you mean " + std::string(Nearest) + "?";
}

}  // namespace tessalune
