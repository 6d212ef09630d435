// SPDX-License-Identifier: MIT
// Component: Tessaly::Concurrency
#pragma once

#include <algorithm>
#include <concepts>
#include <cstdint>
#include <optional>
#include <utility>
#include <variant>
#include <vector>

#include "Tessaly/Concurrency/AnyAsyncSequence.hpp"
#include "Tessaly/Concurrency/FirstIdentified.hpp"
#include "Tessaly/Core/Tasks/AsyncMapSequence.hpp"
#include "Tessaly/Core/Tasks/AsyncSequence.hpp"
#include "Tessaly/Core/Tasks/WithIsolation.hpp"
#include "Tessaly/Core/Tasks/detail/Notification.hpp"

namespace Tessaly::inline v1 {

namespace detail {

/// Has every element seen on its way.
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

/// The first element of a sequence; none if it has none. What the sequence throws passes through.
///
/// Thread contract: thread-safe.
template <AsyncSequence Sequence>
[[nodiscard]] Async<std::optional<typename Sequence::Element>> first(Sequence sequence) {
  auto iterator = sequence.makeAsyncIterator();
  co_return co_await iterator.next();
}

/// The same, awaited in the given isolation.
///
/// Thread contract: thread-safe.
template <AsyncSequence Sequence>
[[nodiscard]] Async<std::optional<typename Sequence::Element>> first(Sequence sequence, Isolation isolation) {
  auto iterator = sequence.makeAsyncIterator();
  co_return co_await iterator.next(std::move(isolation));
}

/// The same elements, each shown to a function before it is passed on. The function must not throw.
///
/// Thread contract: thread-compatible.
template <AsyncSequence Sequence, std::invocable<const typename Sequence::Element&> ReceiveValues>
[[nodiscard]] auto handleElement(Sequence sequence, ReceiveValues receiveValues) {
  return map(std::move(sequence), detail::PassOn<typename Sequence::Element, ReceiveValues>{std::move(receiveValues)});
}

/// As many elements, without their values: a `std::monostate` for each.
///
/// Thread contract: thread-compatible.
template <AsyncSequence Sequence>
[[nodiscard]] auto discarded(Sequence sequence) {
  return map(std::move(sequence), detail::Discard());
}

/// The first `limit` elements, or all if there are fewer. **A limit below one is no limit.** The rest is not read. What
/// the sequence throws passes through, and the elements so far are dropped.
///
/// Thread contract: thread-safe.
template <AsyncSequence Sequence>
[[nodiscard]] Async<std::vector<typename Sequence::Element>> collect(Sequence sequence, std::int64_t limit) {
  constexpr std::int64_t mostReserved = 1'024;  // A limit may be meant as "all".
  std::vector<typename Sequence::Element> elements;
  elements.reserve(static_cast<std::size_t>(std::clamp(limit, std::int64_t{0}, mostReserved)));
  auto iterator = sequence.makeAsyncIterator();
  while (auto element = co_await iterator.next()) {
    elements.push_back(std::move(*element));
    if (std::ssize(elements) == limit) break;
  }
  co_return elements;
}

/// The same, run in the given isolation.
///
/// Thread contract: thread-safe.
template <AsyncSequence Sequence>
[[nodiscard]] Async<std::vector<typename Sequence::Element>> isolatedCollect(
    Sequence sequence, std::int64_t limit, Isolation isolation = Isolation::current()) {
  co_return co_await withIsolation(std::move(isolation), [&] { return collect(std::move(sequence), limit); });
}

}  // namespace Tessaly::inline v1
