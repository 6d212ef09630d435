// SPDX-License-Identifier: MIT
// Component: Tessaly::Base
#pragma once

#include "Tessaly/Core/Base/Requirements.hpp"

namespace Tessaly::inline v1 {

template <typename T = void>
class Async;

/// Whether a type is an `Async`, for functions that take a callable and refuse one whose result must be awaited. The
/// header needs no coroutines.
template <typename T>
inline constexpr bool isAsync = false;
template <typename T>
inline constexpr bool isAsync<Async<T>> = true;

}  // namespace Tessaly::inline v1
