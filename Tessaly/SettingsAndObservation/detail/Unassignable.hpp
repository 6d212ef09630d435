// SPDX-License-Identifier: MIT
#pragma once

#include <concepts>
#include <type_traits>

namespace Tessaly::inline v1::detail {

/// The result type of a function that returns a copy of a value. An assignment to that copy would be lost, so the type
/// is const and the assignment does not compile. If a value can only be moved, the type is not const.
template <typename Value>
using Unassignable = std::conditional_t<std::copy_constructible<Value>, const Value, Value>;

}  // namespace Tessaly::inline v1::detail
