#pragma once

#include <tessalune/frame/streams/QSCommonFilter.h>

#include <array>
#include <cstdint>

namespace tessalune {

// What TQSApplyRealConst computes from a sample x and its Value v; in order from 0.
enum class TQSRealApplyOperation : std::uint8_t {
  faoAdd,            // x + v
  faoSubtract,       // x - v
  faoSubtractConst,  // v - x
  faoMultiply,       // x * v
  faoDivide,         // x / v; 0 for all samples if v is 0
  faoDivideConst,    // v / x; a sample of 0 stays 0
  faoSet,            // v
};
template <>
struct TEnumNames<TQSRealApplyOperation> {
  static constexpr std::array<std::string_view, 7> Names{
      "faoAdd",         "faoSubtract", "faoSubtractConst", "faoMultiply", "faoDivide",
      "faoDivideConst", "faoSet"};
};

// Combines each sample with a constant.
class TQSApplyRealConst : public TQSCommonRealFilter {
 public:
  using TQSCommonRealFilter::TQSCommonRealFilter;
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  // The constant, in the signal's unit; default 0. Both take effect with the next block.
  double Value() const { return FValue; }
  void SetValue(double AValue);
  // Default faoAdd.
  TQSRealApplyOperation ApplyOperation() const { return FApplyOperation; }
  void SetApplyOperation(TQSRealApplyOperation AValue);

 protected:
  bool CanInline() override { return true; }
  void FilterInternalOperation(const TRef<IQSRealBuffer>& AInBuffer,
                               TRef<IQSRealBuffer>& AOutBuffer, bool& ASendOutputData) override;

 private:
  TField<double> FValue;
  TField<TQSRealApplyOperation> FApplyOperation;
};

namespace QSApplyRealConst {
void RegisterPkg();
}

}  // namespace tessalune
