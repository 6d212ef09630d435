// SPDX-License-Identifier: MIT
// Component: Tessaly::Logging
#pragma once

#include <algorithm>
#include <array>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <type_traits>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Base/Requirements.hpp"

namespace Tessaly::inline v1 {

/// Whether an argument of a record may leave the process unredacted.
enum class LogPrivacy : std::uint8_t { public_, private_ };

/// The place in the source code at which a record is written. The texts are empty and the line is 0 if the place is
/// unknown.
struct LogLocation {
  const char* file = "";
  const char* function = "";
  unsigned line = 0;

  /// The place where `here()` is called. If `here()` is the default argument of a function's parameter, the result is
  /// the place where that function is called.
  [[nodiscard]] static constexpr LogLocation here(const char* file = __builtin_FILE(),
                                                  const char* function = __builtin_FUNCTION(),
                                                  unsigned line = __builtin_LINE()) noexcept {
    return {file, function, line};
  }
};

namespace detail {

enum class LogArgumentKind : std::uint8_t { text, signedInteger, unsignedInteger, floatingPoint };

template <typename Argument>
concept LogArgumentType = std::convertible_to<const Argument&, std::string_view> || std::floating_point<Argument> ||
                          (std::integral<Argument> && sizeof(Argument) <= sizeof(std::uint64_t));

template <LogArgumentType Argument>
inline constexpr LogArgumentKind logArgumentKind =
    std::convertible_to<const Argument&, std::string_view> ? LogArgumentKind::text
    : std::floating_point<Argument>                        ? LogArgumentKind::floatingPoint
    : std::is_signed_v<Argument>                           ? LogArgumentKind::signedInteger
                                                           : LogArgumentKind::unsignedInteger;

/// One placeholder of a format, such as "%d" or "%%".
struct LogPlaceholder {
  std::uint32_t begin = 0;
  std::uint32_t end = 0;
  char conversion = 0;  // '%' for a percent sign, 0 if malformed.
  LogPrivacy privacy = LogPrivacy::public_;
};

/// The first placeholder at or after `from`. If there is no placeholder, `begin` and `end` of the result are the
/// format's length.
constexpr LogPlaceholder nextLogPlaceholder(std::string_view format, std::size_t from) noexcept {
  LogPlaceholder found;
  found.begin = found.end = static_cast<std::uint32_t>(std::min(format.find('%', from), format.size()));
  if (found.begin == format.size()) return found;
  std::string_view rest = format.substr(found.begin + 1);
  enum { unmarked, markedPublic, markedPrivate } mark = unmarked;
  if (rest.starts_with("{public}")) mark = markedPublic;
  if (rest.starts_with("{private}")) mark = markedPrivate;
  if (mark != unmarked) rest.remove_prefix(rest.find('}') + 1);
  found.end = static_cast<std::uint32_t>(format.size() - rest.size());
  if (rest.empty()) return found;
  ++found.end;
  const char conversion = rest.front();
  if (conversion == '%' && mark == unmarked) found.conversion = conversion;
  if (conversion == 's' || conversion == 'd' || conversion == 'x' || conversion == 'f') found.conversion = conversion;
  if (mark == markedPrivate || (mark == unmarked && conversion == 's')) found.privacy = LogPrivacy::private_;
  return found;
}

constexpr bool acceptsLogArgument(char conversion, LogArgumentKind kind) noexcept {
  switch (conversion) {
    case 's':
      return kind == LogArgumentKind::text;
    case 'd':
    case 'x':
      return kind == LogArgumentKind::signedInteger || kind == LogArgumentKind::unsignedInteger;
    default:
      return kind == LogArgumentKind::floatingPoint;
  }
}

// These functions are deliberately not `constexpr`. If a constant expression calls one of them, the compiler's error
// names the called function.
inline void formatOfLogRecordDoesNotFitItsArguments() {}
inline void placeholdersOfLogRecordsAre_s_d_x_f_withoutLengthLetters_write_d_for_every_integer() {}

}  // namespace detail

/// The maximum number of arguments of one record.
inline constexpr std::size_t maximumLogArguments = 8;

/// The format of a record, and the place of the call. The format must be a string literal. The compiler checks the
/// format's placeholders against the arguments.
///
/// Placeholders are `%s` for text, `%d` and `%x` for integers of at most 64 bits, and `%f` for floating point. `%x`
/// writes -255 as `-ff`. `%%` writes a percent sign. There are no length letters, such as the `l` in `%lu`. A `bool`
/// takes an integer's placeholder and is written as 0 or 1. The marks in `%{public}s` and `%{private}s` say whether the
/// argument may be shown. Without a mark, a text is private and a number is public. The nearest standard facility is
/// `std::format_string`, which has no marks for privacy.
///
/// Thread contract: thread-compatible.
///
///     logger.error("Cannot open %{public}s (%d)", fileName, status);
template <typename... Arguments>
class BasicLogFormat {
 public:
  template <std::size_t size>
  consteval BasicLogFormat(const char (&text)[size], const char* file = __builtin_FILE(),  // NOLINT: implicit
                           const char* function = __builtin_FUNCTION(), unsigned line = __builtin_LINE())
      : text_(text, size - 1), location_{file, function, line} {
    static_assert(sizeof...(Arguments) <= maximumLogArguments, "A record takes at most 8 arguments");
    constexpr std::array<detail::LogArgumentKind, sizeof...(Arguments)> kinds{detail::logArgumentKind<Arguments>...};
    std::size_t used = 0;
    for (std::size_t at = 0; at < text_.size();) {
      const auto placeholder = detail::nextLogPlaceholder(text_, at);
      at = placeholder.end;
      if (placeholder.begin == placeholder.end) break;
      if (placeholder.conversion == '%') {
        hasPercentSigns_ = true;
        continue;
      }
      if (placeholder.conversion == 0) {
        detail::placeholdersOfLogRecordsAre_s_d_x_f_withoutLengthLetters_write_d_for_every_integer();
      }
      if (used == kinds.size() || !detail::acceptsLogArgument(placeholder.conversion, kinds[used])) {
        detail::formatOfLogRecordDoesNotFitItsArguments();
      }
      placeholders_[used++] = placeholder;
    }
    if (used != kinds.size()) detail::formatOfLogRecordDoesNotFitItsArguments();
  }

  [[nodiscard]] constexpr std::string_view text() const noexcept { return text_; }
  [[nodiscard]] constexpr const LogLocation& location() const noexcept TESSALY_LIFETIMEBOUND { return location_; }
  /// The placeholders, one for each argument.
  [[nodiscard]] constexpr const std::array<detail::LogPlaceholder, sizeof...(Arguments)>& placeholders()
      const noexcept {
    return placeholders_;
  }
  /// Whether the format contains a `%%`.
  [[nodiscard]] constexpr bool hasPercentSigns() const noexcept { return hasPercentSigns_; }

 private:
  std::string_view text_;
  LogLocation location_;
  std::array<detail::LogPlaceholder, sizeof...(Arguments)> placeholders_{};
  bool hasPercentSigns_ = false;
};

/// The format of a record with these types of arguments. The compiler deduces the types from the arguments and not from
/// the format.
template <typename... Arguments>
using LogFormat = BasicLogFormat<std::type_identity_t<Arguments>...>;

}  // namespace Tessaly::inline v1
