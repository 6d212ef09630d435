// SPDX-License-Identifier: MIT
// Component: Tessaly::Foundation
#pragma once

#include <compare>
#include <cstddef>
#include <functional>
#include <iosfwd>
#include <string>

#include "Tessaly/Core/Base/Durations.hpp"
#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1 {

/// A point in time: seconds, as a double, since 2001-01-01 00:00:00 UTC.
///
/// The nearest standard facility is `std::chrono::system_clock::time_point`. A time point counts nanoseconds in 64 bits
/// and ends in 2262. A `Date` reaches any year, and is exact to a microsecond for a few centuries around 2001.
///
/// Thread contract: thread-compatible.
///
///     Date start = Date::now();
///     Date deadline = start + 1.5;
///     if (deadline > Date::now()) std::cout << deadline;  // 2023-01-02 15:04:06 +0000
class Date {
 public:
  /// Writes dates for people, in chosen fields and widths. Defined in Tessaly/Core/Formatters/FormatStyle.hpp.
  class FormatStyle;

  /// Seconds from 1970-01-01 00:00:00 UTC to 2001-01-01 00:00:00 UTC.
  static constexpr double timeIntervalBetween1970AndReferenceDate = 978'307'200.0;

  /// The time of the wall clock (see `WallClock`).
  ///
  /// Thread contract: thread-safe.
  [[nodiscard]] TESSALY_EXPORT static Date now() noexcept;
  [[nodiscard]] static constexpr Date sinceReferenceDate(double seconds) noexcept { return Date(seconds); }
  [[nodiscard]] static constexpr Date since1970(double seconds) noexcept {
    return Date(seconds - timeIntervalBetween1970AndReferenceDate);
  }
  /// A date before every date of practical use: 730,487 days before the reference date.
  [[nodiscard]] static constexpr Date distantPast() noexcept { return Date(-63'114'076'800.0); }
  /// A date after every date of practical use: 4001-01-01 00:00:00 UTC.
  [[nodiscard]] static constexpr Date distantFuture() noexcept { return Date(63'113'904'000.0); }

  /// The date of a time point, to the precision of a double.
  template <typename Duration>
  explicit constexpr Date(std::chrono::sys_time<Duration> time) noexcept
      : seconds_(secondsSinceReferenceDate(time.time_since_epoch())) {}

  [[nodiscard]] constexpr double timeIntervalSinceReferenceDate() const noexcept { return seconds_; }
  [[nodiscard]] constexpr double timeIntervalSince1970() const noexcept {
    return seconds_ + timeIntervalBetween1970AndReferenceDate;
  }
  /// Seconds from `other` to this date. Negative if this date is earlier.
  [[nodiscard]] constexpr double timeIntervalSince(Date other) const noexcept { return seconds_ - other.seconds_; }

  /// The nearest time that the system clock can express. A date outside the clock's range, or in the first or last
  /// second of this range, gives the earliest or latest time. Stops the process if the date is NaN.
  [[nodiscard]] TESSALY_EXPORT std::chrono::system_clock::time_point timePoint() const noexcept;

  /// The date in UTC and the Gregorian calendar, rounded down to whole seconds: "2023-01-02 15:04:05 +0000". If the
  /// date is not a finite number, or is 10^15 or more seconds from 2001, the text is "<description unavailable>".
  [[nodiscard]] TESSALY_EXPORT std::string description() const;

  constexpr Date& operator+=(double seconds) noexcept {
    seconds_ += seconds;
    return *this;
  }
  constexpr Date& operator-=(double seconds) noexcept {
    seconds_ -= seconds;
    return *this;
  }
  friend constexpr Date operator+(Date date, double seconds) noexcept { return date += seconds; }
  friend constexpr Date operator-(Date date, double seconds) noexcept { return date -= seconds; }
  friend constexpr bool operator==(Date left, Date right) noexcept = default;
  friend constexpr std::partial_ordering operator<=>(Date left, Date right) noexcept = default;

 private:
  explicit constexpr Date(double seconds) noexcept : seconds_(seconds) {}

  // Whole seconds and fractions are converted separately. The seconds since 1970 are usually a larger number than the
  // seconds since 2001. A double of the seconds since 1970 would therefore round the fraction more coarsely.
  template <typename Duration>
  static constexpr double secondsSinceReferenceDate(Duration since1970) noexcept {
    const auto cut = std::chrono::duration_cast<std::chrono::seconds>(since1970);
    auto rest = since1970 - cut;
    double whole = static_cast<double>(cut.count()) - timeIntervalBetween1970AndReferenceDate;
    if (whole < 0 && rest > rest.zero()) {
      whole += 1;
      rest -= std::chrono::seconds(1);
    }
    return whole + std::chrono::duration<double>(rest).count();
  }

  double seconds_;
};

/// Writes `description()`.
TESSALY_EXPORT std::ostream& operator<<(std::ostream& stream, Date date);

/// The source of the time of `Date::now()`. Without a replacement, the source is the system's real-time clock.
///
/// Thread contract: thread-safe.
///
///     struct FixedClock : WallClock {
///       Date now() const noexcept override { return Date::since1970(0); }
///     };
///     FixedClock clock;
///     WallClock::Replacement replacement(clock);
///     // Date::now() is 1970-01-01 00:00:00 +0000 until `replacement` ends.
class TESSALY_EXPORT WallClock {
 public:
  virtual ~WallClock();
  [[nodiscard]] virtual Date now() const noexcept = 0;

  /// Replaces the clock of `Date::now()` in all threads, until the replacement is destroyed. Replacements must be
  /// destroyed in the reverse order of their construction. The clock must outlive the replacement. The clock must
  /// also outlive each call of `Date::now()` that another thread began before that destruction.
  class TESSALY_EXPORT Replacement {
   public:
    explicit Replacement(const WallClock& clock) noexcept;
    Replacement(const Replacement&) = delete;
    Replacement& operator=(const Replacement&) = delete;
    ~Replacement();

   private:
    const WallClock* previous_;
  };
};

}  // namespace Tessaly::inline v1

template <>
struct std::hash<Tessaly::Date> {
  std::size_t operator()(Tessaly::Date date) const noexcept {
    return std::hash<double>()(date.timeIntervalSinceReferenceDate());
  }
};
