// SPDX-License-Identifier: MIT
// Component: Tessaly::Concurrency
#pragma once

#include <concepts>

#include "Tessaly/Concurrency/detail/SequenceTypes.hpp"
#include "Tessaly/Core/Notifications/NotificationCenter.hpp"
#include "Tessaly/Core/Tasks/AsyncCompactMapSequence.hpp"
#include "Tessaly/Core/Tasks/AsyncFlatMapSequence.hpp"
#include "Tessaly/Core/Tasks/AsyncMapSequence.hpp"
#include "Tessaly/Core/Tasks/AsyncStream.hpp"
#include "Tessaly/Core/Tasks/AsyncThrowingStream.hpp"

namespace Tessaly::inline v1 {

/// Whether a type adopts (opts in to) the concept `TypedAsyncSequence`. A host must specialise this constant as `true`
/// for each of its own types that adopts the concept.
template <typename Sequence>
inline constexpr bool adoptsTypedAsyncSequence = false;

/// An asynchronous sequence of a given element type and failure type, for signatures that hide the type of the
/// sequence. The type must be an `AsyncSequence` and adopt this concept through `adoptsTypedAsyncSequence`. These types
/// adopt it: `AsyncStream` and `AsyncThrowingStream`; the mapped, compact-mapped and flat-mapped sequences with their
/// throwing forms; `NotificationCenter::Notifications`.
///
///     void follow(TypedAsyncSequence<Song, Never> auto songs);
template <typename Sequence, typename Element = detail::SequenceTypes<Sequence>::Element,
          typename Failure = detail::SequenceTypes<Sequence>::Failure>
concept TypedAsyncSequence =
    AsyncSequence<Sequence> && adoptsTypedAsyncSequence<Sequence> &&
    std::same_as<typename Sequence::Element, Element> && std::same_as<typename Sequence::Failure, Failure>;

template <typename Element, typename Failure>
inline constexpr bool adoptsTypedAsyncSequence<BasicAsyncStream<Element, Failure>> = true;
template <typename Base, typename Transform, typename Failure, typename Stepper>
inline constexpr bool adoptsTypedAsyncSequence<detail::TransformedSequence<Base, Transform, Failure, Stepper>> = true;
template <>
inline constexpr bool adoptsTypedAsyncSequence<NotificationCenter::Notifications> = true;

}  // namespace Tessaly::inline v1
