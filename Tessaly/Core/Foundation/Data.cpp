// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Foundation/Data.hpp"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
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

/// The values of the digits, by their characters. Every other character has the value `noDigit`.
constexpr std::uint8_t noDigit = 64;
constexpr auto base64Values = [] {
  std::array<std::uint8_t, 256> values{};
  values.fill(noDigit);
  for (std::size_t i = 0; i < base64Digits.size(); ++i) {
    values[static_cast<unsigned char>(base64Digits[i])] = static_cast<std::uint8_t>(i);
  }
  return values;
}();

constexpr std::uint32_t base64Value(char c) noexcept { return base64Values[static_cast<unsigned char>(c)]; }

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

Data::Data(std::span<const std::uint8_t> bytes) : bytes_(Bytes(bytes.begin(), bytes.end())) {}

Data::Data(std::string_view text) : bytes_(Bytes(text.begin(), text.end())) {}

bool Data::operator==(const Data& other) const noexcept {
  return bytes_.isIdentical(other.bytes_) || bytes_.read() == other.bytes_.read();
}

std::optional<Data> Data::fromBase64(std::string_view text) {
  if (text.size() % 4 != 0) return std::nullopt;
  const std::size_t padding = text.ends_with("==") ? 2 : text.ends_with('=') ? 1 : 0;
  const std::string_view digits = text.substr(0, text.size() - padding);
  if (!std::ranges::all_of(digits, [](char c) { return base64Value(c) != noDigit; })) return std::nullopt;
  Bytes bytes(text.size() / 4 * 3);
  for (std::size_t group = 0; group < text.size() / 4; ++group) {
    std::uint32_t bits = 0;
    // The padding has the value 0 here.
    for (const char c : text.substr(group * 4, 4)) bits = bits << 6 | (base64Value(c) & (noDigit - 1));
    for (std::size_t place = 0; place < 3; ++place) {
      bytes[group * 3 + place] = static_cast<std::uint8_t>(bits >> (16 - 8 * place));
    }
  }
  bytes.resize(bytes.size() - padding);
  return Data(std::move(bytes));
}

std::string Data::base64EncodedString() const {
  const auto source = bytes();
  std::string text((source.size() + 2) / 3 * 4, '=');
  char* out = text.data();
  for (std::size_t i = 0; i < source.size(); i += 3) {
    const auto group = source.subspan(i, std::min<std::size_t>(3, source.size() - i));
    std::uint32_t bits = 0;
    for (std::size_t place = 0; place < 3; ++place) bits = bits << 8 | (place < group.size() ? group[place] : 0);
    for (std::size_t place = 0; place <= group.size(); ++place)
      out[place] = base64Digits[bits >> (18 - 6 * place) & 63];
    out += 4;
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
