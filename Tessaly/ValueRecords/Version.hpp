// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1 {

/// A dotted version number: major, minor, patch and, if there is one, build.
///
/// Its order looks at the majors, then the patches, then the builds. It is not a total order: two versions whose majors
/// are equal and whose minors differ are neither less nor greater than each other, and so are two of which one has no
/// build where the builds would decide. Do not sort by it, nor use it as the key of a `std::map`. Nothing in the
/// standard library is like it.
///
/// Thread contract: thread-compatible.
///
///     const std::optional<Version> version = Version::from("1.2.x");
///     const bool isOld = version && *version < Version{.major = 2, .minor = 0};
///     std::cout << *version;  // 1.2.0
struct Version {
  std::int64_t major = 0;
  std::int64_t minor = 0;
  std::int64_t patch = 0;
  std::optional<std::int64_t> build = std::nullopt;

  /// Reads a text such as "1.2", "1.2.3" or "1.2.3.4". Empty pieces between the dots are left out, and what follows the
  /// fourth is ignored. Nothing if there are fewer than two pieces, or if one of the first two is not a decimal number
  /// in the range of 64 bits, which may have a sign. A third or fourth piece that is none counts as absent. Bytes that
  /// are not UTF-8 are in no number. Allocates nothing.
  [[nodiscard]] TESSALY_EXPORT static std::optional<Version> from(std::string_view text) noexcept;

  /// "1.2.0", and with a build "1.2.0.7".
  [[nodiscard]] TESSALY_EXPORT std::string description() const;

  /// Whether all four fields are equal. An absent build equals only an absent one.
  friend bool operator==(const Version&, const Version&) noexcept = default;

  /// Whether the first of major, patch and build that differs is less. False if the minors differ where the majors do
  /// not, and where a build is absent that would decide.
  friend constexpr bool operator<(const Version& left, const Version& right) noexcept {
    if (left.major != right.major) return left.major < right.major;
    if (left.minor != right.minor) return false;
    if (left.patch != right.patch) return left.patch < right.patch;
    return left.build && right.build && *left.build < *right.build;
  }
  /// The negation of `right < left`, so true for versions that differ only in their minors.
  friend constexpr bool operator<=(const Version& left, const Version& right) noexcept { return !(right < left); }
  friend constexpr bool operator>(const Version& left, const Version& right) noexcept { return right < left; }
  /// The negation of `left < right`.
  friend constexpr bool operator>=(const Version& left, const Version& right) noexcept { return !(left < right); }
};

/// Writes `description()`.
TESSALY_EXPORT std::ostream& operator<<(std::ostream& stream, const Version& version);

}  // namespace Tessaly::inline v1
