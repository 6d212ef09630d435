// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

// The text files of the MIME database have one item on each line.

namespace Tessaly::inline v1::detail {

/// A text with its ASCII letters in lower case.
inline std::string lowercased(std::string_view text) {
  std::string lower(text);
  for (char& c : lower) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return lower;
}

/// Calls the body for each line that is neither empty nor a comment.
template <typename Body>
void forEachLine(std::string_view text, Body body) {
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    if (!line.empty() && line.front() != '#') body(line);
  }
}

/// Removes and returns the text before a separator, and removes the separator. If there is no separator, removes and
/// returns the whole text.
inline std::string_view takeUntil(std::string_view& text, char separator) noexcept {
  const std::size_t end = std::min(text.find(separator), text.size());
  const std::string_view part = text.substr(0, end);
  text.remove_prefix(std::min(end + 1, text.size()));
  return part;
}

inline void addOnce(std::vector<std::string>& texts, std::string_view text) {
  if (std::ranges::find(texts, text) == texts.end()) texts.emplace_back(text);
}

/// Whether a text could be the name of a type: two names of RFC 6838 with a slash between them.
inline bool isMIMEType(std::string_view text) noexcept {
  static constexpr auto isLetterOrDigit = [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
  };
  const auto isName = [](std::string_view name) {
    static constexpr std::string_view marks = "!#$&-^_.+";
    return !name.empty() && name.size() <= 127 && isLetterOrDigit(name.front()) &&
           std::ranges::all_of(name, [](char c) { return isLetterOrDigit(c) || marks.contains(c); });
  };
  const std::size_t slash = text.find('/');
  return slash != std::string_view::npos && isName(text.substr(0, slash)) && isName(text.substr(slash + 1));
}

}  // namespace Tessaly::inline v1::detail
