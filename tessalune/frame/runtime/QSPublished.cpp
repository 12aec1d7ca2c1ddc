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
  }
  return "";
}

TPropertyValue TPublishedProperty::Parse(std::string_view AText) const {
  std::optional<TPropertyValue> Value;
  switch (Kind) {
    case TPropertyKind::Boolean:
      if (AText == "true") Value = true;
      if (AText == "false") Value = false;
      break;
    case TPropertyKind::Integer:
    case TPropertyKind::Cardinal:
    case TPropertyKind::Int64:
      if (const auto Number = ParseInteger(AText)) Value = *Number;
      break;
    case TPropertyKind::Double:
      if (const auto Number = ParseNumber(AText)) Value = *Number;
      break;
    case TPropertyKind::String:
    case TPropertyKind::Enumeration:
      Value = std::string(AText);
      break;
    case TPropertyKind::Object:
      break;
  }
  if (!Value) RefuseValue("this text", Name, ValueText(std::string(AText)), Expected());
  return *Value;
}

std::string TPublishedProperty::Expected() const {
  switch (Kind) {
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
      return "one of " + Joined(Enumerators);
    case TPropertyKind::Object:
      return "an object with properties of its own";
  }
  return {};
}

void RefuseType(const TPersistent& AObject, const TPublishedProperty& AProperty,
                const TPropertyValue& AValue) {
  std::string Advice;
  if (const auto* Text = std::get_if<std::string>(&AValue);
      Text != nullptr && AProperty.Kind == TPropertyKind::Enumeration) {
    const std::string_view Nearest = NearestName(*Text, AProperty.Enumerators);
    if (!Nearest.empty()) Advice = "did you mean " + std::string(Nearest) + "?";
  }
  RefuseValue(AObject.Describe(), AProperty.Name, ValueText(AValue), AProperty.Expected(), Advice);
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

const TPublishedProperty* TPublishedTable::FindProperty(std::string_view AName) const {
  for (const TPublishedProperty* Row : Properties()) {
    if (Row->Name == AName || (!AName.empty() && Row->OldName == AName)) return Row;
  }
  return nullptr;
}

const TPublishedPin* TPublishedTable::FindPin(std::string_view AName) const {
  for (const TPublishedPin* Row : Pins()) {
    if (Row->Name == AName) return Row;
  }
  return nullptr;
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
