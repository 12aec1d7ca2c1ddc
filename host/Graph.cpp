#include "Graph.h"

#include "JsonStreams.h"
#include "Palette.h"
#include "Words.h"

#include <tessalune/frame/streams/QSStreamTypes.h>

#include <algorithm>
#include <charconv>
#include <utility>

namespace tessalune::host {
namespace {

template <class TRow>
std::vector<std::string_view> NamesOf(const std::vector<const TRow*>& ARows) {
  std::vector<std::string_view> Names;
  for (const TRow* Row : ARows) Names.push_back(Row->Name);
  return Names;
}

std::string Quote(std::string_view AText) { return '"' + std::string(AText) + '"'; }

}  // namespace

void SetByPath(TPersistent& AObject, std::string_view APath,
               const std::function<TPropertyValue(const TPublishedProperty&)>& AValue) {
  const std::size_t Dot = APath.find('.');
  const std::string_view Name = APath.substr(0, Dot);
  const TPublishedTable& Table = AObject.PublishedTable();
  const TPublishedProperty* Row = Table.FindProperty(Name);
  if (Row == nullptr) {
    throw EQSException(std::string(Table.ClassName()) + " has no property " + Quote(Name) +
                       SuggestName(Name, NamesOf(Table.Properties())));
  }
  const bool IsObject = Row->Kind == TPropertyKind::Object;
  const TPublishedProperty* Content =
      IsObject ? Row->Object(AObject).PublishedTable().ContentRow() : nullptr;
  if (Content != nullptr && Dot == std::string_view::npos) {
    TPublishedProperty Named = *Content;  // as it was called
    Named.Name = Row->Name;
    return Content->Set(Row->Object(AObject), AValue(Named));
  }
  if (IsObject != (Dot != std::string_view::npos)) {
    throw EQSException(
        std::string(Name) + " is " + Row->Expected() +
        (IsObject
             ? "; name one of them, such as " + std::string(Name) + '.' +
                   std::string(NamesOf(Row->Object(AObject).PublishedTable().Properties()).at(0))
             : ", with no properties of its own"));
  }
  if (IsObject) return SetByPath(Row->Object(AObject), APath.substr(Dot + 1), AValue);
  if (!Row->Set) throw EQSException(std::string(Name) + " can only be read");
  Row->Set(AObject, AValue(*Row));
}

TGraph::TGraph(std::string_view AText, TMistakes& AMistakes, const TUseGraphPackage& AUsePackage) {
  auto Document = ParseJson(AText, AMistakes);
  if (!Document) return;
  FDocument = *std::move(Document);
  const TGraphForm Form = ReadGraphForm(FDocument, AMistakes);
  FRun = Form.Run;
  for (const TJsonNode* Package : Form.Packages) {
    try {
      if (AUsePackage) AUsePackage(Package->Text);
    } catch (const EQSException& Error) {
      AMistakes.Add(Package->Place, Package->Path, Error.what());
    }
  }
  for (const auto& Component : Form.Components) AddComponent(Component, AMistakes);
  for (const auto& Link : Form.Links) {
    for (const TJsonNode* End : Link.Ends) FNamedPins.insert(End->Text);
  }
  for (const auto& Link : Form.Links) AddLink(Link, AMistakes);
}

// --- components ---

void TGraph::AddComponent(const TGraphForm::TComponentEntry& AForm, TMistakes& AMistakes) {
  FEntries.push_back({NewComponent(AForm.Class, AMistakes), AForm.Index, AForm.Place});
  TComponent* const Component = FEntries.back().Component.get();
  if (AForm.Name != nullptr) GiveName(Component, *AForm.Name, AMistakes);
  if (Component != nullptr && AForm.Properties != nullptr) {
    TJsonReader Reader(*AForm.Properties, Component, AMistakes);
    Component->SerializationRead(Reader);
  }
}

TOwned<TComponent> TGraph::NewComponent(const TJsonNode* AClass, TMistakes& AMistakes) const {
  if (AClass == nullptr) return nullptr;
  try {
    return ClassOfName(AClass->Text).New();
  } catch (const EQSException& Error) {
    AMistakes.Add(AClass->Place, AClass->Path, Error.what());
    return nullptr;
  }
}

// Gives the name to the entry made last.
void TGraph::GiveName(TComponent* AComponent, const TJsonNode& AName, TMistakes& AMistakes) {
  const auto Tell = [&](const std::string& AMessage) {
    AMistakes.Add(AName.Place, AName.Path, AMessage);
  };
  if (AName.Text.empty()) return Tell("a component's name cannot be empty; links name it");
  try {
    if (AComponent != nullptr) AComponent->SetName(AName.Text);
  } catch (const EQSException& Error) {
    Tell(Error.what());
  }
  const auto [Known, IsNew] = FByName.try_emplace(AName.Text, FEntries.size() - 1);
  if (IsNew) return;
  const TPlace First = FEntries[Known->second].Place;
  Tell("the name " + Quote(AName.Text) + " is taken by the component at line " +
       std::to_string(First.Line) + ", column " + std::to_string(First.Column) +
       "; choose another one");
}

std::vector<TComponent*> TGraph::Components() const {
  std::vector<TComponent*> Components;
  for (const TEntry& Entry : FEntries) {
    if (Entry.Component != nullptr) Components.push_back(Entry.Component.get());
  }
  return Components;
}

std::vector<std::string_view> TGraph::ComponentNames() const {
  std::vector<std::string_view> Names;
  for (const auto& [Name, Index] : FByName) Names.push_back(Name);
  std::sort(Names.begin(), Names.end());  // of equally near names the same one each time
  return Names;
}

// --- links ---

void TGraph::AddLink(const TGraphForm::TLinkEntry& AForm, TMistakes& AMistakes) {
  TKLBasicPin* const One = FindPin(*AForm.Ends[0], AMistakes, true);
  TKLBasicPin* const Other = FindPin(*AForm.Ends[1], AMistakes, true);
  const TKLDataType* const Type = FindType(AForm.Type, AMistakes);
  if (One == nullptr || Other == nullptr || (AForm.Type != nullptr && Type == nullptr)) return;
  try {
    One->Connect(*Other, Type);
    const bool Turned = One->Direction() == TKLPinDirection::Sink;
    FLinks.emplace_back(Turned ? Other : One, Turned ? One : Other);
  } catch (const EQSException& Error) {
    const TJsonNode& At =
        Type != nullptr && !One->WhyNotConnect(*Other) ? *AForm.Type : *AForm.Link;
    AMistakes.Add(At.Place, At.Path, Error.what());
  }
}

const TKLDataType* TGraph::FindType(const TJsonNode* ANode, TMistakes& AMistakes) const {
  if (ANode == nullptr) return nullptr;
  std::vector<std::string_view> Words;
  for (const TKLDataType* Type : SampleTypes()) {
    if (Type->Word == ANode->Text) return Type;
    Words.push_back(Type->Word);
  }
  AMistakes.Add(ANode->Place, ANode->Path,
                Quote(ANode->Text) + " is no type of a link; expected is one of " + Listed(Words) +
                    SuggestName(ANode->Text, Words));
  return nullptr;
}

TKLBasicPin* TGraph::FindPin(const TJsonNode& ANode, TMistakes& AMistakes, bool AIsForLink) {
  const std::string& Text = ANode.Text;
  const auto Tell = [&](const std::string& AMessage) -> TKLBasicPin* {
    AMistakes.Add(ANode.Place, ANode.Path, AMessage);
    return nullptr;
  };
  const std::size_t Dot = Text.rfind('.');
  if (Dot == std::string::npos) {
    return Tell(Quote(Text) + " names no pin; expected is Component.Pin, such as Tone.OutputPin");
  }
  const std::string Name = Text.substr(0, Dot);
  const auto Found = FByName.find(Name);
  if (Found == FByName.end()) {
    return Tell("there is no component " + Quote(Name) +
                (AMistakes.TakesSuggestions() ? SuggestName(Name, ComponentNames()) : ""));
  }
  TEntry& Entry = FEntries[Found->second];
  if (Entry.Component == nullptr) return nullptr;
  try {
    return FindPinOf(Entry, std::string_view(Text).substr(Dot + 1), AIsForLink);
  } catch (const EQSException& Error) {
    return Tell(Error.what());
  }
}

TKLBasicPin* TGraph::FindPinOf(TEntry& AEntry, std::string_view APinName, bool AIsForLink) const {
  TComponent& Component = *AEntry.Component;
  const TPublishedTable& Table = Component.PublishedTable();
  const std::size_t Bracket = APinName.find('[');
  const std::string_view Name = APinName.substr(0, Bracket);
  const TPublishedPin* Row = Table.FindPin(Name);
  if (Row == nullptr || (!Row->IsList && Bracket != std::string_view::npos)) {
    const std::vector<std::string_view> Pins = NamesOf(Table.Pins());
    throw EQSException(Component.Describe() + " has no pin " + Quote(APinName) + ", only " +
                       Listed(Pins) + SuggestName(Name, Pins));
  }
  if (Bracket == std::string_view::npos) {
    return AIsForLink && Row->IsList ? &FreePin(AEntry, *Row) : &Row->Get(Component);
  }
  std::size_t Index = 0;
  const char* const End = APinName.data() + APinName.size();
  const auto Parsed = std::from_chars(APinName.data() + Bracket + 1, End, Index);
  if (Parsed.ec != std::errc() || Parsed.ptr + 1 != End || *Parsed.ptr != ']') {
    throw EQSException(Quote(APinName) + " names no pin of the list " + std::string(Name) +
                       "; expected is " + Row->PinName(0) + " to " +
                       Row->PinName(Row->Count(Component) - 1) + ", or " + std::string(Name) +
                       " for the first pin without a link");
  }
  return &Row->At(Component, Index);
}

TKLBasicPin& TGraph::FreePin(TEntry& AEntry, const TPublishedPin& ARow) const {
  TComponent& Component = *AEntry.Component;
  const std::size_t Count = ARow.Count(Component);
  for (std::size_t I = 0; I < Count; ++I) {
    TKLBasicPin& Pin = ARow.At(Component, I);
    const std::string Name = Component.Name() + '.' + ARow.PinName(I);
    if (!Pin.IsConnected() && FNamedPins.count(Name) == 0) return Pin;
  }
  Component.PublishedTable().FindProperty(ARow.Name)->Set(Component,
                                                          static_cast<std::int64_t>(Count + 1));
  std::erase_if(AEntry.Grown, [&ARow](const auto& AGrown) { return AGrown.first == &ARow; });
  AEntry.Grown.emplace_back(&ARow, Count + 1);
  return ARow.At(Component, Count);
}

std::string TGraph::TTypeChoice::Text() const {
  std::vector<std::string_view> Words;
  for (const TKLDataType* Each : Types) Words.push_back(Each->Word);
  return "the link " + Link + " carries " + std::string(Type->Name) + ", which was chosen among " +
         Listed(Words) + "; a third string in the link, such as " + Quote(Type->Word) + ", says it";
}

std::vector<TGraph::TTypeChoice> TGraph::TypeChoices() const {
  std::vector<TTypeChoice> Choices;
  for (const auto& [Source, Sink] : FLinks) {
    TKLDataTypes Types = Source->TypeChoice(*Sink);
    std::erase_if(Types, [](const TKLDataType* AType) {
      return std::find(SampleTypes().begin(), SampleTypes().end(), AType) == SampleTypes().end();
    });
    if (Types.size() < 2) continue;
    Choices.push_back(
        {Source->Describe() + " to " + Sink->Describe(), Source->LinkType(*Sink), Types});
  }
  return Choices;
}

// --- properties ---

void TGraph::Set(const std::string& AAssignment, TMistakes& AMistakes) {
  const auto Tell = [&](const std::string& AMessage) {
    AMistakes.Add({}, "--set " + AAssignment, AMessage);
  };
  const std::size_t Equals = AAssignment.find('=');
  const std::size_t Dot = AAssignment.find('.');
  if (Equals == std::string::npos || Dot > Equals) {
    return Tell("expected is Component.Property=value");
  }
  const std::string_view Assignment = AAssignment;
  const TNamed Named =
      FindNamed(Assignment.substr(0, Equals), {}, "--set " + AAssignment, AMistakes);
  if (Named.Component == nullptr) return;
  try {
    SetByPath(*Named.Component, Named.Name, [&](const TPublishedProperty& ARow) {
      return ARow.Parse(Assignment.substr(Equals + 1));
    });
  } catch (const EQSException& Error) {
    Tell(Error.what());
  }
}

TGraph::TNamed TGraph::FindNamed(std::string_view AText, TPlace APlace, const std::string& APath,
                                 TMistakes& AMistakes) const {
  const std::size_t Dot = std::min(AText.find('.'), AText.size());
  const std::string Name(AText.substr(0, Dot));
  const auto Found = FByName.find(Name);
  if (Found != FByName.end()) {
    return {FEntries[Found->second].Component.get(), AText.substr(std::min(Dot + 1, AText.size()))};
  }
  AMistakes.Add(APlace, APath,
                "there is no component " + Quote(Name) +
                    (AMistakes.TakesSuggestions() ? SuggestName(Name, ComponentNames()) : ""));
  return {};
}

TGraph::TWhere TGraph::Where(const TComponent& AComponent, std::string_view AProperty) const {
  const auto Entry = std::find_if(FEntries.begin(), FEntries.end(), [&](const TEntry& AEntry) {
    return AEntry.Component.get() == &AComponent;
  });
  const TJsonNode& Node = FDocument.Find("components")->Items[Entry->Index];
  const TJsonNode* Properties = Node.Find("properties");
  const TJsonNode* Property = Properties != nullptr ? Properties->Find(AProperty) : nullptr;
  const TPublishedProperty* Row = AComponent.PublishedTable().FindProperty(AProperty);
  if (Property != nullptr && Property->Value() == Row->Get(AComponent)) {
    return {Property->Place, Property->Path};
  }
  return {Node.Place, Node.Path};
}

// The pins that links made are no part of the text: the links make them again.
void TGraph::KeepGrown(const TEntry& AEntry, const TJsonNode& ABefore, TJsonNode& AProperties) {
  for (const auto& [Row, Count] : AEntry.Grown) {
    if (Row->Count(*AEntry.Component) != Count) continue;  // set by other means since
    const std::string_view Name = Row->Name;
    if (const TJsonNode* Stored = ABefore.Find(Name)) {
      *AProperties.Find(Name) = TJsonNode(*Stored);
    } else {
      std::erase_if(AProperties.Items,
                    [Name](const TJsonNode& AItem) { return AItem.Key == Name; });
    }
  }
}

std::string TGraph::Save() {
  for (const TEntry& Entry : FEntries) {
    TJsonNode& Node = FDocument.Find("components")->Items[Entry.Index];
    TJsonNode Empty;
    Empty.Kind = TJsonKind::Object;
    Empty.Key = "properties";
    TJsonNode* const Known = Node.Find("properties");
    TJsonNode& Properties = Known != nullptr ? *Known : Empty;
    RenewNames(Properties, *Entry.Component);
    const TJsonNode Before = Properties;
    TJsonWriter Writer(Properties);
    Entry.Component->SerializationWrite(Writer);
    KeepGrown(Entry, Before, Properties);
    if (Known == nullptr && !Empty.Items.empty()) Node.Items.push_back(std::move(Empty));
  }
  return WriteJson(FDocument);
}

}  // namespace tessalune::host
