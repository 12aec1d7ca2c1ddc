#include <tessalune/frame/runtime/QSPropertyInfo.h>
#include <tessalune/frame/runtime/QSSerialization.h>

namespace tessalune {

std::string ValueText(const TPropertyValue& AValue) {
  if (const auto* Flag = std::get_if<bool>(&AValue)) return *Flag ? "true" : "false";
  if (const auto* Whole = std::get_if<std::int64_t>(&AValue)) return NumberText(*Whole);
  if (const auto* Number = std::get_if<double>(&AValue)) return NumberText(*Number);
  return '"' + std::get<std::string>(AValue) + '"';
}

std::vector<std::string> ISequentialReader::ReadNextStrings() {
  std::vector<std::string> Values;
  while (const auto Value = ReadNext()) {
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
  while (const auto Value = ReadNext()) {
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
