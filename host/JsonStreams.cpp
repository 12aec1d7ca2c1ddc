#include "JsonStreams.h"

#include <tessalune/frame/runtime/QSException.h>

#include <utility>

namespace tessalune::host {
namespace {

TPropertyValue WithNonFinite(TPropertyValue AValue) {
  if (const auto* Text = std::get_if<std::string>(&AValue)) {
    if (const auto Number = NonFiniteNumber(*Text)) return *Number;
  }
  return AValue;
}

// The node as an object that holds it under the name of AObject's content: what an array means that
// stands in place of an object.
std::optional<TJsonNode> AsContent(const TJsonNode& AArray, const TPersistent& AObject) {
  const TPublishedProperty* Content = AObject.PublishedTable().ContentRow();
  if (AArray.Kind != TJsonKind::Array || Content == nullptr) return std::nullopt;
  TJsonNode Object;
  Object.Kind = TJsonKind::Object;
  Object.Place = AArray.Place;
  Object.Path = AArray.Path;
  Object.Items.push_back(AArray);
  Object.Items.back().Key = Content->Name;
  return Object;
}

class TElementReader final : public ISequentialReader {
 public:
  // AIsText: the elements are strings, so that none of them stands for a number.
  TElementReader(const TJsonNode& AArray, TMistakes& AMistakes, bool AIsText)
      : FArray(AArray), FMistakes(AMistakes), FIsText(AIsText) {}

  bool HasNext() const override { return FNext < FArray.Items.size(); }

  std::optional<TPropertyValue> ReadNext() override {
    auto Value = Next().Value();
    if (!Value) Fault("expected is a plain value");
    return Value && !FIsText ? WithNonFinite(*std::move(Value)) : Value;
  }
  bool ReadNextObject(TPersistent& AObject) override {
    const TJsonNode& Element = Next();
    if (Element.Kind != TJsonKind::Object) {
      Fault("expected is " + std::string(JsonKindText(TJsonKind::Object)) + "; here stands " +
            std::string(JsonKindText(Element.Kind)));
      return false;
    }
    TJsonReader Inner(Element, &AObject, FMistakes);
    AObject.SerializationRead(Inner);
    return true;
  }
  bool ReadNextArray(const std::function<void(ISequentialReader&)>& AContent) override {
    const TJsonNode& Element = Next();
    if (Element.Kind != TJsonKind::Array) {
      Fault("expected is " + std::string(JsonKindText(TJsonKind::Array)) + "; here stands " +
            std::string(JsonKindText(Element.Kind)));
      return false;
    }
    TElementReader Inner(Element, FMistakes, FIsText);
    AContent(Inner);
    return true;
  }

  void Fault(const std::string& AMessage) override {
    const TJsonNode& At = FNext > 0 ? FArray.Items[FNext - 1] : FArray;
    FMistakes.Add(At.Place, At.Path, AMessage);
  }

 private:
  const TJsonNode& Next() { return FArray.Items.at(FNext++); }

  const TJsonNode& FArray;
  TMistakes& FMistakes;
  const bool FIsText;
  std::size_t FNext = 0;
};

class TElementWriter final : public ISequentialWriter {
 public:
  explicit TElementWriter(TJsonNode& AArray) : FArray(AArray) {}
  void WriteValue(const TPropertyValue& AValue) override { Next().SetValue(AValue); }
  void WriteObject(const TPersistent& AObject) override {
    TJsonNode& Element = Next();
    Element.Kind = TJsonKind::Object;
    TJsonWriter Writer(Element);
    AObject.SerializationWrite(Writer);
  }
  std::size_t Count() const { return FCount; }

