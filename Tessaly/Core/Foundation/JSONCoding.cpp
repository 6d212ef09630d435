// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Foundation/JSONCoding.hpp"

#include <fmt/format.h>

#include <nlohmann/json.hpp>
#include <utility>

#include "Tessaly/Core/Text/UTF8.hpp"

namespace Tessaly::inline v1 {

using nlohmann::json;

struct detail::JSONValue {
  json value;
};

namespace {

using Kind = DecodingError::Kind;

std::string_view kindName(const json& value) {
  switch (value.type()) {
    case json::value_t::null:
      return "null";
    case json::value_t::object:
      return "a dictionary";
    case json::value_t::array:
      return "an array";
    case json::value_t::string:
      return "a string";
    case json::value_t::boolean:
      return "bool";
    default:
      return "number";
  }
}

[[noreturn]] void throwMismatch(std::string_view expected, const json& found) {
  throw DecodingError(found.is_null() ? Kind::valueNotFound : Kind::typeMismatch,
                      fmt::format("Expected to decode {} but found {} instead.", expected, kindName(found)));
}

const json& member(const detail::JSONValue& object, std::string_view key) {
  const auto found = object.value.find(key);
  if (found == object.value.end()) {
    throw DecodingError(
        Kind::keyNotFound,
        fmt::format("No value associated with key CodingKeys(stringValue: \"{0}\", intValue: nil) (\"{0}\").", key));
  }
  return *found;
}

const std::string& stringMember(const detail::JSONValue& object, std::string_view key, std::string_view kind) {
  const json& value = member(object, key);
  if (!value.is_string()) throwMismatch(kind, value);
  return value.get_ref<const std::string&>();
}

/// The end of the number at an offset, or the offset itself if no number of JSON's grammar begins there.
std::size_t endOfNumber(std::string_view text, std::size_t begin) noexcept {
  std::size_t at = begin;
  const auto isAt = [&](std::string_view characters) {
    return at < text.size() && characters.find(text[at]) != std::string_view::npos;
  };
  const auto skipDigits = [&] {
    const std::size_t first = at;
    while (isAt("0123456789")) ++at;
    return at > first;
  };
  if (isAt("-")) ++at;
  if (isAt("0")) {
    ++at;
  } else if (!skipDigits()) {
    return begin;
  }
  if (isAt(".") && (++at, !skipDigits())) return begin;
  if (isAt("eE")) {
    ++at;
    if (isAt("+-")) ++at;
    if (!skipDigits()) return begin;
  }
  return at;
}

/// The text with 0 instead of each number. The parser would refuse valid numbers that a `double` cannot represent, and
/// the decoder reads no numbers.
std::string withoutNumbers(std::string_view text) {
  std::string result;
  bool isInString = false;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t end = isInString ? at : endOfNumber(text, at);
    if (end > at) {
      result += "0 ";  // The blank separates the number from the following text.
      at = end;
      continue;
    }
    const std::size_t count = isInString && text[at] == '\\' ? 2 : 1;
    if (text[at] == '"') isInString = !isInString;
    result += text.substr(at, count);
    at += count;
  }
  return result;
}

/// Appends a text in quotes. Escapes "/" too, because the records of other programs do. The JSON library does not
/// escape "/".
void appendString(std::string& out, std::string_view text) {
  for (const char unit : json(text).dump(-1, ' ', false, json::error_handler_t::replace)) {
    if (unit == '/') out += '\\';
    out += unit;
  }
}

}  // namespace

DecodingError::DecodingError(Kind failure, std::string debug) : kind(failure), debugDescription(std::move(debug)) {}

DecodingError::~DecodingError() = default;

std::string DecodingError::description() const {
  constexpr std::string_view names[]{"typeMismatch", "valueNotFound", "keyNotFound", "dataCorrupted"};
  return fmt::format("{}(\"{}\")", names[static_cast<std::size_t>(kind)], debugDescription);
}

std::string DecodingError::localizedDescription() const {
  const bool isMissing = kind == Kind::keyNotFound || kind == Kind::valueNotFound;
  return isMissing ? "The data couldn’t be read because it is missing."
                   : "The data couldn’t be read because it isn’t in the correct format.";
}

KeyedDecodingContainer::KeyedDecodingContainer(std::shared_ptr<const detail::JSONValue> value) noexcept
    : value_(std::move(value)) {}

bool KeyedDecodingContainer::contains(std::string_view key) const { return value_->value.contains(key); }

std::string KeyedDecodingContainer::decodeString(std::string_view forKey) const {
  return stringMember(*value_, forKey, "String");
}

Data KeyedDecodingContainer::decodeData(std::string_view forKey) const {
  auto data = Data::fromBase64(stringMember(*value_, forKey, "Data"));
  if (!data) throw DecodingError(Kind::dataCorrupted, "Encountered Data is not valid Base64.");
  return *std::move(data);
}

URL KeyedDecodingContainer::decodeURL(std::string_view forKey) const {
  auto url = URL::from(stringMember(*value_, forKey, "URL"));
  if (!url) throw DecodingError(Kind::dataCorrupted, "Invalid URL string.");
  return *std::move(url);
}

std::map<std::string, std::string> KeyedDecodingContainer::decodeStringMap(std::string_view forKey) const {
  const json& value = member(*value_, forKey);
  if (!value.is_object()) throwMismatch("Dictionary<String, String>", value);
  std::map<std::string, std::string> map;
  for (const auto& [key, text] : value.items()) {
    if (!text.is_string()) throwMismatch("String", text);
    map.emplace(key, text.get_ref<const std::string&>());
  }
  return map;
}

Decoder::Decoder(std::shared_ptr<const detail::JSONValue> value) noexcept : value_(std::move(value)) {}

KeyedDecodingContainer Decoder::container() const {
  if (!value_->value.is_object()) throwMismatch("Dictionary<String, Any>", value_->value);
  return KeyedDecodingContainer(value_);
}

Decoder JSONDecoder::decoder(const Data& data) {
  auto value = std::make_shared<detail::JSONValue>();
  value->value = json::parse(data.begin(), data.end(), nullptr, false);
  if (value->value.is_discarded()) value->value = json::parse(withoutNumbers(data.text()), nullptr, false);
  if (value->value.is_discarded()) throw DecodingError(Kind::dataCorrupted, "The given data was not valid JSON.");
  return Decoder(std::move(value));
}

void Encoder::encode(std::string_view text, std::string_view forKey) {
  if (!members_.empty()) members_ += ',';
  appendString(members_, forKey);
  members_ += ':';
  appendString(members_, text);
}

Data JSONEncoder::finish(const Encoder& encoder) {
  return Data(std::string_view(std::string("{").append(encoder.members_).append("}")));
}

}  // namespace Tessaly::inline v1
