// SPDX-License-Identifier: MIT
// Component: Tessaly::Tasks
#pragma once

#include <exception>
#include <optional>
#include <utility>

#include "Tessaly/Core/Tasks/detail/TransformedSequence.hpp"

namespace Tessaly::inline v1 {

namespace detail {

/// The part of the iterator that makes the elements. `step()` takes the next element of the transform's sequences, in
/// order.
template <AsyncSequence Base, typename Transform>
class FlatMapStepper {
 public:
  using Segment = TransformResult<Transform, typename Base::Element>;
  using Element = Segment::Element;

  FlatMapStepper(AsyncIterator<Base> base, Transform transform)
      : base_(std::move(base)), transform_(std::move(transform)) {}

  Async<std::optional<Element>> step() {
    for (;;) {
      if (segment_) {
        if (auto element = co_await segment_->next()) co_return element;
        segment_.reset();
      }
      auto element = co_await base_.next();
      if (!element) co_return std::nullopt;
      Segment segment = co_await applyTransform(transform_, *element);  // The type is named: g++ 14 cannot deduce it.
      segment_.emplace(segment.makeAsyncIterator());
    }
  }

 private:
  AsyncIterator<Base> base_;
  Transform transform_;
  std::optional<AsyncIterator<Segment>> segment_;
};

}  // namespace detail

/// The elements of several sequences, one sequence after the other. A transform makes one of these sequences from each
/// element of a base sequence. If the base fails, the flat-mapped sequence fails with the same error.
///
/// Thread contract: thread-compatible.
///
///     auto songs = flatMap(albums, [](Album album) { return songsOf(album); });
template <AsyncSequence Base, typename Transform>
using AsyncFlatMapSequence =
    detail::TransformedSequence<Base, Transform, typename Base::Failure, detail::FlatMapStepper<Base, Transform>>;

/// Like `AsyncFlatMapSequence`, but the transform or its sequences may throw. The flat-mapped sequence passes the
/// exception on, and then ends.
///
/// Thread contract: thread-compatible.
///
///     auto lines = throwingFlatMap(paths, [](Path path) { return linesOf(path); });
template <AsyncSequence Base, typename Transform>
using AsyncThrowingFlatMapSequence =
    detail::TransformedSequence<Base, Transform, std::exception_ptr, detail::FlatMapStepper<Base, Transform>>;

/// Makes a sequence that replaces every element of the base by the elements of another sequence. The transform makes
/// that other sequence from the element. The transform and its sequences must not throw errors that the base cannot
/// throw.
template <AsyncSequence Base, typename Transform>
AsyncFlatMapSequence<Base, Transform> flatMap(Base base, Transform transform) {
  return {std::move(base), std::move(transform)};
}

/// Like `flatMap`, but the transform or its sequences may throw.
template <AsyncSequence Base, typename Transform>
AsyncThrowingFlatMapSequence<Base, Transform> throwingFlatMap(Base base, Transform transform) {
  return {std::move(base), std::move(transform)};
}

}  // namespace Tessaly::inline v1
