// The one row in which a property's name, default, bounds and documentation stand.
#pragma once

#include <cmath>
#include <concepts>
#include <cstdint>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace tessalune {

// The values that a property takes. An empty range takes all that are finite.
template <class T>
struct TValueRange {
  std::optional<T> Min{};
  std::optional<T> Max{};
  bool MinExcluded = false;       // Min itself is not a value
  std::optional<T> Suggestion{};  // offered in the message to who sets a value outside

  constexpr bool IsEmpty() const { return !Min && !Max; }
  // Written so that a NaN is never inside a range that has a bound.
  constexpr bool Contains(T AValue) const {
    const bool AboveMin = !Min || (MinExcluded ? AValue > *Min : AValue >= *Min);
    return AboveMin && (!Max || AValue <= *Max);
  }
};

template <class T>
constexpr TValueRange<T> AtLeast(T AMin) {
  return {.Min = AMin};
}
template <class T>
constexpr TValueRange<T> AtMost(T AMax) {
  return {.Max = AMax};
}
template <class T>
constexpr TValueRange<T> Between(T AMin, T AMax) {
  return {.Min = AMin, .Max = AMax};
}
template <class T>
constexpr TValueRange<T> Above(T AMin, T ASuggestion) {
  return {.Min = AMin, .MinExcluded = true, .Suggestion = ASuggestion};
}

// Names of an enumeration's values in order from 0. Specialise with a static constexpr array
// `Names` for every enumeration that is a property's type.
template <class T>
struct TEnumNames;

template <class T>
concept CEnumProperty = std::is_enum_v<T> && requires {
  TEnumNames<T>::Names;
};

// What the elements of an array property are; of any other property, what it is itself.
template <class T>
struct TElementOf {
  using TType = T;
  using TStored = std::conditional_t<std::same_as<T, std::string>, std::string_view, T>;
  static constexpr bool IsArray = false;
};
template <class T>
struct TElementOf<std::vector<T>> {
  using TType = T;
  using TStored = std::span<const T>;
  static constexpr bool IsArray = true;
};

// When a stream that runs heeds a new value.
enum class TTakesEffect : std::uint8_t { NextBlock, AtOnce, NextFrame, NextStart };

// "with the next block".
std::string_view TakesEffectText(TTakesEffect AWhen);

// Everything about a property but the way to it. A class declares one constexpr row a property,
// its setter takes the bounds from it, and the class's published table joins it with getter and
// setter: nothing about a property stands anywhere else. The property of an array has a
// std::vector for T; bounds and NonFinite are those of its elements.
template <class T>
struct TPropertyInfo {
  using TElement = typename TElementOf<T>::TType;
  using TStored = typename TElementOf<T>::TStored;
  using TRange = std::conditional_t<std::is_arithmetic_v<TElement>, TElement, std::int64_t>;

  std::string_view Name;
  TStored Default{};
  TValueRange<TRange> Bounds{};  // what the setter enforces
  TValueRange<TRange> Design{};  // what an editor offers; binds nothing
  bool NonFinite = false;        // NaN and the infinities mean something here
  bool Stored = true;            // by property streams; false for what follows from other rows
  std::string_view Unit{};       // "Hz", "samples"; empty for a pure number
  std::string_view OldName{};    // accepted when a stored form is read
  TTakesEffect Effect = TTakesEffect::NextBlock;
  std::string_view Doc{};
  // Of a file's name: what a file dialog offers, "Binary files (*.bin)|*.bin|...".
  std::string_view FileFilter{};
};

// A number as the shortest text that reads back as the same number.
std::string NumberText(double AValue);
std::string NumberText(std::int64_t AValue);
template <std::integral T>
std::string NumberText(T AValue) {
  return NumberText(static_cast<std::int64_t>(AValue));
}

// "1 sample", "2 samples", "1 Hz", with a unit as rows give it.
std::string QuantityText(const std::string& ANumber, std::string_view AUnit);

// "at least 0 Hz", "between 2 and 30"; "any" for an empty range.
template <class T>
std::string RangeText(const TValueRange<T>& ARange, std::string_view AUnit) {
  std::string Text = "any";
  if (ARange.Min && ARange.Max) {
    Text = "between " + NumberText(*ARange.Min) + " and " +
           QuantityText(NumberText(*ARange.Max), AUnit);
  } else if (ARange.Min) {
    Text = (ARange.MinExcluded ? "above " : "at least ") +
           QuantityText(NumberText(*ARange.Min), AUnit);
  } else if (ARange.Max) {
    Text = "at most " + QuantityText(NumberText(*ARange.Max), AUnit);
  }
  return Text;
}

// Raises the EQSException for a value that is not among those expected.
[[noreturn]] void RefuseValue(std::string_view AWho, std::string_view AProperty,
                              const std::string& AValue, const std::string& AExpected,
                              const std::string& AAdvice = {});

// Whether a property (the elements of an array property) takes the value: one inside the bounds, a
// finite number where the row does not say more, one of the enumerators.
template <class T, class TElement = typename TPropertyInfo<T>::TElement>
constexpr bool IsAmong(const TPropertyInfo<T>& AInfo,
                       const std::type_identity_t<TElement>& AValue) {
  if constexpr (std::same_as<TElement, bool>) {
    return true;
  } else if constexpr (std::is_floating_point_v<TElement>) {
    const bool IsFinite = AValue - AValue == TElement{};
    return (IsFinite || AInfo.NonFinite) && AInfo.Bounds.Contains(AValue);
  } else if constexpr (std::is_arithmetic_v<TElement>) {
    return AInfo.Bounds.Contains(AValue);
  } else if constexpr (CEnumProperty<TElement>) {
    return static_cast<std::size_t>(AValue) < TEnumNames<TElement>::Names.size();
  } else {
    return true;
  }
}

// The bounds in words; those that AValue, which is refused, has to be told.
template <class T>
std::string ExpectedNumber(const TValueRange<T>& ABounds, std::string_view AUnit, T AValue) {
  if constexpr (std::is_floating_point_v<T>) {
    if (!std::isfinite(AValue)) {
      return ABounds.IsEmpty() ? "a finite number"
                               : "a finite number, " + RangeText(ABounds, AUnit);
    }
  }
  return RangeText(ABounds, AUnit);
}

template <class T, class TElement = typename TPropertyInfo<T>::TElement>
[[noreturn]] void RefuseValue(std::string_view AWho, const TPropertyInfo<T>& AInfo,
                              const std::type_identity_t<TElement>& AValue) {
  if constexpr (std::same_as<TElement, std::string>) {
    RefuseValue(AWho, AInfo.Name, '"' + AValue + '"', "another text");  // IsAmong takes all
  } else if constexpr (CEnumProperty<TElement>) {
    RefuseValue(AWho, AInfo.Name, NumberText(static_cast<std::int64_t>(AValue)),
                "an enumerator from 0 to " + NumberText(TEnumNames<TElement>::Names.size() - 1));
  } else {
    RefuseValue(AWho, AInfo.Name, NumberText(AValue),
                ExpectedNumber(AInfo.Bounds, AInfo.Unit, AValue),
                AInfo.Bounds.Suggestion ? "try " + NumberText(*AInfo.Bounds.Suggestion) : "");
  }
}

}  // namespace tessalune
