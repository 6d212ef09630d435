// SPDX-License-Identifier: MIT
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <functional>
#include <optional>
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

using OnPiece = std::function<void(std::span<const std::uint8_t>)>;

/// A file that is read in blocks, on threads that may block.
class BlockReader {
 public:
  explicit BlockReader(const URL& file) : handle_(FileManager::default_().openForReading(file)) {
    struct stat status{};
    if (::fstat(handle_.fileDescriptor(), &status) != 0) throw POSIXError::last();
    size_ = static_cast<double>(status.st_size);
  }

  /// Reads blocks until at least this part of the size is done. Returns the part that is done, or 1 at the end of the
  /// file. A file that has grown is read to its end, too.
  double readTo(double part, const std::atomic<bool>& isCancelled, const OnPiece& onPiece) {
    for (;;) {
      if (isCancelled) throw CancellationError();
      const ssize_t count = ::read(handle_.fileDescriptor(), block_.data(), block_.size());
      if (count < 0 && errno == EINTR) continue;
      if (count < 0) throw POSIXError::last();
      if (count == 0) return 1;
      onPiece({block_.data(), static_cast<std::size_t>(count)});
      done_ += static_cast<double>(count);
      if (done_ < size_ && done_ >= part * size_) return done_ / size_;
    }
  }

 private:
  FileHandle handle_;
  double size_ = 0;
  double done_ = 0;
  std::vector<std::uint8_t> block_ = std::vector<std::uint8_t>(std::size_t{256} * 1024);
};

Async<void> readWhole(const URL& file, const std::atomic<bool>& isCancelled, const OnPiece& onPiece,
                      const std::function<void(double)>& onProgress) {
  constexpr double step = 0.01;
  std::optional<BlockReader> reader;
  for (double done = 0; done < 1;) {
    done = co_await runBlocking([&] {
      if (!reader) reader.emplace(file);
      return reader->readTo(onProgress ? done + step : 1, isCancelled, onPiece);
    });
    if (onProgress) onProgress(done);
  }
}

}  // namespace

Async<void> detail::readInPieces(URL file, std::function<void(std::span<const std::uint8_t>)> onPiece,
                                 std::function<void(double)> onProgress) {
  std::atomic<bool> isCancelled{false};
  co_await withTaskCancellationHandler([&] { return readWhole(file, isCancelled, onPiece, onProgress); },
                                       [&] { isCancelled = true; });
}

std::string stringEncoded(const SHA256Digest& digest) { return hexadecimal(digest.bytes); }

std::string stringEncoded(const SHA512Digest& digest) { return hexadecimal(digest.bytes); }

std::string stringEncoded(const HashedAuthenticationCode& code) { return hexadecimal(code.bytes); }

std::string Insecure::stringEncoded(const MD5Digest& digest) { return hexadecimal(digest.bytes); }

}  // namespace Tessaly::inline v1
