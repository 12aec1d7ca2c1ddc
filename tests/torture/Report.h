// What the torture program was asked for, what it draws, and what it has to tell.
#pragma once

#include <tessalune/frame/runtime/QSException.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <mutex>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace tessalune::torture {

// A hang is an operation without an end for that many seconds of patience.
inline std::map<std::string, double, std::less<>> Options{
    {"--seconds", 10}, {"--seed", 1}, {"--threads", 6}, {"--patience", 60}};
inline std::set<std::string, std::less<>> Without;
inline bool With(std::string_view AKind) { return !Without.contains(AKind); }

// A thread's own stream of draws.
class TChance {
 public:
  void Seed(double ASeed) { FEngine.seed(static_cast<std::uint64_t>(ASeed)); }
  std::size_t Below(std::size_t ACount) { return FEngine() % ACount; }
  bool OneIn(std::size_t ACount) { return Below(ACount) == 0; }
  template <class TList>
  auto& Of(TList&& AList) {
    return AList[Below(std::size(AList))];
  }

 private:
  std::mt19937_64 FEngine;
};

// What is known of a thread. Threads share nothing here while they work, so that the thread
// sanitizer sees no order that the frame did not make.
struct TThreadLog {
  using TClock = std::chrono::steady_clock;
  struct TAll {
    std::mutex Mutex;
    std::vector<TThreadLog*> Threads;
    int LastNumber = 0;
    std::map<std::string, std::uint64_t> Faults;
  };
  static TAll& All() {
    static auto* Instance = new TAll;
    return *Instance;
  }
  static TThreadLog& Own() {
    thread_local TThreadLog Instance;
    return Instance;
  }

  // Workers are given a seed; a thread of the frame's has the next number.
  TThreadLog() {
    const std::lock_guard Lock(All().Mutex);
    Number = ++All().LastNumber;
    Chance.Seed(Options.at("--seed") * 1000003 + Number);
    All().Threads.push_back(this);
  }
  ~TThreadLog() {
    const std::lock_guard Lock(All().Mutex);
    std::erase(All().Threads, this);
  }
  void Do(const char* AKind) {
    Since = TClock::now();
    Doing = AKind;
  }

  int Number;
  TChance Chance;
  std::atomic<const char*> Doing{""};       // the innermost operation
  std::atomic<TClock::time_point> Since{};  // the last begin or end of one
};
inline TChance& Chance() { return TThreadLog::Own().Chance; }

// Calls ADo at the end of a block, however that ends.
template <class TDo>
struct TAtEnd {
  TDo Do;
  ~TAtEnd() { Do(); }
};

// A count without an order between threads.
struct TCounter {
  const char* Name;
  std::atomic<std::uint64_t> Count{0};
  void Add() { Count.fetch_add(1, std::memory_order_relaxed); }
  void Print(const char* AKind = "") const {
    std::printf("%10.0f %s%s\n", static_cast<double>(Count), AKind, Name);
  }
};

// An operation of this thread, as long as the object lives.
class TOperation {
 public:
  explicit TOperation(const char* AKind) : FOuter(TThreadLog::Own().Doing) {
    TThreadLog::Own().Do(AKind);
  }
  TOperation(const TOperation&) = delete;
  ~TOperation() { TThreadLog::Own().Do(FOuter); }

 private:
  const char* const FOuter;
};

// A broken promise. ADetail tells what came before.
inline void Fault(const std::string& AWhat, const std::string& ADetail = {}) {
  constexpr std::uint64_t Shown = 5;
  const char* Doing = TThreadLog::Own().Doing;
  const std::lock_guard Lock(TThreadLog::All().Mutex);
  if (++TThreadLog::All().Faults[AWhat] > Shown) return;
  std::printf("FAULT: %s\n  while: %s\n%s", AWhat.c_str(), Doing, ADetail.c_str());
  std::fflush(stdout);
}

// The exceptions that the frame's words announce, by what their texts have in common.
inline TCounter Expected[] = {{"this thread cannot enter"}, {"cannot link"}, {"Can't open file"},
                              {"thrown on purpose"},        {"has no pin "}, {"Name cannot be"}};

// Counts an exception by its class of text; one that nobody expects is a fault.
inline void CountException(const std::exception_ptr& AError = std::current_exception()) {
  const std::string Text = ExceptionText(AError);
  for (TCounter& Known : Expected) {
    if (Text.find(Known.Name) != std::string::npos) return Known.Add();
  }
  Fault("an exception that nobody expects: " + Text);
}

// Ends the process when an operation hangs.
inline void Watch(const std::stop_token& AStop) {
  const std::chrono::duration<double> Patience(Options.at("--patience"));
  while (!AStop.stop_requested()) {
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    const std::lock_guard Lock(TThreadLog::All().Mutex);
    const auto& Threads = TThreadLog::All().Threads;
    for (const TThreadLog* Thread : Threads) {
      if (*Thread->Doing.load() == '\0') continue;
      if (TThreadLog::TClock::now() - Thread->Since.load() < Patience) continue;
      std::printf("FAULT: thread %d hangs; seed %.0f\n", Thread->Number, Options.at("--seed"));
      for (const TThreadLog* Any : Threads) {
        std::printf("  thread %d: %s\n", Any->Number, Any->Doing.load());
      }
      std::fflush(stdout);
      std::abort();
    }
  }
}

// Prints exceptions and faults; true if there is no fault.
inline bool PrintReport() {
  for (const TCounter& Known : Expected) Known.Print("exceptions: ");
  const auto& Faults = TThreadLog::All().Faults;
  for (const auto& [Text, Count] : Faults) {
    std::printf("%10.0f FAULTS: %s\n", static_cast<double>(Count), Text.c_str());
  }
  std::printf("seed %.0f: %zu kinds of faults\n", Options.at("--seed"), Faults.size());
  return Faults.empty();
}

}  // namespace tessalune::torture
