// SPDX-License-Identifier: MIT
// Component: Tessaly::Foundation
#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <iosfwd>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1 {

/// A path in a tree of lists: a position in the outermost list, a position in the list at that place, and so on. In a
/// list with sections, the first position is the section, and the second position is the item.
///
/// Paths are compared position by position. A path precedes every longer path that begins with it.
///
/// Thread contract: thread-compatible.
///
///     const IndexPath path({.item = 3, .section = 1});
///     std::cout << path << ' ' << path.item() << '\n';  // [1, 3] 3
class IndexPath {
 public:
  /// An item of a list with sections.
  struct Place {
    std::int64_t item = 0;
    std::int64_t section = 0;
  };

  /// The empty path.
  IndexPath() noexcept = default;
  TESSALY_EXPORT explicit IndexPath(Place place);
  [[nodiscard]] static IndexPath withIndexes(std::vector<std::int64_t> indexes) noexcept {
    IndexPath path;
    path.indexes_ = std::move(indexes);
    return path;
  }

  /// The second position. Stops the process if the path has fewer than two positions.
  [[nodiscard]] std::int64_t item() const noexcept { return indexes_[checked(1)]; }
  /// The first position. Stops the process if the path is empty.
  [[nodiscard]] std::int64_t section() const noexcept { return indexes_[checked(0)]; }

  [[nodiscard]] std::int64_t count() const noexcept { return static_cast<std::int64_t>(indexes_.size()); }
  [[nodiscard]] bool isEmpty() const noexcept { return indexes_.empty(); }
  [[nodiscard]] std::span<const std::int64_t> indexes() const noexcept TESSALY_LIFETIMEBOUND {
    return {indexes_.data(), indexes_.size()};
  }
  /// The path with a further position at its end.
  [[nodiscard]] TESSALY_EXPORT IndexPath appending(std::int64_t index) const;

  /// The positions as a text, such as "[1, 3]".
  [[nodiscard]] TESSALY_EXPORT std::string description() const;

  [[nodiscard]] TESSALY_EXPORT bool operator==(const IndexPath& other) const noexcept;
  [[nodiscard]] TESSALY_EXPORT std::strong_ordering operator<=>(const IndexPath& other) const noexcept;

 private:
  [[nodiscard]] std::size_t checked(std::size_t position) const noexcept {
    if (position >= indexes_.size()) stopTooShort(position);
    return position;
  }
  [[noreturn]] TESSALY_EXPORT void stopTooShort(std::size_t position) const noexcept;

  std::vector<std::int64_t> indexes_;
};

/// Writes `description()`.
TESSALY_EXPORT std::ostream& operator<<(std::ostream& stream, const IndexPath& path);

}  // namespace Tessaly::inline v1

template <>
struct std::hash<Tessaly::IndexPath> {
  std::size_t operator()(const Tessaly::IndexPath& path) const noexcept {
    std::size_t hash = 0;
    for (const std::int64_t index : path.indexes()) {
      hash = hash * 0x9E3779B97F4A7C15 + std::hash<std::int64_t>()(index) + 1;
    }
    return hash;
  }
};
