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

using TBytes = std::vector<char>;

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
  TBytes Bytes(ASamples.size() * sizeof(T));
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
    Log.insert(Log.end(), Data.begin(), Data.end());
  }
  return Log;
}

}  // namespace tessalune::test
