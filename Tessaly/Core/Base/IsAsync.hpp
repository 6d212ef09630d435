// SPDX-License-Identifier: MIT
// Component: Tessaly::Base
#pragma once

#include "Tessaly/Core/Base/Requirements.hpp"

namespace Tessaly::inline v1 {

template <typename T = void>
class Async;

/// Whether a type is an `Async`. A function with a callable as its parameter uses `isAsync` to refuse callables whose
/// result must be awaited. This header needs no coroutines.
template <typename T>
inline constexpr bool isAsync = false;
template <typename T>
inline constexpr bool isAsync<Async<T>> = true;

}  // namespace Tessaly::inline v1
