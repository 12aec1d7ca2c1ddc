#include "Interrupt.h"

#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>

namespace tessalune::host {
namespace {

constexpr unsigned LongestEnd = 10;  // seconds

std::atomic<int> Noted{0};
std::atomic<bool> AtWork{false};
std::atomic<TWakeUp*> Waiting{nullptr};
static_assert(std::atomic<TWakeUp*>::is_always_lock_free, "a signal handler takes no lock");

void Note(int ASignal) {
  const int Error = errno;
  Noted = ASignal;
  if (AtWork) ::alarm(LongestEnd);
  if (TWakeUp* WakeUp = Waiting) WakeUp->Wake();
  errno = Error;
}

// The work in hand does not come to its end. Nothing is left but what a signal handler may do.
void GiveUp(int) {
  constexpr const char* Text =
      "tessalune: interrupted; what was at work did not end within ten seconds and was left as it "
      "was, with no summary\n";
  [[maybe_unused]] const auto Written = ::write(STDERR_FILENO, Text, std::strlen(Text));
  ::_exit(128 + Noted);
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
  AtWork = true;
  Waiting = FWakeUp.get();
  Handle(SIGALRM, &GiveUp);
  Handle(SIGINT, &Note);
  Handle(SIGTERM, &Note);
  Handle(SIGPIPE, SIG_IGN);
  Handle(SIGXFSZ, SIG_IGN);
}

TInterrupt::~TInterrupt() {
  WorkHasEnded();
  for (const int Signal : {SIGINT, SIGTERM, SIGPIPE, SIGXFSZ, SIGALRM}) Handle(Signal, SIG_DFL);
  Waiting = nullptr;
}

int TInterrupt::Signal() const { return Noted; }

void TInterrupt::WorkHasEnded() {
  AtWork = false;
  ::alarm(0);
}

}  // namespace tessalune::host
