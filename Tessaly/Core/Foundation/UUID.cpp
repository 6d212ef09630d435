// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Foundation/UUID.hpp"

#include <pthread.h>
#include <sys/random.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <ostream>

#include "Tessaly/Core/Base/FatalError.hpp"
#include "Tessaly/Core/Base/detail/FirstUse.hpp"
#include "Tessaly/Core/Base/detail/Hexadecimal.hpp"

namespace Tessaly::inline v1 {
namespace {

/// The generation of this process: 1, and one more for each fork after the first random identifier. 0 is no generation.
constinit std::atomic<std::uint32_t> forkGeneration{1};

/// The kernel's random bytes for the next identifiers of a thread. A call for each identifier would cost six times as
/// much. The type is zero-initialised and trivially destructible, so it works at any time of a thread's life.
struct Supply {
  std::uint32_t generation;
  std::size_t used;
  std::array<std::uint8_t, 256> bytes;

  void refill(std::uint32_t currentGeneration) noexcept {
    // The kernel gives 256 bytes at once. A signal can only interrupt the wait for its first entropy.
    while (::getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size())) {
      if (errno != EINTR) fatalError("The kernel gives no random bytes", "Tessaly/UUID", __LINE__);
    }
    used = 0;
    generation = currentGeneration;
  }

  UUID::Bytes next() noexcept {
    const std::uint32_t currentGeneration = forkGeneration.load(std::memory_order_relaxed);
    if (generation != currentGeneration || used == bytes.size()) [[unlikely]]
      refill(currentGeneration);
    UUID::Bytes result;
    std::memcpy(result.data(), bytes.data() + used, result.size());
    used += result.size();
    return result;
  }
};

constinit thread_local Supply supply{};

constexpr bool isHyphenBefore(std::size_t byteIndex) noexcept {
  return byteIndex == 4 || byteIndex == 6 || byteIndex == 8 || byteIndex == 10;
}

}  // namespace

UUID UUID::random() noexcept {
  detail::callInForkedChildren<[] { forkGeneration.fetch_add(1, std::memory_order_relaxed); }>();
  Bytes bytes = supply.next();
  bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0F) | 0x40);
  bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3F) | 0x80);
  return UUID(bytes);
}

std::optional<UUID> UUID::from(std::string_view text) noexcept {
  if (text.size() != 36) return std::nullopt;
  Bytes bytes{};
  std::size_t at = 0;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if (isHyphenBefore(i) && text[at++] != '-') return std::nullopt;
    const int high = detail::hexadecimalValue(text[at++]);
    const int low = detail::hexadecimalValue(text[at++]);
    if (high < 0 || low < 0) return std::nullopt;
    bytes[i] = static_cast<std::uint8_t>(high << 4 | low);
  }
  return UUID(bytes);
}

std::string UUID::uuidString() const {
  std::string text;
  text.reserve(36);
  for (std::size_t i = 0; i < bytes_.size(); ++i) {
    if (isHyphenBefore(i)) text.push_back('-');
    detail::appendHexadecimal(text, bytes_[i], detail::upperHexadecimalDigits);
  }
  return text;
}

std::ostream& operator<<(std::ostream& stream, const UUID& uuid) { return stream << uuid.description(); }

}  // namespace Tessaly::inline v1
