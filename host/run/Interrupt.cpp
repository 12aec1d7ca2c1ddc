#include "Interrupt.h"

#include <atomic>
#include <cerrno>
#include <csignal>

namespace tessalune::host {
namespace {

std::atomic<int> Noted{0};
std::atomic<TWakeUp*> Waiting{nullptr};
static_assert(std::atomic<TWakeUp*>::is_always_lock_free, "a signal handler takes no lock");

void Note(int ASignal) {
  const int Error = errno;
  Noted = ASignal;
  if (TWakeUp* WakeUp = Waiting) WakeUp->Wake();
  errno = Error;
}

void Handle(int ASignal, void (*AHandler)(int)) {
  struct sigaction Action {};
  Action.sa_handler = AHandler;
  Action.sa_flags = static_cast<int>(SA_RESETHAND) | SA_RESTART;
  if (AHandler == SIG_IGN) Action.sa_flags = 0;
  ::sigaction(ASignal, &Action, nullptr);
}

}  // namespace

TInterrupt::TInterrupt() {
  Noted = 0;
  Waiting = FWakeUp.get();
  Handle(SIGINT, &Note);
  Handle(SIGTERM, &Note);
  Handle(SIGPIPE, SIG_IGN);
  Handle(SIGXFSZ, SIG_IGN);
}

TInterrupt::~TInterrupt() {
  for (const int Signal : {SIGINT, SIGTERM, SIGPIPE, SIGXFSZ}) Handle(Signal, SIG_DFL);
  Waiting = nullptr;
}

int TInterrupt::Signal() const { return Noted; }

}  // namespace tessalune::host
