// SPDX-License-Identifier: MIT
// Component: Tessaly::Formatters
#pragma once

#include <any>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Formatters/Formatter.hpp"
#include "Tessaly/Core/Foundation/Date.hpp"

namespace Tessaly::inline v1 {

/// Writes dates as text that machines read, in UTC: "2023-01-02T15:04:05Z". Neither a locale nor a time zone affects
/// the text.
///
/// The nearest standard facility is `std::format` with `{:%FT%TZ}`, which the supported standard library lacks. The
/// constructor allocates nothing.
///
/// Thread contract: thread-safe.
///
///     ISO8601DateFormatter formatter;
///     std::cout << formatter.string(Date::since1970(0));  // 1970-01-01T00:00:00Z
class TESSALY_EXPORT ISO8601DateFormatter : public Formatter {
 public:
  ISO8601DateFormatter() noexcept = default;
  ~ISO8601DateFormatter() override;

  /// A formatter with shared ownership.
  [[nodiscard]] static std::shared_ptr<ISO8601DateFormatter> make() { return std::make_shared<ISO8601DateFormatter>(); }

  /// "Tessaly.ISO8601DateFormatter".
  [[nodiscard]] std::string_view className() const noexcept override;

  /// The text of a date. The date is first rounded to milliseconds, and then truncated to seconds. A year has at least
  /// four digits. Unlike in ISO 8601, dates before 15 October 1582 are in the Julian calendar. A year before AD 1 has
  /// no sign: 1 BC is "0001". The text is empty for NaN and infinite dates.
  [[nodiscard]] std::string string(::Tessaly::Date date) const;
  /// The text of a `Date`. Absent for every other object.
  [[nodiscard]] std::optional<std::string> string(const std::any& object) const override;
};

}  // namespace Tessaly::inline v1
