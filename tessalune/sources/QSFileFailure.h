// How the file components report a failure.
#pragma once

#include <tessalune/frame/runtime/VBComponent.h>

#include <cstdint>
#include <string>

namespace tessalune {

// A file that could not be opened. what() has the fixed form "%s - %u - %x" of message and code,
// the last in capital digits; Detail says whose file it is and what the system gave as the reason.
class EQSFileException final : public EQSException {
 public:
  EQSFileException(const std::string& AText, std::string ADetail)
      : EQSException(AText), FDetail(std::move(ADetail)) {}
  const std::string& Detail() const { return FDetail; }

 private:
  std::string FDetail;
};

// Tells AOnError, on this thread, that AFileName could not be opened, with the code -1; raises
// EQSFileException unless the handler handled it or the component is in its design state. Call it
// outside the component's lock. AReason is the system's error number.
void ReportCannotOpen(TLockComponent& ASender, const TEvent<TQSErrorEvent>& AOnError,
                      const std::string& AFileName, int AReason);

}  // namespace tessalune
