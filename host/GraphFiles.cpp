#include "GraphFiles.h"

#include <tessalune/sources/QSLogger.h>
#include <tessalune/sources/QSPlayer.h>

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <map>
#include <optional>
#include <system_error>

namespace tessalune::host {
namespace {

namespace fs = std::filesystem;

std::optional<std::string> WhyNotReadable(const fs::path& AFile) {
  std::error_code Error;
  const fs::file_status Status = fs::status(AFile, Error);
  if (!fs::exists(Status)) {
    return "there is no such file; a file name counts from the folder in which tessalune is "
           "started, " +
           fs::current_path(Error).string();
  }
  if (fs::is_directory(Status)) return "it is a folder; expected is a file";
  if (::access(AFile.c_str(), R_OK) != 0) return std::strerror(errno);
  return std::nullopt;
}

std::optional<std::string> WhyNotWritable(const fs::path& AFile) {
  std::error_code Error;
  if (fs::is_directory(AFile, Error)) return "it is a folder; expected is a file";
  const fs::path Folder = AFile.has_parent_path() ? AFile.parent_path() : fs::path(".");
  if (!fs::is_directory(Folder, Error)) {
    return "there is no folder \"" + Folder.string() + "\"; make it first";
  }
  // A device is written to as it is; any other file is replaced, which is up to its folder.
  const bool IsReplaced = !fs::exists(AFile, Error) || fs::is_regular_file(AFile, Error);
  if (::access((IsReplaced ? Folder : AFile).c_str(), W_OK) != 0) return std::strerror(errno);
  return std::nullopt;
}

// A name by which two ways of writing the same file are found out.
std::string Identity(const std::string& AFileName) {
  std::error_code Error;
  const fs::path Path = fs::weakly_canonical(AFileName, Error);
  return Error ? AFileName : Path.string();
}

class TFileCheck {
 public:
  TFileCheck(const TGraph& AGraph, TMistakes& AMistakes) : FGraph(AGraph), FMistakes(AMistakes) {}

  void Run() {
    for (const TComponent* Component : FGraph.Components()) {
      if (const auto* Logger = dynamic_cast<const TQSLogger*>(Component)) Check(*Logger);
    }
    for (const TComponent* Component : FGraph.Components()) {
      if (const auto* Player = dynamic_cast<const TQSPlayer*>(Component)) Check(*Player);
    }
  }

 private:
  void Tell(const TComponent& AComponent, const std::string& AMessage) {
    const TGraph::TWhere Where = FGraph.Where(AComponent, "FileName");
    FMistakes.Add(Where.Place, Where.Path, AComponent.Describe() + ": " + AMessage);
  }

  void Check(const TQSLogger& ALogger) {
    const std::string Name = ALogger.FileName();
    if (!ALogger.Enabled()) return;
    if (Name.empty()) return Tell(ALogger, "FileName is empty; name the file to write");
    if (const auto Reason = WhyNotWritable(Name)) {
      return Tell(ALogger, "cannot write \"" + Name + "\": " + *Reason);
    }
    std::error_code Error;
    if (fs::exists(Name, Error) && !fs::is_regular_file(Name, Error)) return;  // a device
    const auto [Known, IsNew] = FWritten.try_emplace(Identity(Name), &ALogger);
    if (!IsNew) {
      Tell(ALogger, Known->second->Describe() + " writes \"" + Name + "\" too; name another file");
    }
  }

  void Check(const TQSPlayer& APlayer) {
    const std::string Name = APlayer.FileName();
    if (!APlayer.Enabled()) return;
    if (Name.empty()) return Tell(APlayer, "FileName is empty; name the file to play");
    const auto Writer = FWritten.find(Identity(Name));
    if (Writer != FWritten.end()) {
      return Tell(APlayer, Writer->second->Describe() + " would overwrite \"" + Name +
                               "\" while it plays; name another file");
    }
    if (const auto Reason = WhyNotReadable(Name)) {
      Tell(APlayer, "cannot read \"" + Name + "\": " + *Reason);
    }
  }

  const TGraph& FGraph;
  TMistakes& FMistakes;
  std::map<std::string, const TQSLogger*> FWritten;
};

}  // namespace

void CheckFiles(const TGraph& AGraph, TMistakes& AMistakes) { TFileCheck(AGraph, AMistakes).Run(); }

}  // namespace tessalune::host
