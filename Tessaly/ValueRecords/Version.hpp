// SPDX-License-Identifier: MIT
// Component: Tessaly::Version
#pragma once

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <ostream>
#include <span>
#include <string>
#include <string_view>

#include "Tessaly/Core/Base/Requirements.hpp"

namespace Tessaly::inline v1 {

namespace detail {

/// The value of a text that consists of decimal digits, with or without a sign before them. Absent for any other text,
/// and for a number that does not fit into 64 bits.
inline std::optional<std::int64_t> numberIn(std::string_view piece) noexcept {
  if (piece.starts_with('+')) {
    piece.remove_prefix(1);
    if (piece.starts_with('-')) return std::nullopt;
  }
  std::int64_t number = 0;
  const char* const begin = piece.data();
  const char* const end = begin + piece.size();
  const auto [stop, error] = std::from_chars(begin, end, number);
  if (error != std::errc() || stop != end) return std::nullopt;
  return number;
}

/// At most the first four non-empty parts of a text. Dots separate the parts.
inline std::span<const std::string_view> nonEmptyPieces(std::string_view text,
                                                        std::array<std::string_view, 4>& pieces) noexcept {
  std::size_t count = 0;
  for (std::size_t begin = 0; begin < text.size() && count < pieces.size();) {
    const std::size_t end = std::min(text.find('.', begin), text.size());
    if (end > begin) pieces[count++] = text.substr(begin, end - begin);
    begin = end + 1;
  }
  return std::span(pieces).first(count);
}

}  // namespace detail

/// A version number: major, minor, patch, and optionally build.
///
/// The order compares the majors. If the majors and the minors are equal, it compares the patches, then the builds. It
/// is not a total order, and this is intended. Two versions with equal majors and different minors are neither less nor
/// greater than each other. The same holds for two versions that differ only in their builds, if one of the builds is
/// absent. Do not sort by this order, and do not use a version as the key of a `std::map`. The standard library has no
/// counterpart.
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

  /// Parses a text such as "1.2", "1.2.3" or "1.2.3.4". Empty parts between the dots are skipped, and parts after the
  /// fourth are ignored. The result is absent if fewer than two parts remain. The result is also absent if one of the
  /// first two parts is not a decimal number of 64 bits with an optional sign. A malformed third part counts as 0, and
  /// a malformed fourth part as absent. A part with ill-formed UTF-8 is malformed. Allocates nothing.
  [[nodiscard]] static std::optional<Version> from(std::string_view text) noexcept;

  /// "1.2.0", and with a build "1.2.0.7".
  [[nodiscard]] std::string description() const;

  /// Whether all four fields are equal. An absent build equals only an absent build.
  friend bool operator==(const Version&, const Version&) noexcept = default;

  /// Compares major, patch and build in this order. The result is true if the first differing field is less in `left`.
  /// If the majors are equal and the minors differ, the result is intentionally false in both directions. Also false if
  /// only the builds differ and one of them is absent.
  friend constexpr bool operator<(const Version& left, const Version& right) noexcept {
    if (left.major != right.major) return left.major < right.major;
    if (left.minor != right.minor) return false;
    if (left.patch != right.patch) return left.patch < right.patch;
    return left.build && right.build && *left.build < *right.build;
  }
  /// The negation of `right < left`. So the result is true for versions that differ only in their minors.
  friend constexpr bool operator<=(const Version& left, const Version& right) noexcept { return !(right < left); }
  friend constexpr bool operator>(const Version& left, const Version& right) noexcept { return right < left; }
  /// The negation of `left < right`.
  friend constexpr bool operator>=(const Version& left, const Version& right) noexcept { return !(left < right); }
};

inline std::optional<Version> Version::from(std::string_view text) noexcept {
  std::array<std::string_view, 4> storage;
  const auto pieces = detail::nonEmptyPieces(text, storage);
  if (pieces.size() < 2) return std::nullopt;
  const auto major = detail::numberIn(pieces[0]);
  const auto minor = detail::numberIn(pieces[1]);
  if (!major || !minor) return std::nullopt;
  return Version{.major = *major,
                 .minor = *minor,
                 .patch = pieces.size() > 2 ? detail::numberIn(pieces[2]).value_or(0) : 0,
                 .build = pieces.size() > 3 ? detail::numberIn(pieces[3]) : std::nullopt};
}

inline std::string Version::description() const {
  std::array<char, std::size_t{4} * 21> buffer;
  char* at = buffer.data();
  const auto write = [&](std::int64_t number) { at = std::to_chars(at, buffer.data() + buffer.size(), number).ptr; };
  write(major);
  for (const std::int64_t number : {minor, patch}) {
    *at++ = '.';
    write(number);
  }
  if (build) {
    *at++ = '.';
    write(*build);
  }
  return std::string(buffer.data(), at);
}

/// Writes `description()`.
inline std::ostream& operator<<(std::ostream& stream, const Version& version) {
  return stream << version.description();
}

}  // namespace Tessaly::inline v1
