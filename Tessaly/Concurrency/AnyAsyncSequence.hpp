// SPDX-License-Identifier: MIT
// Component: Tessaly::Concurrency
#pragma once

#include <concepts>
#include <utility>

#include "Tessaly/Concurrency/detail/SequenceTypes.hpp"
#include "Tessaly/Core/Tasks/AsyncSequence.hpp"

namespace Tessaly::inline v1 {

/// Whether a type adopts `AnyAsyncSequence`. A host specialises this constant for its own types.
template <typename Sequence>
inline constexpr bool adoptsAnyAsyncSequence = false;

/// An asynchronous sequence of a given element type, for signatures that hide the type of the sequence. The type must
/// be an `AsyncSequence` and adopt this concept; `eraseToAnyAsyncSequence` wraps any other `AsyncSequence` in such a
/// type.
///
///     void follow(AnyAsyncSequence<Song> auto songs);
template <typename Sequence, typename Element = detail::SequenceTypes<Sequence>::Element>
concept AnyAsyncSequence =
    AsyncSequence<Sequence> && adoptsAnyAsyncSequence<Sequence> && std::same_as<typename Sequence::Element, Element>;

/// A wrapper of a sequence. The wrapper adopts `AnyAsyncSequence`.
///
/// Thread contract: thread-compatible.
///
///     AnyAsyncSequence<Song> auto songs = eraseToAnyAsyncSequence(playlist.songs());
template <AsyncSequence Base>
class AnyAsyncSequence_ {
 public:
  using Element = Base::Element;
  using Failure = Base::Failure;
  using AsyncIterator = Tessaly::AsyncIterator<Base>;

  explicit AnyAsyncSequence_(Base base) : base_(std::move(base)) {}

  [[nodiscard]] AsyncIterator makeAsyncIterator() const { return base_.makeAsyncIterator(); }

 private:
  Base base_;
};

template <typename Base>
inline constexpr bool adoptsAnyAsyncSequence<AnyAsyncSequence_<Base>> = true;

/// Wraps a sequence in a type that adopts `AnyAsyncSequence`.
///
/// Thread contract: thread-compatible.
template <AsyncSequence Sequence>
[[nodiscard]] AnyAsyncSequence<typename Sequence::Element> auto eraseToAnyAsyncSequence(Sequence sequence) {
  return AnyAsyncSequence_<Sequence>(std::move(sequence));
}

}  // namespace Tessaly::inline v1
