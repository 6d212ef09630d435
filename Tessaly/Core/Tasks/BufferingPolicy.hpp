// SPDX-License-Identifier: MIT
// Component: Tessaly::Tasks
#pragma once

#include <cstdint>
#include <limits>
#include <optional>

#include "Tessaly/Core/Base/Requirements.hpp"

namespace Tessaly::inline v1 {

/// The limit of a stream's buffer, and the choice of the elements that a full buffer drops. A consumer that waits gets
/// its element even if the limit is zero. A limit below zero counts as zero.
///
/// Thread contract: thread-compatible.
///
///     AsyncStream<int> readings(BufferingPolicy::newest(16), [](auto continuation) { follow(continuation); });
struct BufferingPolicy {
  enum class Kind : std::uint8_t { unbounded, oldest, newest };

  /// Keeps all elements.
  [[nodiscard]] static constexpr BufferingPolicy unbounded() noexcept {
    return {Kind::unbounded, std::numeric_limits<std::int64_t>::max()};
  }
  /// Drops the new element if the buffer already has `limit` elements.
  [[nodiscard]] static constexpr BufferingPolicy oldest(std::int64_t limit) noexcept { return {Kind::oldest, limit}; }
  /// Buffers the last `limit` elements that no consumer has taken, and drops earlier elements.
  [[nodiscard]] static constexpr BufferingPolicy newest(std::int64_t limit) noexcept { return {Kind::newest, limit}; }

  Kind kind;
  std::int64_t limit;

  friend constexpr bool operator==(const BufferingPolicy&, const BufferingPolicy&) noexcept = default;
};

enum class YieldResultKind : std::uint8_t {
  enqueued,    ///< Handed to a consumer or buffered.
  dropped,     ///< The buffer was full: one element was dropped.
  terminated,  ///< The stream had ended: the new element was discarded.
};

/// The result of yielding an element.
///
/// Thread contract: thread-compatible.
///
///     if (continuation.yield(reading).kind == YieldResultKind::terminated) stopReading();
template <typename Element>
struct YieldResult {
  YieldResultKind kind;
  /// If `kind` is `enqueued`: the number of further elements that fit. This number is the whole limit if a consumer
  /// took the element, and the maximum of the type if the buffer is unbounded.
  std::int64_t remaining = 0;
  /// If `kind` is `dropped`: the dropped element, which is the new one or the oldest one in the buffer.
  std::optional<Element> element = std::nullopt;
};

}  // namespace Tessaly::inline v1
