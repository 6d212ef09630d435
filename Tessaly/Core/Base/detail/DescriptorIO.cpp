// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Base/detail/DescriptorIO.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace Tessaly::inline v1::detail {
namespace {

/// Calls `moveRest` with the number of bytes moved so far. Ends when all bytes have moved, a call fails with an error
/// other than `EINTR`, or a call moves no byte.
template <typename MoveRest>
Transferred transfer(std::size_t size, MoveRest moveRest) noexcept {
  Transferred result;
  while (result.count < size) {
    const ssize_t moved = moveRest(result.count);
    if (moved < 0 && errno == EINTR) continue;
    if (moved < 0) result.error = errno;
    if (moved <= 0) break;
    result.count += static_cast<std::size_t>(moved);
  }
  return result;
}

Transferred asWritten(Transferred result, std::size_t size) noexcept {
  if (result.count < size && result.error == 0) result.error = EIO;
  return result;
}

}  // namespace

OwnedDescriptor openFile(const char* path, int flags, mode_t mode) noexcept {
  for (;;) {
    OwnedDescriptor file(::open(path, flags | O_CLOEXEC, mode));
    if (file.isOpen() || errno != EINTR) return file;
  }
}

Transferred readFull(int descriptor, void* space, std::size_t size) noexcept {
  return transfer(size,
                  [&](std::size_t done) { return ::read(descriptor, static_cast<char*>(space) + done, size - done); });
}

Transferred readFullAt(int descriptor, void* space, std::size_t size, off_t offset) noexcept {
  return transfer(size, [&](std::size_t done) {
    return ::pread(descriptor, static_cast<char*>(space) + done, size - done, offset + static_cast<off_t>(done));
  });
}

Transferred writeFull(int descriptor, const void* bytes, std::size_t size) noexcept {
  const auto writeRest = [&](std::size_t done) {
    return ::write(descriptor, static_cast<const char*>(bytes) + done, size - done);
  };
  return asWritten(transfer(size, writeRest), size);
}

Transferred writeFullAt(int descriptor, const void* bytes, std::size_t size, off_t offset) noexcept {
  const auto writeRest = [&](std::size_t done) {
    return ::pwrite(descriptor, static_cast<const char*>(bytes) + done, size - done, offset + static_cast<off_t>(done));
  };
  return asWritten(transfer(size, writeRest), size);
}

std::optional<std::string> beginningOfFile(const std::string& path, std::size_t maximum) {
  const OwnedDescriptor file = openFile(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY);
  if (!file.isOpen()) return std::nullopt;
  std::string bytes(maximum, '\0');
  const Transferred received = readFull(file.get(), bytes.data(), maximum);
  if (received.error != 0) {
    errno = received.error;
    return std::nullopt;
  }
  bytes.resize(received.count);
  return bytes;
}

int closeReporting(OwnedDescriptor descriptor) noexcept {
  // An interrupted close has closed the descriptor anyway.
  return ::close(descriptor.release()) == 0 || errno == EINTR ? 0 : errno;
}

}  // namespace Tessaly::inline v1::detail
