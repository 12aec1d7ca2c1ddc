#include "WakeUp.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <system_error>

namespace tessalune::host {

TWakeUp::TWakeUp() : FEvent(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  if (FEvent < 0) throw std::system_error(errno, std::generic_category(), "eventfd");
}

TWakeUp::~TWakeUp() { ::close(FEvent); }

void TWakeUp::Wake() noexcept {
  const std::uint64_t One = 1;
  // It fails only when so many wake-ups wait that one more makes no difference.
  [[maybe_unused]] const auto Written = ::write(FEvent, &One, sizeof(One));
}

void TWakeUp::Wait(std::chrono::milliseconds ATimeout) {
  pollfd Event{FEvent, POLLIN, 0};
  if (::poll(&Event, 1, static_cast<int>(ATimeout.count())) <= 0) return;
  std::uint64_t Count = 0;
  [[maybe_unused]] const auto Read = ::read(FEvent, &Count, sizeof(Count));
}

}  // namespace tessalune::host
