// Property streams as JSON objects.
//
// A property is a member of its name; a sub-object is an object, an array of values or a collection
// of objects an array. Where a sub-object has a content (TPublishedTable::ContentRow), an array in
// its place is the content, all else being default; a collection is written so. A Double that is
// NaN or infinite is one of the strings "NaN", "Infinity" and "-Infinity", in an array too.
#pragma once

#include "JsonDocument.h"

#include <tessalune/frame/runtime/VBComponent.h>

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tessalune::host {

class TJsonReader final : public IReader {
 public:
  // AObject is whose properties ANode holds.
  TJsonReader(const TJsonNode& ANode, const TPersistent* AObject, TMistakes& AMistakes)
      : FNode(ANode), FObject(AObject), FMistakes(AMistakes) {}

  std::vector<std::string> Names() const override;
  std::optional<TPropertyValue> ReadValue(std::string_view AName) override;
  bool ReadObject(std::string_view AName, TPersistent& AObject) override;
  bool ReadArray(std::string_view AName,
                 const std::function<void(ISequentialReader&)>& AContent) override;
  void Fault(std::string_view AName, const std::string& AMessage) override;

 private:
  const TPublishedProperty* Row(std::string_view AName) const;

  const TJsonNode& FNode;
  const TPersistent* const FObject;
  TMistakes& FMistakes;
};

// Writes into an object in place: what it holds already keeps its order, its spelling where the
// value is the same, and its defaults; what is new is added at the end.
class TJsonWriter final : public IWriter {
 public:
  explicit TJsonWriter(TJsonNode& ANode) : FNode(ANode) {}

  void WriteValue(std::string_view AName, const TPropertyValue& AValue) override;
  void WriteObject(std::string_view AName, const TPersistent& AObject) override;
  void WriteArray(std::string_view AName,
                  const std::function<void(ISequentialWriter&)>& AContent) override;
  bool WantsDefault(std::string_view AName) const override;

 private:
  TJsonNode& FNode;
};

// The value that ANode means for a property: a plain one, an array's or a collection's list. Raises
// EQSException for null, and for an object where none may stand.
TPropertyValue PropertyValueOf(const TJsonNode& ANode, const TPublishedProperty& ARow);

// Gives members that bear an older name of a property its name of today, and takes those away that
// have no use any more.
void RenewNames(TJsonNode& ANode, const TPersistent& AObject);

}  // namespace tessalune::host
