#include "Graph.h"

#include "JsonStreams.h"
#include "Palette.h"
#include "Words.h"

#include <tessalune/frame/pins/KLPins.h>

#include <algorithm>
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

// Walks "Threading.Enabled" down the sub-objects and sets the property at its end.
void SetByPath(TPersistent& AObject, std::string_view APath, std::string_view AValue) {
  const std::size_t Dot = APath.find('.');
  const std::string_view Name = APath.substr(0, Dot);
  const TPublishedTable& Table = AObject.PublishedTable();
  const TPublishedProperty* Row = Table.FindProperty(Name);
  if (Row == nullptr) {
    throw EQSException(std::string(Table.ClassName()) + " has no property " + Quote(Name) +
                       SuggestName(Name, NamesOf(Table.Properties())));
  }
  const bool IsObject = Row->Kind == TPropertyKind::Object;
  if (IsObject != (Dot != std::string_view::npos)) {
    throw EQSException(
        std::string(Name) + " is " + Row->Expected() +
        (IsObject
             ? "; name one of them, such as " + std::string(Name) + '.' +
                   std::string(NamesOf(Row->Object(AObject).PublishedTable().Properties()).at(0))
             : ", with no properties of its own"));
  }
  if (IsObject) return SetByPath(Row->Object(AObject), APath.substr(Dot + 1), AValue);
  Row->Set(AObject, Row->Parse(AValue));
}

}  // namespace

TGraph::TGraph(std::string_view AText, TMistakes& AMistakes) {
  auto Document = ParseJson(AText, AMistakes);
  if (!Document) return;
  FDocument = *std::move(Document);
  const TGraphForm Form = ReadGraphForm(FDocument, AMistakes);
  FRun = Form.Run;
  for (const auto& Component : Form.Components) AddComponent(Component, AMistakes);
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
  TKLBasicPin* const Source = FindPin(*AForm.Ends[0], AMistakes);
  TKLBasicPin* const Sink = FindPin(*AForm.Ends[1], AMistakes);
  if (Source == nullptr || Sink == nullptr) return;
  try {
    Source->Connect(*Sink);
  } catch (const EQSException& Error) {
    AMistakes.Add(AForm.Link->Place, AForm.Link->Path, Error.what());
  }
}

TKLBasicPin* TGraph::FindPin(const TJsonNode& ANode, TMistakes& AMistakes) const {
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
  const std::string_view PinName = std::string_view(Text).substr(Dot + 1);
  const auto Found = FByName.find(Name);
  if (Found == FByName.end()) {
    return Tell("there is no component " + Quote(Name) +
                (AMistakes.TakesSuggestions() ? SuggestName(Name, ComponentNames()) : ""));
  }
  TComponent* const Component = FEntries[Found->second].Component.get();
  if (Component == nullptr) return nullptr;
  const TPublishedTable& Table = Component->PublishedTable();
  if (const TPublishedPin* Pin = Table.FindPin(PinName)) return &Pin->Get(*Component);
  const std::vector<std::string_view> Pins = NamesOf(Table.Pins());
  return Tell(Component->Describe() + " has no pin " + Quote(PinName) + ", only " + Listed(Pins) +
              SuggestName(PinName, Pins));
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
  const std::string Name = AAssignment.substr(0, Dot);
  const auto Found = FByName.find(Name);
  if (Found == FByName.end()) {
    return Tell("there is no component " + Quote(Name) + SuggestName(Name, ComponentNames()));
  }
  TComponent* const Component = FEntries[Found->second].Component.get();
  if (Component == nullptr) return;
  try {
    const std::string_view Assignment = AAssignment;
    SetByPath(*Component, Assignment.substr(Dot + 1, Equals - Dot - 1),
              Assignment.substr(Equals + 1));
  } catch (const EQSException& Error) {
    Tell(Error.what());
  }
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

std::string TGraph::Save() {
  for (const TEntry& Entry : FEntries) {
    TJsonNode& Node = FDocument.Find("components")->Items[Entry.Index];
    TJsonNode Empty;
    Empty.Kind = TJsonKind::Object;
    Empty.Key = "properties";
    TJsonNode* const Known = Node.Find("properties");
    TJsonNode& Properties = Known != nullptr ? *Known : Empty;
    RenewNames(Properties, *Entry.Component);
    TJsonWriter Writer(Properties);
    Entry.Component->SerializationWrite(Writer);
    if (Known == nullptr && !Empty.Items.empty()) Node.Items.push_back(std::move(Empty));
  }
  return WriteJson(FDocument);
}

}  // namespace tessalune::host
