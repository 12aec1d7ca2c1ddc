#pragma once

#include <tessalune/primitives/BuiltIns.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <type_traits>
#include <utility>

// Short vectors of lanes, in the compiler's own terms, so that one source serves every instruction
// set; and complex vectors with the real parts in one and the imaginary parts in another.
namespace tessalune::TESSALUNE_BUILTINS::kernels {

#define TESSALUNE_INLINE [[gnu::always_inline]] inline

template <class T, int ACount>
using TArray = T[static_cast<std::size_t>(ACount)];

// AFunction(0), AFunction(1), ... AFunction(ACount - 1), each with its own code: what is indexed by
// the argument, which is a compile-time constant, can live in registers.
template <int ACount, class TFunction>
TESSALUNE_INLINE void Repeat(TFunction AFunction) noexcept {
  [&]<int... I>(std::integer_sequence<int, I...>) __attribute__((always_inline)) {
    (AFunction(std::integral_constant<int, I>{}), ...);
  }
  (std::make_integer_sequence<int, ACount>{});
}

// The same for as long as AFunction gives true; tells whether all did.
template <int ACount, class TFunction>
TESSALUNE_INLINE bool RepeatWhile(TFunction AFunction) noexcept {
  return [&]<int... I>(std::integer_sequence<int, I...>) __attribute__((always_inline)) {
    return (AFunction(std::integral_constant<int, I>{}) && ...);
  }
  (std::make_integer_sequence<int, ACount>{});
}

// What AFunction of Repeat and RepeatWhile is: a lambda that is always inlined.
#define TESSALUNE_EACH(I) [&](auto I) __attribute__((always_inline))

template <class T, int ALanes>
struct TVectorOf {
  static_assert(ALanes >= 2);
  typedef T Type __attribute__((vector_size(static_cast<std::size_t>(ALanes) * sizeof(T))));
  // The same at any address.
  typedef T Unaligned __attribute__((vector_size(static_cast<std::size_t>(ALanes) * sizeof(T)),
                                     aligned(alignof(T)), may_alias));
};

// One lane is the plain type: what is written over vectors serves single samples too.
template <class T>
struct TVectorOf<T, 1> {
  using Type = T;
  typedef T Unaligned __attribute__((may_alias));
};

template <class T, int ALanes>
using TVector = typename TVectorOf<T, ALanes>::Type;

// Lanes of the widest vectors.
template <class T>
constexpr int MaxLanes = VectorBytes / static_cast<int>(sizeof(T));

// The widest vector of doubles.
using TReals = TVector<double, MaxLanes<double>>;
constexpr std::size_t RealLanes = MaxLanes<double>;

template <class T, int ALanes>
TESSALUNE_INLINE TVector<T, ALanes> Load(const T* ASource) noexcept {
  return *reinterpret_cast<const typename TVectorOf<T, ALanes>::Unaligned*>(ASource);
}

template <class T, int ALanes>
TESSALUNE_INLINE void Store(T* ATarget, TVector<T, ALanes> AValue) noexcept {
  *reinterpret_cast<typename TVectorOf<T, ALanes>::Unaligned*>(ATarget) = AValue;
}

// As many elements as TReals has, of a type that the arguments tell.
template <class T>
TESSALUNE_INLINE auto Load(const T* ASource) noexcept {
  return Load<T, MaxLanes<double>>(ASource);
}

template <class T, class V>
TESSALUNE_INLINE void Store(T* ATarget, V AValue) noexcept {
  Store<T, MaxLanes<double>>(ATarget, AValue);
}

// The sign bits of all lanes, or none.
template <class T, int ALanes>
using TSignMask = TVector<std::conditional_t<sizeof(T) == 8, std::int64_t, std::int32_t>, ALanes>;

template <class T, int ALanes>
TESSALUNE_INLINE TSignMask<T, ALanes> SignMask(bool AIsSet) noexcept {
  using TBits = std::conditional_t<sizeof(T) == 8, std::int64_t, std::int32_t>;
  return TSignMask<T, ALanes>{} + (AIsSet ? std::numeric_limits<TBits>::min() : TBits(0));
}

template <class T, int ALanes>
TESSALUNE_INLINE TVector<T, ALanes> FlipSign(TVector<T, ALanes> AValue,
                                             TSignMask<T, ALanes> AMask) noexcept {
  return reinterpret_cast<TVector<T, ALanes>>(reinterpret_cast<TSignMask<T, ALanes>>(AValue) ^
                                              AMask);
}

// Complex numbers, a lane each. Copied part by part: as a whole, arrays of them would be copied
// through memory.
template <class V>
struct TPair {
  V Re;
  V Im;

