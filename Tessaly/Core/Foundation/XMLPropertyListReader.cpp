// SPDX-License-Identifier: MIT
#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "Tessaly/Core/Foundation/PropertyListSerialization.hpp"
#include "Tessaly/Core/Foundation/detail/PropertyListFormats.hpp"
#include "Tessaly/Core/Text/UTF8.hpp"

namespace Tessaly::inline v1::detail {
namespace {

constexpr std::string_view white = " \t\r\n";

std::string_view trimmed(std::string_view text) {
  const std::size_t first = text.find_first_not_of(white);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(white) - first + 1);
}

bool isNameUnit(char unit) {
  return (unit >= 'a' && unit <= 'z') || (unit >= 'A' && unit <= 'Z') || (unit >= '0' && unit <= '9') || unit == '-' ||
         unit == '_' || unit == '.' || unit == ':';
}

/// Digits only, at most four of them.
std::optional<int> smallNumber(std::string_view text) {
  if (text.empty() || text.size() > 4) return std::nullopt;
  int value = 0;
  for (const char unit : text) {
    if (unit < '0' || unit > '9') return std::nullopt;
    value = value * 10 + (unit - '0');
  }
  return value;
}

/// "YYYY-MM-DDTHH:MM:SSZ"; what follows the year may be left out from the end.
std::optional<Date> parsedDate(std::string_view text) {
  if (!text.ends_with('Z')) return std::nullopt;
  text.remove_suffix(1);
  const auto year = smallNumber(text.substr(0, 4));
  if (!year || text.size() < 4) return std::nullopt;
  text.remove_prefix(4);
  int parts[5] = {1, 1, 0, 0, 0};
  constexpr std::string_view separators = "--T::";
  for (std::size_t i = 0; i < separators.size() && !text.empty(); ++i) {
    const auto part = text.size() >= 3 && text[0] == separators[i] ? smallNumber(text.substr(1, 2)) : std::nullopt;
    if (!part) return std::nullopt;
    parts[i] = *part;
    text.remove_prefix(3);
  }
  if (!text.empty() || parts[2] > 23 || parts[3] > 59 || parts[4] > 60) return std::nullopt;
  const std::chrono::year_month_day day(std::chrono::year(*year), std::chrono::month(static_cast<unsigned>(parts[0])),
                                        std::chrono::day(static_cast<unsigned>(parts[1])));
  if (!day.ok()) return std::nullopt;
  const auto days = std::chrono::sys_days(day).time_since_epoch().count();
  return Date::since1970(static_cast<double>(days) * 86400 + parts[2] * 3600 + parts[3] * 60 + parts[4]);
}

std::optional<PropertyList> parsedInteger(std::string_view text) {
  const bool isNegative = text.starts_with('-');
  if (isNegative || text.starts_with('+')) text.remove_prefix(1);
  int base = 10;
  if (text.starts_with("0x") || text.starts_with("0X")) {
    base = 16;
    text.remove_prefix(2);
  }
  std::uint64_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, base);
  if (text.empty() || error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  if (!isNegative) return PropertyList(value);
  if (value > std::uint64_t{1} << 63) return std::nullopt;
  return PropertyList(static_cast<std::int64_t>(-value));
}

/// Of a decimal number, whatever its sign.
bool isBelowOne(std::string_view text) {
  const std::size_t mark = std::min(text.find_first_of("eE"), text.size());
  const std::string_view digits = text.substr(0, mark);
  const std::size_t firstDigit = digits.find_first_of("123456789");
  if (firstDigit == std::string_view::npos) return true;
  const auto first = static_cast<std::int64_t>(firstDigit);
  const auto point = static_cast<std::int64_t>(std::min(digits.find('.'), digits.size()));
  std::string_view exponentText = text.substr(std::min(mark + 1, text.size()));
  if (exponentText.starts_with('+')) exponentText.remove_prefix(1);
  std::int32_t exponent = 0;
  const auto result = std::from_chars(exponentText.data(), exponentText.data() + exponentText.size(), exponent);
  if (result.ec == std::errc::result_out_of_range) return exponentText.starts_with('-');
  const std::int64_t powerOfFirst = point - first - (first < point ? 1 : 0);
  return powerOfFirst + exponent < 0;
}

std::optional<PropertyList> parsedReal(std::string_view text) {
  if (text.starts_with('+')) text.remove_prefix(1);
  double value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (text.empty() || end != text.data() + text.size()) return std::nullopt;
  if (error == std::errc::result_out_of_range) {
    // The nearest that there is.
    const double nearest = isBelowOne(text) ? 0.0 : std::numeric_limits<double>::infinity();
    value = std::copysign(nearest, text.starts_with('-') ? -1.0 : 1.0);
  } else if (error != std::errc()) {
    return std::nullopt;
  }
  return PropertyList(value);
}

/// Reads as much of XML 1.0 as property lists are made of: elements with or without attributes, character data with the
/// predefined entities and character references, CDATA, comments, processing instructions and a document type without a
/// subset of its own.
class Reader {
 public:
  explicit Reader(std::string_view text) : text_(text) {}

