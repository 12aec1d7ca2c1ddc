// What a shell offers to complete a command line, from the command line's own description.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

namespace tessalune::host {

// A line for each word that may stand in place of the last of AWords, which has begun with it: the
// word, a tab, what it is. None: the name of a file. AWords are those behind the program's name.
std::string CompletionText(const CLI::App& AApp, const std::vector<std::string>& AWords);

}  // namespace tessalune::host
