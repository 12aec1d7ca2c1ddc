#pragma once

#include <tessalune/frame/streams/QSCommonFilter.h>

#include <array>
#include <cstdint>

namespace tessalune {

// What TQSApplyIntConst computes from a sample x and its Value v; in order from 0.
enum class TQSIntApplyOperation : std::uint8_t {
  iaoAdd,            // x + v, saturated
  iaoSubtract,       // x - v, saturated
  iaoSubtractConst,  // v - x, saturated
  iaoMultiply,       // x * v, saturated
  iaoDivide,         // x / v towards 0; 0 for all samples if v is 0
  iaoDivideConst,    // v / x towards 0; 0 for a sample of 0
  iaoAnd,            // x & v, bit by bit
  iaoOr,             // x | v
  iaoXor,            // x ^ v
  iaoLShift,         // x shifted left by v bits
  iaoRShift,         // x shifted right by v bits, the sign kept
  iaoSet,            // v
};
template <>
struct TEnumNames<TQSIntApplyOperation> {
  static constexpr std::array<std::string_view, 12> Names{
      "iaoAdd", "iaoSubtract", "iaoSubtractConst", "iaoMultiply", "iaoDivide", "iaoDivideConst",
      "iaoAnd", "iaoOr",       "iaoXor",           "iaoLShift",   "iaoRShift", "iaoSet"};
};

// Combines each sample of an integer stream with a constant. For the bit operations a negative
// constant stands for its 32 bits in two's complement. A shift by 32 or more moves everything out
// (0 to the left, the sign to the right); for a negative count the block goes through unchanged.
// The one quotient that 32 bits cannot hold, the smallest integer by -1, saturates.
class TQSApplyIntConst : public TQSCommonIntegerFilter {
 public:
  using TQSCommonIntegerFilter::TQSCommonIntegerFilter;
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  // The constant, or the number of bits; default 0. Both take effect with the next block.
  std::int32_t Value() const { return FValue; }
  void SetValue(std::int32_t AValue);
  // Default iaoAdd.
  TQSIntApplyOperation ApplyOperation() const { return FApplyOperation; }
  void SetApplyOperation(TQSIntApplyOperation AValue);

 protected:
  bool CanInline() override { return true; }
  void FilterInternalOperation(const TRef<IQSIntegerBuffer>& AInBuffer,
                               TRef<IQSIntegerBuffer>& AOutBuffer, bool& ASendOutputData) override;

 private:
  TField<std::int32_t> FValue;
  TField<TQSIntApplyOperation> FApplyOperation;
};

namespace QSApplyIntConst {
void RegisterPkg();
}

}  // namespace tessalune
