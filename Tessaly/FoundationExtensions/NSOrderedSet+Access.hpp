// SPDX-License-Identifier: MIT
// Component: Tessaly::FoundationExtensions
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <type_traits>

#include "Tessaly/Core/Base/TypeName.hpp"
#include "Tessaly/Core/Foundation/NSOrderedSet.hpp"

namespace Tessaly::inline v1 {

/// The element at an index. Absent if the index is the count or more. Throws `std::out_of_range` for a negative index.
///
/// Thread contract: thread-safe.
///
///     const NSOrderedSet<std::string> rows{"A", "B"};
///     const std::string third = ifPresent(rows, 2).value_or("nothing");
template <typename Element, typename Hash, typename Equal>
[[nodiscard]] std::optional<Element> ifPresent(const NSOrderedSet<Element, Hash, Equal>& items, std::int64_t index) {
  if (index >= items.count()) return std::nullopt;
  return items.object(index);
}

/// The index of the element that is equal to `element`. Absent if there is no such element. Costs the same as
/// `NSOrderedSet::index`.
///
/// Thread contract: thread-safe.
template <typename Element, typename Hash, typename Equal>
[[nodiscard]] std::optional<std::int64_t> firstIndex(const NSOrderedSet<Element, Hash, Equal>& items,
                                                     const std::type_identity_t<Element>& element) {
  const std::int64_t index = items.index(element);
  if (index == NSNotFound) return std::nullopt;
  return index;
}

/// The object at an index, cast to a derived class without a check. The caller must make sure that the object has that
/// class; otherwise the behaviour is undefined. Throws `std::out_of_range` if the index is out of range.
///
/// Thread contract: thread-safe.
template <typename T, typename Root, typename Hash, typename Equal>
[[nodiscard]] std::shared_ptr<T> unsafeDowncastObject(const NSOrderedSet<std::shared_ptr<Root>, Hash, Equal>& items,
                                                      std::int64_t index, Type<T> = {}) {
  static_assert(std::is_base_of_v<Root, T>, "the class must be derived from that of the elements");
  return std::static_pointer_cast<T>(items.object(index));
}

}  // namespace Tessaly::inline v1
