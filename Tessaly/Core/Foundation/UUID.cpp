// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Foundation/UUID.hpp"

#include <pthread.h>
#include <sys/random.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <ostream>

#include "Tessaly/Core/Base/FatalError.hpp"
#include "Tessaly/Core/Base/detail/Hexadecimal.hpp"
#include "Tessaly/Core/Foundation/detail/ChaCha20.hpp"

namespace Tessaly::inline v1 {
namespace {

/// Counts the forks that lead to this process, from the first random identifier on.
constinit std::atomic<std::uint32_t> forkGeneration{1};

void fillWithRandomBytes(void* bytes, std::size_t count) noexcept {
  // Up to 256 bytes come whole; only waiting for the kernel's first entropy can be interrupted.
  while (::getrandom(bytes, count, 0) != static_cast<ssize_t>(count)) {
    if (errno != EINTR) fatalError("The kernel gives no random bytes", "Tessaly/UUID", __LINE__);
  }
}

/// A thread's generator. Zero-initialised and trivially destructible, so that it works at any time of a thread's life.
struct Generator {
  std::uint32_t generation;
  std::uint32_t used;  // Words of `block` already given out.
  std::array<std::uint32_t, 8> key;
  std::uint64_t counter;
  std::array<std::uint32_t, 16> block;

  void seed(std::uint32_t currentGeneration) noexcept {
    fillWithRandomBytes(key.data(), sizeof key);
    counter = 0;
    used = block.size();
    generation = currentGeneration;
  }

  UUID::Bytes next() noexcept {
    const std::uint32_t currentGeneration = forkGeneration.load(std::memory_order_relaxed);
    if (generation != currentGeneration) [[unlikely]]
      seed(currentGeneration);
    if (used == block.size()) {
      block = detail::chaCha20Block(
          key, {static_cast<std::uint32_t>(counter), static_cast<std::uint32_t>(counter >> 32), 0, 0});
      ++counter;
      used = 0;
    }
    UUID::Bytes bytes;
    std::memcpy(bytes.data(), block.data() + used, bytes.size());
    used += bytes.size() / sizeof(std::uint32_t);
    return bytes;
  }
};

constinit thread_local Generator generator{};

constexpr bool isHyphenBefore(std::size_t byteIndex) noexcept {
  return byteIndex == 4 || byteIndex == 6 || byteIndex == 8 || byteIndex == 10;
}

}  // namespace

UUID UUID::random() noexcept {
  [[maybe_unused]] static const int seedAgainAfterFork =
      ::pthread_atfork(nullptr, nullptr, [] { forkGeneration.fetch_add(1, std::memory_order_relaxed); });
  Bytes bytes = generator.next();
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
