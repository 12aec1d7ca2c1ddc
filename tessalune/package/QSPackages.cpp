#include <tessalune/frame/runtime/QSException.h>
#include <tessalune/package/QSPackages.h>

#include <dlfcn.h>
#include <link.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <deque>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <system_error>
#include <utility>

namespace tessalune {
namespace {

struct TPackage {
  TLoadedPackage Loaded;
  void (*Finalize)();  // null: has been called
};

// A deque, so that a package's place does not move when others follow.
struct TPackages {
  std::recursive_mutex Mutex;  // a package may load others while it is initialised
  std::deque<TPackage> Packages;

  const TLoadedPackage* Find(const std::string& APath) const {
    const auto Found = std::find_if(Packages.begin(), Packages.end(), [&](const TPackage& AEach) {
      return AEach.Loaded.FileName == APath;
    });
    return Found != Packages.end() ? &Found->Loaded : nullptr;
  }
};

TPackages& Packages() {
  static auto* Instance = new TPackages;
  return *Instance;
}

[[noreturn]] void Refuse(const std::string& AFileName, const std::string& AWhat,
                         const std::string& AAdvice) {
  throw EQSException("the package \"" + AFileName + "\" " + AWhat + "; " + AAdvice);
}

// The loader's reason, without the file's name, which it mostly begins with.
std::string LoaderReason(const std::string& APath) {
  const char* Error = dlerror();
  std::string Text = Error != nullptr ? Error : "no reason given";
  const std::string Prefix = APath + ": ";
  if (Text.starts_with(Prefix)) Text.erase(0, Prefix.size());
  return Text;
}

// The entry of that name in the file itself: the loader would find those of libraries that the file
// needs too.
template <class T>
T* Entry(void* AHandle, const std::string& AFileName, const char* AName) {
  void* const Address = dlsym(AHandle, AName);
  link_map* Map = nullptr;
  Dl_info File{};
  if (Address == nullptr || dlinfo(AHandle, RTLD_DI_LINKMAP, &Map) != 0 ||
      dladdr(Address, &File) == 0 || std::string_view(File.dli_fname) != Map->l_name) {
    Refuse(AFileName, "has no entry " + std::string(AName),
           "expected is a shared library that exports Initialize, Finalize and "
           "GetPackageInfoTable, as TESSALUNE_PACKAGE in one of its sources makes them");
  }
  return reinterpret_cast<T*>(Address);
}

void CheckInfo(const TPackageInfoTable& AInfo, const std::string& AFileName) {
  if (AInfo.Begin != TPackageInfoTable::Signature) {
    Refuse(AFileName, "gives a GetPackageInfoTable that is none of a package",
           "expected is what TESSALUNE_PACKAGE in one of its sources makes");
  }
  if (AInfo.Abi != PackageAbi) {
    Refuse(AFileName,
           "was compiled with headers of version " + std::string(AInfo.Abi) +
               ", which do not go with this library, version " + std::string(PackageAbi),
           "compile it with the headers of version " + std::string(PackageAbi));
  }
  if (AInfo.Library != LibraryInstance()) {
    Refuse(AFileName, "does not use this program's copy of libtessalune, but another one",
           "link the package and the program to one and the same shared library: build the library "
           "with BUILD_SHARED_LIBS=ON");
  }
}

std::string RealPath(const std::string& AFileName, std::error_code& AError) {
  return std::filesystem::canonical(std::filesystem::path(AFileName), AError).string();
}

// False for what is no file, and for a file that ends before the table at its end: the loader would
// wait for the one, and read beyond the end of the other.
bool IsWholeSharedObject(const std::string& APath) {
  std::error_code Error;
  if (!std::filesystem::is_regular_file(APath, Error)) return false;
  ElfW(Ehdr) Header{};
  std::ifstream File(APath, std::ios::binary);
  File.read(reinterpret_cast<char*>(&Header), sizeof Header);
  if (!File || std::memcmp(Header.e_ident, ELFMAG, SELFMAG) != 0) return false;
  const std::uintmax_t Table = std::uintmax_t{Header.e_shentsize} * Header.e_shnum;
  return Header.e_shoff + Table <= std::filesystem::file_size(APath, Error);
}

}  // namespace

const TLoadedPackage& LoadPackage(const std::string& AFileName) {
  std::error_code Error;
  const std::string Path = RealPath(AFileName, Error);
  if (Error) {
    Refuse(AFileName, "cannot be found: " + Error.message(),
           "expected is the path of a shared library, from the current folder if it is no absolute "
           "one");
  }
  // Held while it loads: the other thread that wants the file gets it initialised.
  const std::lock_guard Lock(Packages().Mutex);
  if (const TLoadedPackage* Loaded = Packages().Find(Path)) return *Loaded;
  if (!IsWholeSharedObject(Path)) {
    Refuse(AFileName, "is no whole shared library",
           "expected is one; if this is a copy, make it anew");
  }
  void* const Handle = dlopen(Path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (Handle == nullptr) {
    Refuse(AFileName, "cannot be loaded: " + LoaderReason(Path),
           "expected is a shared library that is built on libtessalune " + std::string(PackageAbi));
  }
  auto* const Info = Entry<const TPackageInfoTable&()>(Handle, AFileName, "GetPackageInfoTable");
  auto* const Begin = Entry<void()>(Handle, AFileName, "Initialize");
  auto* const End = Entry<void()>(Handle, AFileName, "Finalize");
  const TPackageInfoTable& Table = Info();
  CheckInfo(Table, AFileName);
  Begin();
  Packages().Packages.push_back({{Path, &Table}, End});
  return Packages().Packages.back().Loaded;
}

const TLoadedPackage* FindLoadedPackage(const std::string& AFileName) {
  std::error_code Error;
  const std::string Path = RealPath(AFileName, Error);
  const std::lock_guard Lock(Packages().Mutex);
  return Error ? nullptr : Packages().Find(Path);
}

void FinalizePackages() {
  const std::lock_guard Lock(Packages().Mutex);
  for (std::size_t I = Packages().Packages.size(); I-- > 0;) {
    if (const auto End = std::exchange(Packages().Packages[I].Finalize, nullptr)) End();
  }
}

}  // namespace tessalune