 private:
  TJsonNode& Next() {
    if (FCount == FArray.Items.size()) FArray.Items.emplace_back();
    return FArray.Items[FCount++];
  }

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
  return FObject->PublishedTable().FindProperty(AName);
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

bool TJsonReader::ReadObject(std::string_view AName, TPersistent& AObject) {
  const TJsonNode* Member = FNode.Find(AName);
  if (Member == nullptr) return false;
  const auto Content = AsContent(*Member, AObject);
  if (!Content && Member->Kind != TJsonKind::Object) return false;
  TJsonReader Inner(Content ? *Content : *Member, &AObject, FMistakes);
  AObject.SerializationRead(Inner);
  return true;
}

bool TJsonReader::ReadArray(std::string_view AName,
                            const std::function<void(ISequentialReader&)>& AContent) {
  const TJsonNode* Member = FNode.Find(AName);
  if (Member == nullptr || Member->Kind != TJsonKind::Array) return false;
  const TPublishedProperty* Property = Row(AName);
  TElementReader Elements(*Member, FMistakes,
                          Property != nullptr && (Property->Element == TPropertyKind::String ||
                                                  Property->Element == TPropertyKind::Enumeration));
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
  const bool IsNameWrong =
      Row(AName) == nullptr && FObject->PublishedTable().FindOlderForm(AName) == nullptr;
  FMistakes.Add(IsNameWrong ? Member->KeyPlace : Member->Place, Member->Path, AMessage);
}

// --- writer ---

void TJsonWriter::WriteValue(std::string_view AName, const TPropertyValue& AValue) {
  FNode.Member(AName, TJsonKind::Null).SetValue(AValue);
}

void TJsonWriter::WriteObject(std::string_view AName, const TPersistent& AObject) {
  TJsonNode* const Known = FNode.Find(AName);
  const auto Write = [&AObject](TJsonNode& ANode) {
    TJsonWriter Writer(ANode);
    AObject.SerializationWrite(Writer);
  };
  if (Known == nullptr) {
    TJsonNode New;
    New.Kind = TJsonKind::Object;
    Write(New);
    const TPublishedProperty* Content = AObject.PublishedTable().ContentRow();
    if (New.Items.size() == 1 && Content != nullptr && New.Items[0].Key == Content->Name &&
        Content->Kind == TPropertyKind::Collection) {
      New = TJsonNode(New.Items[0]);
    }
    New.Key = AName;
    if (!New.Items.empty()) FNode.Items.push_back(std::move(New));
  } else if (auto Content = AsContent(*Known, AObject)) {
    Write(*Content);
    if (Content->Items.size() == 1) {
      Known->Items = std::move(Content->Items[0].Items);
    } else {
      Known->Kind = TJsonKind::Object;
      Known->Items = std::move(Content->Items);
    }
  } else {
    Write(*Known);
  }
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

TPropertyValue PropertyValueOf(const TJsonNode& ANode, const TPublishedProperty& ARow) {
  const auto Refuse = [&ARow](const TJsonNode& AAt) {
    throw EQSException(std::string(ARow.Name) + " is " + ARow.Expected() + "; here stands " +
                       std::string(JsonKindText(AAt.Kind)));
  };
  const auto Plain = [&](const TJsonNode& AAt, TPropertyKind AKind) {
    const auto Value = AAt.Value();
    if (!Value) Refuse(AAt);
    return AKind == TPropertyKind::Double ? WithNonFinite(*Value) : *Value;
  };
  if (ANode.Kind != TJsonKind::Array) return Plain(ANode, ARow.Kind);
  TPropertyList List;
  for (const TJsonNode& Element : ANode.Items) {
    if (ARow.ItemTable == nullptr) {
      List.Items.push_back(Plain(Element, ARow.Element));
      continue;
    }
    if (Element.Kind != TJsonKind::Object) Refuse(Element);
    TPropertyRecord Record;
    for (const TJsonNode& Member : Element.Items) {
      const TPublishedProperty* Row = ARow.ItemTable().FindProperty(Member.Key);
      Record.Members.push_back({Member.Key, Row != nullptr ? PropertyValueOf(Member, *Row)
                                                           : Plain(Member, TPropertyKind::String)});
    }
    List.Items.push_back(std::move(Record));
  }
  return List;
}

namespace {

void RenewItems(TJsonNode& AArray, const TPersistent& AObject, const TPublishedProperty& ARow) {
  std::size_t Next = 0;
  ARow.Visit(AObject, [&](const TPersistent& AItem) {
    if (Next < AArray.Items.size()) RenewNames(AArray.Items[Next++], AItem);
  });
}

}  // namespace

void RenewNames(TJsonNode& ANode, const TPersistent& AObject) {
  const TPublishedTable& Table = AObject.PublishedTable();
  if (ANode.Kind == TJsonKind::Array) {
    if (Table.ContentRow()->Kind == TPropertyKind::Collection) {
      RenewItems(ANode, AObject, *Table.ContentRow());
    }
    return;
  }
  std::erase_if(ANode.Items, [&Table](const TJsonNode& AItem) {
    const TPublishedOlderForm* Older = Table.FindOlderForm(AItem.Key);
    return Older != nullptr && Older->NameToday.empty();
  });
  for (TJsonNode& Item : ANode.Items) {
    if (const TPublishedOlderForm* Older = Table.FindOlderForm(Item.Key)) {
      Item.Key = Older->NameToday;
      continue;
    }
    const TPublishedProperty* Row = Table.FindProperty(Item.Key);
    if (Row == nullptr) continue;
    Item.Key = Row->Name;
    if (Row->Kind == TPropertyKind::Object) {
      RenewNames(Item, Row->Object(const_cast<TPersistent&>(AObject)));
    } else if (Row->Kind == TPropertyKind::Collection) {
      RenewItems(Item, AObject, *Row);
    }
  }
}

}  // namespace tessalune::host
