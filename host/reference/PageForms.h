// The makers of the forms, for NewPage.
#pragma once

#include "Markup.h"
#include "PageWriter.h"

#include <memory>

namespace tessalune::host {

std::unique_ptr<TPageWriter> NewHtmlPage(TLinkedNames ANames);
std::unique_ptr<TPageWriter> NewMarkdownPage(TLinkedNames ANames);

}  // namespace tessalune::host
