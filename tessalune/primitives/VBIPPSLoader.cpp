#include <tessalune/primitives/VBIPPSLoader.h>

#include <dlfcn.h>

#include <mutex>

namespace tessalune {
namespace {

// The public names: with the version for a run-time installation, newest first, and without it for
// a development one.
constexpr const char* PublicNames[] = {"libipps.so.8.2", "libipps.so.8.1", "libipps.so.8.0",
                                       "libipps.so.7.1", "libipps.so.7.0", "libipps.so"};

// From version 9 on, entries such as the running median take further arguments under the old name.
constexpr int LastKnownMajor = 8;

struct TLoadResult {
  void* Handle = nullptr;
  std::string Error;
};

// The record begins with its major version as an int; the rest is not looked at.
bool MajorIsKnown(void* AHandle, int& AMajor) {
  using TGetVersion = const int* (*)();
  void* Entry = dlsym(AHandle, "ippsGetLibVersion");
  const int* Version = Entry ? reinterpret_cast<TGetVersion>(Entry)() : nullptr;
  AMajor = Version ? *Version : LastKnownMajor;
  return AMajor <= LastKnownMajor;
}

TLoadResult Load(const char* AFileName) {
  TLoadResult Result;
  Result.Handle = dlopen(AFileName, RTLD_NOW | RTLD_LOCAL);
  if (!Result.Handle) {
    const char* Reason = dlerror();
    Result.Error = Reason ? Reason : "the dynamic loader gives no reason";
    return Result;
  }
  int Major = 0;
  if (!MajorIsKnown(Result.Handle, Major)) {
    dlclose(Result.Handle);
    Result.Handle = nullptr;
    Result.Error = "it tells major version " + std::to_string(Major) +
                   ", whose entries take other arguments under the same names";
  }
  return Result;
}

void* LoadDefault() noexcept {
  try {
    for (const char* Name : PublicNames)
      if (void* Handle = Load(Name).Handle) return Handle;
  } catch (...) {
    // Out of memory for a message nobody reads: the built-ins serve.
  }
  return nullptr;
}

class TLibrary {
 public:
  void* Address(const char* AName) noexcept {
    std::lock_guard Lock(FMutex);
    EnsureSearched();
    return FHandle ? dlsym(FHandle, AName) : nullptr;
  }

  void Use(void* AHandle) noexcept {
    std::lock_guard Lock(FMutex);
    FHandle = AHandle;
    FSearched = true;
  }

  void UseDefault() noexcept {
    std::lock_guard Lock(FMutex);
    FHandle = nullptr;
    FSearched = false;
  }

 private:
  void EnsureSearched() noexcept {
    if (FSearched) return;
    FSearched = true;
    FHandle = LoadDefault();
  }

  std::mutex FMutex;
  void* FHandle = nullptr;
  bool FSearched = false;
};

// Constant-initialised: units bind before static objects are constructed.
constinit TLibrary Library;

}  // namespace

void* GetIPPSProcAddress(const char* AName) noexcept { return Library.Address(AName); }

bool UseIPPSLibrary(const std::string& AFileName, std::string& AError) {
  TLoadResult Result = Load(AFileName.c_str());
  if (!Result.Handle) {
    AError = "The primitive library \"" + AFileName + "\" cannot be used: " + Result.Error +
             ". Name a shared library that offers primitives of version 8 or earlier under their "
             "public names.";
    return false;
  }
  Library.Use(Result.Handle);
  return true;
}

void UseDefaultIPPSLibrary() noexcept { Library.UseDefault(); }

void UseNoIPPSLibrary() noexcept { Library.Use(nullptr); }

}  // namespace tessalune
