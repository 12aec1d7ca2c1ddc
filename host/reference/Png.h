// Icons as PNG files.
#pragma once

#include <tessalune/frame/runtime/QSIcons.h>

#include <string>

namespace tessalune::host {

// The file of an icon, not compressed; empty for an empty icon.
std::string PngOf(const TIcon& AIcon);

}  // namespace tessalune::host
