#include <tessalune/frame/runtime/QSException.h>
#include <tessalune/frame/runtime/QSPropertyInfo.h>

#include <algorithm>
#include <array>
#include <charconv>

namespace tessalune {
namespace {

template <class T>
std::string ToText(T AValue) {
  std::array<char, 32> Text;
  const auto End = std::to_chars(Text.data(), Text.data() + Text.size(), AValue).ptr;
  return {Text.data(), End};
}

}  // namespace

std::string_view TakesEffectText(TTakesEffect AWhen) {
  switch (AWhen) {
    case TTakesEffect::NextBlock:
      return "with the next block";
    case TTakesEffect::AtOnce:
      return "at once";
    case TTakesEffect::NextFrame:
      return "with the next frame";
    case TTakesEffect::NextStart:
      return "at the next start";
  }
  return "";
}

std::string NumberText(double AValue) {
  if (std::isnan(AValue)) return "NaN";
  if (std::isinf(AValue)) return AValue > 0 ? "Infinity" : "-Infinity";
  // 500000000, not 5e+08: nobody writes whole numbers of a readable length that way.
  const bool IsWhole = std::trunc(AValue) == AValue && std::abs(AValue) < 1e15;
  if (IsWhole && !(AValue == 0.0 && std::signbit(AValue))) {
    return ToText(static_cast<std::int64_t>(AValue));
  }
  return ToText(AValue);
}

std::string NumberText(std::int64_t AValue) { return ToText(AValue); }

std::string QuantityText(const std::string& ANumber, std::string_view AUnit) {
  if (AUnit.empty()) return ANumber;
  constexpr std::size_t LongestSymbol = 3;  // "s", "ms": no plural
  const bool IsPlural = AUnit.size() > LongestSymbol && AUnit.back() == 's';
  if (IsPlural && ANumber == "1") AUnit.remove_suffix(1);
  return ANumber + ' ' + std::string(AUnit);
}

void RefuseValue(std::string_view AWho, std::string_view AProperty, const std::string& AValue,
                 const std::string& AExpected, const std::string& AAdvice) {
  std::string Text(AWho);
  // What an object holds as its content bears the object's own name: Taps[0], not Taps: _Items[0].
  if (!Text.empty() && AProperty.starts_with('_')) {
    AProperty.remove_prefix(std::min(AProperty.find('['), AProperty.size()));
  } else if (!Text.empty()) {
    Text += ": ";
  }
  Text += AProperty;
  Text += " cannot be " + AValue + "; expected is " + AExpected;
  if (!AAdvice.empty()) Text += "; " + AAdvice;
  throw EQSException(Text);
}

}  // namespace tessalune
