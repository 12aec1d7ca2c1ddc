// What the torture program was asked for, what it draws, and what it has to tell.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <iterator>
#include <random>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

namespace tessalune::torture {

struct TOptions {
  double Seconds = 10;
  double Seed = 1;
  double Threads = 6;
  double Patience = 60;  // seconds without a finished operation that count as a hang
  std::set<std::string, std::less<>> Without;
};
extern TOptions Options;

// True unless --without leaves that kind out.
inline bool With(std::string_view AKind) { return Options.Without.count(AKind) == 0; }

// A thread's own stream of draws.
class TChance {
 public:
  explicit TChance(std::uint64_t ASeed) : FEngine(ASeed) {}
  std::size_t Below(std::size_t ACount) { return FEngine() % ACount; }
  bool OneIn(std::size_t ACount) { return Below(ACount) == 0; }
  template <class TList>
  auto& Of(TList& AList) {
    return AList[Below(std::size(AList))];
  }
  void Seed(std::uint64_t ASeed) { FEngine.seed(ASeed); }

 private:
  std::mt19937_64 FEngine;
};

// The calling thread's. Workers seed theirs; a thread of the frame's gets the next number.
TChance& Chance();

// Thrown by handlers on purpose.
class TThrown : public std::runtime_error {
 public:
  TThrown() : std::runtime_error("thrown on purpose") {}
};

// A broken promise. ADetail tells what came before.
void Fault(const std::string& AWhat, const std::string& ADetail = {});

// Counts a block that an input has heard.
void CountBlock();

// Counts an exception by its class of text; one that nobody expects is a fault.
void CountException(const std::exception_ptr& AError);

// An operation in progress on this thread: counted when it ends, and shown when a thread hangs.
class TOperation {
 public:
  explicit TOperation(const char* AKind);
  TOperation(const TOperation&) = delete;
  ~TOperation();
};

// What this thread does just now; empty for nothing that is known here.
const char* CurrentOperation();
// A short name of this thread.
int ThreadNumber();

// Ends the process when some thread's operation has not come to its end within Options.Patience.
class TWatchdog {
 public:
  TWatchdog();
  TWatchdog(const TWatchdog&) = delete;
  ~TWatchdog();

 private:
  void Watch();
  std::atomic<bool> FOver{false};
  std::thread FThread;
};

// Prints operations, exceptions and faults; true if there is no fault.
bool PrintReport();

// Counts the objects of a class that are alive, the library's components among them.
inline std::atomic<int> Alive{0};
template <class T>
class TAlive : public T {
 public:
  template <class... TArgs>
  explicit TAlive(TArgs&&... AArgs) : T(std::forward<TArgs>(AArgs)...) {
    ++Alive;
  }
  ~TAlive() override { --Alive; }
};

}  // namespace tessalune::torture
