// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Foundation/detail/GlobPattern.hpp"

#include <cstddef>
#include <optional>

namespace Tessaly::inline v1::detail::GlobPattern {
namespace {

constexpr unsigned char byte(char c) noexcept { return static_cast<unsigned char>(c); }

/// The length of a set, its brackets included; nothing where the bracket is never closed and so means itself.
std::optional<std::size_t> setLength(std::string_view pattern) noexcept {
  std::size_t position = 1;
  if (position < pattern.size() && (pattern[position] == '!' || pattern[position] == '^')) ++position;
  // A bracket that comes first is a member.
  const std::size_t end = pattern.find(']', position + 1);
  if (end == std::string_view::npos) return std::nullopt;
  return end + 1;
}

/// Whether a character is in a set, given with its brackets.
bool isInSet(std::string_view set, char character) noexcept {
  set = set.substr(1, set.size() - 2);
  const bool isNegated = set.front() == '!' || set.front() == '^';
  if (isNegated) set.remove_prefix(1);
  bool isMember = false;
  while (!set.empty()) {
    const bool isRange = set.size() >= 3 && set[1] == '-';
    const char last = isRange ? set[2] : set[0];
    isMember = isMember || (byte(character) >= byte(set[0]) && byte(character) <= byte(last));
    set.remove_prefix(isRange ? 3 : 1);
  }
  return isMember != isNegated;
}

/// The length of the pattern's first element if it fits the character; else nothing.
std::optional<std::size_t> fitsOne(std::string_view pattern, char character) noexcept {
  if (pattern.empty()) return std::nullopt;
  if (pattern[0] == '?') return 1;
  if (pattern[0] == '[') {
    if (const auto length = setLength(pattern)) {
      if (isInSet(pattern.substr(0, *length), character)) return length;
      return std::nullopt;
    }
  }
  const bool isEscaped = pattern[0] == '\\' && pattern.size() > 1;
  if (pattern[isEscaped ? 1 : 0] != character) return std::nullopt;
  return isEscaped ? 2 : 1;
}

}  // namespace

bool fits(std::string_view pattern, std::string_view name) noexcept {
  // What follows the last star is tried again one character later whenever it does not fit.
  std::optional<std::string_view> behindStar;
  std::string_view nameBehindStar;
  while (!name.empty()) {
    if (pattern.starts_with('*')) {
      pattern.remove_prefix(1);
      behindStar = pattern;
      nameBehindStar = name;
      continue;
    }
    if (const auto length = fitsOne(pattern, name.front())) {
      pattern.remove_prefix(*length);
      name.remove_prefix(1);
      continue;
    }
    if (!behindStar) return false;
    nameBehindStar.remove_prefix(1);
    pattern = *behindStar;
    name = nameBehindStar;
  }
  return pattern.find_first_not_of('*') == std::string_view::npos;
}

}  // namespace Tessaly::inline v1::detail::GlobPattern
