// What the Fourier components transform with: plans of the primitives, of every kind behind one
// face, with the work memory that keeps a transform from asking the system for any.
#pragma once

#include <tessalune/frame/runtime/QSPropertyInfo.h>
#include <tessalune/primitives/QSComplex.h>

#include <array>
#include <cstdint>
#include <memory>

namespace tessalune {

// What a transform of n samples divides its result by; in order from 0. Where the other way divides
// by n anyway, as the inverse components do, fnNone on both sides gives back what went in.
enum class TQSFourierNormalization : std::uint8_t {
  fnNone,           // 1
  fnNormalize,      // n
  fnNormalizeSqrt,  // the square root of n
};
template <>
struct TEnumNames<TQSFourierNormalization> {
  static constexpr std::array<std::string_view, 3> Names{"fnNone", "fnNormalize",
                                                         "fnNormalizeSqrt"};
};

struct TQSFourierPlanKind {
  std::int32_t Size = 0;   // n, at least 1
  bool IsFft = false;      // by the primitives for powers of two: n is one
  bool IsComplex = false;  // the samples, beside the bins
  bool IsInverse = false;  // which of both ways Normalization is for
  TQSFourierNormalization Normalization = TQSFourierNormalization::fnNone;

  bool operator==(const TQSFourierPlanKind&) const = default;
};

// One thread at a time.
class IQSFourierPlan {
 public:
  virtual ~IQSFourierPlan() = default;
  const TQSFourierPlanKind& Kind() const { return FKind; }

  // n samples, double or TComplex, to all n bins, bin 0 first, also of real samples. ABins may
  // begin where ASamples does. Throws std::bad_alloc.
  virtual void Forward(const void* ASamples, TComplex* ABins) = 0;
  // n bins to n samples; for real ones only the bins up to n / 2 are read. Throws std::bad_alloc.
  virtual void Inverse(const TComplex* ABins, void* ASamples) = 0;

 protected:
  explicit IQSFourierPlan(const TQSFourierPlanKind& AKind) : FKind(AKind) {}

 private:
  const TQSFourierPlanKind FKind;
};

// Throws std::bad_alloc.
std::unique_ptr<IQSFourierPlan> CreateFourierPlan(const TQSFourierPlanKind& AKind);

// What such a plan and its transforms take in bytes beside samples and bins, roughly; by
// convolution several times as much.
std::int64_t FourierPlanBytes(const TQSFourierPlanKind& AKind);

// Throws std::bad_alloc if a piece of so many bytes is not to be had, before any of it is touched:
// a system that promises more than it has ends the process that takes it at its word.
void RequireMemory(std::int64_t ABytes);

}  // namespace tessalune
