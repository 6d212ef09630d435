// SPDX-License-Identifier: MIT
// Component: Tessaly::Logging
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "Tessaly/Core/Base/Durations.hpp"
#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Logging/LogFormat.hpp"
#include "Tessaly/Core/Logging/OSLog.hpp"

namespace Tessaly::inline v1 {

/// The time of a record, by the wall clock.
using LogTime = std::chrono::sys_time<std::chrono::nanoseconds>;

/// One argument of a record: its text, and whether it may leave the process unredacted.
struct LogArgument {
  std::string_view text;
  LogPrivacy privacy = LogPrivacy::private_;
};

/// The kind of mark that a signpost sets.
enum class LogSignpostKind : std::uint8_t { begin, end, event };

/// A signpost: its kind, its identifier and its name.
struct LogSignpost {
  LogSignpostKind kind = LogSignpostKind::event;
  std::uint64_t id = 0;
  std::string_view name;
};

/// A record that is being passed to the backend. The record's texts live only until `LogBackend::write` returns.
///
/// Thread contract: thread-compatible.
///
///     void FileLogBackend::write(const LogRecord& record) noexcept {
///       lines_ << record.log.category() << ": " << record.composedMessage() << '\n';
///     }
struct TESSALY_EXPORT LogRecord {
  LogTime time;
  OSLogType type = OSLogType::default_;
  OSLog log;
  std::int32_t processIdentifier = 0;
  std::uint32_t threadIdentifier = 0;
  std::string_view format;
  std::span<const LogArgument> arguments;
  /// The placeholders of the format, one for each argument. Empty if the format contains `%%`, or if the writer of the
  /// record did not parse the format.
  std::span<const detail::LogPlaceholder> placeholders;
  LogLocation location;
  std::optional<LogSignpost> signpost;

  /// A record with the current time, process and thread.
  [[nodiscard]] static LogRecord make(const OSLog& log, OSLogType type) noexcept;

  /// The format with its placeholders replaced. Private arguments become `<private>` unless
  /// `LogConfiguration::setPrivateDataShown` is on. The message is always well-formed UTF-8: U+FFFD replaces each
  /// ill-formed sequence of the format and the arguments. Allocates.
  [[nodiscard]] std::string composedMessage() const;
  /// An upper bound of the size of the whole composed message in bytes.
  [[nodiscard]] std::size_t composedLengthLimit() const noexcept;
  /// Writes at most `limit` bytes of the composed message, and returns the number of bytes written. If `limit` is at
  /// least 3, a message that was cut ends with "…" and is still well-formed UTF-8.
  std::size_t compose(char* out, std::size_t limit) const noexcept;
};

namespace detail {

/// An argument as the caller gave it. `writeLogRecord` converts a number to text.
struct RawLogArgument {
  LogArgumentKind kind;
  union {
    struct {
      const char* data;
      std::size_t size;
    } text;
    std::int64_t signedInteger;
    std::uint64_t unsignedInteger;
    double floatingPoint;
  };
};

template <LogArgumentType Argument>
RawLogArgument rawLogArgument(const Argument& argument) noexcept {
  RawLogArgument raw;
  raw.kind = logArgumentKind<Argument>;
  if constexpr (logArgumentKind<Argument> == LogArgumentKind::text) {
    if constexpr (std::convertible_to<const Argument&, const char*> && !std::is_array_v<Argument>) {
      const char* text = argument;
      const std::string_view view = text != nullptr ? std::string_view(text) : std::string_view("(null)");
      raw.text = {view.data(), view.size()};
    } else {
      const std::string_view view = argument;
      raw.text = {view.data(), view.size()};
    }
  } else if constexpr (logArgumentKind<Argument> == LogArgumentKind::signedInteger) {
    raw.signedInteger = argument;
  } else if constexpr (logArgumentKind<Argument> == LogArgumentKind::unsignedInteger) {
    raw.unsignedInteger = argument;
  } else {
    raw.floatingPoint = static_cast<double>(argument);
  }
  return raw;
}

/// One call of a logger. The logger makes this object only if the record is written.
struct LogCall {
  std::string_view format;
  LogLocation location;
  std::span<const RawLogArgument> arguments;
  /// The placeholders of the format, one for each argument. Empty if the format contains `%%`, or if the writer of the
  /// record did not parse the format.
  std::span<const LogPlaceholder> placeholders;
};

/// Writes one record to the current backend. Keeps `errno`.
TESSALY_EXPORT void writeLogRecord(const OSLog& log, OSLogType type, const LogCall& call) noexcept;

/// Writes one signpost to the current backend. Keeps `errno`.
TESSALY_EXPORT void writeSignpost(const OSLog& log, const LogSignpost& signpost) noexcept;

}  // namespace detail

}  // namespace Tessaly::inline v1
