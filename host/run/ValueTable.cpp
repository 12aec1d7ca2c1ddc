#include "ValueTable.h"

#include <tessalune/frame/runtime/QSPropertyInfo.h>
#include <tessalune/frame/streams/QSStreamTypes.h>

#include <algorithm>
#include <utility>

namespace tessalune::host {

constexpr std::size_t ChunkBytes = 1 << 16;

TValueTable::TValueTable(std::string AFileName, const std::vector<TWatched>& AWatched)
    : FFile(std::move(AFileName)),
      FHasImaginary(std::any_of(
          AWatched.begin(), AWatched.end(),
          [](const TWatched& AEach) { return AEach.Pin->DataTypes().front() == &ComplexValue; })),
      FText(FHasImaginary ? "time,name,value,imaginary\n" : "time,name,value\n") {}

void TValueTable::Add(const TWatched& AWatched, double ATime, const TValue& AValue) {
  const auto* Complex = std::get_if<TComplex>(&AValue);
  FText += NumberText(ATime) + ',' + AWatched.Name() + ',' +
           (Complex != nullptr ? NumberText(Complex->Re) : ValueText(AValue));
  if (FHasImaginary) FText += ',' + (Complex != nullptr ? NumberText(Complex->Im) : "");
  FText += '\n';
  if (FText.size() < ChunkBytes) return;
  FFile.Write(FText.data(), FText.size());
  FText.clear();
}

void TValueTable::Finish() {
  FFile.Write(FText.data(), FText.size());
  FText.clear();
  FFile.Commit();
}

}  // namespace tessalune::host
