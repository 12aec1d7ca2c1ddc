#include "Completion.h"

#include <tessalune/frame/runtime/QSComponentRegistry.h>

#include <string_view>

namespace tessalune::host {
namespace {

class TCompletion {
 public:
  explicit TCompletion(std::string ABegun) : FBegun(std::move(ABegun)) {}

  void Offer(const std::string& AWord, std::string_view ADoc) {
    if (!AWord.starts_with(FBegun)) return;
    FText += AWord + '\t' + std::string(ADoc.substr(0, ADoc.find('\n'))) + '\n';
  }
  const std::string& Text() const { return FText; }

 private:
  std::string FBegun;
  std::string FText;
};

// The words of a choice, which the parser shows as "TEXT:{log,wav}".
std::vector<std::string> Choices(const CLI::Option& AOption) {
  const std::string Type = AOption.get_type_name();
  const auto Begin = Type.find('{');
  const auto End = Type.find('}');
  if (Begin == std::string::npos || End == std::string::npos) return {};
  return CLI::detail::split(Type.substr(Begin + 1, End - Begin - 1), ',');
}

const CLI::Option* ValueOption(const CLI::App& ACommand, const std::string& AWord) {
  if (!AWord.starts_with('-')) return nullptr;
  const CLI::Option* Option = ACommand.get_option_no_throw(AWord);
  return Option != nullptr && Option->get_items_expected_max() > 0 ? Option : nullptr;
}

void OfferOptions(const CLI::App& ACommand, TCompletion& ACompletion) {
  for (const CLI::Option* Option : ACommand.get_options()) {
    for (const std::string& Name : Option->get_snames()) {
      ACompletion.Offer("-" + Name, Option->get_description());
    }
    for (const std::string& Name : Option->get_lnames()) {
      ACompletion.Offer("--" + Name, Option->get_description());
    }
  }
}

}  // namespace

std::string CompletionText(const CLI::App& AApp, const std::vector<std::string>& AWords) {
  TCompletion Completion(AWords.empty() ? "" : AWords.back());
  const CLI::App* Command = &AApp;
  const CLI::Option* Waiting = nullptr;  // for its value
  for (std::size_t I = 0; I + 1 < AWords.size(); ++I) {
    if (Waiting != nullptr) {
      Waiting = nullptr;
      continue;
    }
    Waiting = ValueOption(*Command, AWords[I]);
    if (Command != &AApp) continue;
    for (const CLI::App* Each : AApp.get_subcommands({})) {
      if (Each->get_name() == AWords[I]) Command = Each;
    }
  }
  if (Waiting != nullptr) {
    for (const std::string& Word : Choices(*Waiting)) Completion.Offer(Word, "");
  } else if (!AWords.empty() && AWords.back().starts_with('-')) {
    OfferOptions(*Command, Completion);
  } else if (Command == &AApp) {
    for (const CLI::App* Each : AApp.get_subcommands({})) {
      Completion.Offer(Each->get_name(), Each->get_description());
    }
  } else if (Command->get_option_no_throw("CLASS") != nullptr) {
    for (const TComponentClass& Class : RegisteredComponents()) {
      Completion.Offer(std::string(Class.Published().ClassName()), Class.Published().DisplayName());
    }
  }
  return Completion.Text();
}

}  // namespace tessalune::host
