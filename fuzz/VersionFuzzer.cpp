// SPDX-License-Identifier: MIT
// Any bytes read as the same version as with a slow parser of the same rules. A version parses its own description.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Tessaly/ValueRecords/Version.hpp"

namespace {

using Tessaly::Version;

void require(bool condition) {
  if (!condition) std::abort();
}

std::optional<std::int64_t> numberIn(std::string_view piece) {
  const bool isNegative = piece.starts_with('-');
  if (isNegative || piece.starts_with('+')) piece.remove_prefix(1);
  if (piece.empty() || !std::ranges::all_of(piece, [](char c) { return c >= '0' && c <= '9'; })) return std::nullopt;
  __int128 number = 0;
  for (const char digit : piece) {
    number = number * 10 + (digit - '0');
    if (number > (__int128{1} << 64)) return std::nullopt;
  }
  if (isNegative) number = -number;
  if (number != static_cast<std::int64_t>(number)) return std::nullopt;
  return static_cast<std::int64_t>(number);
}

std::optional<Version> slowly(std::string_view text) {
  std::vector<std::string> pieces(1);
  for (const char byte : text) {
    if (byte == '.') {
      pieces.emplace_back();
    } else {
      pieces.back() += byte;
    }
  }
  std::erase(pieces, "");
  if (pieces.size() < 2) return std::nullopt;
  const auto major = numberIn(pieces[0]);
  const auto minor = numberIn(pieces[1]);
  if (!major || !minor) return std::nullopt;
  Version version(*major, *minor, 0, std::nullopt);
  if (pieces.size() > 2) version.patch = numberIn(pieces[2]).value_or(0);
  if (pieces.size() > 3) version.build = numberIn(pieces[3]);
  return version;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const auto version = Version::from(text);
  require(version == slowly(text));
  if (version) require(Version::from(version->description()) == version);
  return 0;
}
