// SPDX-License-Identifier: MIT
// Component: Tessaly::Logging
#pragma once

#include <array>
#include <span>
#include <string_view>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Base/TypeName.hpp"
#include "Tessaly/Core/Logging/LogRecord.hpp"
#include "Tessaly/Core/Logging/OSLog.hpp"

namespace Tessaly::inline v1 {

namespace detail {
struct MainBundleLogger;  // Defined in FoundationExtensions/Logger+Extensions.hpp.
}  // namespace detail

/// Writes records to one log.
///
/// A record has a literal format and up to eight arguments. Text arguments are private unless the format marks them
/// `%{public}s`. By default, a private argument is written as `<private>`. A call with a disabled type costs one load
/// and a branch, and makes no text. Unlike with most logging libraries, a host sets up nothing and rotates no file.
/// `LogConfiguration` has the settings that a host may change. A log call never throws, reports no failure and keeps
/// `errno`.
///
/// The store of this process keeps at most 32 KiB of a message, or an eighth of the store's capacity if that is less. A
/// longer message is cut and ends with "…".
///
/// Thread contract: thread-safe.
///
///     const Logger logger("app.identifier.Export", "Exporter");
///     logger.error("Cannot write %{public}s: %d", fileName, status);
class Logger {
 public:
  /// A logger with the given subsystem and category.
  Logger(std::string_view subsystem, std::string_view category) : log_(subsystem, category) {}
  explicit Logger(const OSLog& log) noexcept : log_(log) {}

  /// A logger whose subsystem is the main bundle's identifier, "." and the given subsystem. Stops the process if the
  /// main bundle has no identifier. Both functions named `make` need FoundationExtensions/Logger+Extensions.hpp.
  template <typename Definition = detail::MainBundleLogger>
  [[nodiscard]] static Logger make(std::string_view subsystem, std::string_view category) {
    static_assert(requires { sizeof(Definition); }, "include Tessaly/FoundationExtensions/Logger+Extensions.hpp");
    return Definition::make(subsystem, category);
  }
  /// A logger whose category is the unqualified name of the type. The rest is as in `make(subsystem, category)`. This
  /// function also stops the process if the main bundle has no identifier.
  template <typename T, typename Definition = detail::MainBundleLogger>
  [[nodiscard]] static Logger make(std::string_view subsystem, Type<T>) {
    static_assert(requires { sizeof(Definition); }, "include Tessaly/FoundationExtensions/Logger+Extensions.hpp");
    return Definition::makeForType(subsystem, typeName<T>());
  }

  /// The underlying log.
  [[nodiscard]] const OSLog& log() const noexcept TESSALY_LIFETIMEBOUND { return log_; }

  /// Writes one record of the type if the type is enabled.
  template <detail::LogArgumentType... Arguments>
  void log(OSLogType type, LogFormat<Arguments...> format, const Arguments&... arguments) const noexcept {
    if (!log_.isEnabled(type)) [[likely]]
      return;
    // The span below refers to this copy and not to `format`. Otherwise the compiler would build `format` in memory
    // before the branch above, even if the type is disabled.
    const auto placeholders = format.placeholders();
    const std::array<detail::RawLogArgument, sizeof...(Arguments)> raw{detail::rawLogArgument(arguments)...};
    detail::writeLogRecord(
        log_, type,
        {.format = format.text(),
         .location = format.location(),
         .arguments = raw,
         .placeholders = format.hasPercentSigns() ? std::span<const detail::LogPlaceholder>() : placeholders});
  }
  /// Writes a record of type `debug` if this type is enabled. By default it is disabled.
  template <detail::LogArgumentType... Arguments>
  void debug(LogFormat<Arguments...> format, const Arguments&... arguments) const noexcept {
    log<Arguments...>(OSLogType::debug, format, arguments...);
  }
  /// Writes a record of type `info` if this type is enabled. By default it is disabled.
  template <detail::LogArgumentType... Arguments>
  void info(LogFormat<Arguments...> format, const Arguments&... arguments) const noexcept {
    log<Arguments...>(OSLogType::info, format, arguments...);
  }
  /// Writes a record of type `default_`, because the log has no separate type for notices.
  template <detail::LogArgumentType... Arguments>
  void notice(LogFormat<Arguments...> format, const Arguments&... arguments) const noexcept {
    log<Arguments...>(OSLogType::default_, format, arguments...);
  }
  /// Writes a record of type `error`, because the log has no type for warnings.
  template <detail::LogArgumentType... Arguments>
  void warning(LogFormat<Arguments...> format, const Arguments&... arguments) const noexcept {
    log<Arguments...>(OSLogType::error, format, arguments...);
  }
  /// Writes a record of type `error`.
  template <detail::LogArgumentType... Arguments>
  void error(LogFormat<Arguments...> format, const Arguments&... arguments) const noexcept {
    log<Arguments...>(OSLogType::error, format, arguments...);
  }
  /// Writes a record of type `fault`.
  template <detail::LogArgumentType... Arguments>
  void fault(LogFormat<Arguments...> format, const Arguments&... arguments) const noexcept {
    log<Arguments...>(OSLogType::fault, format, arguments...);
  }

 private:
  OSLog log_;
};

}  // namespace Tessaly::inline v1
