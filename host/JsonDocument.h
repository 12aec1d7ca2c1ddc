// A JSON text as a tree that knows where each value stands and how it was spelled, so that mistakes
// can be told with their place and a text can be changed without touching the rest of it.
#pragma once

#include "Mistakes.h"

#include <tessalune/frame/runtime/QSSerialization.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tessalune::host {

enum class TJsonKind : std::uint8_t { Null, Boolean, Number, String, Array, Object };

// "a number", "an object".
std::string_view JsonKindText(TJsonKind AKind);

struct TJsonNode {
  TJsonKind Kind = TJsonKind::Null;
  std::string Spelling;          // of a plain value, as it stands in the text
  std::string Text;              // the content of a string
  std::vector<TJsonNode> Items;  // the elements of an array, the members of an object
  std::string Key;               // of an object's member
  TPlace Place;
  TPlace KeyPlace;
  std::string Path;  // "components[0].class"; empty for the whole document

  // The member of that name; null if there is none.
  const TJsonNode* Find(std::string_view AKey) const;
  TJsonNode* Find(std::string_view AKey);
  // The member of that name, made if there is none.
  TJsonNode& Member(std::string_view AKey, TJsonKind AKindIfNew);

  // A plain value; empty for null, arrays and objects.
  std::optional<TPropertyValue> Value() const;
  // Makes this a plain value. A spelling that means the same stays. NaN and the infinities, which
  // JSON has no numbers for, become the strings "NaN", "Infinity" and "-Infinity".
  void SetValue(const TPropertyValue& AValue);
};

// The number that one of the strings "NaN", "Infinity", "-Infinity" stands for.
std::optional<double> NonFiniteNumber(std::string_view AText);

// Empty, with a mistake told, if the text is no JSON. A key that an object has twice is a mistake
// too; its first value counts.
std::optional<TJsonNode> ParseJson(std::string_view AText, TMistakes& AMistakes);

// The canonical layout: two spaces a level, one member or element a line, an array of plain values
// on one line if that takes at most 80 characters, a line feed at the end.
std::string WriteJson(const TJsonNode& ADocument);

}  // namespace tessalune::host
