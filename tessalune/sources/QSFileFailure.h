// How the file components report a failure.
#pragma once

#include <tessalune/frame/runtime/QSFiles.h>
#include <tessalune/frame/runtime/VBComponent.h>

#include <string>
#include <string_view>

namespace tessalune {

// What a dialog offers for the name of a file of samples.
inline constexpr std::string_view QSSampleFileFilter =
    "Binary files (*.bin)|*.bin|All Files (*.*)|*.*";

// Tells AOnError, on this thread, that AFileName could not be opened, with the code -1; raises
// EQSFileException unless the handler handled it or the component is in its design state. Call it
// outside the component's lock. AReason is the system's error number.
void ReportCannotOpen(TLockComponent& ASender, const TEvent<TQSErrorEvent>& AOnError,
                      const std::string& AFileName, int AReason);

}  // namespace tessalune
