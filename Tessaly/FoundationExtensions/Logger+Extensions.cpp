// SPDX-License-Identifier: MIT
#include <fmt/format.h>

#include <new>
#include <string>

#include "Tessaly/Core/Text/Characters.hpp"
#include "Tessaly/Core/Text/GraphemeClusters.hpp"
#include "Tessaly/Core/Text/UTF8.hpp"
#include "Tessaly/FoundationExtensions/Error+Extensions.hpp"
#include "Tessaly/FoundationExtensions/Logger+Extensions.hpp"
#include "Tessaly/FoundationExtensions/detail/MainBundleSubsystem.hpp"

namespace Tessaly::inline v1 {
namespace {

/// Frozen: crash reports are grouped by these lines.
constexpr unsigned missingIdentifierLine = 26;
constexpr unsigned missingIdentifierForTypeLine = 12;

Logger makeForMainBundle(std::string_view subsystem, std::string_view category, unsigned line) {
  return Logger(detail::mainBundleSubsystem(subsystem, "Tessaly/Logger+Extensions", line), category);
}

bool endsWithPunctuation(std::string_view message) noexcept {
  const std::string_view last = Text::lastGraphemeCluster(message);
  return !last.empty() && Text::isPunctuation(Text::decodeScalar(last, 0).scalar);
}

void writePublic(const Logger& logger, OSLogType type, std::string_view message, LogLocation location) noexcept {
  if (!logger.log().isEnabled(type)) return;
  const detail::RawLogArgument argument = detail::rawLogArgument(message);
  constexpr LogFormat<std::string_view> format = "%{public}s";
  detail::writeLogRecord(logger.log(), type,
                         {.format = format.text(),
                          .location = location,
                          .arguments = {&argument, 1},
                          .placeholders = format.placeholders()});
}

}  // namespace

Logger detail::MainBundleLogger::make(std::string_view subsystem, std::string_view category) {
  return makeForMainBundle(subsystem, category, missingIdentifierLine);
}

Logger detail::MainBundleLogger::makeForType(std::string_view subsystem, std::string_view typeName) {
  return makeForMainBundle(subsystem, typeName, missingIdentifierForTypeLine);
}

void errorPublic(const Logger& logger, std::string_view message, LogLocation location) noexcept {
  writePublic(logger, OSLogType::error, message, location);
}

void warningPublic(const Logger& logger, std::string_view message, LogLocation location) noexcept {
  writePublic(logger, OSLogType::error, message, location);
}

void noticePublic(const Logger& logger, std::string_view message, LogLocation location) noexcept {
  writePublic(logger, OSLogType::default_, message, location);
}

void errorWithAssert(const Logger& logger, std::string_view message, const char* file, unsigned line,
                     const char* function) noexcept {
  if (!logger.log().isEnabled(OSLogType::error)) return;
  const LogLocation location{file, function, line};
  try {
    const char* const shown = file != nullptr ? file : "(null)";
    errorPublic(logger, fmt::format("{} | File: {}, line: {}", message, shown, line), location);
  } catch (const std::bad_alloc&) {
    errorPublic(logger, message, location);
  }
}

void detail::writeCaughtError(const Logger& logger, std::string_view message, const std::exception_ptr& error,
                              LogLocation location) noexcept {
  try {
    std::string completed(message);
    if (!endsWithPunctuation(message)) completed += '.';
    const std::string description = logDescription(error);
    const RawLogArgument arguments[] = {rawLogArgument(completed), rawLogArgument(description),
                                        rawLogArgument(location.function), rawLogArgument(location.file)};
    writeLogRecord(logger.log(), OSLogType::error,
                   {.format = "%{public}s %s | Function: %{public}s | File: %{public}s",
                    .location = location,
                    .arguments = arguments,
                    .placeholders = {}});
  } catch (...) {
    // The memory does not suffice for the error's text.
    errorPublic(logger, message, location);
  }
}

}  // namespace Tessaly::inline v1
