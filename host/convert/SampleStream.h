// What a conversion reads from and writes to: a stream of numbers.
//
// A real, integer, unsigned or block sample is one number, a complex sample is two, the real part
// first. A double holds each of them exactly.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tessalune::host {

enum class TSampleType : std::uint8_t { Real, Complex, Integer, Unsigned, Block };

struct TSampleTypeInfo {
  TSampleType Type;
  std::string_view Name;
  std::size_t Bytes;    // of a sample in a log
  std::size_t Numbers;  // of a sample
};
const TSampleTypeInfo& InfoOf(TSampleType AType);
const std::vector<TSampleTypeInfo>& SampleTypeInfos();

class ISampleReader {
 public:
  virtual ~ISampleReader() = default;
  // Fills whole samples; the count of numbers, 0 at the end.
  virtual std::size_t Read(std::span<double> ANumbers) = 0;
  // Before the first Read: passes over ANumbers numbers of whole samples, or as many as there are;
  // the count of those.
  virtual std::int64_t Skip(std::int64_t ANumbers);
  // In Hz; 0 if the form has none.
  virtual double Rate() const { return 0.0; }
  // Of an audio file: its channels, and the bits of a whole number that stores a sample, 0 for
  // other encodings. 0 for any other file.
  virtual int Channels() const { return 0; }
  virtual int Bits() const { return 0; }
  // What the user should know of how it was read; complete at the end.
  virtual std::vector<std::string> Remarks() const { return {}; }
};

class ISampleWriter {
 public:
  virtual ~ISampleWriter() = default;
  // Whole samples.
  virtual void Write(std::span<const double> ANumbers) = 0;
  // Writes what is left; the output is whole then.
  virtual void Finish() = 0;
  virtual std::vector<std::string> Remarks() const { return {}; }
};

// Turns numbers into whole ones of a range, and counts what that changed.
class TRounding {
 public:
  TRounding(double AMin, double AMax) : FMin(AMin), FMax(AMax) {}
  // The nearest whole number, ties to even; NaN becomes 0, or FMin if that is above.
  double operator()(double AValue);
  std::vector<std::string> Remarks(std::string_view AInto,
                                   std::string_view AAdviceOnClipping = {}) const;

 private:
  const double FMin;
  const double FMax;
  std::int64_t FRounded = 0;
  std::int64_t FClipped = 0;
};

}  // namespace tessalune::host
