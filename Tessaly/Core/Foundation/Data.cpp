// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Foundation/Data.hpp"

#include <fcntl.h>
#include <fmt/format.h>
#include <openssl/evp.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <ostream>
#include <utility>

#include "Tessaly/Core/Base/FatalError.hpp"
#include "Tessaly/Core/Base/detail/DescriptorIO.hpp"
#include "Tessaly/Core/Foundation/POSIXError.hpp"
#include "Tessaly/Core/Foundation/URL.hpp"
#include "Tessaly/Core/Foundation/URLError.hpp"
#include "Tessaly/Core/Foundation/detail/AvailableMemory.hpp"
#include "Tessaly/Core/Foundation/detail/CryptoLibrary.hpp"

namespace Tessaly::inline v1 {
namespace {

TESSALY_LATE_FUNCTION(detail::cryptoLibrary, EVP_DecodeBlock);
TESSALY_LATE_FUNCTION(detail::cryptoLibrary, EVP_EncodeBlock);

constexpr bool isBase64Digit(char c) noexcept {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '+' || c == '/';
}

/// libcrypto counts in `int`. Pieces of this size consist of whole groups of bytes and of digits.
constexpr std::size_t largestBase64Piece = std::size_t{12} << 20;

/// Files of this size and larger are compared with the free memory before they are read.
constexpr off_t largeFile = off_t{64} << 20;

detail::OwnedDescriptor open(const URL& file, int flags) {
  if (!file.isFileURL()) throw URLError(URLError::Code::unsupportedURL);
  const std::string path = file.path();
  if (path.find('\0') != std::string::npos) throw POSIXError(EINVAL);
  detail::OwnedDescriptor opened = detail::openFile(path.c_str(), flags, 0666);
  if (!opened.isOpen()) throw POSIXError::last();
  return opened;
}

}  // namespace

std::optional<Data> Data::fromBase64(std::string_view text) {
  const std::size_t padding = text.ends_with("==") ? 2 : text.ends_with('=') ? 1 : 0;
  // libcrypto would skip white space and accept padding anywhere.
  if (text.size() % 4 != 0 || !std::ranges::all_of(text.substr(0, text.size() - padding), isBase64Digit)) {
    return std::nullopt;
  }
  detail::requireCrypto();
  Bytes bytes(text.size() / 4 * 3);
  for (std::size_t i = 0; i < text.size(); i += largestBase64Piece) {
    const std::string_view piece = text.substr(i, largestBase64Piece);
    EVP_DecodeBlock(bytes.data() + i / 4 * 3, reinterpret_cast<const unsigned char*>(piece.data()),
                    static_cast<int>(piece.size()));
  }
  bytes.resize(bytes.size() - padding);
  return Data(std::move(bytes));
}

std::string Data::base64EncodedString() const {
  detail::requireCrypto();
  const auto source = bytes();
  std::string text((source.size() + 2) / 3 * 4, '\0');
  for (std::size_t i = 0; i < source.size(); i += largestBase64Piece) {
    const auto piece = source.subspan(i, std::min(largestBase64Piece, source.size() - i));
    // The function writes a zero after the digits. The next piece overwrites this zero. The zero of the last piece is
    // the end of the string.
    EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data() + i / 3 * 4), piece.data(),
                    static_cast<int>(piece.size()));
  }
  return text;
}

Data Data::contentsOf(const URL& file) {
  const detail::OwnedDescriptor opened = open(file, O_RDONLY);
  struct stat status{};
  if (::fstat(opened.get(), &status) != 0) throw POSIXError::last();
  // A request for more memory than is free would end this process or another one instead of failing.
  if (status.st_size >= largeFile && status.st_size > detail::availableMemory()) throw POSIXError(ENOMEM);
  // The size is a hint: a file may grow while it is read, and files of /proc report the size 0.
  Bytes bytes;
  std::size_t count = 0;
  for (bytes.resize(static_cast<std::size_t>(std::max<off_t>(status.st_size, 0)) + 1);;) {
    const auto received = detail::readFull(opened.get(), bytes.data() + count, bytes.size() - count);
    if (received.error != 0) throw POSIXError(received.error);
    count += received.count;
    if (count < bytes.size()) break;
    bytes.resize(std::max<std::size_t>(4096, bytes.size() * 2));
  }
  bytes.resize(count);
  return Data(std::move(bytes));
}

void Data::write(const URL& file) const {
  detail::OwnedDescriptor opened = open(file, O_WRONLY | O_CREAT | O_TRUNC);
  const auto own = bytes();
  if (const int error = detail::writeFull(opened.get(), own.data(), own.size()).error) throw POSIXError(error);
  if (const int error = detail::closeReporting(std::move(opened))) throw POSIXError(error);
}

void Data::append(std::span<const std::uint8_t> bytes) {
  const std::less_equal<const std::uint8_t*> precedes;
  if (precedes(begin(), bytes.data()) && precedes(bytes.data(), end())) {
    // The bytes may belong to this value, whose storage will change.
    const Bytes copy(bytes.begin(), bytes.end());
    modify([&](Bytes& own) { own.insert(own.end(), copy.begin(), copy.end()); });
  } else {
    modify([&](Bytes& own) { own.insert(own.end(), bytes.begin(), bytes.end()); });
  }
}

std::string Data::description() const { return fmt::format("{} bytes", count()); }

std::ostream& operator<<(std::ostream& stream, const Data& data) { return stream << data.description(); }

void Data::stopOutOfRange(std::int64_t index) noexcept {
  fatalError(fmt::format("Index {} is out of range", index), "Tessaly/Data", __LINE__);
}

}  // namespace Tessaly::inline v1
