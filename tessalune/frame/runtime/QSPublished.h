// Published tables: what a class shows to hosts, stores in property streams and documents.
//
// A class has one table: its names, one row a property, a pin or an event. Defaults, storage, the
// program's `list` and `describe`, and the generic tests all come from it. A table is built once,
// on first use, and constant from then on; any thread may read it.
#pragma once

#include <tessalune/frame/runtime/QSPropertyInfo.h>
#include <tessalune/frame/runtime/QSSerialization.h>

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tessalune {

class TPersistent;
class TKLBasicPin;

enum class TPropertyKind : std::uint8_t {
  Boolean,
  Integer,   // 32 bits, signed
  Cardinal,  // 32 bits, unsigned
  Int64,
  Double,
  String,
  Enumeration,
  Object,  // a sub-object with a table of its own
};

std::string_view PropertyKindName(TPropertyKind AKind);

// A range of values as tools show it; empty texts where there is no bound.
struct TPublishedProperty {
  std::string_view Name;
  std::string_view OldName;
  std::string_view Unit;
  std::string_view Doc;
  TPropertyKind Kind;
  TPropertyValue Default;                     // not for Object
  TValueRange<double> Bounds;                 // what the setter enforces
  TValueRange<double> Design;                 // what an editor offers
  std::vector<std::string_view> Enumerators;  // names, in order from 0
  std::function<TPropertyValue(const TPersistent&)> Get;
  // Goes through the setter. Raises EQSException for a value of the wrong type, for an unknown
  // enumerator, and whatever the setter raises.
  std::function<void(TPersistent&, const TPropertyValue&)> Set;
  std::function<TPersistent&(TPersistent&)> Object;  // only for Object

  // The value that a text from a command line means; raises EQSException if it means none.
  TPropertyValue Parse(std::string_view AText) const;
  // What Set takes, in words: "a number", "one of stTone, stSquare".
  std::string Expected() const;
};

struct TPublishedPin {
  std::string_view Name;
  std::string_view Doc;
  bool Primary;  // what a tool links first
  std::function<TKLBasicPin&(TPersistent&)> Get;
};

struct TEventArgument {
  std::string_view Name;
  TPropertyValue Value;
};
using TEventListener = std::function<void(const std::vector<TEventArgument>&)>;

struct TPublishedEvent {
  std::string_view Name;
  std::string_view Doc;
  std::vector<std::string_view> Arguments;  // behind Sender
  // Sets a handler that passes the arguments on; it takes the place of the one before.
  std::function<void(TPersistent&, TEventListener)> Listen;
};

// An event's arguments as values. A reference argument is passed on as it stands before the call.
template <class T>
requires(std::is_arithmetic_v<T> || std::convertible_to<const T&, std::string>) TPropertyValue
    EventValue(const T& AValue) {
  if constexpr (std::same_as<T, bool>) {
    return AValue;
  } else if constexpr (std::is_integral_v<T>) {
    return static_cast<std::int64_t>(AValue);
  } else if constexpr (std::is_floating_point_v<T>) {
    return static_cast<double>(AValue);
  } else {
    return std::string(AValue);
  }
}

// Raises the EQSException for a value of the wrong type.
[[noreturn]] void RefuseType(const TPersistent& AObject, const TPublishedProperty& AProperty,
                             const TPropertyValue& AValue);

// A stored value as the type of a property; empty if it cannot be one.
template <class T>
std::optional<T> ValueAs(const TPropertyValue& AValue);

class TPublishedTable {
 public:
  // A class's own table. AParent is its base's table, null for a root. ADisplayName and ACategory
  // are empty for a base class that no palette shows.
  struct TClass {
    std::string_view Name;
    std::string_view DisplayName{};
    std::string_view Category{};
    std::string_view Doc{};
  };
  TPublishedTable(TClass AClass, const TPublishedTable* AParent)
      : FClass(AClass), FParent(AParent) {}

  template <class TOwner, class T>
  TPublishedTable&& Property(const TPropertyInfo<T>& AInfo, T (TOwner::*AGet)() const,
                             void (TOwner::*ASet)(T)) &&;
  template <class TOwner, class TObjectType>
  TPublishedTable&& Object(std::string_view AName, TObjectType& (TOwner::*AGet)(),
                           std::string_view ADoc) &&;
  template <class TOwner, class TPin>
  TPublishedTable&& Pin(std::string_view AName, TPin& (TOwner::*AGet)(), std::string_view ADoc,
                        bool APrimary = false) &&;
  template <class TOwner, class TSender, class... TArgs>
  TPublishedTable&& Event(std::string_view AName,
                          void (TOwner::*ASet)(std::function<void(TSender&, TArgs...)>),
                          std::vector<std::string_view> AArguments, std::string_view ADoc) &&;

  std::string_view ClassName() const { return FClass.Name; }
  std::string_view DisplayName() const { return FClass.DisplayName; }
  std::string_view Category() const { return FClass.Category; }
  std::string_view Doc() const { return FClass.Doc; }

  // Rows of the class and its bases, bases first.
  std::vector<const TPublishedProperty*> Properties() const;
  std::vector<const TPublishedPin*> Pins() const;
  std::vector<const TPublishedEvent*> Events() const;

  // By name, or by older name; null if there is none.
  const TPublishedProperty* FindProperty(std::string_view AName) const;
  const TPublishedPin* FindPin(std::string_view AName) const;

 private:
  TClass FClass;
  const TPublishedTable* FParent;
  std::vector<TPublishedProperty> FProperties;
  std::vector<TPublishedPin> FPins;
  std::vector<TPublishedEvent> FEvents;
};

// The name in ANames that a mistyped AName most likely means; empty if none is near.
std::string_view NearestName(std::string_view AName, const std::vector<std::string_view>& ANames);
// "; did you mean Frequency?" or nothing.
std::string SuggestName(std::string_view AName, const std::vector<std::string_view>& ANames);

// --- implementation of the templates ---

template <class T>
constexpr TPropertyKind PropertyKindOf() {
  if constexpr (std::same_as<T, bool>)
    return TPropertyKind::Boolean;
  else if constexpr (std::same_as<T, std::int32_t>)
    return TPropertyKind::Integer;
  else if constexpr (std::same_as<T, std::uint32_t>)
    return TPropertyKind::Cardinal;
  else if constexpr (std::same_as<T, std::int64_t>)
    return TPropertyKind::Int64;
  else if constexpr (std::same_as<T, double>)
    return TPropertyKind::Double;
  else if constexpr (std::same_as<T, std::string>)
    return TPropertyKind::String;
  else {
    static_assert(CEnumProperty<T>, "a property's type is none that a published table knows");
    return TPropertyKind::Enumeration;
  }
}

template <class T>
TPropertyValue ToValue(const T& AValue) {
  if constexpr (CEnumProperty<T>) {
    return std::string(TEnumNames<T>::Names.at(static_cast<std::size_t>(AValue)));
  } else if constexpr (std::same_as<T, std::string_view>) {
    return std::string(AValue);
  } else {
    return EventValue(AValue);
  }
}

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
  } else {
    const auto* Same = std::get_if<T>(&AValue);
    return Same != nullptr ? std::optional<T>(*Same) : std::nullopt;
  }
}

