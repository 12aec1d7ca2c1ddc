#pragma once

#include <host/CommandLineOptions.h>
#include <host/Commands.h>

namespace tessalune::host {

// The command with its options; ACommand becomes what runs it.
void AddMeasure(CLI::App& AApp, TOptions& AOptions, int (*&ACommand)(const TOptions&));

}  // namespace tessalune::host
