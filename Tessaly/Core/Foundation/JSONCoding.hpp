// SPDX-License-Identifier: MIT
// Component: Tessaly::Foundation
#pragma once

#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Foundation/Data.hpp"
#include "Tessaly/Core/Foundation/DecodingError.hpp"  // IWYU pragma: export
#include "Tessaly/Core/Foundation/URL.hpp"

namespace Tessaly::inline v1 {

namespace detail {
struct JSONValue;
}

/// The members of an encoded object. All functions throw `DecodingError`.
///
/// Thread contract: thread-safe.
///
///     const KeyedDecodingContainer members = decoder.container();
///     Data token = members.decodeData("data");
class KeyedDecodingContainer {
 public:
  [[nodiscard]] TESSALY_EXPORT bool contains(std::string_view key) const;
  [[nodiscard]] TESSALY_EXPORT std::string decodeString(std::string_view forKey) const;
  /// Of a text in Base64.
  [[nodiscard]] TESSALY_EXPORT Data decodeData(std::string_view forKey) const;
  [[nodiscard]] TESSALY_EXPORT URL decodeURL(std::string_view forKey) const;
  [[nodiscard]] TESSALY_EXPORT std::map<std::string, std::string> decodeStringMap(std::string_view forKey) const;

 private:
  friend class Decoder;
  explicit KeyedDecodingContainer(std::shared_ptr<const detail::JSONValue> value) noexcept;

  std::shared_ptr<const detail::JSONValue> value_;
};

/// What a value is decoded from.
///
/// Thread contract: thread-safe.
///
///     struct Song {
///       explicit Song(const Decoder& decoder) : title(decoder.container().decodeString("title")) {}
///       std::string title;
///     };
class Decoder {
 public:
  /// The members of the object that is decoded. Throws `DecodingError` when it is none.
  [[nodiscard]] TESSALY_EXPORT KeyedDecodingContainer container() const;

 private:
  friend class JSONDecoder;
  explicit Decoder(std::shared_ptr<const detail::JSONValue> value) noexcept;

  std::shared_ptr<const detail::JSONValue> value_;
};

/// Reads JSON (RFC 8259). Nesting of any depth is read without using up the stack.
///
/// Thread contract: thread-safe.
///
///     Song song = JSONDecoder::decode<Song>(data);
class JSONDecoder {
 public:
  /// The decoder of a text. Throws `DecodingError` when it is not JSON in UTF-8.
  [[nodiscard]] TESSALY_EXPORT static Decoder decoder(const Data& data);
  /// A value made from a decoder.
  template <typename Value>
  [[nodiscard]] static Value decode(const Data& data) {
    return Value(decoder(data));
  }
};

/// The members of an object that is encoded. A key that comes twice stands there twice.
///
/// Thread contract: thread-compatible.
///
///     encoder.encode(title, "title");
class Encoder {
 public:
  /// In text that is not UTF-8 U+FFFD stands for what is ill-formed.
  TESSALY_EXPORT void encode(std::string_view text, std::string_view forKey);
  void encode(const std::string& text, std::string_view forKey) { encode(std::string_view(text), forKey); }
  void encode(const char* text, std::string_view forKey) { encode(std::string_view(text), forKey); }
  /// As Base64.
  void encode(const Data& data, std::string_view forKey) { encode(data.base64EncodedString(), forKey); }
  /// As its absolute string.
  void encode(const URL& url, std::string_view forKey) { encode(url.absoluteString(), forKey); }

 private:
  friend class JSONEncoder;

  std::string members_;
};

/// Writes JSON without blanks, "/" escaped.
///
/// Thread contract: thread-safe.
///
///     Data text = JSONEncoder::encode(song);
class JSONEncoder {
 public:
  /// Encodes a value that has `encode(Encoder&)`.
  template <typename Value>
  [[nodiscard]] static Data encode(const Value& value) {
    Encoder encoder;
    value.encode(encoder);
    return finish(encoder);
  }

 private:
  [[nodiscard]] TESSALY_EXPORT static Data finish(const Encoder& encoder);
};

}  // namespace Tessaly::inline v1
