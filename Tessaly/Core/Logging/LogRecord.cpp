// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Logging/LogRecord.hpp"

#include <fmt/format.h>
#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <ctime>

#include "Tessaly/Core/Base/ThreadIdentifier.hpp"
#include "Tessaly/Core/Base/detail/FirstUse.hpp"
#include "Tessaly/Core/Logging/LogBackend.hpp"
#include "Tessaly/Core/Logging/LogConfiguration.hpp"
#include "Tessaly/Core/Logging/detail/WellFormed.hpp"

namespace Tessaly::inline v1 {
namespace {

constexpr std::string_view redacted = "<private>";
constexpr std::string_view cutMark = "…";

constinit std::atomic<bool> isPrivateDataShown{false};

// Each call of getpid is a system call.
constinit std::atomic<std::int32_t> cachedProcessIdentifier{0};

std::int32_t currentProcessIdentifier() noexcept {
  if (const auto cached = cachedProcessIdentifier.load(std::memory_order_relaxed)) return cached;
  detail::callInForkedChildren<[] { cachedProcessIdentifier.store(0, std::memory_order_relaxed); }>();
  const auto identifier = static_cast<std::int32_t>(::getpid());
  cachedProcessIdentifier.store(identifier, std::memory_order_relaxed);
  return identifier;
}

std::string_view visibleText(const LogArgument& argument, bool showsPrivateData) noexcept {
  return argument.privacy == LogPrivacy::public_ || showsPrivateData ? argument.text : redacted;
}

// Collects text up to a limit, and records whether text was cut.
class LimitedText {
 public:
  LimitedText(char* out, std::size_t limit) noexcept : out_(out), limit_(limit) {}

  void append(std::string_view text) noexcept {
    detail::forEachWellFormedPart(text, [this](std::string_view part) { appendWellFormed(part); });
  }

  std::size_t finish() noexcept {
    if (!wasCut_ || limit_ < cutMark.size()) return length_;
    std::size_t end = std::min(length_, limit_ - cutMark.size());
    // The cut must not split a character.
    while (end > 0 && end < length_ && (static_cast<unsigned char>(out_[end]) & 0xC0U) == 0x80U) --end;
    std::memcpy(out_ + end, cutMark.data(), cutMark.size());
    return end + cutMark.size();
  }

 private:
  void appendWellFormed(std::string_view text) noexcept {
    const std::size_t count = std::min(text.size(), limit_ - length_);
    std::copy_n(text.begin(), count, out_ + length_);
    length_ += count;
    wasCut_ |= count < text.size();
  }

  char* out_;
  std::size_t limit_;
  std::size_t length_ = 0;
  bool wasCut_ = false;
};

// A buffer for the text of any number: a double in %f takes up to 317 characters.
using NumberText = std::array<char, 320>;

std::string_view numberText(const detail::RawLogArgument& raw, char conversion, NumberText& buffer) noexcept {
  char* const begin = buffer.data();
  char* const end = begin + buffer.size();
  const bool isHexadecimal = conversion == 'x';
  switch (raw.kind) {
    case detail::LogArgumentKind::signedInteger:
      return {begin, isHexadecimal ? std::to_chars(begin, end, raw.signedInteger, 16).ptr
                                   : std::to_chars(begin, end, raw.signedInteger).ptr};
    case detail::LogArgumentKind::unsignedInteger:
      return {begin, isHexadecimal ? std::to_chars(begin, end, raw.unsignedInteger, 16).ptr
                                   : std::to_chars(begin, end, raw.unsignedInteger).ptr};
    default:
      return {begin, std::to_chars(begin, end, raw.floatingPoint, std::chars_format::fixed, 6).ptr};
  }
}

detail::LogPlaceholder nextArgumentPlaceholder(std::string_view format, std::size_t at) noexcept {
  auto placeholder = detail::nextLogPlaceholder(format, at);
  while (placeholder.conversion == '%') placeholder = detail::nextLogPlaceholder(format, placeholder.end);
  return placeholder;
}

// A log call must not change `errno`, because it may stand between a failed system call and the code that reads
// `errno`.
class ErrnoKeeper {
 public:
  ErrnoKeeper() noexcept : saved_(errno) {}
  ~ErrnoKeeper() { errno = saved_; }
  ErrnoKeeper(const ErrnoKeeper&) = delete;
  ErrnoKeeper& operator=(const ErrnoKeeper&) = delete;

