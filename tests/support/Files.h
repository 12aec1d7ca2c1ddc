// Files of a test.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace tessalune::test {

using TBytes = std::string;

// A folder of its own, which goes with its content.
class TTempDir {
 public:
  TTempDir() {
    std::string Pattern = (std::filesystem::temp_directory_path() / "tessalune-XXXXXX").string();
    if (mkdtemp(Pattern.data()) == nullptr) ADD_FAILURE() << "no temporary folder: " << Pattern;
    FPath = Pattern;
  }
  TTempDir(const TTempDir&) = delete;
  ~TTempDir() {
    std::error_code Ignored;
    std::filesystem::remove_all(FPath, Ignored);
  }
  std::string operator/(const std::string& AName) const { return (FPath / AName).string(); }
  // What is in it.
  std::vector<std::string> Names() const {
    std::vector<std::string> Names;
    for (const auto& Entry : std::filesystem::directory_iterator(FPath))
      Names.push_back(Entry.path().filename().string());
    return Names;
  }

 private:
  std::filesystem::path FPath;
};

inline TBytes ReadFile(const std::string& AName) {
  std::ifstream File(AName, std::ios::binary);
  EXPECT_TRUE(File.is_open()) << AName;
  return {std::istreambuf_iterator<char>(File), {}};
}

inline void WriteFile(const std::string& AName, const TBytes& ABytes) {
  std::ofstream File(AName, std::ios::binary);
  File.write(ABytes.data(), static_cast<std::streamsize>(ABytes.size()));
  EXPECT_TRUE(File.good()) << AName;
}

// The bytes of samples, as they lie in memory.
template <class T>
TBytes BytesOf(const std::vector<T>& ASamples) {
  TBytes Bytes(ASamples.size() * sizeof(T), '\0');
  if (!Bytes.empty()) std::memcpy(Bytes.data(), ASamples.data(), Bytes.size());
  return Bytes;
}

// Blocks as a log file holds them.
template <class T>
TBytes LogOf(const std::vector<std::vector<T>>& ABlocks, bool AWithCounts) {
  TBytes Log;
  for (const auto& Block : ABlocks) {
    const TBytes Data = BytesOf(Block);
    if (AWithCounts) {
      for (std::size_t Byte = 0; Byte < 4; ++Byte) {
        Log.push_back(static_cast<char>(Data.size() >> (8 * Byte)));
      }
    }
    Log += Data;
  }
  return Log;
}

}  // namespace tessalune::test
