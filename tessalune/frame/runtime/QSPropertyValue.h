// C++ values as property values and back.
#pragma once

#include <tessalune/frame/runtime/QSPropertyInfo.h>
#include <tessalune/frame/runtime/QSReference.h>
#include <tessalune/frame/runtime/QSSerialization.h>

#include <cmath>
#include <concepts>
#include <cstdint>
#include <optional>
#include <ranges>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

namespace tessalune {

// All published properties of an object, those of its sub-objects nested; of an object that is
// nothing but a list, the list.
TPropertyValue RecordValue(const TPersistent& AObject);

// The value of a property or of an event's argument: plain values, arrays of them, records (by
// their published rows), blocks of samples (by type and count; see IQSData::PropertyValue), and
// counted references to either, an empty record for an empty one.
template <class T>
TPropertyValue ToValue(const T& AValue) {
  if constexpr (std::same_as<T, bool>) {
    return AValue;
  } else if constexpr (std::is_integral_v<T>) {
    return static_cast<std::int64_t>(AValue);
  } else if constexpr (std::is_floating_point_v<T>) {
    return static_cast<double>(AValue);
  } else if constexpr (CEnumProperty<T>) {
    return std::string(TEnumNames<T>::Names.at(static_cast<std::size_t>(AValue)));
  } else if constexpr (std::constructible_from<std::string, const T&>) {
    return std::string(AValue);
  } else if constexpr (requires { AValue.PublishedTable(); }) {
    return RecordValue(AValue);
  } else if constexpr (std::ranges::range<T>) {
    TPropertyList List;
    for (const auto& Item : AValue) List.Items.push_back(ToValue(Item));
    return List;
  } else if constexpr (requires { AValue.PropertyValue(); }) {
    return AValue.PropertyValue();
  } else {
    static_assert(
        requires(const T& V) { V.Get(); }, "no property value can hold this type");
    return AValue ? ToValue(*AValue) : TPropertyRecord();
  }
}

// A stored value as the type of a property; empty if it cannot be one.
template <class T>
std::optional<T> ValueAs(const TPropertyValue& AValue) {
  if constexpr (CEnumProperty<T>) {
    const auto* Name = std::get_if<std::string>(&AValue);
    for (std::size_t I = 0; Name != nullptr && I < TEnumNames<T>::Names.size(); ++I) {
      if (TEnumNames<T>::Names[I] == *Name) return static_cast<T>(I);
    }
    return std::nullopt;
  } else if constexpr (std::is_integral_v<T> && !std::same_as<T, bool>) {
    const auto Whole = ValueAs<double>(AValue);
    if (const auto* Exact = std::get_if<std::int64_t>(&AValue)) {
      if (std::in_range<T>(*Exact)) return static_cast<T>(*Exact);
    } else if (Whole && std::trunc(*Whole) == *Whole && std::abs(*Whole) <= 0x1p53 &&
               std::in_range<T>(static_cast<std::int64_t>(*Whole))) {
      return static_cast<T>(*Whole);
    }
    return std::nullopt;
  } else if constexpr (std::same_as<T, double>) {
    if (const auto* Number = std::get_if<double>(&AValue)) return *Number;
    if (const auto* Whole = std::get_if<std::int64_t>(&AValue)) return static_cast<double>(*Whole);
    return std::nullopt;
  } else if constexpr (TElementOf<T>::IsArray) {
    const auto* List = std::get_if<TPropertyList>(&AValue);
    if (List == nullptr) return std::nullopt;
    T Items;
    for (const TPropertyValue& Value : List->Items) {
      auto Item = ValueAs<typename TElementOf<T>::TType>(Value);
      if (!Item) return std::nullopt;
      Items.push_back(*std::move(Item));
    }
    return Items;
  } else {
    const auto* Same = std::get_if<T>(&AValue);
    return Same != nullptr ? std::optional<T>(*Same) : std::nullopt;
  }
}

}  // namespace tessalune
