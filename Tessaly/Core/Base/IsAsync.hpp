// SPDX-License-Identifier: MIT
// Component: Tessaly::Base
#pragma once

#include "Tessaly/Core/Base/Requirements.hpp"

namespace Tessaly::inline v1 {

template <typename T = void>
class Async;

namespace detail {
/// Whether a type is an `Async`, for headers that must not need coroutines.
template <typename T>
inline constexpr bool isAsync = false;
template <typename T>
inline constexpr bool isAsync<Async<T>> = true;
}  // namespace detail

}  // namespace Tessaly::inline v1
