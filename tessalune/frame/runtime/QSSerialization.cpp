#include <tessalune/frame/runtime/QSPropertyInfo.h>
#include <tessalune/frame/runtime/QSSerialization.h>

#include <utility>

namespace tessalune {

TPropertyList::TPropertyList() noexcept = default;
TPropertyList::TPropertyList(std::vector<TPropertyValue> AItems) noexcept
    : Items(std::move(AItems)) {}
TPropertyList::TPropertyList(const TPropertyList&) = default;
TPropertyList::TPropertyList(TPropertyList&&) noexcept = default;
TPropertyList& TPropertyList::operator=(const TPropertyList&) = default;
TPropertyList& TPropertyList::operator=(TPropertyList&&) noexcept = default;
TPropertyList::~TPropertyList() = default;

TPropertyRecord::TPropertyRecord() noexcept = default;
TPropertyRecord::TPropertyRecord(std::vector<TPropertyMember> AMembers) noexcept
    : Members(std::move(AMembers)) {}
TPropertyRecord::TPropertyRecord(const TPropertyRecord&) = default;
TPropertyRecord::TPropertyRecord(TPropertyRecord&&) noexcept = default;
TPropertyRecord& TPropertyRecord::operator=(const TPropertyRecord&) = default;
TPropertyRecord& TPropertyRecord::operator=(TPropertyRecord&&) noexcept = default;
TPropertyRecord::~TPropertyRecord() = default;

namespace {

// Items as a message shows them, at most so many.
template <class TItems, class TText>
std::string Joined(char AOpen, const TItems& AItems, char AClose, TText AText) {
  constexpr std::size_t Shown = 8;
  std::string Text(1, AOpen);
  for (std::size_t I = 0; I < AItems.size(); ++I) {
    if (I > 0) Text += ", ";
    if (I == Shown) {
      Text += "... " + NumberText(AItems.size()) + " in all";
      break;
    }
    Text += AText(AItems[I]);
  }
  return Text + AClose;
}

}  // namespace

std::string ValueText(const TPropertyValue& AValue) {
  if (const auto* Flag = std::get_if<bool>(&AValue)) return *Flag ? "true" : "false";
  if (const auto* Whole = std::get_if<std::int64_t>(&AValue)) return NumberText(*Whole);
  if (const auto* Number = std::get_if<double>(&AValue)) return NumberText(*Number);
  if (const auto* List = std::get_if<TPropertyList>(&AValue)) {
    return Joined('[', List->Items, ']', ValueText);
  }
  if (const auto* Record = std::get_if<TPropertyRecord>(&AValue)) {
    return Joined('{', Record->Members, '}', [](const TPropertyMember& AMember) {
      return AMember.Name + ": " + ValueText(AMember.Value);
    });
  }
  return '"' + std::get<std::string>(AValue) + '"';
}

std::vector<std::string> ISequentialReader::ReadNextStrings() {
  std::vector<std::string> Values;
  while (HasNext()) {
    const auto Value = ReadNext();
    if (!Value) continue;
    if (const auto* Text = std::get_if<std::string>(&*Value)) {
      Values.push_back(*Text);
    } else {
      Fault(ValueText(*Value) + " is no text");
    }
  }
  return Values;
}

std::vector<double> ISequentialReader::ReadNextNumbers() {
  std::vector<double> Values;
  while (HasNext()) {
    const auto Value = ReadNext();
    if (!Value) continue;
    if (const auto* Number = std::get_if<double>(&*Value)) {
      Values.push_back(*Number);
    } else if (const auto* Whole = std::get_if<std::int64_t>(&*Value)) {
      Values.push_back(static_cast<double>(*Whole));
    } else {
      Fault(ValueText(*Value) + " is no number");
    }
  }
  return Values;
}

}  // namespace tessalune
