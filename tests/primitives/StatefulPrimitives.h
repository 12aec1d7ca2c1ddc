#pragma once

#include <tessalune/primitives/Ippptypes.h>
#include <tessalune/primitives/QSComplex.h>

#include <type_traits>

namespace tessalune::test {

// A pointer to a plan or state, or to a variable for one. What they point to is opaque.
template <class T>
constexpr bool IsStatePointer = false;
template <class T>
constexpr bool IsStatePointer<T*> = std::is_pointer_v<T> ||
                                    (std::is_class_v<T> &&
                                     !std::is_same_v<std::remove_cv_t<T>, TComplex> &&
                                     !std::is_same_v<std::remove_cv_t<T>, Ipp32fc>);

// Whether a primitive works on a plan or state: then dummy arguments do not serve, and its refusals
// stand in test_state_refusals.cpp.
template <class T>
constexpr bool TakesState = false;
template <class... TArgs>
constexpr bool TakesState<IppStatus (*)(TArgs...) noexcept> = (IsStatePointer<TArgs> || ...);

}  // namespace tessalune::test
