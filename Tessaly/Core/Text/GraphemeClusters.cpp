// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Text/GraphemeClusters.hpp"

#include "Tessaly/Core/Text/UTF8.hpp"
#include "Tessaly/Core/Text/detail/ASCII.hpp"
#include "Tessaly/Core/Text/detail/CharacterClasses.hpp"
#include "Tessaly/Core/Text/detail/ClusterStarts.hpp"

namespace Tessaly::inline v1::Text {
namespace {

using detail::CharacterBreaker;
using detail::CharacterProperties;

constexpr std::size_t longestCluster = std::size_t{1} << 30;

/// The end of the cluster that begins at an offset.
std::size_t clusterEnd(std::string_view text, std::size_t begin) noexcept {
  const DecodedScalar first = decodeScalar(text, begin);
  CharacterBreaker breaker(CharacterProperties(first.scalar).characterClass());
  std::size_t end = begin + first.length;
  while (end < text.size() && end - begin < longestCluster) {
    const DecodedScalar next = decodeScalar(text, end);
    if (breaker.breaksBefore(CharacterProperties(next.scalar).characterClass())) break;
    end += next.length;
  }
  return end;
}

}  // namespace

void GraphemeClusters::Iterator::fill() noexcept {
  next_ = 0;
  count_ = 0;
  std::size_t at = offset_;
  while (count_ < lengths_.size() && at < text_.size()) {
    const std::size_t end = clusterEnd(text_, at);
    lengths_[count_++] = static_cast<std::uint32_t>(end - at);
    at = end;
  }
}

std::string_view lastGraphemeCluster(std::string_view text) noexcept {
  if (text.empty()) return text;
  std::size_t begin = detail::certainStart(text, text.size());
  for (;;) {
    const std::size_t end = clusterEnd(text, begin);
    if (end == text.size()) return text.substr(begin);
    begin = end;
  }
}

std::int64_t graphemeClusterCount(std::string_view text) noexcept {
  if (text.empty()) return 0;
  const DecodedScalar first = decodeScalar(text, 0);
  CharacterBreaker breaker(CharacterProperties(first.scalar).characterClass());
  std::int64_t count = 1;
  for (std::size_t at = first.length; at < text.size();) {
    const DecodedScalar next = decodeScalar(text, at);
    at += next.length;
    count += breaker.breaksBefore(CharacterProperties(next.scalar).characterClass()) ? 1 : 0;
    if (next.scalar >= 0x80 || next.scalar == U'\r') continue;
    // After ASCII, every ASCII byte begins a cluster, except the line feed of a CR LF.
    const std::size_t end = detail::skipASCIIWithoutReturns(text, at);
    if (end == at) continue;
    count += static_cast<std::int64_t>(end - at);
    breaker = CharacterBreaker(CharacterProperties(static_cast<unsigned char>(text[end - 1])).characterClass());
    at = end;
  }
  return count;
}

}  // namespace Tessaly::inline v1::Text
