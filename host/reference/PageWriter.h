// Pages in the forms that the reference has: HTML and Markdown.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace tessalune::host {

enum class TPageForm : std::uint8_t { Html, Markdown };

// "html", "md": how the names of pages end.
std::string_view EndingOf(TPageForm AForm);

// A file that a page shows: its place beside the page, and what is in it. An HTML page holds it, a
// Markdown page refers to it.
struct TPageFile {
  std::string Name{};
  std::string Type{};  // "image/png"
  std::string Bytes{};

  bool IsEmpty() const { return Bytes.empty(); }
};

// One page, written from top to bottom. Texts may have `names`; the name of a class that has a page
// of its own becomes a link.
class TPageWriter {
 public:
  using TCells = std::vector<std::string>;
  struct TRow {
    TCells Cells;
    TPageFile Icon{};  // before the first cell's text
  };

  virtual ~TPageWriter() = default;
  virtual void Title(const TPageFile& AIcon, std::string_view AName) = 0;
  virtual void Heading(std::string_view AText) = 0;
  // Text in the form that TClassText has.
  virtual void Text(std::string_view AText) = 0;
  virtual void Link(std::string_view APage, std::string_view AText) = 0;
  virtual void Table(const TCells& AHead, const std::vector<TRow>& ARows) = 0;
  virtual void Code(std::string_view AText, std::string_view ALanguage) = 0;
  virtual void Picture(const TPageFile& APicture, std::string_view AWhat) = 0;
  // The page; nothing may follow.
  virtual std::string Finish() = 0;
};

// AClasses are the names that have a page, AName is the class that the page is for, if any.
std::unique_ptr<TPageWriter> NewPage(TPageForm AForm, std::vector<std::string_view> AClasses,
                                     std::string_view AName);

}  // namespace tessalune::host
