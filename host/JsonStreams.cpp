#include "JsonStreams.h"

#include <utility>

namespace tessalune::host {
namespace {

TPropertyValue WithNonFinite(TPropertyValue AValue) {
  if (const auto* Text = std::get_if<std::string>(&AValue)) {
    if (const auto Number = NonFiniteNumber(*Text)) return *Number;
  }
  return AValue;
}

class TElementReader final : public ISequentialReader {
 public:
  TElementReader(const TJsonNode& AArray, TMistakes& AMistakes)
      : FArray(AArray), FMistakes(AMistakes) {}

  std::optional<TPropertyValue> ReadNext() override {
    while (FNext < FArray.Items.size()) {
      const auto Value = FArray.Items[FNext++].Value();
      if (Value) return WithNonFinite(*Value);
      Fault("expected is a plain value");
    }
    return std::nullopt;
  }

  void Fault(const std::string& AMessage) override {
    const TJsonNode& Element = FArray.Items.at(FNext - 1);
    FMistakes.Add(Element.Place, Element.Path, AMessage);
  }

 private:
  const TJsonNode& FArray;
  TMistakes& FMistakes;
  std::size_t FNext = 0;
};

class TElementWriter final : public ISequentialWriter {
 public:
  explicit TElementWriter(TJsonNode& AArray) : FArray(AArray) {}
  void WriteValue(const TPropertyValue& AValue) override {
    if (FCount == FArray.Items.size()) FArray.Items.emplace_back();
    FArray.Items[FCount++].SetValue(AValue);
  }
  std::size_t Count() const { return FCount; }

 private:
  TJsonNode& FArray;
  std::size_t FCount = 0;
};

}  // namespace

// --- reader ---

std::vector<std::string> TJsonReader::Names() const {
  std::vector<std::string> Names;
  for (const TJsonNode& Item : FNode.Items) Names.push_back(Item.Key);
  return Names;
}

const TPublishedProperty* TJsonReader::Row(std::string_view AName) const {
  return FObject != nullptr ? FObject->PublishedTable().FindProperty(AName) : nullptr;
}

std::optional<TPropertyValue> TJsonReader::ReadValue(std::string_view AName) {
  const TJsonNode* Member = FNode.Find(AName);
  auto Value = Member != nullptr ? Member->Value() : std::nullopt;
  const TPublishedProperty* Property = Row(AName);
  if (Value && Property != nullptr && Property->Kind == TPropertyKind::Double) {
    Value = WithNonFinite(*std::move(Value));
  }
  return Value;
}

bool TJsonReader::ReadObject(std::string_view AName,
                             const std::function<void(IReader&)>& AContent) {
  const TJsonNode* Member = FNode.Find(AName);
  if (Member == nullptr || Member->Kind != TJsonKind::Object) return false;
  const TPublishedProperty* Property = Row(AName);
  const bool HasObject = Property != nullptr && Property->Kind == TPropertyKind::Object;
  TJsonReader Inner(*Member, HasObject ? &Property->Object(*FObject) : nullptr, FMistakes);
  AContent(Inner);
  return true;
}

bool TJsonReader::ReadArray(std::string_view AName,
                            const std::function<void(ISequentialReader&)>& AContent) {
  const TJsonNode* Member = FNode.Find(AName);
  if (Member == nullptr || Member->Kind != TJsonKind::Array) return false;
  TElementReader Elements(*Member, FMistakes);
  AContent(Elements);
  return true;
}

// An unknown name is wrong itself, else the value under it is.
void TJsonReader::Fault(std::string_view AName, const std::string& AMessage) {
  const TJsonNode* Member = FNode.Find(AName);
  if (Member == nullptr) {
    FMistakes.Add(FNode.Place, FNode.Path + '.' + std::string(AName), AMessage);
    return;
  }
  const bool IsNameWrong = FObject != nullptr && Row(AName) == nullptr;
  FMistakes.Add(IsNameWrong ? Member->KeyPlace : Member->Place, Member->Path, AMessage);
}

// --- writer ---

void TJsonWriter::WriteValue(std::string_view AName, const TPropertyValue& AValue) {
  FNode.Member(AName, TJsonKind::Null).SetValue(AValue);
}

void TJsonWriter::WriteObject(std::string_view AName,
                              const std::function<void(IWriter&)>& AContent) {
  if (TJsonNode* Known = FNode.Find(AName)) {
    TJsonWriter Inner(*Known);
    AContent(Inner);
    return;
  }
  TJsonNode New;
  New.Kind = TJsonKind::Object;
  New.Key = AName;
  TJsonWriter Inner(New);
  AContent(Inner);
  if (!New.Items.empty()) FNode.Items.push_back(std::move(New));
}

void TJsonWriter::WriteArray(std::string_view AName,
                             const std::function<void(ISequentialWriter&)>& AContent) {
  TJsonNode& Array = FNode.Member(AName, TJsonKind::Array);
  TElementWriter Elements(Array);
  AContent(Elements);
  Array.Items.resize(Elements.Count());
}

bool TJsonWriter::WantsDefault(std::string_view AName) const {
  return FNode.Find(AName) != nullptr;
}

void RenewNames(TJsonNode& ANode, TPersistent& AObject) {
  for (TJsonNode& Item : ANode.Items) {
    const TPublishedProperty* Row = AObject.PublishedTable().FindProperty(Item.Key);
    if (Row == nullptr) continue;
    Item.Key = Row->Name;
    if (Row->Kind == TPropertyKind::Object) RenewNames(Item, Row->Object(AObject));
  }
}

}  // namespace tessalune::host
