// All properties of a component, and other values than they have, for tests of every class.
#pragma once

#include <tessalune/tessalune.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace tessalune::test {

// Calls AVisit(object, row, path that a listener hears) for each property that is stored, those of
// sub-objects included.
template <class TVisit>
void ForEachProperty(TPersistent& AObject, const TVisit& AVisit, const std::string& APath = {}) {
  const TPublishedTable& Table = AObject.PublishedTable();
  for (const TPublishedProperty* Row : Table.Properties()) {
    if (!Row->IsStored()) continue;
    const std::string Path = Row == Table.ContentRow() ? APath
                             : APath.empty()           ? std::string(Row->Name)
                                                       : APath + '.' + std::string(Row->Name);
    if (Row->Kind == TPropertyKind::Object) {
      ForEachProperty(Row->Object(AObject), AVisit, Path);
    } else {
      AVisit(AObject, *Row, Path);
    }
  }
}

// A value that the property takes and that is not its default. An array has as many elements as
// whole groups of any size in use.
inline TPropertyValue Another(const TPublishedProperty& ARow) {
  const auto Another64 = [&](std::int64_t ADefault) {
    const bool MakesPins = ARow.Unit == "pins";  // the most of them take the sanitizers long
    return ARow.Bounds.Max && !MakesPins ? static_cast<std::int64_t>(*ARow.Bounds.Max)
                                         : ADefault + 1;
  };
  switch (ARow.Kind) {
    case TPropertyKind::Boolean:
      return !std::get<bool>(ARow.Default);
    case TPropertyKind::String:
      return std::string("another text");
    case TPropertyKind::Enumeration:
      return std::string(ARow.Enumerators.back() == std::get<std::string>(ARow.Default)
                             ? ARow.Enumerators.front()
                             : ARow.Enumerators.back());
    case TPropertyKind::Double:
      return ARow.Bounds.Max ? *ARow.Bounds.Max : std::get<double>(ARow.Default) + 0.5;
    case TPropertyKind::Array: {
      TPropertyValue Element = Another64(40);
      if (ARow.Element == TPropertyKind::Double) Element = 0.25;
      if (ARow.Element == TPropertyKind::String) Element = std::string("NaN");
      return TPropertyList(std::vector<TPropertyValue>(12, Element));
    }
    case TPropertyKind::Collection: {
      TPropertyRecord Item;
      for (const TPublishedProperty* Row : ARow.ItemTable().Properties()) {
        Item.Members.push_back({std::string(Row->Name), Another(*Row)});
      }
      return TPropertyList({Item, Item});
    }
    default:
      return Another64(std::get<std::int64_t>(ARow.Default));
  }
}

inline void SetAllToAnother(TPersistent& AObject) {
  ForEachProperty(AObject, [](TPersistent& APart, const TPublishedProperty& ARow, auto&&) {
    ARow.Set(APart, Another(ARow));
  });
}

}  // namespace tessalune::test