  PropertyList read() {
    if (text_.starts_with("\xEF\xBB\xBF")) position_ = 3;
    if (!Text::isWellFormed(text_)) fail("is not in UTF-8");
    checkEncoding();
    skipMisc();
    std::optional<PropertyList> result;
    const Tag tag = openingTag();
    if (tag.name == "plist") {
      if (tag.isEmpty) fail("holds no value");
      skipMisc();
      result = value(openingTag(), 0);
      skipMisc();
      closingTag("plist");
    } else {
      result = value(tag, 0);
    }
    skipMisc();
    if (position_ != text_.size()) fail("goes on after its end");
    return *result;
  }

 private:
  struct Tag {
    std::string_view name;
    bool isEmpty = false;
  };

  [[noreturn]] void fail(std::string_view what) const {
    throw PropertyListError(fmt::format("The property list {} at byte {}", what, position_));
  }

  [[nodiscard]] bool isAt(std::string_view token) const { return text_.substr(position_).starts_with(token); }

  void skipWhite() { position_ = std::min(text_.find_first_not_of(white, position_), text_.size()); }

  void skipPast(std::string_view token) {
    const std::size_t found = text_.find(token, position_);
    if (found == std::string_view::npos) fail("ends too early");
    position_ = found + token.size();
  }

  void checkEncoding() {
    if (!isAt("<?xml")) return;
    const std::size_t end = text_.find("?>", position_);
    if (end == std::string_view::npos) fail("ends too early");
    const std::string_view declaration = text_.substr(position_, end - position_);
    const std::size_t found = declaration.find("encoding");
    if (found == std::string_view::npos) return;
    std::string name(declaration.substr(found + 8));
    std::ranges::transform(name, name.begin(), [](char unit) { return unit >= 'A' && unit <= 'Z' ? unit + 32 : unit; });
    std::erase_if(name, [](char unit) { return !isNameUnit(unit); });
    if (!name.starts_with("utf-8") && !name.starts_with("us-ascii")) fail("is in an encoding that is not UTF-8");
  }

  /// White space, comments, processing instructions and the document type.
  void skipMisc() {
    for (;;) {
      skipWhite();
      if (isAt("<?")) {
        skipPast("?>");
      } else if (isAt("<!--")) {
        position_ += 4;
        skipPast("-->");
      } else if (isAt("<!DOCTYPE")) {
        const std::size_t end = text_.find_first_of("[>", position_);
        if (end == std::string_view::npos) fail("ends too early");
        position_ = end;
        if (text_[end] == '[') fail("declares entities");
        ++position_;
      } else {
        return;
      }
    }
  }

  std::string_view name() {
    const std::size_t begin = position_;
    while (position_ < text_.size() && isNameUnit(text_[position_])) ++position_;
    if (position_ == begin) fail("has a tag without a name");
    return text_.substr(begin, position_ - begin);
  }

  Tag openingTag() {
    if (position_ >= text_.size()) fail("ends too early");
    if (!isAt("<")) fail("has text where a value should be");
    ++position_;
    Tag tag{.name = name()};
    for (;;) {
      skipWhite();
      if (isAt("/>")) {
        position_ += 2;
        tag.isEmpty = true;
        return tag;
      }
      if (isAt(">")) {
        ++position_;
        return tag;
      }
      name();
      skipWhite();
      if (!isAt("=")) fail("has a damaged attribute");
      ++position_;
      skipWhite();
      if (!isAt("\"") && !isAt("'")) fail("has a damaged attribute");
      const std::string_view quote = text_.substr(position_++, 1);
      skipPast(quote);
    }
  }

  void closingTag(std::string_view expected) {
    if (!isAt("</")) fail("has an element that is not closed");
    position_ += 2;
    if (name() != expected) fail("closes an element that is not open");
    skipWhite();
    if (!isAt(">")) fail("has a damaged tag");
    ++position_;
  }

