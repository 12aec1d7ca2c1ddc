// Some threads do to a world of components whatever the frame allows, from outside and inside
// handlers, and what the components hear is checked against the frame's promises.
//
//   tessalune_torture [--seconds N] [--seed N] [--threads N] [--patience N] [--without KIND]...
//
// The exit code is 0 if no promise was broken and nothing is left alive at the end. The seed fixes
// what each thread draws, not how the threads interleave.
#include "Report.h"
#include "World.h"

#include <tessalune/frame/runtime/QSException.h>
#include <tessalune/frame/runtime/QSMainThread.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace tessalune::torture {
namespace {

using TSteady = std::chrono::steady_clock;

TSteady::time_point In(double ASeconds) {
  return TSteady::now() +
         std::chrono::duration_cast<TSteady::duration>(std::chrono::duration<double>(ASeconds));
}

std::string Listed(const std::vector<std::string>& ANames) {
  std::string Text;
  for (const std::string& Name : ANames) Text += (Text.empty() ? "" : ", ") + Name;
  return Text;
}

double NumberOf(const std::string& AOption, const std::string& AText) {
  constexpr double Most = 1e6;
  char* Rest = nullptr;
  const double Number = std::strtod(AText.c_str(), &Rest);
  if (!AText.empty() && *Rest == '\0' && Number >= 0.0 && Number <= Most) return Number;
  throw std::invalid_argument(AOption + " cannot be \"" + AText +
                              "\"; expected is a number from 0 to " + NumberText(Most));
}

void ReadOptions(const std::vector<std::string>& AArguments) {
  const std::map<std::string, double*> Numbers{{"--seconds", &Options.Seconds},
                                               {"--seed", &Options.Seed},
                                               {"--threads", &Options.Threads},
                                               {"--patience", &Options.Patience}};
  const std::vector<std::string> Kinds = TWorld::Kinds();
  for (std::size_t I = 0; I < AArguments.size(); I += 2) {
    const std::string& Option = AArguments[I];
    const std::string Value = I + 1 < AArguments.size() ? AArguments[I + 1] : "";
    if (const auto Number = Numbers.find(Option); Number != Numbers.end()) {
      *Number->second = NumberOf(Option, Value);
    } else if (Option != "--without") {
      throw std::invalid_argument("there is no option " + Option +
                                  "; expected are --seconds, --seed, --threads, --patience and "
                                  "--without, each with a value");
    } else if (std::find(Kinds.begin(), Kinds.end(), Value) == Kinds.end()) {
      throw std::invalid_argument("--without cannot be \"" + Value + "\"; expected is one of " +
                                  Listed(Kinds));
    } else {
      Options.Without.insert(Value);
    }
  }
}

// A folder of this run's own, with what the players play.
class TFolder {
 public:
  TFolder() {
    std::string Pattern = (std::filesystem::temp_directory_path() / "tessalune-XXXXXX").string();
    if (mkdtemp(Pattern.data()) == nullptr) {
      throw std::runtime_error("no folder " + Pattern +
                               " can be made; give a TMPDIR that can be "
                               "written to");
    }
    Path = Pattern;
    std::ofstream(Path / "zeros") << std::string(16384, '\0');
    std::ofstream(Path / "few") << std::string(100, '\0');
  }
  TFolder(const TFolder&) = delete;
  ~TFolder() {
    std::error_code Ignored;
    std::filesystem::remove_all(Path, Ignored);
  }
  std::filesystem::path Path;
};

std::ptrdiff_t CountOf(const char* AFolder) {
  const std::filesystem::directory_iterator Entries(AFolder);
  return std::distance(begin(Entries), end(Entries));
}

// What the process has besides memory.
struct TPossessions {
  std::ptrdiff_t Threads = CountOf("/proc/self/task");
  std::ptrdiff_t Files = CountOf("/proc/self/fd");
};

void Work(TWorld& AWorld, TSteady::time_point AUntil) {
  while (TSteady::now() < AUntil) AWorld.Operate();
}

// The host's main thread: runs what is queued for it.
void WorkOnMainThread(TSteady::time_point AUntil) {
  while (TSteady::now() < AUntil) {
    MainThread().WaitForWork(std::chrono::milliseconds(10));
    try {
      const TOperation Operation("main thread");
      MainThread().Process();
    } catch (...) {
      CountException(std::current_exception());
    }
  }
}

// Ends the world until the frame's threads have gone: what a handler just did may have made another
// thing.
void EndWorld(TWorld& AWorld, const TPossessions& ABefore) {
  const auto Patience = In(Options.Patience);
  for (;;) {
    AWorld.End();
    if (TPossessions().Threads <= ABefore.Threads || TSteady::now() > Patience) break;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  AWorld.End();
  const TPossessions After;
  const auto Tell = [](const char* AWhat, std::ptrdiff_t ACount) {
    if (ACount > 0) Fault(AWhat, "  " + std::to_string(ACount) + " of them\n");
  };
  Tell("threads are left", After.Threads - ABefore.Threads);
  Tell("open files are left", After.Files - ABefore.Files);
  Tell("components, inputs or their records are left alive", Alive);
}

bool Torture() {
  const TFolder Folder;
  SetUnhandledExceptionHook(
      [](TObject*, const std::exception_ptr& AError) { CountException(AError); });
  const TWatchdog Watchdog;
  const TPossessions Before;
  {
    TWorld World(Folder.Path);
    const auto Until = In(Options.Seconds);
    std::vector<std::thread> Workers;
    for (int I = 0; I < Options.Threads; ++I) {
      Workers.emplace_back([&World, Until, I] {
        Chance().Seed(static_cast<std::uint64_t>(Options.Seed * 1000 + I));
        Work(World, Until);
      });
    }
    WorkOnMainThread(Until);
    for (std::thread& Worker : Workers) Worker.join();
    EndWorld(World, Before);
  }
  SetUnhandledExceptionHook({});
  return PrintReport();
}

}  // namespace
}  // namespace tessalune::torture

int main(int ACount, char** AArguments) {
  try {
    tessalune::torture::ReadOptions({AArguments + 1, AArguments + ACount});
    return tessalune::torture::Torture() ? 0 : 1;
  } catch (const std::exception& Error) {
    std::fprintf(stderr, "tessalune_torture: %s\n", Error.what());
    return 2;
  }
}
