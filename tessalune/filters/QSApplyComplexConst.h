#pragma once

#include <tessalune/frame/streams/QSCommonFilter.h>

#include <array>
#include <cstdint>

namespace tessalune {

// What TQSApplyComplexConst computes from a sample x and its constant c; in order from 0.
enum class TQSComplexApplyOperation : std::uint8_t {
  caoAdd,            // x + c
  caoSubtract,       // x - c
  caoSubtractConst,  // c - x
  caoMultiply,       // x * c
  caoDivide,         // x / c; 0 for all samples if either part of c is 0
  caoDivideConst,    // c.re / x.re and c.im / x.im, part by part; a sample with a part of 0 stays
  caoSet,            // c
};
template <>
struct TEnumNames<TQSComplexApplyOperation> {
  static constexpr std::array<std::string_view, 7> Names{
      "caoAdd",         "caoSubtract", "caoSubtractConst", "caoMultiply", "caoDivide",
      "caoDivideConst", "caoSet"};
};

// Combines each sample of a complex stream with a constant. Two operations differ from their names'
// first meaning: caoDivide gives zeros for a constant that is purely real or imaginary (multiply by
// the reciprocal instead), and caoDivideConst is no complex quotient.
class TQSApplyComplexConst : public TQSCommonComplexFilter {
 public:
  using TQSCommonComplexFilter::TQSCommonComplexFilter;
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  // The constant's parts, in the signal's unit; default 0. All take effect with the next block.
  double RealValue() const { return FRealValue; }
  void SetRealValue(double AValue);
  double ImagValue() const { return FImagValue; }
  void SetImagValue(double AValue);
  // Default caoAdd.
  TQSComplexApplyOperation ApplyOperation() const { return FApplyOperation; }
  void SetApplyOperation(TQSComplexApplyOperation AValue);

 protected:
  bool CanInline() override { return true; }
  void FilterInternalOperation(const TRef<IQSComplexBuffer>& AInBuffer,
                               TRef<IQSComplexBuffer>& AOutBuffer, bool& ASendOutputData) override;

 private:
  TField<double> FRealValue;
  TField<double> FImagValue;
  TField<TQSComplexApplyOperation> FApplyOperation;
};

namespace QSApplyComplexConst {
void RegisterPkg();
}

}  // namespace tessalune
