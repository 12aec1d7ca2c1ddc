#include "Interrupt.h"

#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <ctime>

namespace tessalune::host {
namespace {

constexpr unsigned LongestEnd = 10;  // seconds
// Who sends a signal to a process and to its group, as `timeout` does, means one.
constexpr std::int64_t OneSignal = 300'000'000;  // nanoseconds

std::atomic<int> Noted{0};
std::atomic<std::int64_t> NotedAt{0};
std::atomic<bool> AtWork{false};
std::atomic<TWakeUp*> Waiting{nullptr};
static_assert(std::atomic<TWakeUp*>::is_always_lock_free &&
                  std::atomic<std::int64_t>::is_always_lock_free,
              "a signal handler takes no lock");

std::int64_t Now() {
  timespec Time{};
  ::clock_gettime(CLOCK_MONOTONIC, &Time);
  return Time.tv_sec * 1'000'000'000 + Time.tv_nsec;
}

void Handle(int ASignal, void (*AHandler)(int));

void Note(int ASignal) {
  const int Error = errno;
  if (Noted == 0) {
    Noted = ASignal;
    NotedAt = Now();
    if (AtWork) ::alarm(LongestEnd);
    if (TWakeUp* WakeUp = Waiting) WakeUp->Wake();
  } else if (Now() - NotedAt > OneSignal) {
    Handle(ASignal, SIG_DFL);
    ::raise(ASignal);  // ends the process when this handler returns
  }
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
  Action.sa_flags = AHandler == SIG_IGN ? 0 : SA_RESTART;
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
