// SPDX-License-Identifier: MIT
#pragma once

#include <concepts>
#include <type_traits>

namespace Tessaly::inline v1::detail {

/// The result of a function that gives a copy of a value. An assignment to that copy would be lost, so it does not
/// compile. A value that can only be moved stays movable.
template <typename Value>
using Unassignable = std::conditional_t<std::copy_constructible<Value>, const Value, Value>;

}  // namespace Tessaly::inline v1::detail
