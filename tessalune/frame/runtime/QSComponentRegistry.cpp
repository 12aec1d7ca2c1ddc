#include <tessalune/frame/runtime/QSComponentRegistry.h>

#include <tessalune/frame/runtime/QSException.h>

#include <dlfcn.h>

#include <deque>
#include <mutex>
#include <string>

namespace tessalune {
namespace {

// A deque, so that a class's place does not move when others follow.
struct TRegistry {
  std::mutex Mutex;
  std::deque<TComponentClass> Classes;
};

TRegistry& Registry() {
  static auto* Instance = new TRegistry;
  return *Instance;
}

const TComponentClass* Find(const TRegistry& ARegistry, std::string_view AName) {
  for (const TComponentClass& Class : ARegistry.Classes) {
    if (Class.Published().ClassName() == AName) return &Class;
  }
  return nullptr;
}

bool IsSame(const TComponentClass& AOne, const TComponentClass& AOther) {
  return AOne.Published == AOther.Published && AOne.New == AOther.New;
}

[[noreturn]] void RefuseName(const TComponentClass& AKnown) {
  Dl_info File{};
  const bool IsFound = dladdr(reinterpret_cast<void*>(AKnown.New), &File) != 0;
  throw EQSException("another class has the name " + std::string(AKnown.Published().ClassName()) +
                     " already" + (IsFound ? std::string(", from ") + File.dli_fname : "") +
                     "; choose another one, which the class's own published table gives");
}

}  // namespace

void RegisterComponents(const std::vector<TComponentClass>& AClasses) {
  TRegistry& Known = Registry();
  const std::lock_guard Lock(Known.Mutex);
  for (const TComponentClass& Class : AClasses) {
    const TComponentClass* Present = Find(Known, Class.Published().ClassName());
    if (Present != nullptr && !IsSame(*Present, Class)) RefuseName(*Present);
  }
  for (const TComponentClass& Class : AClasses) {
    if (Find(Known, Class.Published().ClassName()) == nullptr) Known.Classes.push_back(Class);
  }
}

std::vector<TComponentClass> RegisteredComponents() {
  TRegistry& Known = Registry();
  const std::lock_guard Lock(Known.Mutex);
  return {Known.Classes.begin(), Known.Classes.end()};
}

const TComponentClass* FindComponentClass(std::string_view AName) {
  TRegistry& Known = Registry();
  const std::lock_guard Lock(Known.Mutex);
  return Find(Known, AName);
}

}  // namespace tessalune
