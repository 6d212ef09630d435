// SPDX-License-Identifier: MIT
// Component: Tessaly::Concurrency
#pragma once

#include <concepts>
#include <utility>

#include "Tessaly/Concurrency/detail/SequenceTypes.hpp"
#include "Tessaly/Core/Tasks/AsyncSequence.hpp"

namespace Tessaly::inline v1 {

/// Whether a type opts in to the concept `AnyAsyncSequence`. A host may specialise this constant as `true` for its own
/// types.
template <typename Sequence>
inline constexpr bool adoptsAnyAsyncSequence = false;

/// An asynchronous sequence of a given element type, for signatures that hide the type of the sequence. The type must
/// be an `AsyncSequence`, and `adoptsAnyAsyncSequence` must be `true` for it. `eraseToAnyAsyncSequence` wraps any other
/// `AsyncSequence` in such a type.
///
///     void follow(AnyAsyncSequence<Song> auto songs);
template <typename Sequence, typename Element = detail::SequenceTypes<Sequence>::Element>
concept AnyAsyncSequence =
    AsyncSequence<Sequence> && adoptsAnyAsyncSequence<Sequence> && std::same_as<typename Sequence::Element, Element>;

/// A wrapper of a sequence. The wrapper satisfies the concept `AnyAsyncSequence`.
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

/// Wraps a sequence in a type that satisfies the concept `AnyAsyncSequence`. Each sequence type has its own wrapper
/// type, so this is not type erasure at run time.
///
/// Thread contract: thread-compatible.
template <AsyncSequence Sequence>
[[nodiscard]] AnyAsyncSequence<typename Sequence::Element> auto eraseToAnyAsyncSequence(Sequence sequence) {
  return AnyAsyncSequence_<Sequence>(std::move(sequence));
}

}  // namespace Tessaly::inline v1
