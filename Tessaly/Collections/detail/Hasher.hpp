// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>

namespace Tessaly::inline v1::detail {

/// Folds the hashes of several values, in order, into one.
///
/// Thread contract: thread-compatible.
class Hasher {
 public:
  template <typename Value>
  void feed(const Value& value) {
    state_ = mix(state_ ^ (std::hash<Value>()(value) + 0x9E37'79B9'7F4A'7C15u));
  }
  [[nodiscard]] std::size_t finish() const noexcept { return static_cast<std::size_t>(state_); }

 private:
  /// The finalizer of SplitMix64 (Steele, Lea, Flood: Fast Splittable Pseudorandom Number Generators, 2014).
  static std::uint64_t mix(std::uint64_t value) noexcept {
    value = (value ^ (value >> 30)) * 0xBF58'476D'1CE4'E5B9u;
    value = (value ^ (value >> 27)) * 0x94D0'49BB'1331'11EBu;
    return value ^ (value >> 31);
  }

  std::uint64_t state_ = 0;
};

}  // namespace Tessaly::inline v1::detail
