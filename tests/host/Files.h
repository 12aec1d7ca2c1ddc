// Files for a test, in a folder that goes with it.
#pragma once

#include <stdlib.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace tessalune::test {

class TTemporaryFolder {
 public:
  TTemporaryFolder() {
    std::string Template = (std::filesystem::temp_directory_path() / "tessalune-XXXXXX").string();
    if (::mkdtemp(Template.data()) == nullptr) throw std::runtime_error("no temporary folder");
    FPath = Template;
  }
  TTemporaryFolder(const TTemporaryFolder&) = delete;
  ~TTemporaryFolder() { std::filesystem::remove_all(FPath); }

  std::string operator/(const std::string& AName) const { return (FPath / AName).string(); }
  // The names in the folder.
  std::vector<std::string> Names() const {
    std::vector<std::string> Names;
    for (const auto& Entry : std::filesystem::directory_iterator(FPath)) {
      Names.push_back(Entry.path().filename().string());
    }
    return Names;
  }

 private:
  std::filesystem::path FPath;
};

inline std::string ReadFile(const std::string& AName) {
  std::ifstream File(AName, std::ios::binary);
  return {std::istreambuf_iterator<char>(File), {}};
}

inline void WriteFile(const std::string& AName, const std::string& ABytes) {
  std::ofstream(AName, std::ios::binary) << ABytes;
}

// The values as they lie in memory.
template <class T>
std::string Bytes(const std::vector<T>& AValues) {
  std::string Result(AValues.size() * sizeof(T), '\0');
  if (!AValues.empty()) std::memcpy(Result.data(), AValues.data(), Result.size());
  return Result;
}

}  // namespace tessalune::test
