// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Text/detail/ClusterStarts.hpp"

#include <algorithm>

#include "Tessaly/Core/Text/detail/CharacterClasses.hpp"

namespace Tessaly::inline v1::Text {
namespace {

using detail::CharacterClass;
using detail::CharacterProperties;

CharacterClass classOf(const DecodedScalar& decoded) noexcept {
  return CharacterProperties(decoded.scalar).characterClass();
}

/// The number of consecutive regional indicators before an offset.
std::size_t flagsBefore(std::string_view text, std::size_t offset) noexcept {
  std::size_t count = 0;
  while (offset > 0) {
    const DecodedScalar before = detail::scalarBefore(text, offset);
    if (classOf(before) != CharacterClass::regionalIndicator) break;
    offset -= before.length;
    ++count;
  }
  return count;
}

/// Whether the text before an offset ends in a pictograph and optional marks.
bool endsInPictograph(std::string_view text, std::size_t offset) noexcept {
  using enum CharacterClass;
  while (offset > 0) {
    const DecodedScalar before = detail::scalarBefore(text, offset);
    const CharacterClass last = classOf(before);
    if (last != extend && last != extendWithClass && last != virama) return last == pictograph;
    offset -= before.length;
  }
  return false;
}

}  // namespace

DecodedScalar detail::scalarBefore(std::string_view text, std::size_t offset) noexcept {
  const std::string_view head = text.substr(0, offset);
  // In a scalar, and in an ill-formed part of a scalar, every byte after the first is a continuation byte.
  std::size_t begin = offset - 1;
  const std::size_t lowest = offset - std::min<std::size_t>(offset, 4);
  while (begin > lowest && (static_cast<unsigned char>(head[begin]) & 0xC0) == 0x80) --begin;
  for (;;) {
    const DecodedScalar decoded = decodeScalar(head, begin);
    if (begin + decoded.length == offset) return decoded;
    begin += decoded.length;
  }
}

std::size_t detail::certainStart(std::string_view text, std::size_t offset) noexcept {
  DecodedScalar after = scalarBefore(text, offset);
  std::size_t start = offset - after.length;
  while (start > 0) {
    const DecodedScalar before = scalarBefore(text, start);
    if (joint(classOf(before), classOf(after)) == Joint::breaks) break;
    after = before;
    start -= before.length;
  }
  return start;
}

bool detail::isClusterStart(std::string_view text, std::size_t offset) noexcept {
  if (offset == 0) return true;
  const DecodedScalar before = scalarBefore(text, offset);
  const CharacterClass at = classOf(decodeScalar(text, offset));
  switch (joint(classOf(before), at)) {
    case Joint::breaks:
      return true;
    case Joint::joins:
      return false;
    case Joint::dependsOnFlags:
      return flagsBefore(text, offset) % 2 == 0;
    case Joint::dependsOnPictographs:
      return !endsInPictograph(text, offset - before.length);
    case Joint::dependsOnConjuncts:
      break;
  }
  std::size_t position = certainStart(text, offset);
  DecodedScalar decoded = decodeScalar(text, position);
  CharacterBreaker breaker(classOf(decoded));
  for (position += decoded.length; position < offset; position += decoded.length) {
    decoded = decodeScalar(text, position);
    breaker.breaksBefore(classOf(decoded));
  }
  return breaker.breaksBefore(at);
}

}  // namespace Tessaly::inline v1::Text