  void appendReference(std::string& out) {
    const std::size_t end = text_.substr(0, std::min(position_ + 16, text_.size())).find(';', position_);
    if (end == std::string_view::npos) fail("has a damaged reference");
    std::string_view reference = text_.substr(position_ + 1, end - position_ - 1);
    if (reference.starts_with('#')) {
      reference.remove_prefix(1);
      const bool isHexadecimal = reference.starts_with('x');
      if (isHexadecimal) reference.remove_prefix(1);
      std::uint32_t scalar = 0;
      const auto [last, error] =
          std::from_chars(reference.data(), reference.data() + reference.size(), scalar, isHexadecimal ? 16 : 10);
      if (reference.empty() || error != std::errc() || last != reference.data() + reference.size()) {
        fail("has a damaged reference");
      }
      if (scalar == 0 || scalar > 0x10FFFF || (scalar >= 0xD800 && scalar < 0xE000)) fail("has a damaged reference");
      Text::appendScalar(out, scalar);
    } else if (reference == "lt") {
      out += '<';
    } else if (reference == "gt") {
      out += '>';
    } else if (reference == "amp") {
      out += '&';
    } else if (reference == "quot") {
      out += '"';
    } else if (reference == "apos") {
      out += '\'';
    } else {
      fail("refers to an entity that is not declared");
    }
    position_ = end + 1;
  }

  /// Line ends become line feeds, as XML wants.
  static void appendLines(std::string& out, std::string_view part) {
    for (std::size_t i = 0; i < part.size(); ++i) {
      if (part[i] != '\r') {
        out += part[i];
      } else if (i + 1 >= part.size() || part[i + 1] != '\n') {
        out += '\n';
      }
    }
  }

  /// The characters of an element, up to and with its closing tag.
  std::string characters(const Tag& tag) {
    std::string out;
    if (tag.isEmpty) return out;
    for (;;) {
      const std::size_t next = text_.find_first_of("<&", position_);
      if (next == std::string_view::npos) fail("ends too early");
      appendLines(out, text_.substr(position_, next - position_));
      position_ = next;
      if (text_[next] == '&') {
        appendReference(out);
      } else if (isAt("<![CDATA[")) {
        position_ += 9;
        const std::size_t begin = position_;
        skipPast("]]>");
        appendLines(out, text_.substr(begin, position_ - 3 - begin));
      } else if (isAt("<!--")) {
        position_ += 4;
        skipPast("-->");
      } else {
        closingTag(tag.name);
        return out;
      }
    }
  }

  PropertyList value(const Tag& tag, std::uint32_t depth) {
    if (tag.name == "dict") return dictionary(tag, depth);
    if (tag.name == "array") return array(tag, depth);
    if (tag.name == "string") return PropertyList(characters(tag));
    if (tag.name == "true" || tag.name == "false") {
      if (!trimmed(characters(tag)).empty()) fail("has text in a boolean");
      return PropertyList(tag.name == "true");
    }
    std::optional<PropertyList> result;
    const std::string text = characters(tag);
    if (tag.name == "integer") {
      result = parsedInteger(trimmed(text));
    } else if (tag.name == "real") {
      result = parsedReal(trimmed(text));
    } else if (tag.name == "date") {
      if (const auto date = parsedDate(trimmed(text))) result = *date;
    } else if (tag.name == "data") {
      std::string base64;
      std::ranges::copy_if(text, std::back_inserter(base64), [](char unit) { return white.find(unit) == white.npos; });
      if (auto data = Data::fromBase64(base64)) result = std::move(*data);
    }
    if (!result) fail(fmt::format("has a damaged or unknown element \"{}\"", tag.name));
    return std::move(*result);
  }

  PropertyList array(const Tag& tag, std::uint32_t depth) {
    if (depth >= PropertyList::maximumDepth) fail("is nested too deep");
    PropertyList::Array array;
    if (!tag.isEmpty) {
      for (skipMisc(); !isAt("</"); skipMisc()) array.push_back(value(openingTag(), depth + 1));
      closingTag(tag.name);
    }
    return PropertyList(std::move(array));
  }

  PropertyList dictionary(const Tag& tag, std::uint32_t depth) {
    if (depth >= PropertyList::maximumDepth) fail("is nested too deep");
    PropertyList::Dictionary dictionary;
    if (!tag.isEmpty) {
      for (skipMisc(); !isAt("</"); skipMisc()) {
        const Tag keyTag = openingTag();
        if (keyTag.name != "key") fail("has a value without a key");
        std::string key = characters(keyTag);
        skipMisc();
        dictionary.insert_or_assign(std::move(key), value(openingTag(), depth + 1));
      }
      closingTag(tag.name);
    }
    return PropertyList(std::move(dictionary));
  }

  std::string_view text_;
  std::size_t position_ = 0;
};

}  // namespace

PropertyList readXMLPropertyList(std::span<const std::uint8_t> bytes) {
  return Reader({reinterpret_cast<const char*>(bytes.data()), bytes.size()}).read();
}

}  // namespace Tessaly::inline v1::detail
