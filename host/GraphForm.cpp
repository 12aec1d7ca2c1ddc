#include "GraphForm.h"

#include "Words.h"

#include <tessalune/frame/runtime/QSPublished.h>

#include <algorithm>
#include <string_view>

namespace tessalune::host {
namespace {

class TFormReader {
 public:
  explicit TFormReader(TMistakes& AMistakes) : FMistakes(AMistakes) {}

  TGraphForm Read(const TJsonNode& ADocument) {
    if (!IsKind(ADocument, TJsonKind::Object, "a graph")) return std::move(FForm);
    CheckMembers(ADocument, "a graph", {"tessalune", "packages", "components", "links", "run"});
    ReadVersion(ADocument);
    if (const TJsonNode* List = Optional(ADocument, "packages", TJsonKind::Array)) {
      for (const TJsonNode& File : List->Items) {
        if (IsKind(File, TJsonKind::String, "a package's file")) FForm.Packages.push_back(&File);
      }
    }
    if (const TJsonNode* List = Needed(ADocument, "components", TJsonKind::Array, "a graph",
                                       "the list of its components")) {
      for (std::size_t I = 0; I < List->Items.size(); ++I) ReadComponent(List->Items[I], I);
    }
    if (const TJsonNode* List = Optional(ADocument, "links", TJsonKind::Array)) {
      for (const TJsonNode& Link : List->Items) ReadLink(Link);
    }
    if (const TJsonNode* Run = Optional(ADocument, "run", TJsonKind::Object)) ReadRun(*Run);
    return std::move(FForm);
  }

 private:
  void Add(const TJsonNode& ANode, std::string AMessage) {
    FMistakes.Add(ANode.Place, ANode.Path, std::move(AMessage));
  }

  bool IsKind(const TJsonNode& ANode, TJsonKind AKind, std::string_view AWhat) {
    if (ANode.Kind == AKind) return true;
    Add(ANode, std::string(AWhat) + " is " + std::string(JsonKindText(AKind)) + "; here stands " +
                   std::string(JsonKindText(ANode.Kind)));
    return false;
  }

  void CheckMembers(const TJsonNode& ANode, std::string_view AWhat,
                    const std::vector<std::string_view>& AKnown) {
    for (const TJsonNode& Item : ANode.Items) {
      if (std::find(AKnown.begin(), AKnown.end(), Item.Key) != AKnown.end()) continue;
      FMistakes.Add(Item.KeyPlace, Item.Path,
                    std::string(AWhat) + " has no member \"" + Item.Key + "\", only " +
                        Listed(AKnown) + SuggestName(Item.Key, AKnown));
    }
  }

  const TJsonNode* Optional(const TJsonNode& ANode, std::string_view AKey, TJsonKind AKind) {
    const TJsonNode* Member = ANode.Find(AKey);
    return Member != nullptr && IsKind(*Member, AKind, '"' + std::string(AKey) + '"') ? Member
                                                                                      : nullptr;
  }

  const TJsonNode* Needed(const TJsonNode& ANode, std::string_view AKey, TJsonKind AKind,
                          std::string_view AWhat, std::string_view AMeaning) {
    if (ANode.Find(AKey) != nullptr) return Optional(ANode, AKey, AKind);
    Add(ANode,
        std::string(AWhat) + " needs \"" + std::string(AKey) + "\": " + std::string(AMeaning));
    return nullptr;
  }

  void ReadVersion(const TJsonNode& ADocument) {
    const TJsonNode* Version = Needed(ADocument, "tessalune", TJsonKind::Number, "a graph",
                                      "the version of the file's form, which is 1");
    if (Version != nullptr && Version->Value() != TPropertyValue(GraphFormVersion)) {
      Add(*Version, "version " + Version->Spelling + " is none that this program knows; it reads " +
                        std::to_string(GraphFormVersion) +
                        ". A newer file needs a newer tessalune");
    }
  }

  void ReadComponent(const TJsonNode& ANode, std::size_t AIndex) {
    if (!IsKind(ANode, TJsonKind::Object, "a component")) return;
    CheckMembers(ANode, "a component", {"class", "name", "properties"});
    FForm.Components.push_back(
        {AIndex, ANode.Place,
         Needed(ANode, "class", TJsonKind::String, "a component",
                "the name of its class; `tessalune list` shows them"),
         Needed(ANode, "name", TJsonKind::String, "a component", "the name that links use"),
         Optional(ANode, "properties", TJsonKind::Object)});
  }

