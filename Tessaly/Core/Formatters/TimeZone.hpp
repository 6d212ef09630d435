// SPDX-License-Identifier: MIT
// Component: Tessaly::Formatters
#pragma once

#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1 {

/// A time zone, identified by its name in the time-zone database ("Europe/Paris") or its offset from UTC ("GMT+03:00").
///
/// The nearest standard facility is `std::chrono::time_zone`, which the supported standard library lacks.
///
/// Thread contract: thread-compatible.
///
///     std::optional<TimeZone> paris = TimeZone::from("Europe/Paris");
///     if (paris) std::cout << *paris;  // Europe/Paris
class TimeZone {
 public:
  /// The zone with a name or an offset. Absent if there is no such zone.
  [[nodiscard]] TESSALY_EXPORT static std::optional<TimeZone> from(std::string_view identifier);
  [[nodiscard]] static TimeZone gmt() { return TimeZone("GMT"); }

  /// The zone of the environment variable `TZ`, or else the zone of the system. If `TZ` has rules instead of a name,
  /// the result is a fixed zone with the present offset from UTC. Without a `Replacement`, every call reads `TZ`. Each
  /// thread keeps the resulting zone until `TZ` changes. Until then, it does not notice a change of the system's zone.
  ///
  /// Thread contract: thread-safe, but no thread may change the environment during the call.
  [[nodiscard]] TESSALY_EXPORT static TimeZone current();

  [[nodiscard]] const std::string& identifier() const noexcept TESSALY_LIFETIMEBOUND { return identifier_; }

  friend bool operator==(const TimeZone&, const TimeZone&) noexcept = default;

  /// Replaces the current time zone for a scope, in all threads. Replacements must end in the reverse order of their
  /// construction. A zone must outlive the replacement that installs the zone.
  ///
  /// Thread contract: thread-safe, but no thread may format while a replacement ends.
  ///
  ///     TimeZone zone = TimeZone::gmt();
  ///     TimeZone::Replacement replacement(zone);
  ///     // TimeZone::current() is "GMT" until `replacement` ends.
  class TESSALY_EXPORT Replacement {
   public:
    explicit Replacement(const TimeZone& zone) noexcept;
    Replacement(const Replacement&) = delete;
    Replacement& operator=(const Replacement&) = delete;
    ~Replacement();

   private:
    const TimeZone* previous_;
  };

 private:
  explicit TimeZone(std::string identifier) : identifier_(std::move(identifier)) {}

  std::string identifier_;
};

/// Writes the identifier.
TESSALY_EXPORT std::ostream& operator<<(std::ostream& stream, const TimeZone& zone);

namespace detail {

/// `TimeZone::current()` without a copy. The reference is valid until the next call on this thread or the end of a
/// `Replacement`.
[[nodiscard]] TESSALY_EXPORT const TimeZone& currentTimeZone();

}  // namespace detail

}  // namespace Tessaly::inline v1
