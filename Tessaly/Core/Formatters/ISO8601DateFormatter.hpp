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

/// Writes dates for programs, in Greenwich time: "2023-01-02T15:04:05Z". No locale and no time zone changes that.
///
/// The nearest standard facility is `std::format` with `{:%FT%TZ}`, which this standard library does not have yet.
/// Making one costs an allocation.
///
/// Thread contract: thread-safe.
///
///     ISO8601DateFormatter formatter;
///     std::cout << formatter.string(Date::since1970(0));  // 1970-01-01T00:00:00Z
class TESSALY_EXPORT ISO8601DateFormatter : public Formatter {
 public:
  ISO8601DateFormatter() noexcept = default;
  ~ISO8601DateFormatter() override;

  /// A formatter for those who share it.
  [[nodiscard]] static std::shared_ptr<ISO8601DateFormatter> make() { return std::make_shared<ISO8601DateFormatter>(); }

  /// "Tessaly.ISO8601DateFormatter".
  [[nodiscard]] std::string_view className() const noexcept override;

  /// The text of a date, rounded to milliseconds and then cut to seconds. Years have four digits or as many as they
  /// need; before 15 October 1582 the calendar is the Julian one. Empty for what is no finite number.
  [[nodiscard]] std::string string(::Tessaly::Date date) const;
  /// The text of a `Date`; absent for everything else.
  [[nodiscard]] std::optional<std::string> string(const std::any& object) const override;
};

}  // namespace Tessaly::inline v1
