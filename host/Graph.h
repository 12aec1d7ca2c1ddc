// A graph file as components and links.
#pragma once

#include "GraphForm.h"

#include <tessalune/frame/runtime/VBComponent.h>

#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace tessalune::host {

class TGraph {
 public:
  // Builds what AText describes. Every mistake is told; what is sound is built all the same, so
  // that the next mistake comes out too. A graph with mistakes is not to be run. The classes are
  // those on the palette (see RegisterPalette).
  TGraph(std::string_view AText, TMistakes& AMistakes);

  // In the order of the file.
  std::vector<TComponent*> Components() const;
  TRunSettings& Run() { return FRun; }

  // Sets a property as a command line gives it: "Tone.Frequency=440",
  // "Filter.Threading.Enabled=true".
  void Set(const std::string& AAssignment, TMistakes& AMistakes);

  // The pin that a string "Component.Pin" means; null if there is no such pin (told, at the
  // string's place), or if its component could not be made.
  TKLBasicPin* FindPin(const TJsonNode& ANode, TMistakes& AMistakes) const;

  // Where the value of a component's property stands; where the component does, if the file does
  // not give the value that the property has now.
  struct TWhere {
    TPlace Place;
    std::string Path;
  };
  TWhere Where(const TComponent& AComponent, std::string_view AProperty) const;

  // The file's text in the canonical layout, with the properties that the components have now.
  std::string Save();

 private:
  struct TEntry {
    TOwned<TComponent> Component;  // null if the class is unknown: its name is taken all the same
    std::size_t Index;             // in the document's array
    TPlace Place;
  };

  TOwned<TComponent> NewComponent(const TJsonNode* AClass, TMistakes& AMistakes) const;
  void GiveName(TComponent* AComponent, const TJsonNode& AName, TMistakes& AMistakes);
  void AddComponent(const TGraphForm::TComponentEntry& AForm, TMistakes& AMistakes);
  void AddLink(const TGraphForm::TLinkEntry& AForm, TMistakes& AMistakes);
  std::vector<std::string_view> ComponentNames() const;

  TJsonNode FDocument;
  TRunSettings FRun;
  std::vector<TEntry> FEntries;
  std::unordered_map<std::string, std::size_t> FByName;
};

}  // namespace tessalune::host
