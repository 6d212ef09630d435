// SPDX-License-Identifier: MIT
// Component: Tessaly::Concurrency
#pragma once

#include <optional>
#include <utility>

#include "Tessaly/Core/Tasks/AsyncSequence.hpp"

namespace Tessaly::inline v1 {

/// The elements of a sequence as pairs. The first member of a pair is true only for the first element that an iterator
/// returns. Each iterator has a first element of its own. Passes on the exceptions of the sequence.
///
/// Thread contract: thread-compatible.
///
///     auto iterator = firstIdentified(songs).makeAsyncIterator();
///     while (auto pair = co_await iterator.next()) show(pair->second, pair->first ? "now" : "next");
template <AsyncSequence Base>
class FirstIdentified {
 public:
  using Element = std::pair<bool, typename Base::Element>;
  using Failure = Base::Failure;

  /// An iterator that records whether it has returned an element.
  ///
  /// Thread contract: thread-compatible.
  ///
  ///     FirstIdentified<AsyncStream<Song>>::AsyncIterator iterator = firstIdentified(songs).makeAsyncIterator();
  class AsyncIterator {
   public:
    explicit AsyncIterator(Tessaly::AsyncIterator<Base> baseIterator) : baseIterator_(std::move(baseIterator)) {}

    Async<std::optional<Element>> next() { co_return identified(co_await baseIterator_.next()); }
    Async<std::optional<Element>> next(Isolation isolation) {
      co_return identified(co_await baseIterator_.next(std::move(isolation)));
    }

   private:
    std::optional<Element> identified(std::optional<typename Base::Element> element) {
      if (!element) return std::nullopt;
      return std::optional<Element>(std::in_place, std::exchange(isFirst_, false), std::move(*element));
    }

    Tessaly::AsyncIterator<Base> baseIterator_;
    bool isFirst_ = true;
  };

  explicit FirstIdentified(Base base) : base_(std::move(base)) {}

  [[nodiscard]] AsyncIterator makeAsyncIterator() const { return AsyncIterator(base_.makeAsyncIterator()); }

 private:
  Base base_;
};

/// Makes a sequence of pairs from a sequence. Each pair contains a `bool`, which is true for the first element, and the
/// element.
///
/// Thread contract: thread-compatible.
template <AsyncSequence Sequence>
[[nodiscard]] FirstIdentified<Sequence> firstIdentified(Sequence sequence) {
  return FirstIdentified<Sequence>(std::move(sequence));
}

}  // namespace Tessaly::inline v1
