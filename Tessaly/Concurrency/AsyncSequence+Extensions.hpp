// SPDX-License-Identifier: MIT
// Component: Tessaly::Concurrency
#pragma once

#include <algorithm>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <utility>
#include <variant>
#include <vector>

#include "Tessaly/Concurrency/AnyAsyncSequence.hpp"
#include "Tessaly/Concurrency/FirstIdentified.hpp"
#include "Tessaly/Core/Base/CallNotification.hpp"
#include "Tessaly/Core/Tasks/AsyncMapSequence.hpp"
#include "Tessaly/Core/Tasks/AsyncSequence.hpp"
#include "Tessaly/Core/Tasks/WithIsolation.hpp"

namespace Tessaly::inline v1 {

namespace detail {

/// Calls a function with every element before the element is passed on.
template <typename Element, typename ReceiveValues>
struct PassOn {
  ReceiveValues receiveValues;

  Element operator()(Element element) {
    callNotification("A function that receives elements", receiveValues, std::as_const(element));
    return element;
  }
};

struct Discard {
  std::monostate operator()(const auto&) const noexcept { return {}; }
};

}  // namespace detail

/// The first element of a sequence. Absent if the sequence is empty. Passes on the sequence's exception.
///
/// Thread contract: thread-safe.
template <AsyncSequence Sequence>
[[nodiscard]] Async<std::optional<typename Sequence::Element>> first(Sequence sequence) {
  auto iterator = sequence.makeAsyncIterator();
  co_return co_await iterator.next();
}

/// Like `first(sequence)`, but awaits the element in the given isolation.
///
/// Thread contract: thread-safe.
template <AsyncSequence Sequence>
[[nodiscard]] Async<std::optional<typename Sequence::Element>> first(Sequence sequence, Isolation isolation) {
  auto iterator = sequence.makeAsyncIterator();
  co_return co_await iterator.next(std::move(isolation));
}

/// A sequence of the same elements. The new sequence calls `receiveValues` with each element before the element is
/// passed on. The function must not throw: an exception stops the process.
///
/// Thread contract: thread-compatible.
template <AsyncSequence Sequence, std::invocable<const typename Sequence::Element&> ReceiveValues>
[[nodiscard]] auto handleElement(Sequence sequence, ReceiveValues receiveValues) {
  return map(std::move(sequence), detail::PassOn<typename Sequence::Element, ReceiveValues>{std::move(receiveValues)});
}

/// A sequence with one `std::monostate` for each element of the given sequence.
///
/// Thread contract: thread-compatible.
template <AsyncSequence Sequence>
[[nodiscard]] auto discarded(Sequence sequence) {
  return map(std::move(sequence), detail::Discard());
}

/// The first `limit` elements, or all if there are fewer. **A limit below one means no limit.** Further elements are
/// not read. An exception of the sequence is passed on, and the elements that were read before the exception are
/// discarded.
///
/// Thread contract: thread-safe.
template <AsyncSequence Sequence>
[[nodiscard]] Async<std::vector<typename Sequence::Element>> collect(Sequence sequence, std::int64_t limit) {
  constexpr std::int64_t maximumReserved = 1'024;  // A huge limit may mean "all".
  std::vector<typename Sequence::Element> elements;
  elements.reserve(static_cast<std::size_t>(std::clamp(limit, std::int64_t{0}, maximumReserved)));
  auto iterator = sequence.makeAsyncIterator();
  while (auto element = co_await iterator.next()) {
    elements.push_back(std::move(*element));
    if (std::ssize(elements) == limit) break;
  }
  co_return elements;
}

/// Like `collect`, but runs in the given isolation. The default is the caller's isolation. **Here too, a limit below
/// one means no limit.**
///
/// Thread contract: thread-safe.
template <AsyncSequence Sequence>
[[nodiscard]] Async<std::vector<typename Sequence::Element>> isolatedCollect(
    Sequence sequence, std::int64_t limit, Isolation isolation = Isolation::current()) {
  co_return co_await withIsolation(std::move(isolation), [&] { return collect(std::move(sequence), limit); });
}

}  // namespace Tessaly::inline v1
