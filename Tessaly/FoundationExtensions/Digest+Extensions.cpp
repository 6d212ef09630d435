// SPDX-License-Identifier: MIT
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "Tessaly/Core/Base/Error.hpp"
#include "Tessaly/Core/Base/detail/Hexadecimal.hpp"
#include "Tessaly/Core/Foundation/POSIXError.hpp"
#include "Tessaly/Core/Tasks/BlockingWork.hpp"
#include "Tessaly/Core/Tasks/Cancellation.hpp"
#include "Tessaly/FoundationExtensions/Digest+Extensions.hpp"
#include "Tessaly/Platform/Files/FileManager.hpp"

namespace Tessaly::inline v1 {
namespace {

std::string hexadecimal(std::span<const std::uint8_t> bytes) {
  std::string text;
  text.reserve(2 * bytes.size());
  for (const std::uint8_t byte : bytes) detail::appendHexadecimal(text, byte, detail::lowerHexadecimalDigits);
  return text;
}

void readWhole(const URL& file, const std::atomic<bool>& isCancelled,
               const std::function<void(std::span<const std::uint8_t>)>& onPiece,
               const std::function<void(double)>& onProgress) {
  const FileHandle handle = FileManager::default_().openForReading(file);
  struct stat status{};
  if (::fstat(handle.fileDescriptor(), &status) != 0) throw POSIXError::last();
  const auto size = static_cast<double>(status.st_size);
  std::vector<std::uint8_t> block(std::size_t{256} * 1024);
  for (double done = 0;;) {
    if (isCancelled) throw CancellationError();
    const ssize_t count = ::read(handle.fileDescriptor(), block.data(), block.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) throw POSIXError::last();
    if (count == 0) break;
    onPiece({block.data(), static_cast<std::size_t>(count)});
    done += static_cast<double>(count);
    if (onProgress && done < size) onProgress(done / size);
  }
  if (onProgress) onProgress(1);
}

}  // namespace

Async<void> detail::readInPieces(URL file, std::function<void(std::span<const std::uint8_t>)> onPiece,
                                 std::function<void(double)> onProgress) {
  std::atomic<bool> isCancelled{false};
  co_await withTaskCancellationHandler(
      [&] { return runBlocking([&] { readWhole(file, isCancelled, onPiece, onProgress); }); },
      [&] { isCancelled = true; });
}

std::string stringEncoded(const SHA256Digest& digest) { return hexadecimal(digest.bytes); }

std::string stringEncoded(const SHA512Digest& digest) { return hexadecimal(digest.bytes); }

std::string stringEncoded(const HashedAuthenticationCode& code) { return hexadecimal(code.bytes); }

std::string Insecure::stringEncoded(const MD5Digest& digest) { return hexadecimal(digest.bytes); }

}  // namespace Tessaly::inline v1
