#pragma once

#include <string>

// The optional dynamic library that offers signal primitives under their public IPP names.
//
// The first GetIPPSProcAddress looks for the library by the names that it publicly bears, along
// the dynamic loader's usual path; no environment variable of this system's own and no
// configuration file is read. A library that tells a major version above 8 (by
// `ippsGetLibVersion`) is refused: from 9 on, entries of the same name take other arguments. A
// library once loaded stays loaded, so that an address that was handed out never dangles.
namespace tessalune {

// Address of the entry AName in the library, or null when there is no library or no such entry.
// Callable on any thread.
[[nodiscard]] void* GetIPPSProcAddress(const char* AName) noexcept;

// Makes the library file AFileName (a UTF-8 path, or a name for the dynamic loader's search) the
// one that GetIPPSProcAddress looks in. False if it does not load or is refused: the present
// library stays, and AError says which file failed, why, and what to do.
//
// It changes what later look-ups find, not what is bound already: BindPrimitivesTo does both.
[[nodiscard]] bool UseIPPSLibrary(const std::string& AFileName, std::string& AError);

// Makes GetIPPSProcAddress look in the library that is found by its public names (the state at
// load).
void UseDefaultIPPSLibrary() noexcept;

// Makes GetIPPSProcAddress find nothing.
void UseNoIPPSLibrary() noexcept;

}  // namespace tessalune
