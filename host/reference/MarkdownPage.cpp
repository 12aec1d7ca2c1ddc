#include "ClassText.h"
#include "Markup.h"
#include "PageForms.h"

namespace tessalune::host {
namespace {

class TMarkdownPage final : public TPageWriter {
 public:
  explicit TMarkdownPage(TLinkedNames ANames) : FNames(std::move(ANames)) {}

  void Title(const TPageFile& AIcon, std::string_view AName) override {
    Paragraph("# " + Icon(AIcon) + std::string(AName));
  }
  void Heading(std::string_view AText) override { Paragraph("## " + std::string(AText)); }
  void Text(std::string_view AText) override {
    using TKind = TTextBlock::TKind;
    for (const TTextBlock& Block : TextBlocks(AText)) {
      if (Block.Kind == TKind::Formula) {
        Code(Block.Text, "text");
        continue;
      }
      const bool IsItem = Block.Kind == TKind::Item;
      const bool GoesOn = IsItem && FEndsWithItem;
      if (GoesOn) FText.pop_back();
      Paragraph((IsItem ? "- " : "") + Inline(Block.Text));
      FEndsWithItem = IsItem;
    }
    FEndsWithItem = false;
  }
  void Link(std::string_view APage, std::string_view AText) override {
    Paragraph('[' + std::string(AText) + "](" + std::string(APage) + ".md)");
  }
  void Table(const TCells& AHead, const std::vector<TRow>& ARows) override {
    Row({AHead});
    for (std::size_t I = 0; I < AHead.size(); ++I) FText += "|---";
    FText += "|\n";
    for (const TRow& Each : ARows) Row(Each);
    FText += '\n';
  }
  void Code(std::string_view AText, std::string_view ALanguage) override {
    const std::string_view Feed = AText.ends_with('\n') ? "" : "\n";
    Paragraph("```" + std::string(ALanguage) + '\n' + std::string(AText) + std::string(Feed) +
              "```");
  }
  void Picture(const TPageFile& APicture, std::string_view AWhat) override {
    Paragraph("![" + std::string(AWhat) + "](" + APicture.Name + ')');
  }
  std::string Finish() override {
    FText.pop_back();
    return std::move(FText);
  }

 private:
  void Paragraph(const std::string& AText) { FText += AText + "\n\n"; }
  static std::string Icon(const TPageFile& AIcon) {
    return AIcon.IsEmpty() ? "" : "![](" + AIcon.Name + ") ";
  }
  void Row(const TRow& ARow) {
    FText += "| " + Icon(ARow.Icon);
    for (const std::string& Cell : ARow.Cells) FText += Inline(Cell) + " | ";
    FText.back() = '\n';
  }
  std::string Inline(std::string_view AText) const {
    return MarkedUp(
        AText,
        [this](std::string_view AWord) {
          const std::string Word(AWord);
          return FNames.Contains(AWord) ? '[' + Word + "](" + Word + ".md)" : Word;
        },
        [](std::string_view AName) { return '`' + std::string(AName) + '`'; },
        [](std::string_view AOther) {
          const bool IsSign = AOther == "|" || AOther == "*" || AOther == "<";
          return std::string(IsSign ? "\\" : "").append(AOther);
        });
  }

  const TLinkedNames FNames;
  std::string FText;
  bool FEndsWithItem = false;
};

}  // namespace

std::unique_ptr<TPageWriter> NewMarkdownPage(TLinkedNames ANames) {
  return std::make_unique<TMarkdownPage>(std::move(ANames));
}

}  // namespace tessalune::host
