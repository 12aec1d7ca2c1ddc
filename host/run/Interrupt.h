// Ctrl-C and a polite request to end: noted, so that the work in hand can be ended in order.
#pragma once

#include "WakeUp.h"

#include <memory>

namespace tessalune::host {

// While one lives, SIGINT and SIGTERM are noted in place of ending the process; a second one, a
// moment later, ends it at once, and so does the clock when the work has not ended ten seconds
// after the first. Writing to a pipe that nobody reads, or beyond a limit on file sizes, is an
// error of that write. One at a time.
class TInterrupt {
 public:
  TInterrupt();
  TInterrupt(const TInterrupt&) = delete;
  ~TInterrupt();

  // The signal that came; 0 if none has.
  int Signal() const;
  // The work is over: what follows may take its time.
  void WorkHasEnded();
  // Woken when one comes; for whatever else the main loop waits for, too.
  const std::shared_ptr<TWakeUp>& WakeUp() const { return FWakeUp; }

 private:
  const std::shared_ptr<TWakeUp> FWakeUp = std::make_shared<TWakeUp>();
};

}  // namespace tessalune::host
