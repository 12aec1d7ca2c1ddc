// A graph file as components and links.
#pragma once

#include "GraphForm.h"
#include "Packages.h"

#include <tessalune/frame/pins/KLPins.h>
#include <tessalune/frame/runtime/VBComponent.h>

#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

namespace tessalune::host {

// Walks "Threading.Enabled" down the sub-objects and sets the property at its end to what AValue
// gives for its row. Raises EQSException if there is no such property, or if it refuses the value.
void SetByPath(TPersistent& AObject, std::string_view APath,
               const std::function<TPropertyValue(const TPublishedProperty&)>& AValue);

class TGraph {
 public:
  // Builds what AText describes. Every mistake is told; what is sound is built all the same, so
  // that the next mistake comes out too. A graph with mistakes is not to be run. The classes are
  // those on the palette (see RegisterPalette) and those of the packages that the graph names,
  // which AUsePackage gets one by one; without it, only the former.
  TGraph(std::string_view AText, TMistakes& AMistakes, const TUseGraphPackage& AUsePackage = {});

  // In the order of the file.
  std::vector<TComponent*> Components() const;
  TRunSettings& Run() { return FRun; }

  // Sets a property as a command line gives it: "Tone.Frequency=440",
  // "Filter.Threading.Enabled=true".
  void Set(const std::string& AAssignment, TMistakes& AMistakes);

  // What AText, a string or the key of a member "Component.Name", names: the component, and what
  // stands behind the dot. No component: there is none of that name (told at APlace), or it could
  // not be made.
  struct TNamed {
    TComponent* Component = nullptr;
    std::string_view Name;
  };
  TNamed FindNamed(std::string_view AText, TPlace APlace, const std::string& APath,
                   TMistakes& AMistakes) const;

  // A link whose type nobody said, where it could have been another sample type: "Play (TQSPlayer).
  // OutputPin to Line (TQSDelayLine).InputPin". In the order of the file; of links that take their
  // type over from one above, only that one.
  struct TTypeChoice {
    std::string Link;
    const TKLDataType* Type;  // that was chosen
    TKLDataTypes Types;       // among these
    // For a run's remarks.
    std::string Text() const;
  };
  std::vector<TTypeChoice> TypeChoices() const;
  // The pin that a string "Component.Pin" means; null if there is no such pin (told, at the
  // string's place), or if its component could not be made.
  TKLBasicPin* FindPin(const TJsonNode& ANode, TMistakes& AMistakes) {
    return FindPin(ANode, AMistakes, false);
  }

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
    // Pin lists that links made grow, with the count that they have now; not to be stored.
    std::vector<std::pair<const TPublishedPin*, std::size_t>> Grown{};
  };

  TOwned<TComponent> NewComponent(const TJsonNode* AClass, TMistakes& AMistakes) const;
  void GiveName(TComponent* AComponent, const TJsonNode& AName, TMistakes& AMistakes);
  void AddComponent(const TGraphForm::TComponentEntry& AForm, TMistakes& AMistakes);
  void AddLink(const TGraphForm::TLinkEntry& AForm, TMistakes& AMistakes);
  // A list without an index is its first pin or, with AIsForLink, the first one that is free.
  TKLBasicPin* FindPin(const TJsonNode& ANode, TMistakes& AMistakes, bool AIsForLink);
  TKLBasicPin* FindPinOf(TEntry& AEntry, std::string_view APinName, bool AIsForLink) const;
  // The first pin of the list that has no link and is named by none; the list grows if there is
  // none.
  TKLBasicPin& FreePin(TEntry& AEntry, const TPublishedPin& ARow) const;
  // Null if the link says no type, or a wrong one (told).
  const TKLDataType* FindType(const TJsonNode* ANode, TMistakes& AMistakes) const;
  static void KeepGrown(const TEntry& AEntry, const TJsonNode& ABefore, TJsonNode& AProperties);
  std::vector<std::string_view> ComponentNames() const;

  TJsonNode FDocument;
  TRunSettings FRun;
  std::vector<TEntry> FEntries;
  std::unordered_map<std::string, std::size_t> FByName;
  std::unordered_set<std::string> FNamedPins;  // as links name them: "Sum.InputPins[2]"
  std::vector<std::pair<TKLBasicPin*, TKLBasicPin*>> FLinks;  // output and input, in order
};

}  // namespace tessalune::host
