#include "ClassText.h"
#include "Markup.h"
#include "PageForms.h"

namespace tessalune::host {
namespace {

constexpr std::string_view Style = R"(
:root { color-scheme: light dark; }
body { font: 16px/1.5 sans-serif; max-width: 60em; margin: 2em auto; padding: 0 1em; }
h1 img, td img { height: 24px; vertical-align: middle; }
h1 img { height: 32px; }
h2 { margin-top: 1.6em; border-bottom: 1px solid #8886; font-size: 1.2em; }
pre { padding: 0.6em 1em; background: #8882; overflow-x: auto; font-size: 0.85em; }
code { background: #8882; padding: 0 0.2em; }
pre code { background: none; padding: 0; }
table { border-collapse: collapse; display: block; overflow-x: auto; font-size: 0.9em; }
th, td { text-align: left; vertical-align: top; padding: 0.3em 0.7em; border: 1px solid #8886; }
figure { margin: 1em 0; }
figure img { max-width: 100%; background: #fff; }
)";

std::string Escaped(std::string_view AText) {
  std::string Text;
  for (const char Char : AText) {
    switch (Char) {
      case '&':
        Text += "&amp;";
        break;
      case '<':
        Text += "&lt;";
        break;
      case '>':
        Text += "&gt;";
        break;
      case '"':
        Text += "&quot;";
        break;
      default:
        Text += Char;
    }
  }
  return Text;
}

std::string Base64(std::string_view ABytes) {
  constexpr std::string_view Signs =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string Text;
  for (std::size_t I = 0; I < ABytes.size(); I += 3) {
    const std::string_view Three = ABytes.substr(I, 3);
    std::uint32_t Bits = 0;
    for (std::size_t J = 0; J < 3; ++J) {
      Bits = Bits << 8 | (J < Three.size() ? static_cast<unsigned char>(Three[J]) : 0U);
    }
    for (std::size_t J = 0; J < 4; ++J) {
      Text += J <= Three.size() ? Signs[Bits >> (18 - 6 * J) & 63] : '=';
    }
  }
  return Text;
}

std::string Tagged(std::string_view ATag, const std::string& AContent) {
  return '<' + std::string(ATag) + '>' + AContent + "</" + std::string(ATag) + '>';
}

class THtmlPage final : public TPageWriter {
 public:
  explicit THtmlPage(TLinkedNames ANames) : FNames(std::move(ANames)) {}

  void Title(const TPageFile& AIcon, std::string_view AName) override {
    FTitle = AName;
    FText += Tagged("h1", Icon(AIcon) + Escaped(AName)) + '\n';
  }
  void Heading(std::string_view AText) override { FText += Tagged("h2", Escaped(AText)) + '\n'; }
  void Text(std::string_view AText) override {
    using TKind = TTextBlock::TKind;
    bool IsInList = false;
    const auto EndList = [&] {
      if (IsInList) FText += "</ul>\n";
      IsInList = false;
    };
    for (const TTextBlock& Block : TextBlocks(AText)) {
      if (Block.Kind != TKind::Item) EndList();
      switch (Block.Kind) {
        case TKind::Paragraph:
          FText += Tagged("p", Inline(Block.Text)) + '\n';
          break;
        case TKind::Item:
          FText += (IsInList ? "" : "<ul>\n") + Tagged("li", Inline(Block.Text)) + '\n';
          IsInList = true;
          break;
        case TKind::Formula:
          Code(Block.Text, "");
          break;
      }
    }
    EndList();
  }
  void Link(std::string_view APage, std::string_view AText) override {
    FText += Tagged("p", LinkText(APage, AText)) + '\n';
  }
  void Table(const TCells& AHead, const std::vector<TRow>& ARows) override {
    FText += "<table>\n" + Row("th", {AHead});
    for (const TRow& Each : ARows) FText += Row("td", Each);
    FText += "</table>\n";
  }
  void Code(std::string_view AText, std::string_view) override {
    FText += Tagged("pre", Tagged("code", Escaped(AText))) + '\n';
  }
  void Picture(const TPageFile& APicture, std::string_view AWhat) override {
    FText += Tagged("figure", Image(APicture, AWhat)) + '\n';
  }
  std::string Finish() override {
    return "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
           "<meta name=\"viewport\" content=\"width=device-width\">\n" +
           Tagged("title", Escaped(FTitle)) + '\n' + Tagged("style", std::string(Style)) +
           "\n</head>\n<body>\n" + FText + "</body>\n</html>\n";
  }

 private:
  static std::string LinkText(std::string_view APage, std::string_view AText) {
    return "<a href=\"" + std::string(APage) + ".html\">" + Escaped(AText) + "</a>";
  }
  static std::string Image(const TPageFile& AFile, std::string_view AWhat) {
    return "<img src=\"data:" + AFile.Type + ";base64," + Base64(AFile.Bytes) + "\" alt=\"" +
           Escaped(AWhat) + "\">";
  }
  static std::string Icon(const TPageFile& AIcon) {
    return AIcon.IsEmpty() ? "" : Image(AIcon, "") + ' ';
  }
  std::string Row(std::string_view ATag, const TRow& ARow) const {
    std::string Text;
    for (const std::string& Cell : ARow.Cells) {
      Text += Tagged(ATag, (Text.empty() ? Icon(ARow.Icon) : "") + Inline(Cell));
    }
    return Tagged("tr", Text) + '\n';
  }
  std::string Inline(std::string_view AText) const {
    return MarkedUp(
        AText,
        [this](std::string_view AWord) {
          return FNames.Contains(AWord) ? LinkText(AWord, AWord) : std::string(AWord);
        },
        [](std::string_view AName) { return Tagged("code", Escaped(AName)); },
        [](std::string_view AOther) { return Escaped(AOther); });
  }

  const TLinkedNames FNames;
  std::string FTitle;
  std::string FText;
};

}  // namespace

std::string_view EndingOf(TPageForm AForm) { return AForm == TPageForm::Html ? "html" : "md"; }

std::unique_ptr<TPageWriter> NewHtmlPage(TLinkedNames ANames) {
  return std::make_unique<THtmlPage>(std::move(ANames));
}

std::unique_ptr<TPageWriter> NewPage(TPageForm AForm, std::vector<std::string_view> AClasses,
                                     std::string_view AName) {
  TLinkedNames Names{std::move(AClasses), AName};
  return AForm == TPageForm::Html ? NewHtmlPage(std::move(Names))
                                  : NewMarkdownPage(std::move(Names));
}

}  // namespace tessalune::host
