// The reference: a page for each class and an index of them, from the published tables and the text
// beside the classes.
#pragma once

#include "PageWriter.h"

#include <tessalune/frame/runtime/QSComponentRegistry.h>

#include <filesystem>

namespace tessalune::host {

struct TReferenceOptions {
  std::filesystem::path Folder;  // to write to; it is made if it is missing
  TPageForm Form = TPageForm::Html;
  // Where a class's example, CLASS.json, the picture of what comes out of it, CLASS.svg, and the
  // class's icon, CLASS.svg, are looked for; where they are installed, if empty. A class without
  // has a page without.
  std::filesystem::path Examples{};
  std::filesystem::path Pictures{};
  std::filesystem::path Icons{};
};

// The texts of the pages.
std::string ClassPage(const TComponentClass& AClass, const TReferenceOptions& AOptions);
std::string IndexPage(const TReferenceOptions& AOptions);

// Writes CLASS.html or CLASS.md for each class of the palette and index.html or README.md, and
// returns how many classes these are. A Markdown page refers to its icon and its picture, which are
// laid into the folders icons and pictures beside it; an HTML page holds them. What else is in the
// folder stays. Raises EQSException for a file that cannot be written.
int WriteReference(TReferenceOptions AOptions);

}  // namespace tessalune::host
