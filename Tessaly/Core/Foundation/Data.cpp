// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Foundation/Data.hpp"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <ostream>
#include <utility>

#include "Tessaly/Core/Base/FatalError.hpp"
#include "Tessaly/Core/Base/detail/DescriptorIO.hpp"
#include "Tessaly/Core/Foundation/POSIXError.hpp"
#include "Tessaly/Core/Foundation/URL.hpp"
#include "Tessaly/Core/Foundation/URLError.hpp"
#include "Tessaly/Core/Foundation/detail/AvailableMemory.hpp"

namespace Tessaly::inline v1 {
namespace {

constexpr std::string_view base64Digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::uint8_t notADigit = 0xFF;

constexpr std::array<std::uint8_t, 256> makeBase64Values() {
  std::array<std::uint8_t, 256> values{};
  values.fill(notADigit);
  for (std::size_t i = 0; i < base64Digits.size(); ++i) {
    values[static_cast<unsigned char>(base64Digits[i])] = static_cast<std::uint8_t>(i);
  }
  return values;
}

constexpr auto base64Values = makeBase64Values();

/// From this size on it is looked whether a file fits into memory.
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
  if (text.size() % 4 != 0) return std::nullopt;
  const std::size_t padding = text.ends_with("==") ? 2 : text.ends_with('=') ? 1 : 0;
  const std::size_t digits = text.size() - padding;
  Bytes bytes;
  bytes.reserve(text.size() / 4 * 3);
  std::uint32_t bits = 0;
  for (std::size_t i = 0; i < digits; ++i) {
    const std::uint8_t value = base64Values[static_cast<unsigned char>(text[i])];
    if (value == notADigit) return std::nullopt;
    bits = bits << 6 | value;
    // The digits of a group of four end a byte each, except for the first.
    if (i % 4 != 0) bytes.push_back(static_cast<std::uint8_t>(bits >> (6 - 2 * (i % 4))));
  }
  return Data(std::move(bytes));
}

std::string Data::base64EncodedString() const {
  const auto source = bytes();
  std::string text;
  text.reserve((source.size() + 2) / 3 * 4);
  for (std::size_t i = 0; i < source.size(); i += 3) {
    const std::size_t group = std::min<std::size_t>(3, source.size() - i);
    std::uint32_t bits = 0;
    for (std::size_t j = 0; j < 3; ++j) bits = bits << 8 | (j < group ? source[i + j] : 0u);
    for (std::size_t j = 0; j < 4; ++j) text.push_back(j <= group ? base64Digits[bits >> (18 - 6 * j) & 0x3F] : '=');
  }
  return text;
}

Data Data::contentsOf(const URL& file) {
  const detail::OwnedDescriptor opened = open(file, O_RDONLY);
  struct stat status{};
  if (::fstat(opened.get(), &status) != 0) throw POSIXError::last();
  // Asking for more memory than there is would end this process, or another one, instead of failing.
  if (status.st_size >= largeFile && status.st_size > detail::availableMemory()) throw POSIXError(ENOMEM);
  // The size is a hint: a file may grow while it is read, and those of /proc say 0.
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
    // They may be of this value, whose storage is about to change.
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
