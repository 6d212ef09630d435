// SPDX-License-Identifier: MIT
// Component: Tessaly::Tasks
#pragma once

#include <exception>
#include <optional>
#include <utility>

#include "Tessaly/Core/Tasks/detail/TransformedSequence.hpp"

namespace Tessaly::inline v1 {

namespace detail {

/// The part of the iterator that makes the elements. `step()` makes one element from an element of the base.
template <AsyncSequence Base, typename Transform>
class MapStepper {
 public:
  using Element = TransformResult<Transform, typename Base::Element>;

  MapStepper(AsyncIterator<Base> base, Transform transform)
      : base_(std::move(base)), transform_(std::move(transform)) {}

  Async<std::optional<Element>> step() {
    auto element = co_await base_.next();
    if (!element) co_return std::nullopt;
    co_return std::optional<Element>(std::in_place, co_await applyTransform(transform_, *element));
  }

 private:
  AsyncIterator<Base> base_;
  Transform transform_;
};

}  // namespace detail

/// The elements of a base, each passed through a transform. If the base fails, the sequence fails with the same error.
///
/// Thread contract: thread-compatible.
///
///     auto names = map(songs, [](Song song) { return song.name; });
template <AsyncSequence Base, typename Transform>
using AsyncMapSequence =
    detail::TransformedSequence<Base, Transform, typename Base::Failure, detail::MapStepper<Base, Transform>>;

/// Like `AsyncMapSequence`, but the transform may throw. The sequence passes the exception on, and then ends.
///
/// Thread contract: thread-compatible.
///
///     auto contents = throwingMap(paths, [](Path path) { return readWholeFile(path); });
template <AsyncSequence Base, typename Transform>
using AsyncThrowingMapSequence =
    detail::TransformedSequence<Base, Transform, std::exception_ptr, detail::MapStepper<Base, Transform>>;

/// Makes a sequence that passes every element of the base through the transform. The transform is a callable that
/// returns a value or an `Async`. The transform must not throw errors that the base cannot throw.
template <AsyncSequence Base, typename Transform>
AsyncMapSequence<Base, Transform> map(Base base, Transform transform) {
  return {std::move(base), std::move(transform)};
}

/// Like `map`, but the transform may throw.
template <AsyncSequence Base, typename Transform>
AsyncThrowingMapSequence<Base, Transform> throwingMap(Base base, Transform transform) {
  return {std::move(base), std::move(transform)};
}

}  // namespace Tessaly::inline v1
