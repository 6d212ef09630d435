// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <optional>
#include <type_traits>
#include <utility>

#include "Tessaly/Core/Tasks/AsyncSequence.hpp"

namespace Tessaly::inline v1::detail {

/// The type of the value that a transform makes of an element. The transform may return a reference or an `Async`.
template <typename Transform, typename Element>
using TransformResult = std::remove_cvref_t<AsyncInvokeResult<Transform&, Element>>;

/// An awaitable that gives its value at once.
template <typename T>
struct Ready {
  T value;

  bool await_ready() const noexcept { return true; }
  void await_suspend(std::coroutine_handle<>) const noexcept {}
  T await_resume() { return std::move(value); }
};

/// Moves the element into a call of the transform, which returns a value or an `Async`. In both cases, this function
/// returns an awaitable for the value. The caller must keep the element alive until the awaitable has given the value.
template <typename Transform, typename Element>
[[nodiscard]] auto applyTransform(Transform& transform, Element& element) {
  using Result = std::invoke_result_t<Transform&, Element>;
  if constexpr (isAsync<Result>) {
    return std::invoke(transform, std::move(element));
  } else {
    return Ready<std::remove_cvref_t<Result>>{std::invoke(transform, std::move(element))};
  }
}

/// A sequence made of a base sequence and a transform. The stepper holds the base's iterator and the transform, and
/// makes the elements in its `step()`. After `step()` has given an empty result or has thrown, the iterator's `next()`
/// always returns an empty result.
template <AsyncSequence Base, typename Transform, typename SequenceFailure, typename Stepper>
class TransformedSequence {
 public:
  using Element = Stepper::Element;
  using Failure = SequenceFailure;

  class AsyncIterator {
   public:
    AsyncIterator(Tessaly::AsyncIterator<Base> base, Transform transform)
        : stepper_(std::move(base), std::move(transform)) {}

    Async<std::optional<Element>> next() {
      if (hasEnded_) co_return std::nullopt;
      hasEnded_ = true;
      std::optional<Element> element = co_await stepper_.step();
      hasEnded_ = !element;
      co_return element;
    }
    Async<std::optional<Element>> next(Isolation isolation) { return nextIn<Element>(this, std::move(isolation)); }

   private:
    Stepper stepper_;
    bool hasEnded_ = false;
  };

  TransformedSequence(Base base, Transform transform) : base_(std::move(base)), transform_(std::move(transform)) {}

  [[nodiscard]] AsyncIterator makeAsyncIterator() const { return {base_.makeAsyncIterator(), transform_}; }

 private:
  Base base_;
  Transform transform_;
};

}  // namespace Tessaly::inline v1::detail
