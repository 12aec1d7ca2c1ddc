// What a component tells a host that runs it, whatever its class: which files it uses, what was
// lost, what its user should know. A component that has something to tell derives from the
// interface beside its base; a host asks each component by dynamic_cast.
//
// All of it may be asked at any time, on any thread, also while the component's stream runs.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tessalune {

enum class TFileWay : std::uint8_t { Reads, Writes };

// A file of a component.
struct TUsedFile {
  std::string_view Property;  // the published property that names it
  std::string FileName;       // UTF-8; empty: none has been named
  TFileWay Way = TFileWay::Reads;
  std::int64_t Bytes = 0;  // of samples, read or written since the file was opened last
};

// A component that reads or writes files.
class IFileUser {
 public:
  // The files that the component would use, or has used, in a stream; none while it is disabled.
  virtual std::vector<TUsedFile> UsedFiles() const = 0;

 protected:
  ~IFileUser() = default;
};

// Something that should have come through and did not.
struct TLoss {
  std::int64_t Amount = 0;  // 0: nothing was lost
  std::string_view Unit;    // of the amount, singular: "byte", "block"
  // What happened, to what, and what to do about it, as a host shows it behind the component's
  // description: "the file \"a.bin\" did not take ...".
  std::string Text;
};

// A component that can lose data. A host takes a loss for a failure of its run.
class ILossReport {
 public:
  // What has been lost since the stream began.
  virtual std::vector<TLoss> Losses() const = 0;

 protected:
  ~ILossReport() = default;
};

// A component that works, but not as its user may expect: a filter that has to stay transparent,
// say.
class IRemarks {
 public:
  // Each as a host shows it behind the component's description; none if all is as it should be.
  virtual std::vector<std::string> Remarks() const = 0;
  // Those that a stream of ASampleRate Hz would bring (0: nobody knows the rate), for a host that
  // looks at a graph and does not run it.
  virtual std::vector<std::string> RemarksFor(double /*ASampleRate*/) const { return {}; }

 protected:
  ~IRemarks() = default;
};

}  // namespace tessalune
