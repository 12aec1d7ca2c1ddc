#include "GraphFiles.h"

#include <tessalune/frame/runtime/QSReports.h>

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

  void Run(const std::vector<TNamedFile>& ALater, const std::string& ATable) {
    for (const auto Way : {TFileWay::Writes, TFileWay::Reads}) {
      for (const TComponent* Component : FGraph.Components()) {
        const auto* User = dynamic_cast<const IFileUser*>(Component);
        if (User == nullptr) continue;
        for (const TUsedFile& File : User->UsedFiles()) {
          if (File.Way == Way) Check(*Component, File, FGraph.Where(*Component, File.Property));
        }
      }
      for (const TNamedFile& Later : ALater) {
        if (Later.File.Way == Way) Check(*Later.Component, Later.File, Later.Where);
      }
    }
    if (!ATable.empty() && Identity(ATable) == Identity(FMistakes.File())) {
      FMistakes.Add({}, "--watch-file " + ATable, "that file is the graph; name another one");
    }
    for (const auto& Used : {FWritten, FRead}) {
      const auto User = Used.find(Identity(ATable));
      if (ATable.empty() || User == Used.end()) continue;
      FMistakes.Add({}, "--watch-file " + ATable,
                    User->second->Describe() + " uses that file; name another one");
    }
  }

 private:
  void Check(const TComponent& AComponent, const TUsedFile& AFile, const TGraph::TWhere& AWhere) {
    const bool Writes = AFile.Way == TFileWay::Writes;
    const auto Tell = [&](const std::string& AMessage) {
      FMistakes.Add(AWhere.Place, AWhere.Path, AComponent.Describe() + ": " + AMessage);
    };
    const std::string& Name = AFile.FileName;
    if (Name.empty()) {
      return Tell(std::string(AFile.Property) + " is empty; name the file to " +
                  (Writes ? "write" : "read"));
    }
    if (const auto Reason = Writes ? WhyNotWritable(Name) : std::nullopt) {
      return Tell("cannot write \"" + Name + "\": " + *Reason);
    }
    if (Writes && Identity(Name) == Identity(FMistakes.File())) {
      return Tell("would overwrite \"" + Name + "\", which is the graph; name another file");
    }
    std::error_code Error;
    if (Writes && fs::exists(Name, Error) && !fs::is_regular_file(Name, Error)) return;  // a device
    const auto Writer = FWritten.find(Identity(Name));
    if (Writer != FWritten.end() && Writer->second != &AComponent) {
      return Tell(Writer->second->Describe() +
                  (Writes
                       ? " writes \"" + Name + "\" too; name another file"
                       : " would overwrite \"" + Name + "\" while it is read; name another file"));
    }
    (Writes ? FWritten : FRead).emplace(Identity(Name), &AComponent);
    if (const auto Reason = Writes ? std::nullopt : WhyNotReadable(Name)) {
      Tell("cannot read \"" + Name + "\": " + *Reason);
    }
  }

  const TGraph& FGraph;
  TMistakes& FMistakes;
  std::map<std::string, const TComponent*> FWritten;
  std::map<std::string, const TComponent*> FRead;
};

}  // namespace

void CheckFiles(const TGraph& AGraph, const std::vector<TNamedFile>& ALater,
                const std::string& ATable, TMistakes& AMistakes) {
  TFileCheck(AGraph, AMistakes).Run(ALater, ATable);
}

}  // namespace tessalune::host