  void ReadLink(const TJsonNode& ANode) {
    const bool IsLink =
        ANode.Kind == TJsonKind::Array && (ANode.Items.size() == 2 || ANode.Items.size() == 3) &&
        std::all_of(ANode.Items.begin(), ANode.Items.end(),
                    [](const TJsonNode& AItem) { return AItem.Kind == TJsonKind::String; });
    if (IsLink) {
      FForm.Links.push_back({&ANode,
                             {&ANode.Items[0], &ANode.Items[1]},
                             ANode.Items.size() == 3 ? &ANode.Items[2] : nullptr});
    } else {
      Add(ANode,
          "a link is an array of two strings, such as [\"Tone.OutputPin\", "
          "\"Log.InputPin\"], and of a third one where it says its type, such as \"unsigned\"");
    }
  }

  void ReadRun(const TJsonNode& ANode) {
    CheckMembers(ANode, "\"run\"", {"samples", "seconds", "realtime", "watch", "at"});
    FForm.Run.Samples = ReadSamples(ANode, 1, "above 0");
    FForm.Run.Seconds = ReadSeconds(ANode, "above 0", [](double AValue) { return AValue > 0; });
    if (const TJsonNode* Realtime = Optional(ANode, "realtime", TJsonKind::Boolean)) {
      FForm.Run.Realtime = std::get<bool>(*Realtime->Value());
    }
    if (const TJsonNode* Watch = Optional(ANode, "watch", TJsonKind::Array)) {
      for (const TJsonNode& Pin : Watch->Items) {
        if (IsKind(Pin, TJsonKind::String, "a pin to watch")) {
          FForm.Run.Watch.push_back(Pin);
        }
      }
    }
    if (const TJsonNode* Steps = Optional(ANode, "at", TJsonKind::Array)) {
      for (const TJsonNode& Step : Steps->Items) ReadStep(Step);
    }
  }

  void ReadStep(const TJsonNode& ANode) {
    constexpr std::string_view What = "an entry of \"at\"";
    if (!IsKind(ANode, TJsonKind::Object, What)) return;
    CheckMembers(ANode, What, {"samples", "seconds", "set", "call"});
    TRunStep Step{.Place = ANode.Place, .Path = ANode.Path};
    Step.Samples = ReadSamples(ANode, 0, "from 0");
    Step.Seconds = ReadSeconds(ANode, "from 0", [](double AValue) { return AValue >= 0; });
    if ((ANode.Find("samples") == nullptr) == (ANode.Find("seconds") == nullptr)) {
      Add(ANode, std::string(What) +
                     " needs one of \"seconds\" and \"samples\": the moment of the stream at which "
                     "it takes effect");
    }
    if (const TJsonNode* Set = Optional(ANode, "set", TJsonKind::Object)) Step.Set = Set->Items;
    if (const TJsonNode* Call = ANode.Find("call")) {
      Step.Calls = Call->Kind == TJsonKind::Array ? Call->Items : std::vector<TJsonNode>{*Call};
      std::erase_if(Step.Calls, [this](const TJsonNode& AEach) {
        return !IsKind(AEach, TJsonKind::String, "an action to call, such as \"Shot.Snapshot\",");
      });
    }
    if (ANode.Find("set") == nullptr && ANode.Find("call") == nullptr) {
      Add(ANode, std::string(What) + " needs \"set\" or \"call\": what it does");
    }
    FForm.Run.At.push_back(std::move(Step));
  }

  std::optional<std::int64_t> ReadSamples(const TJsonNode& ANode, std::int64_t ALeast,
                                          std::string_view ARange) {
    const TJsonNode* Samples = ANode.Find("samples");
    if (Samples == nullptr) return std::nullopt;
    const auto Value = Samples->Value();
    const auto* Count = Value ? std::get_if<std::int64_t>(&*Value) : nullptr;
    if (Count != nullptr && *Count >= ALeast) return *Count;
    Add(*Samples, "expected is a whole number of samples " + std::string(ARange));
    return std::nullopt;
  }

  template <class TIsGood>
  std::optional<double> ReadSeconds(const TJsonNode& ANode, std::string_view ARange,
                                    TIsGood AIsGood) {
    const TJsonNode* Seconds = ANode.Find("seconds");
    if (Seconds == nullptr) return std::nullopt;
    const auto Value = ValueAs<double>(Seconds->Value().value_or(std::string()));
    if (Value && AIsGood(*Value)) return Value;
    Add(*Seconds, "expected is a number of seconds " + std::string(ARange));
    return std::nullopt;
  }

  TMistakes& FMistakes;
  TGraphForm FForm;
};

}  // namespace

TGraphForm ReadGraphForm(const TJsonNode& ADocument, TMistakes& AMistakes) {
  return TFormReader(AMistakes).Read(ADocument);
}

}  // namespace tessalune::host
