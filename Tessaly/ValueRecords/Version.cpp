// SPDX-License-Identifier: MIT
#include "Tessaly/ValueRecords/Version.hpp"

#include <array>
#include <charconv>
#include <cstddef>
#include <ostream>
#include <span>

namespace Tessaly::inline v1 {
namespace {

/// A sign or none, then digits to the end.
std::optional<std::int64_t> numberIn(std::string_view piece) noexcept {
  if (piece.starts_with('+')) {
    piece.remove_prefix(1);
    if (piece.starts_with('-')) return std::nullopt;
  }
  std::int64_t number = 0;
  const char* const begin = piece.data();
  const char* const end = begin + piece.size();
  const auto [stop, error] = std::from_chars(begin, end, number);
  if (error != std::errc() || stop != end) return std::nullopt;
  return number;
}

/// The first four pieces that are not empty.
std::span<const std::string_view> split(std::string_view text, std::array<std::string_view, 4>& pieces) noexcept {
  std::size_t count = 0;
  for (std::size_t begin = 0; begin < text.size() && count < pieces.size();) {
    const std::size_t end = std::min(text.find('.', begin), text.size());
    if (end > begin) pieces[count++] = text.substr(begin, end - begin);
    begin = end + 1;
  }
  return std::span(pieces).first(count);
}

}  // namespace

std::optional<Version> Version::from(std::string_view text) noexcept {
  std::array<std::string_view, 4> storage;
  const auto pieces = split(text, storage);
  if (pieces.size() < 2) return std::nullopt;
  const auto major = numberIn(pieces[0]);
  const auto minor = numberIn(pieces[1]);
  if (!major || !minor) return std::nullopt;
  return Version{.major = *major,
                 .minor = *minor,
                 .patch = pieces.size() > 2 ? numberIn(pieces[2]).value_or(0) : 0,
                 .build = pieces.size() > 3 ? numberIn(pieces[3]) : std::nullopt};
}

std::string Version::description() const {
  std::array<char, std::size_t{4} * 21> buffer;
  char* at = buffer.data();
  const auto write = [&](std::int64_t number) { at = std::to_chars(at, buffer.data() + buffer.size(), number).ptr; };
  write(major);
  for (const std::int64_t number : {minor, patch}) {
    *at++ = '.';
    write(number);
  }
  if (build) {
    *at++ = '.';
    write(*build);
  }
  return std::string(buffer.data(), at);
}

std::ostream& operator<<(std::ostream& stream, const Version& version) { return stream << version.description(); }

}  // namespace Tessaly::inline v1