 private:
  int saved_;
};

}  // namespace

LogRecord LogRecord::make(const OSLog& log, OSLogType type) noexcept {
  timespec now{};
  ::clock_gettime(CLOCK_REALTIME, &now);
  return {.time = LogTime(std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec)),
          .type = type,
          .log = log,
          .processIdentifier = currentProcessIdentifier(),
          .threadIdentifier = currentThreadIdentifier(),
          .format = {},
          .arguments = {},
          .placeholders = {},
          .location = {},
          .signpost = {}};
}

std::size_t LogRecord::composedLengthLimit() const noexcept {
  std::size_t length = 0;
  const auto add = [&length](std::string_view part) { length += part.size(); };
  detail::forEachWellFormedPart(format, add);
  for (const auto& argument : arguments) {
    length += redacted.size();
    detail::forEachWellFormedPart(argument.text, add);
  }
  return length;
}

std::size_t LogRecord::compose(char* out, std::size_t limit) const noexcept {
  const bool showsPrivateData = isPrivateDataShown.load(std::memory_order_relaxed);
  LimitedText text(out, limit);
  std::size_t at = 0;
  if (placeholders.size() == arguments.size()) {
    for (std::size_t i = 0; i < arguments.size(); ++i) {
      text.append(format.substr(at, placeholders[i].begin - at));
      text.append(visibleText(arguments[i], showsPrivateData));
      at = placeholders[i].end;
    }
    if (!arguments.empty()) {
      text.append(format.substr(at));
      return text.finish();
    }
  }
  std::size_t used = 0;
  while (at < format.size()) {
    const auto placeholder = detail::nextLogPlaceholder(format, at);
    text.append(format.substr(at, placeholder.begin - at));
    if (placeholder.conversion == '%') text.append("%");
    const bool isArgument = placeholder.begin < placeholder.end && placeholder.conversion != '%';
    if (isArgument && used < arguments.size()) text.append(visibleText(arguments[used++], showsPrivateData));
    at = placeholder.end;
  }
  return text.finish();
}

std::string LogRecord::composedMessage() const {
  std::string message(composedLengthLimit(), '\0');
  message.resize(compose(message.data(), message.size()));
  return message;
}

void detail::writeLogRecord(const OSLog& log, OSLogType type, const LogCall& call) noexcept {
  const ErrnoKeeper errnoKeeper;
  std::array<LogArgument, maximumLogArguments> texts;
  std::array<NumberText, maximumLogArguments> numbers;
  std::size_t at = 0;
  for (std::size_t i = 0; i < call.arguments.size(); ++i) {
    const auto placeholder =
        call.placeholders.empty() ? nextArgumentPlaceholder(call.format, at) : call.placeholders[i];
    at = placeholder.end;
    const RawLogArgument& raw = call.arguments[i];
    texts[i] = {raw.kind == LogArgumentKind::text ? std::string_view(raw.text.data, raw.text.size)
                                                  : numberText(raw, placeholder.conversion, numbers[i]),
                placeholder.privacy};
  }
  LogRecord record = LogRecord::make(log, type);
  record.format = call.format;
  record.arguments = {texts.data(), call.arguments.size()};
  record.placeholders = call.placeholders;
  const LogLocation& place = call.location;
  record.location = {place.file != nullptr ? place.file : "", place.function != nullptr ? place.function : "",
                     place.line};
  LogBackend::current().write(record);
}

void detail::writeSignpost(const OSLog& log, const LogSignpost& signpost) noexcept {
  const ErrnoKeeper errnoKeeper;
  LogRecord record = LogRecord::make(log, OSLogType::default_);
  record.signpost = signpost;
  LogBackend::current().write(record);
}

void LogConfiguration::setPrivateDataShown(LogSwitch state) noexcept {
  isPrivateDataShown.store(state == LogSwitch::on, std::memory_order_relaxed);
}

}  // namespace Tessaly::inline v1