template <class T>
TValueRange<double> PublishedRange(const TValueRange<T>& ARange) {
  TValueRange<double> Range{.MinExcluded = ARange.MinExcluded};
  if (ARange.Min) Range.Min = static_cast<double>(*ARange.Min);
  if (ARange.Max) Range.Max = static_cast<double>(*ARange.Max);
  return Range;
}

template <class TOwner, class T>
TPublishedTable&& TPublishedTable::Property(const TPropertyInfo<T>& AInfo,
                                            T (TOwner::*AGet)() const, void (TOwner::*ASet)(T)) && {
  TPublishedProperty Row{.Name = AInfo.Name,
                         .OldName = AInfo.OldName,
                         .Unit = AInfo.Unit,
                         .Doc = AInfo.Doc,
                         .Kind = PropertyKindOf<T>(),
                         .Default = ToValue(AInfo.Default),
                         .Bounds = PublishedRange(AInfo.Bounds),
                         .Design = PublishedRange(AInfo.Design),
                         .Enumerators = {},
                         .Get = {},
                         .Set = {},
                         .Object = {}};
  if constexpr (CEnumProperty<T>) {
    Row.Enumerators.assign(TEnumNames<T>::Names.begin(), TEnumNames<T>::Names.end());
  }
  Row.Get = [AGet](const TPersistent& AObject) {
    return ToValue((static_cast<const TOwner&>(AObject).*AGet)());
  };
  const std::string_view Name = AInfo.Name;
  Row.Set = [ASet, Name](TPersistent& AObject, const TPropertyValue& AValue) {
    auto& Owner = static_cast<TOwner&>(AObject);
    const std::optional<T> Value = ValueAs<T>(AValue);
    if (!Value) RefuseType(AObject, *Owner.PublishedTable().FindProperty(Name), AValue);
    (Owner.*ASet)(*Value);
  };
  FProperties.push_back(std::move(Row));
  return std::move(*this);
}

template <class TOwner, class TObjectType>
TPublishedTable&& TPublishedTable::Object(std::string_view AName, TObjectType& (TOwner::*AGet)(),
                                          std::string_view ADoc) && {
  FProperties.push_back({.Name = AName,
                         .OldName = {},
                         .Unit = {},
                         .Doc = ADoc,
                         .Kind = TPropertyKind::Object,
                         .Default = {},
                         .Bounds = {},
                         .Design = {},
                         .Enumerators = {},
                         .Get = {},
                         .Set = {},
                         .Object = [AGet](TPersistent& AObject) -> TPersistent& {
                           return (static_cast<TOwner&>(AObject).*AGet)();
                         }});
  return std::move(*this);
}

template <class TOwner, class TPin>
TPublishedTable&& TPublishedTable::Pin(std::string_view AName, TPin& (TOwner::*AGet)(),
                                       std::string_view ADoc, bool APrimary) && {
  FPins.push_back({AName, ADoc, APrimary, [AGet](TPersistent& AObject) -> TKLBasicPin& {
                     return (static_cast<TOwner&>(AObject).*AGet)();
                   }});
  return std::move(*this);
}

template <class TOwner, class TSender, class... TArgs>
TPublishedTable&& TPublishedTable::Event(
    std::string_view AName, void (TOwner::*ASet)(std::function<void(TSender&, TArgs...)>),
    std::vector<std::string_view> AArguments, std::string_view ADoc) && {
  auto Listen = [ASet, AArguments](TPersistent& AObject, TEventListener AListener) {
    (static_cast<TOwner&>(AObject).*
     ASet)([AArguments, Listener = std::move(AListener)](TSender&, TArgs... AArgs) {
      const std::vector<TPropertyValue> Values{EventValue(AArgs)...};
      std::vector<TEventArgument> Arguments;
      for (std::size_t I = 0; I < Values.size(); ++I) {
        Arguments.push_back({AArguments.at(I), Values[I]});
      }
      Listener(Arguments);
    });
  };
  FEvents.push_back({AName, ADoc, std::move(AArguments), std::move(Listen)});
  return std::move(*this);
}

}  // namespace tessalune
