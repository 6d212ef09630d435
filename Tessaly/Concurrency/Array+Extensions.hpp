// SPDX-License-Identifier: MIT
// Component: Tessaly::Concurrency
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <type_traits>
#include <unordered_set>
#include <utility>
#include <vector>

#include "Tessaly/Core/Base/FatalError.hpp"
#include "Tessaly/Core/Observation/NSKeyValueObservation.hpp"

namespace Tessaly::inline v1::Array {

/// Returns a copy of `elements` that keeps only the first occurrence of each value, in order. O(n).
///
/// Thread contract: thread-safe.
///
///     auto tags = Array::removeDuplicates(std::vector<std::string>{"a", "b", "a"});  // "a", "b"
template <std::copyable Element>
  requires requires(const Element& element) { std::hash<Element>()(element); }
[[nodiscard]] std::vector<Element> removeDuplicates(const std::vector<Element>& elements) {
  std::unordered_set<Element> seen;
  std::vector<Element> unique;
  for (const Element& element : elements) {
    if (seen.insert(element).second) unique.push_back(element);
  }
  return unique;
}

/// Returns a copy of `elements` that keeps only the first element for each value of the projection `keyPath`, in order.
/// The projection may be a `KeyPath`, a pointer to a member or a function. O(n).
///
/// Thread contract: thread-safe.
///
///     auto people = Array::removeDuplicates(guests, keyPath<&Person::name>);
template <std::copyable Element, std::invocable<const Element&> KeyPath>
[[nodiscard]] std::vector<Element> removeDuplicates(const std::vector<Element>& elements, KeyPath keyPath) {
  std::unordered_set<std::remove_cvref_t<std::invoke_result_t<KeyPath&, const Element&>>> seen;
  std::vector<Element> unique;
  for (const Element& element : elements) {
    if (seen.insert(std::invoke(keyPath, element)).second) unique.push_back(element);
  }
  return unique;
}

/// Returns an array with copies of the `count` elements that begin at `pointer`. A negative count stops the process.
///
/// Thread contract: thread-safe.
///
///     std::vector<int> numbers = Array::make(buffer, 3);
template <std::copyable Element>
[[nodiscard]] std::vector<Element> make(const Element* pointer, std::int64_t count) {
  if (count < 0) [[unlikely]]
    fatalError("An array cannot hold a negative number of elements", "Tessaly/Array+Extensions", __LINE__);
  return std::vector<Element>(pointer, pointer + count);
}

/// Ends every observation, in order, and empties the array.
///
/// Thread contract: thread-compatible.
///
///     Array::unsubscribe(observations);
inline void unsubscribe(std::vector<NSKeyValueObservation>& observations) {
  for (NSKeyValueObservation& observation : observations) observation.invalidate();
  std::vector<NSKeyValueObservation>().swap(observations);
}

}  // namespace Tessaly::inline v1::Array
