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

/// The members of a parsed JSON object. The `decode` functions throw `DecodingError` if the member is missing or has
/// another type, or if its text is malformed.
///
/// Thread contract: thread-safe.
///
///     const KeyedDecodingContainer members = decoder.container();
///     Data token = members.decodeData("data");
class KeyedDecodingContainer {
 public:
  [[nodiscard]] TESSALY_EXPORT bool contains(std::string_view key) const;
  [[nodiscard]] TESSALY_EXPORT std::string decodeString(std::string_view forKey) const;
  /// Decodes a text in Base64.
  [[nodiscard]] TESSALY_EXPORT Data decodeData(std::string_view forKey) const;
  [[nodiscard]] TESSALY_EXPORT URL decodeURL(std::string_view forKey) const;
  [[nodiscard]] TESSALY_EXPORT std::map<std::string, std::string> decodeStringMap(std::string_view forKey) const;

 private:
  friend class Decoder;
  explicit KeyedDecodingContainer(std::shared_ptr<const detail::JSONValue> value) noexcept;

  std::shared_ptr<const detail::JSONValue> value_;
};

/// A parsed JSON value. A decodable type has a constructor that takes a `Decoder`.
///
/// Thread contract: thread-safe.
///
///     struct Song {
///       explicit Song(const Decoder& decoder) : title(decoder.container().decodeString("title")) {}
///       std::string title;
///     };
class Decoder {
 public:
  /// The members of the parsed JSON object. Throws `DecodingError` if the parsed JSON value is not an object.
  [[nodiscard]] TESSALY_EXPORT KeyedDecodingContainer container() const;

 private:
  friend class JSONDecoder;
  explicit Decoder(std::shared_ptr<const detail::JSONValue> value) noexcept;

  std::shared_ptr<const detail::JSONValue> value_;
};

/// Parses JSON (RFC 8259). Any depth of nesting works, because parsing does not recurse.
///
/// Thread contract: thread-safe.
///
///     Song song = JSONDecoder::decode<Song>(data);
class JSONDecoder {
 public:
  /// Parses a text and returns a decoder for its JSON value. Throws `DecodingError` if the text is not JSON in UTF-8.
  [[nodiscard]] TESSALY_EXPORT static Decoder decoder(const Data& data);
  /// Decodes a `Value` by its constructor that takes a `Decoder`.
  template <typename Value>
  [[nodiscard]] static Value decode(const Data& data) {
    return Value(decoder(data));
  }
};

/// Collects the members of a JSON object. A key that is encoded twice appears twice in the object.
///
/// Thread contract: thread-compatible.
///
///     encoder.encode(title, "title");
class Encoder {
 public:
  /// Encodes a text. U+FFFD replaces ill-formed UTF-8 in the text and in the key.
  TESSALY_EXPORT void encode(std::string_view text, std::string_view forKey);
  void encode(const std::string& text, std::string_view forKey) { encode(std::string_view(text), forKey); }
  void encode(const char* text, std::string_view forKey) { encode(std::string_view(text), forKey); }
  /// Encodes bytes as Base64.
  void encode(const Data& data, std::string_view forKey) { encode(data.base64EncodedString(), forKey); }
  /// Encodes a URL as its absolute string.
  void encode(const URL& url, std::string_view forKey) { encode(url.absoluteString(), forKey); }

 private:
  friend class JSONEncoder;

  std::string members_;
};

/// Serializes values as JSON without blanks between the tokens. "/" is escaped.
///
/// Thread contract: thread-safe.
///
///     Data text = JSONEncoder::encode(song);
class JSONEncoder {
 public:
  /// Encodes a value as a JSON object. The value must have a member function `encode(Encoder&) const`.
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
