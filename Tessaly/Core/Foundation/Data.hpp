// SPDX-License-Identifier: MIT
// Component: Tessaly::Foundation
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <iosfwd>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Foundation/CopyOnWrite.hpp"

namespace Tessaly::inline v1 {

class URL;

/// A block of bytes with value semantics. Copies share their storage until one of them is written.
///
/// The nearest standard facility is `std::vector<std::uint8_t>`, where every copy duplicates all bytes. Iterators and
/// `bytes()` are read-only. `set`, `append` and `modify` change the bytes.
///
/// Thread contract: thread-compatible.
///
///     Data greeting(std::string_view("Hi"));
///     greeting.append({0x21});
///     std::cout << greeting << ' ' << greeting.base64EncodedString();  // 3 bytes SGkh
class Data {
 public:
  using Bytes = std::vector<std::uint8_t>;
  using value_type = std::uint8_t;
  using const_iterator = const std::uint8_t*;
  using iterator = const_iterator;

  /// An empty block.
  Data() noexcept = default;
  /// Moves the bytes into the new value.
  explicit Data(Bytes bytes) : bytes_(std::move(bytes)) {}
  /// Copies the bytes.
  TESSALY_EXPORT explicit Data(std::span<const std::uint8_t> bytes);
  /// Copies the bytes.
  explicit Data(std::span<const std::byte> bytes) : Data(std::string_view(toChars(bytes.data()), bytes.size())) {}
  /// Copies the bytes of a text.
  TESSALY_EXPORT explicit Data(std::string_view text);

  /// Parses Base64 with padding (RFC 4648, section 4). Absent for any other text, also for Base64 with white space.
  [[nodiscard]] TESSALY_EXPORT static std::optional<Data> fromBase64(std::string_view text);

  /// Reads a whole file. Throws `POSIXError` if the file cannot be read, and `URLError` (`unsupportedURL`) if the URL
  /// is not a file URL. Throws `POSIXError` with `ENOMEM` if a file of 64 MiB or more does not fit into the free
  /// memory.
  ///
  /// Thread contract: thread-safe. Blocks on the file system.
  [[nodiscard]] TESSALY_EXPORT static Data contentsOf(const URL& file);

  /// Replaces the contents of a file by these bytes, or creates the file. Writes in place, not through a temporary
  /// file. A new file gets the mode 0666 without the bits of the process's `umask`. Throws `POSIXError` if the file
  /// cannot be written, and `URLError` (`unsupportedURL`) if the URL is not a file URL. After a throw, the file may be
  /// empty or incomplete.
  ///
  /// Thread contract: thread-safe. Blocks on the file system.
  TESSALY_EXPORT void write(const URL& file) const;

  [[nodiscard]] std::int64_t count() const noexcept { return static_cast<std::int64_t>(size()); }
  [[nodiscard]] bool isEmpty() const noexcept { return bytes_.read().empty(); }
  [[nodiscard]] std::size_t size() const noexcept { return bytes_.read().size(); }
  [[nodiscard]] const std::uint8_t* data() const noexcept { return bytes_.read().data(); }
  [[nodiscard]] const_iterator begin() const noexcept { return data(); }
  [[nodiscard]] const_iterator end() const noexcept { return data() + size(); }
  /// The byte at an index. Stops the process if the index is out of range.
  [[nodiscard]] std::uint8_t operator[](std::int64_t index) const noexcept {
    if (index < 0 || index >= count()) [[unlikely]]
      stopOutOfRange(index);
    return data()[index];
  }

  /// The bytes. Valid until this value is changed or destroyed.
  [[nodiscard]] std::span<const std::uint8_t> bytes() const noexcept TESSALY_LIFETIMEBOUND { return {data(), size()}; }
  /// The bytes as characters, without a check of their encoding. Valid until this value is changed or destroyed.
  [[nodiscard]] std::string_view text() const noexcept TESSALY_LIFETIMEBOUND { return {toChars(data()), size()}; }

  /// Changes the byte at an index. Stops the process if the index is out of range.
  void set(std::int64_t index, std::uint8_t byte) {
    if (index < 0 || index >= count()) [[unlikely]]
      stopOutOfRange(index);
    bytes_.modify()[static_cast<std::size_t>(index)] = byte;
  }
  /// Appends bytes, which may be bytes of this value.
  TESSALY_EXPORT void append(std::span<const std::uint8_t> bytes);
  void append(std::initializer_list<std::uint8_t> bytes) { append(std::span(bytes.begin(), bytes.size())); }
  void append(const Data& other) { append(other.bytes()); }
  /// Calls the body with the bytes as a vector, which the body may change. Returns the body's result. A reference to
  /// the vector must not outlive the call.
  template <typename Body>
  decltype(auto) modify(Body&& body) {
    return std::forward<Body>(body)(bytes_.modify());
  }

  /// Base64 with padding and without line breaks (RFC 4648, section 4).
  [[nodiscard]] TESSALY_EXPORT std::string base64EncodedString() const;

  /// The number of bytes, such as "3 bytes". A single byte also has the plural: "1 bytes".
  [[nodiscard]] TESSALY_EXPORT std::string description() const;

  [[nodiscard]] TESSALY_EXPORT bool operator==(const Data& other) const noexcept;

 private:
  static const char* toChars(const void* bytes) noexcept { return static_cast<const char*>(bytes); }
  [[noreturn]] TESSALY_EXPORT static void stopOutOfRange(std::int64_t index) noexcept;

  CopyOnWrite<Bytes> bytes_;
};

/// Writes `description()`.
TESSALY_EXPORT std::ostream& operator<<(std::ostream& stream, const Data& data);

}  // namespace Tessaly::inline v1

template <>
struct std::hash<Tessaly::Data> {
  std::size_t operator()(const Tessaly::Data& data) const noexcept {
    return std::hash<std::string_view>()(data.text());
  }
};
