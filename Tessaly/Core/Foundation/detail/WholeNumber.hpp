// SPDX-License-Identifier: MIT
#pragma once

#include <concepts>
#include <type_traits>

#include "Tessaly/Core/Base/Requirements.hpp"

namespace Tessaly::inline v1::detail {

template <typename T, typename... Others>
inline constexpr bool isNoneOf = (!std::same_as<T, Others> && ...);

/// The integer types of numbers, which `std::in_range` and `std::cmp_less` accept. Truth values and characters are not
/// numbers.
template <typename T>
concept WholeNumber =
    std::integral<T> && isNoneOf<std::remove_cv_t<T>, bool, char, wchar_t, char8_t, char16_t, char32_t>;

}  // namespace Tessaly::inline v1::detail
