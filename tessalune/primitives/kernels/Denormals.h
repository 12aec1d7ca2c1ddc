#pragma once

#include <tessalune/primitives/BuiltIns.h>

#include <cstdint>

namespace tessalune::TESSALUNE_BUILTINS::kernels {

// While one lives, results below the range of normal numbers are 0 on this thread, and so count
// operands below it. Many processors take some hundred cycles for such a number, and a recursive
// filter makes nothing else of the silence behind a signal. Afterwards control and exception bits
// are as they were. On other processors than x86 it does nothing.
class TFlushDenormals {
 public:
#if defined(__SSE2__)
  TFlushDenormals() noexcept {
    asm volatile("stmxcsr %0" : "=m"(FBefore) : : "memory");
    Load(FBefore | FlushToZero | DenormalsAreZero);
  }
  ~TFlushDenormals() { Load(FBefore); }
#else
  TFlushDenormals() noexcept {}
#endif
  TFlushDenormals(const TFlushDenormals&) = delete;
  TFlushDenormals& operator=(const TFlushDenormals&) = delete;

#if defined(__SSE2__)
 private:
  static constexpr std::uint32_t FlushToZero = 0x8000;
  static constexpr std::uint32_t DenormalsAreZero = 0x0040;

  // What is computed from memory and written to memory stays between the two loads.
  static void Load(std::uint32_t AWord) noexcept {
    asm volatile("ldmxcsr %0" : : "m"(AWord) : "memory");
  }

  std::uint32_t FBefore;
#endif
};

}  // namespace tessalune::TESSALUNE_BUILTINS::kernels