  TPair() = default;
  TESSALUNE_INLINE TPair(V ARe, V AIm) noexcept : Re(ARe), Im(AIm) {}
  TESSALUNE_INLINE TPair(const TPair& AOther) noexcept : Re(AOther.Re), Im(AOther.Im) {}
  TESSALUNE_INLINE TPair& operator=(const TPair& AOther) noexcept {
    Re = AOther.Re;
    Im = AOther.Im;
    return *this;
  }
};

template <class V>
TESSALUNE_INLINE TPair<V> operator+(const TPair<V>& A, const TPair<V>& B) noexcept {
  return {A.Re + B.Re, A.Im + B.Im};
}

template <class V>
TESSALUNE_INLINE TPair<V> operator-(const TPair<V>& A, const TPair<V>& B) noexcept {
  return {A.Re - B.Re, A.Im - B.Im};
}

// ARe and AIm have a factor for each lane, or one for all.
template <class V, class W>
TESSALUNE_INLINE TPair<V> Multiply(const TPair<V>& A, const W& ARe, const W& AIm) noexcept {
  return {A.Re * ARe - A.Im * AIm, A.Re * AIm + A.Im * ARe};
}

template <class V>
TESSALUNE_INLINE TPair<V> Multiply(const TPair<V>& A, const TPair<V>& B) noexcept {
  return Multiply(A, B.Re, B.Im);
}

template <class V>
TESSALUNE_INLINE TPair<V> TimesMinusI(const TPair<V>& A) noexcept {
  return {A.Im, -A.Re};
}

// Which of ALanes interleaved numbers the lane ALane holds in woven order, the one that costs the
// fewest shuffles: nothing leaves its 16 bytes. Reversed, these lanes hold the numbers in reverse.
template <class T>
constexpr int WovenAt(int ALanes, int ALane) noexcept {
  constexpr int Within = 16 / static_cast<int>(sizeof(T));
  if (ALanes <= Within) return ALane;
  const int Half = ALane % Within < Within / 2 ? 0 : ALanes / 2 - Within / 2;
  return ALane / Within * (Within / 2) + ALane % Within + Half;
}

template <class T, int ALanes>
struct TLanes {
  using V = TVector<T, ALanes>;
  using TSequence = std::make_integer_sequence<int, ALanes>;

  // ALanes interleaved complex numbers.
  TESSALUNE_INLINE static TPair<V> LoadComplex(const T* ASource) noexcept {
    if constexpr (ALanes == 1)
      return {ASource[0], ASource[1]};
    else
      return Deinterleave(Load<T, ALanes>(ASource), Load<T, ALanes>(ASource + ALanes), TSequence{});
  }

  TESSALUNE_INLINE static void StoreComplex(T* ATarget, const TPair<V>& AValue) noexcept {
    if constexpr (ALanes == 1) {
      ATarget[0] = AValue.Re;
      ATarget[1] = AValue.Im;
    } else {
      StoreInterleaved(ATarget, AValue, TSequence{});
    }
  }

  static constexpr int WovenAt(int ALane) noexcept { return kernels::WovenAt<T>(ALanes, ALane); }

  // ALanes interleaved complex numbers in woven order.
  TESSALUNE_INLINE static TPair<V> LoadWoven(const T* ASource) noexcept {
    return Unweave(Load<T, ALanes>(ASource), Load<T, ALanes>(ASource + ALanes), TSequence{});
  }

  TESSALUNE_INLINE static void StoreWoven(T* ATarget, const TPair<V>& AValue) noexcept {
    StoreWoven(ATarget, AValue, TSequence{});
  }

  TESSALUNE_INLINE static V Reverse(V AValue) noexcept {
    if constexpr (ALanes == 1)
      return AValue;
    else
      return Reverse(AValue, TSequence{});
  }

  // Row i, lane j becomes row j, lane i, in ALanes rows, which are V or TPair<V>.
  template <class TRow>
  TESSALUNE_INLINE static void Transpose(TRow* ARows) noexcept {
    if constexpr (ALanes >= 2) Exchange<1>(ARows);
    if constexpr (ALanes >= 4) Exchange<2>(ARows);
    if constexpr (ALanes >= 8) Exchange<4>(ARows);
    if constexpr (ALanes >= 16) Exchange<8>(ARows);
  }

