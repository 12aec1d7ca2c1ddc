// How the main loop sleeps: until any thread, or a signal, has something for it.
#pragma once

#include <chrono>

namespace tessalune::host {

class TWakeUp {
 public:
  TWakeUp();
  TWakeUp(const TWakeUp&) = delete;
  ~TWakeUp();

  // Any thread, and signal handlers. A wake-up before the sleep is not lost.
  void Wake() noexcept;
  void Wait(std::chrono::milliseconds ATimeout);

 private:
  int FEvent;
};

}  // namespace tessalune::host
