#include "Palette.h"

#include "PropertyJson.h"
#include "Words.h"
#include "reference/ClassText.h"

#include <tessalune/package/TessalunePkg.h>

#include <algorithm>
#include <utility>
#include <vector>

namespace tessalune::host {
namespace {

using nlohmann::ordered_json;

std::string Padded(std::string AText, std::size_t AWidth) {
  AText.resize(std::max(AText.size() + 2, AWidth), ' ');
  return AText;
}

// Text of several lines' length, broken between words and set in.
std::string Wrapped(std::string_view AText, std::size_t AIndent) {
  constexpr std::size_t Width = 96;
  std::string Text;
  std::size_t Column = Width;
  while (!AText.empty()) {
    const std::string_view Word = AText.substr(0, AText.find(' '));
    AText.remove_prefix(std::min(AText.size(), Word.size() + 1));
    if (Column + 1 + Word.size() > Width) {
      Text += (Text.empty() ? "" : "\n") + std::string(AIndent, ' ');
      Column = AIndent;
    } else {
      Text += ' ';
      ++Column;
    }
    Text += Word;
    Column += Word.size();
  }
  return Text.empty() ? Text : Text + '\n';
}

// --- text ---

constexpr std::size_t NameWidth = 24;

std::string PinText(const TPublishedPin& ARow, TComponent& AObject) {
  const TKLBasicPin& Pin = ARow.Get(AObject);
  const std::string Links = Pin.TakesManyLinks() ? "any number of links" : "one link";
  return "  " + Padded(std::string(ARow.Name), NameWidth) +
         (ARow.IsList ? "list of pins, each " : "") + std::string(DirectionName(Pin)) + ", " +
         Links + (ARow.Primary ? ", primary" : "") + '\n' + Wrapped(ARow.Doc, NameWidth + 2) +
         Wrapped("Carries " + Listed(TypeNames(Pin)) + '.', NameWidth + 2);
}

std::string PropertyLine(const TPublishedProperty& ARow) {
  std::string Text(PropertyKindName(ARow.Kind));
  if (ARow.Kind == TPropertyKind::Array)
    Text += " of " + std::string(PropertyKindName(ARow.Element));
  Text +=
      ARow.Set ? ", default " + QuantityText(ValueText(ARow.Default), ARow.Unit) : ", read-only";
  if (!ARow.Bounds.IsEmpty()) Text += ", " + RangeText(ARow.Bounds, ARow.Unit);
  if (!ARow.Design.IsEmpty()) Text += ", usually " + RangeText(ARow.Design, ARow.Unit);
  if (ARow.NonFinite) Text += ", NaN and the infinities too";
  if (ARow.Set && !ARow.Stored) Text += ", not stored";
  if (ARow.Set && ARow.Effect != TTakesEffect::NextBlock)
    Text += ", heeded " + std::string(TakesEffectText(ARow.Effect));
  if (!ARow.OldName.empty()) Text += ", formerly " + std::string(ARow.OldName);
  return Text;
}

std::string RowText(const TPublishedProperty& ARow, const std::string& AName) {
  std::string Text = "  " + Padded(AName, NameWidth) + PropertyLine(ARow) + '\n' +
                     Wrapped(ARow.Doc, NameWidth + 2);
  if (!ARow.Enumerators.empty()) {
    Text += Wrapped("One of " + Listed(ARow.Enumerators) + '.', NameWidth + 2);
  }
  if (ARow.Kind == TPropertyKind::Collection) {
    for (const TPublishedProperty* Row : ARow.ItemTable().Properties()) {
      Text += RowText(*Row, AName + "[]." + std::string(Row->Name));
    }
  }
  return Text;
}

std::string PropertiesText(TPersistent& AObject, const std::string& APath) {
  std::string Text;
  for (const TPublishedProperty* Row : AObject.PublishedTable().Properties()) {
    const std::string Name = APath + std::string(Row->Name);
    if (Row->Kind == TPropertyKind::Object) {
      TPersistent& Part = Row->Object(AObject);
      const TPublishedProperty* Content = Part.PublishedTable().ContentRow();
      Text += "  " + Padded(Name, NameWidth) + "Object with the properties that follow" +
              (Content != nullptr ? "; an array in its place is its " + std::string(Content->Name)
                                  : "") +
              '\n' + Wrapped(Row->Doc, NameWidth + 2) + PropertiesText(Part, Name + '.');
      continue;
    }
    Text += RowText(*Row, Name);
  }
  for (const TPublishedOlderForm* Form : AObject.PublishedTable().OlderForms()) {
    Text += "  " + Padded(APath + std::string(Form->Name), NameWidth) +
            (Form->NameToday.empty() ? "older form, read and dropped"
                                     : "older form of " + std::string(Form->NameToday)) +
            '\n' + Wrapped(Form->Doc, NameWidth + 2);
  }
  return Text;
}

std::string EventsText(TPersistent& AObject, const std::string& APath) {
  std::string Text;
  for (const TPublishedEvent* Row : AObject.PublishedTable().Events()) {
    Text += "  " + APath + std::string(Row->Name) + '(' + Listed(Row->Arguments) + ")\n" +
            Wrapped(Row->Doc, NameWidth + 2);
  }
  for (const TPublishedProperty* Row : AObject.PublishedTable().Properties()) {
    if (Row->Kind != TPropertyKind::Object) continue;
    Text += EventsText(Row->Object(AObject), APath + std::string(Row->Name) + '.');
  }
  return Text;
}

std::string ActionsText(const TPublishedTable& ATable) {
  std::string Text;
  for (const TPublishedAction* Row : ATable.Actions()) {
    Text += "  " + std::string(Row->Name) + '\n' + Wrapped(Row->Doc, NameWidth + 2);
  }
  return Text.empty() ? "" : "\nActions\n" + Text;
}

// The text beside the class, a section under its heading.
std::string SectionsText(const TPublishedTable& ATable) {
  using TKind = TTextBlock::TKind;
  std::string Text;
  for (const TTextSection& Section : TextSections) {
    const std::vector<TTextBlock> Blocks = TextBlocks(ATable.Text(Section.Text));
    if (Blocks.empty()) continue;
    Text += '\n' + std::string(Section.Heading) + '\n';
    for (const TTextBlock& Block : Blocks) {
      if (Block.Kind == TKind::Formula) {
        for (std::size_t At = 0; At < Block.Text.size();) {
          const std::size_t End = Block.Text.find('\n', At) + 1;
          Text += "      " + Block.Text.substr(At, End - At);
          At = End;
        }
      } else {
        Text += Wrapped((Block.Kind == TKind::Item ? "- " : "") + Block.Text, 2);
      }
    }
  }
  return Text;
}

// --- JSON ---

ordered_json TextJson(const TPublishedTable& ATable) {
  ordered_json Json = ordered_json::object();
  for (const TTextSection& Section : TextSections) {
    const std::string Text = ATable.Text(Section.Text);
    if (!Text.empty()) Json[Section.Name] = Text;
  }
  return Json;
}

ordered_json RangeJson(const TValueRange<double>& ARange) {
  ordered_json Json = ordered_json::object();
  if (ARange.Min) Json["min"] = PropertyJson(*ARange.Min);
  if (ARange.MinExcluded) Json["minExcluded"] = true;
  if (ARange.Max) Json["max"] = PropertyJson(*ARange.Max);
  return Json;
}

ordered_json PinsJson(TComponent& AObject) {
  auto List = ordered_json::array();
  for (const TPublishedPin* Row : AObject.PublishedTable().Pins()) {
    const TKLBasicPin& Pin = Row->Get(AObject);
    List.push_back({{"name", Row->Name},
                    {"list", Row->IsList},
                    {"direction", DirectionName(Pin)},
                    {"types", TypeNames(Pin)},
                    {"manyLinks", Pin.TakesManyLinks()},
                    {"primary", Row->Primary},
                    {"doc", Row->Doc}});
    if (Row->IsList) List.back()["pinClass"] = Row->PinClass;
  }
  return List;
}

ordered_json EventsJson(TPersistent& AObject) {
  auto List = ordered_json::array();
  for (const TPublishedEvent* Row : AObject.PublishedTable().Events()) {
    List.push_back({{"name", Row->Name}, {"arguments", Row->Arguments}, {"doc", Row->Doc}});
  }
  return List;
}

ordered_json RowsJson(const std::vector<const TPublishedProperty*>& ARows, TPersistent* AObject);

ordered_json OlderFormsJson(const TPublishedTable& ATable) {
  auto List = ordered_json::array();
  for (const TPublishedOlderForm* Form : ATable.OlderForms()) {
    List.push_back({{"name", Form->Name}, {"nameToday", Form->NameToday}, {"doc", Form->Doc}});
  }
  return List;
}

void AddObjectJson(ordered_json& AJson, TPersistent& AObject) {
  const TPublishedTable& Table = AObject.PublishedTable();
  if (Table.ContentRow() != nullptr) AJson["content"] = Table.ContentRow()->Name;
  AJson["properties"] = RowsJson(Table.Properties(), &AObject);
  AJson["events"] = EventsJson(AObject);
  if (!Table.OlderForms().empty()) AJson["olderForms"] = OlderFormsJson(Table);
}

ordered_json RowJson(const TPublishedProperty& ARow, TPersistent* AObject) {
  ordered_json Json{{"name", ARow.Name}, {"type", PropertyKindName(ARow.Kind)}};
  if (ARow.Kind == TPropertyKind::Object) {
    if (AObject != nullptr) AddObjectJson(Json, ARow.Object(*AObject));
  } else {
    if (ARow.Kind == TPropertyKind::Array) Json["element"] = PropertyKindName(ARow.Element);
    if (ARow.ItemTable != nullptr) Json["items"] = RowsJson(ARow.ItemTable().Properties(), nullptr);
    Json["default"] = PropertyJson(ARow.Default);
    if (!ARow.Unit.empty()) Json["unit"] = ARow.Unit;
    if (!ARow.Bounds.IsEmpty()) Json["bounds"] = RangeJson(ARow.Bounds);
    if (!ARow.Design.IsEmpty()) Json["design"] = RangeJson(ARow.Design);
    if (ARow.NonFinite) Json["nonFinite"] = true;
    if (!ARow.Set) Json["readOnly"] = true;
    if (ARow.Set) Json["takesEffect"] = TakesEffectText(ARow.Effect);
    if (!ARow.IsStored()) Json["stored"] = false;
    if (!ARow.Enumerators.empty()) Json["enumerators"] = ARow.Enumerators;
    if (!ARow.OldName.empty()) Json["oldName"] = ARow.OldName;
    if (!ARow.FileFilter.empty()) Json["fileFilter"] = ARow.FileFilter;
  }
  Json["doc"] = ARow.Doc;
  return Json;
}

// AObject is whose rows they are; null for the items of a collection.
ordered_json RowsJson(const std::vector<const TPublishedProperty*>& ARows, TPersistent* AObject) {
  auto List = ordered_json::array();
  for (const TPublishedProperty* Row : ARows) List.push_back(RowJson(*Row, AObject));
  return List;
}

}  // namespace

void RegisterPalette() {
  Initialize();
  RegisterAllUnits();
}

std::string_view DirectionName(const TKLBasicPin& APin) {
  switch (APin.Direction()) {
    case TKLPinDirection::Source:
      return "output";
    case TKLPinDirection::Sink:
      return "input";
    case TKLPinDirection::State:
      return "state";
  }
  return "";
}

std::vector<std::string_view> TypeNames(const TKLBasicPin& APin) {
  std::vector<std::string_view> Names;
  for (const TKLDataType* Type : APin.DataTypes()) Names.push_back(Type->Name);
  return Names;
}

std::vector<TCategory> Categories() {
  std::vector<TCategory> Categories;
  for (const TComponentClass& Class : RegisteredComponents()) {
    const std::string_view Name = Class.Published().Category();
    auto Place = std::find_if(Categories.begin(), Categories.end(),
                              [&](const TCategory& AEach) { return AEach.Name == Name; });
    if (Place == Categories.end()) Place = Categories.insert(Place, {Name, {}});
    Place->Classes.push_back(Class);
  }
  return Categories;
}

std::string ListText() {
  std::string Text;
  for (const TCategory& Category : Categories()) {
    Text += std::string(Category.Name) + '\n';
    for (const TComponentClass& Class : Category.Classes) {
      Text += "  " + Padded(std::string(Class.Published().ClassName()), NameWidth) +
              std::string(Class.Published().DisplayName()) + '\n';
    }
  }
  return Text;
}

ordered_json ListJson() {
  auto List = ordered_json::array();
  for (const TCategory& Category : Categories()) {
    for (const TComponentClass& Class : Category.Classes) {
      List.push_back({{"class", Class.Published().ClassName()},
                      {"name", Class.Published().DisplayName()},
                      {"category", Category.Name},
                      {"doc", Class.Published().Doc()}});
    }
  }
  return List;
}

std::string DescribeText(const TComponentClass& AClass) {
  const TPublishedTable& Table = AClass.Published();
  const TOwned<TComponent> Sample = AClass.New();
  std::string Text = std::string(Table.ClassName()) + " - " + std::string(Table.DisplayName()) +
                     "\nCategory " + std::string(Table.Category()) + "\n" + Wrapped(Table.Doc(), 0);
  Text += "\nPins\n";
  for (const TPublishedPin* Row : Table.Pins()) Text += PinText(*Row, *Sample);
  Text += "\nProperties\n" + PropertiesText(*Sample, "");
  const std::string Events = EventsText(*Sample, "");
  if (!Events.empty()) Text += "\nEvents\n" + Events;
  return Text + ActionsText(Table) + SectionsText(Table);
}

ordered_json DescribeJson(const TComponentClass& AClass) {
  const TPublishedTable& Table = AClass.Published();
  const TOwned<TComponent> Sample = AClass.New();
  ordered_json Json{{"class", Table.ClassName()},
                    {"name", Table.DisplayName()},
                    {"category", Table.Category()},
                    {"doc", Table.Doc()},
                    {"pins", PinsJson(*Sample)}};
  AddObjectJson(Json, *Sample);
  Json["actions"] = ordered_json::array();
  for (const TPublishedAction* Row : Table.Actions()) {
    Json["actions"].push_back({{"name", Row->Name}, {"doc", Row->Doc}});
  }
  Json["designEntries"] = ordered_json::array();
  for (const TPublishedDesignEntry* Row : Table.DesignEntries()) {
    Json["designEntries"].push_back({{"text", Row->Text}, {"property", Row->Property}});
  }
  Json["text"] = TextJson(Table);
  return Json;
}

const TComponentClass& ClassOfName(const std::string& AName) {
  if (const TComponentClass* Class = FindComponentClass(AName)) return *Class;
  std::vector<std::string_view> Names;
  for (const TComponentClass& Class : RegisteredComponents()) {
    Names.push_back(Class.Published().ClassName());
  }
  throw EQSException("there is no class \"" + AName + "\" (`tessalune list` shows all)" +
                     SuggestName(AName, Names));
}

}  // namespace tessalune::host
