#pragma once

#include <tessalune/primitives/BuiltIns.h>
#include <tessalune/primitives/QSSubDispatcher.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <new>
#include <type_traits>

// States and plans of the built-ins: a record and the numbers behind it.
//
// To a caller a record is opaque: a type that is declared and never defined, since it is another
// one for each instruction set.
namespace tessalune::TESSALUNE_BUILTINS {

// The start of every record, by which a primitive tells a record of another kind, or of another
// instruction set, whose numbers lie in another way. A record's type derives from it and has the
// constant Context, and its end does nothing.
struct TRecordHead {
  std::int32_t IdCtx;
  TInstructionSet Set;
};

// A new TRecord, all 0 unless it has a constructor of its own, and AValues doubles behind it,
// aligned to a vector; null if memory is exhausted.
template <class TRecord>
TRecord* AllocateRecord(std::size_t AValues, double*& AMemory) noexcept {
  static_assert(alignof(TRecord) <= 32 && std::is_trivially_destructible_v<TRecord>);
  constexpr std::size_t Limit = std::numeric_limits<std::int32_t>::max();
  constexpr std::size_t Fixed = sizeof(TRecord) + VectorBytes;
  if (AValues > (Limit - Fixed) / sizeof(double)) return nullptr;
  void* const Block = ippsMalloc_8u(static_cast<std::int32_t>(Fixed + AValues * sizeof(double)));
  if (!Block) return nullptr;
  TRecord* const Result = new (Block) TRecord();
  Result->IdCtx = TRecord::Context;
  Result->Set = CompiledSet;
  const auto Behind = reinterpret_cast<std::uintptr_t>(Result + 1);
  AMemory = reinterpret_cast<double*>((Behind + VectorBytes - 1) / VectorBytes * VectorBytes);
  return Result;
}

template <class TRecord>
TRecord* AllocateRecord() noexcept {
  double* Nothing = nullptr;
  return AllocateRecord<TRecord>(0, Nothing);
}

// The record behind an opaque pointer that is not null, or null if it is not a TRecord.
template <class TRecord, class TOpaque>
TRecord* RecordOf(TOpaque* AOpaque) noexcept {
  TRecord* const Result = reinterpret_cast<TRecord*>(AOpaque);
  return Result->IdCtx == TRecord::Context && Result->Set == CompiledSet ? Result : nullptr;
}

// Gives a record back. Whoever still has a pointer to it is most likely refused.
template <class TRecord>
void FreeRecord(TRecord* ARecord) noexcept {
  ARecord->IdCtx = 0;
  ippsFree(ARecord);
}

}  // namespace tessalune::TESSALUNE_BUILTINS