 private:
  template <int... I>
  TESSALUNE_INLINE static TPair<V> Deinterleave(V A, V B,
                                                std::integer_sequence<int, I...>) noexcept {
    return {__builtin_shufflevector(A, B, (2 * I)...),
            __builtin_shufflevector(A, B, (2 * I + 1)...)};
  }

  template <int... I>
  TESSALUNE_INLINE static void StoreInterleaved(T* ATarget, const TPair<V>& AValue,
                                                std::integer_sequence<int, I...>) noexcept {
    Store<T, ALanes>(ATarget,
                     __builtin_shufflevector(AValue.Re, AValue.Im, (I / 2 + I % 2 * ALanes)...));
    Store<T, ALanes>(
        ATarget + ALanes,
        __builtin_shufflevector(AValue.Re, AValue.Im, ((I + ALanes) / 2 + I % 2 * ALanes)...));
  }

  static constexpr int LaneOfWoven(int ANumber) noexcept {
    int Lane = 0;
    while (WovenAt(Lane) != ANumber) ++Lane;
    return Lane;
  }

  template <int... I>
  TESSALUNE_INLINE static TPair<V> Unweave(V A, V B, std::integer_sequence<int, I...>) noexcept {
    return {__builtin_shufflevector(A, B, (2 * WovenAt(I))...),
            __builtin_shufflevector(A, B, (2 * WovenAt(I) + 1)...)};
  }

  template <int... I>
  TESSALUNE_INLINE static void StoreWoven(T* ATarget, const TPair<V>& AValue,
                                          std::integer_sequence<int, I...>) noexcept {
    const auto& [Re, Im] = AValue;
    Store<T, ALanes>(ATarget,
                     __builtin_shufflevector(Re, Im, (LaneOfWoven(I / 2) + I % 2 * ALanes)...));
    Store<T, ALanes>(
        ATarget + ALanes,
        __builtin_shufflevector(Re, Im, (LaneOfWoven((I + ALanes) / 2) + I % 2 * ALanes)...));
  }

  template <int... I>
  TESSALUNE_INLINE static V Reverse(V AValue, std::integer_sequence<int, I...>) noexcept {
    return __builtin_shufflevector(AValue, AValue, (ALanes - 1 - I)...);
  }

  // In each pair of rows i, i + D with bit D of i clear: the lanes with bit D set of the first and
  // the lanes with bit D clear of the second change places.
  template <int D, class TRow>
  TESSALUNE_INLINE static void Exchange(TRow* ARows) noexcept {
    Repeat<ALanes>(TESSALUNE_EACH(I) {
      if constexpr ((I & D) == 0) Exchange<D>(ARows[I], ARows[I + D]);
    });
  }

  template <int D>
  TESSALUNE_INLINE static void Exchange(TPair<V>& A, TPair<V>& B) noexcept {
    Exchange<D>(A.Re, B.Re, TSequence{});
    Exchange<D>(A.Im, B.Im, TSequence{});
  }

  template <int D>
  TESSALUNE_INLINE static void Exchange(V& A, V& B) noexcept {
    Exchange<D>(A, B, TSequence{});
  }

  template <int D, int... I>
  TESSALUNE_INLINE static void Exchange(V& A, V& B, std::integer_sequence<int, I...>) noexcept {
    const V Low = __builtin_shufflevector(A, B, ((I & D) != 0 ? I - D + ALanes : I)...);
    const V High = __builtin_shufflevector(A, B, ((I & D) != 0 ? I + ALanes : I + D)...);
    A = Low;
    B = High;
  }
};

// AFunction(lanes, index) for the indices AFirst to AEnd - 1, with as many lanes as there are.
template <class T, class TFunction>
TESSALUNE_INLINE void ForLanes(std::ptrdiff_t AFirst, std::ptrdiff_t AEnd,
                               TFunction AFunction) noexcept {
  constexpr int L = MaxLanes<T>;
  std::ptrdiff_t I = AFirst;
  for (; I + L <= AEnd; I += L) AFunction(std::integral_constant<int, L>{}, I);
  for (; I < AEnd; ++I) AFunction(std::integral_constant<int, 1>{}, I);
}

// Of the vectors of ALanes elements that hold ACount, the first element of vector AVector: the last
// one is moved back where they do not fill it.
TESSALUNE_INLINE constexpr int FirstOf(int AVector, int ACount, int ALanes) noexcept {
  return std::max(0, std::min(AVector * ALanes, ACount - ALanes));
}

}  // namespace tessalune::TESSALUNE_BUILTINS::kernels
