#include "Report.h"

#include <tessalune/frame/runtime/QSException.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <mutex>
#include <vector>

namespace tessalune::torture {

TOptions Options;

namespace {

// A thread's operations, innermost last. Threads share nothing here while they work, so that the
// thread sanitizer sees no order that the frame did not make.
struct TThreadLog {
  static constexpr std::size_t Deepest = 16;

  TThreadLog();
  ~TThreadLog();
  std::string Text() const {
    std::string Path;
    for (std::size_t I = 0; I < std::min(Depth.load(), Deepest); ++I) {
      Path += (I > 0 ? " > " : "") + std::string(Kinds[I].load());
    }
    return Path;
  }

  int Number;
  TChance Draws;
  std::map<std::string_view, std::uint64_t> Counts;
  std::atomic<std::size_t> Depth{0};
  std::atomic<std::uint64_t> Ended{0};
  std::array<std::atomic<const char*>, Deepest> Kinds{};
};

struct TLogs {
  std::mutex Mutex;
  std::vector<TThreadLog*> Threads;
  int LastNumber = 0;
  std::map<std::string_view, std::uint64_t> Operations;
  std::atomic<std::uint64_t> Blocks{0};
  std::map<std::string, std::uint64_t> Exceptions;
  std::map<std::string, std::uint64_t> Faults;
};
TLogs& Logs() {
  static auto* Instance = new TLogs;
  return *Instance;
}

TThreadLog::TThreadLog() : Number(0), Draws(0) {
  const std::lock_guard Lock(Logs().Mutex);
  Number = ++Logs().LastNumber;
  Draws.Seed(static_cast<std::uint64_t>(Options.Seed * 1000003 + Number));
  Logs().Threads.push_back(this);
}

TThreadLog::~TThreadLog() {
  const std::lock_guard Lock(Logs().Mutex);
  for (const auto& [Kind, Count] : Counts) Logs().Operations[Kind] += Count;
  std::erase(Logs().Threads, this);
}

TThreadLog& Log() {
  thread_local TThreadLog Instance;
  return Instance;
}

// The exceptions that the frame's words announce, by what their texts have in common.
constexpr std::array Expected{"this thread cannot enter", "cannot link", "Can't open file",
                              "thrown on purpose",        "has no pin ", "Name cannot be"};

}  // namespace

TChance& Chance() { return Log().Draws; }
int ThreadNumber() { return Log().Number; }
const char* CurrentOperation() {
  const std::size_t Depth = std::min(Log().Depth.load(), TThreadLog::Deepest);
  return Depth > 0 ? Log().Kinds[Depth - 1].load() : "";
}

TOperation::TOperation(const char* AKind) {
  TThreadLog& Own = Log();
  ++Own.Counts[AKind];
  const std::size_t At = Own.Depth;
  if (At < TThreadLog::Deepest) Own.Kinds[At] = AKind;
  Own.Depth = At + 1;
}

TOperation::~TOperation() {
  --Log().Depth;
  ++Log().Ended;
}

void Fault(const std::string& AWhat, const std::string& ADetail) {
  constexpr std::uint64_t Shown = 5;
  const std::string Doing = Log().Text();
  const std::lock_guard Lock(Logs().Mutex);
  if (++Logs().Faults[AWhat] > Shown) return;
  std::printf("FAULT: %s\n  while: %s\n", AWhat.c_str(), Doing.c_str());
  if (!ADetail.empty()) std::printf("%s", ADetail.c_str());
  std::fflush(stdout);
}

void CountBlock() { Logs().Blocks.fetch_add(1, std::memory_order_relaxed); }

void CountException(const std::exception_ptr& AError) {
  const std::string Text = ExceptionText(AError);
  for (const char* Known : Expected) {
    if (Text.find(Known) == std::string::npos) continue;
    const std::lock_guard Lock(Logs().Mutex);
    ++Logs().Exceptions[Known];
    return;
  }
  Fault("an exception that nobody expects: " + Text);
}

TWatchdog::TWatchdog() : FThread([this] { Watch(); }) {}

TWatchdog::~TWatchdog() {
  FOver = true;
  FThread.join();
}

void TWatchdog::Watch() {
  using TClock = std::chrono::steady_clock;
  struct TSeen {
    std::uint64_t Ended;
    TClock::time_point Since;
  };
  std::map<int, TSeen> Seen;
  while (!FOver) {
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    const std::lock_guard Lock(Logs().Mutex);
    bool Hangs = false;
    for (const TThreadLog* Thread : Logs().Threads) {
      TSeen& Last = Seen.try_emplace(Thread->Number, TSeen{0, TClock::now()}).first->second;
      if (Thread->Depth == 0 || Thread->Ended != Last.Ended) Last = {Thread->Ended, TClock::now()};
      Hangs = Hangs ||
              std::chrono::duration<double>(TClock::now() - Last.Since).count() > Options.Patience;
    }
    if (!Hangs) continue;
    std::printf("FAULT: a hang: nothing has ended for %g seconds; seed %.0f; the threads are in\n",
                Options.Patience, Options.Seed);
    for (const TThreadLog* Thread : Logs().Threads) {
      std::printf("  thread %d: %s\n", Thread->Number, Thread->Text().c_str());
    }
    std::fflush(stdout);
    std::abort();
  }
}

bool PrintReport() {
  const std::lock_guard Lock(Logs().Mutex);
  std::uint64_t Operations = 0;
  std::uint64_t Faults = 0;
  for (const TThreadLog* Thread : Logs().Threads) {
    for (const auto& [Kind, Count] : Thread->Counts) Logs().Operations[Kind] += Count;
  }
  for (const auto& [Kind, Count] : Logs().Operations) {
    std::printf("%10llu %.*s\n", static_cast<unsigned long long>(Count),
                static_cast<int>(Kind.size()), Kind.data());
    Operations += Count;
  }
  for (const auto& [Text, Count] : Logs().Exceptions) {
    std::printf("%10llu exceptions: %s\n", static_cast<unsigned long long>(Count), Text.c_str());
  }
  for (const auto& [Text, Count] : Logs().Faults) {
    std::printf("%10llu FAULTS: %s\n", static_cast<unsigned long long>(Count), Text.c_str());
    Faults += Count;
  }
  std::printf("%10llu blocks heard\n", static_cast<unsigned long long>(Logs().Blocks.load()));
  if (Faults > 0) std::printf("seed %.0f\n", Options.Seed);
  std::printf("torture: %llu operations, %llu faults\n",
              static_cast<unsigned long long>(Operations), static_cast<unsigned long long>(Faults));
  return Faults == 0;
}

}  // namespace tessalune::torture
