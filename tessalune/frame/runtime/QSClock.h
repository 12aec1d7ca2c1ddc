// Time as the clock threads see it, and a clock that a test drives.
#pragma once

#include <tessalune/frame/runtime/QSReference.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <vector>

namespace tessalune {

using TClockTime = std::chrono::nanoseconds;

// Wakes a thread that sleeps on a clock. A wake-up before the sleep is not lost.
class TWaker {
 public:
  void Wake();

 private:
  friend class TSystemClock;
  friend class TManualClock;
  std::mutex FMutex;
  std::condition_variable FChanged;
  bool FAwake = false;
};

// A source of time. Attach before a thread that will wait is started, Detach when it is done.
class IClock : public IInterface {
 public:
  // Time since an epoch of the clock's own; never runs backwards.
  virtual TClockTime Now() = 0;
  // Sleeps until ADeadline, or shorter if AWaker is woken.
  virtual void WaitUntil(TClockTime ADeadline, TWaker& AWaker) = 0;
  virtual void Attach() {}
  virtual void Detach() {}
};

// The machine's steady clock.
TRef<IClock> SystemClock();

// A clock whose time stands still until Advance.
class TManualClock final : public IClock {
 public:
  TClockTime Now() override;
  void WaitUntil(TClockTime ADeadline, TWaker& AWaker) override;
  void Attach() override;
  void Detach() override;

  // Moves the time on and returns when every attached thread has done what was due and sleeps
  // again, or has detached.
  void Advance(TClockTime ABy);

 private:
  struct TSleeper {
    TClockTime Deadline;
    TWaker& Waker;
    bool Due = false;
  };

  std::mutex FMutex;
  std::condition_variable FSettled;
  std::vector<TSleeper*> FSleepers;
  TClockTime FNow{0};
  int FBusy = 0;  // attached threads that do not sleep
};

}  // namespace tessalune
