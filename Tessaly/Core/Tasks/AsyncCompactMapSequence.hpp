// SPDX-License-Identifier: MIT
// Component: Tessaly::Tasks
#pragma once

#include <exception>
#include <optional>
#include <utility>

#include "Tessaly/Core/Tasks/detail/TransformedSequence.hpp"

namespace Tessaly::inline v1 {

namespace detail {

/// The part of the iterator that makes the elements. `step()` makes one element, and skips the elements for which the
/// transform returns an empty optional.
template <AsyncSequence Base, typename Transform>
class CompactMapStepper {
 public:
  using Element = TransformResult<Transform, typename Base::Element>::value_type;

  CompactMapStepper(AsyncIterator<Base> base, Transform transform)
      : base_(std::move(base)), transform_(std::move(transform)) {}

  Async<std::optional<Element>> step() {
    while (auto element = co_await base_.next()) {
      std::optional<Element> mapped = co_await applyTransform(transform_, *element);
      if (mapped) co_return mapped;
    }
    co_return std::nullopt;
  }

 private:
  AsyncIterator<Base> base_;
  Transform transform_;
};

}  // namespace detail

/// The values that a transform makes from the elements of a base sequence. If the transform returns an empty optional,
/// the element is dropped. If the base fails, the sequence fails with the same error.
///
/// Thread contract: thread-compatible.
///
///     auto covers = compactMap(songs, [](Song song) { return song.cover; });
template <AsyncSequence Base, typename Transform>
using AsyncCompactMapSequence =
    detail::TransformedSequence<Base, Transform, typename Base::Failure, detail::CompactMapStepper<Base, Transform>>;

/// Like `AsyncCompactMapSequence`, but the transform may throw. The sequence passes the exception on, and then ends.
///
/// Thread contract: thread-compatible.
///
///     auto sizes = throwingCompactMap(paths, [](Path path) { return sizeOfFile(path); });
template <AsyncSequence Base, typename Transform>
using AsyncThrowingCompactMapSequence =
    detail::TransformedSequence<Base, Transform, std::exception_ptr, detail::CompactMapStepper<Base, Transform>>;

/// Makes a sequence that passes every element of the base through the transform and skips the empty results. The
/// transform is a callable that returns an optional or an `Async` of an optional. The transform must not throw errors
/// that the base cannot throw.
template <AsyncSequence Base, typename Transform>
AsyncCompactMapSequence<Base, Transform> compactMap(Base base, Transform transform) {
  return {std::move(base), std::move(transform)};
}

/// Like `compactMap`, but the transform may throw.
template <AsyncSequence Base, typename Transform>
AsyncThrowingCompactMapSequence<Base, Transform> throwingCompactMap(Base base, Transform transform) {
  return {std::move(base), std::move(transform)};
}

}  // namespace Tessaly::inline v1
