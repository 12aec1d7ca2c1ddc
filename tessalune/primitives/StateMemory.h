#pragma once

#include <tessalune/primitives/BuiltIns.h>
#include <tessalune/primitives/QSSubDispatcher.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <new>

// States and plans of the built-ins: a record and the numbers behind it, in one block of memory.
//
// To a caller a record is opaque: a type that is declared and never defined, since it is another
// one for each instruction set. It begins with a context identifier, by which a primitive tells a
// record of another kind or of another set.
namespace tessalune::TESSALUNE_BUILTINS {

// The identifier of the kind AKind, of which the two lowest bits are 0, for this instruction set.
constexpr std::int32_t ContextOf(std::int32_t AKind) noexcept {
  return AKind | static_cast<std::int32_t>(CompiledSet);
}

// A new TRecord and AValues doubles behind it, aligned to a vector; null if memory is exhausted.
// TRecord has the member IdCtx and the constant Context, and its end does nothing.
template <class TRecord>
TRecord* AllocateRecord(std::size_t AValues, double*& AMemory) noexcept {
  constexpr std::size_t Limit = std::numeric_limits<std::int32_t>::max();
  constexpr std::size_t Fixed = sizeof(TRecord) + VectorBytes;
  if (AValues > (Limit - Fixed) / sizeof(double)) return nullptr;
  void* const Block = ippsMalloc_8u(static_cast<std::int32_t>(Fixed + AValues * sizeof(double)));
  if (!Block) return nullptr;
  TRecord* const Result = new (Block) TRecord;
  Result->IdCtx = TRecord::Context;
  const auto Behind = reinterpret_cast<std::uintptr_t>(Result + 1);
  AMemory = reinterpret_cast<double*>((Behind + VectorBytes - 1) / VectorBytes * VectorBytes);
  return Result;
}

// The record behind an opaque pointer that is not null, or null if it is not a TRecord.
template <class TRecord, class TOpaque>
TRecord* RecordOf(TOpaque* AOpaque) noexcept {
  TRecord* const Result = reinterpret_cast<TRecord*>(AOpaque);
  return Result->IdCtx == TRecord::Context ? Result : nullptr;
}

// Gives a record back. Whoever still has a pointer to it is most likely refused.
template <class TRecord>
void FreeRecord(TRecord* ARecord) noexcept {
  ARecord->IdCtx = 0;
  ippsFree(ARecord);
}

}  // namespace tessalune::TESSALUNE_BUILTINS
