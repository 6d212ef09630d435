// SPDX-License-Identifier: MIT
#include <expat.h>
#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <exception>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

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

/// The value of a text of one to four digits. Absent for any other text.
std::optional<int> smallNumber(std::string_view text) {
  if (text.empty() || text.size() > 4) return std::nullopt;
  int value = 0;
  for (const char unit : text) {
    if (unit < '0' || unit > '9') return std::nullopt;
    value = value * 10 + (unit - '0');
  }
  return value;
}

/// Parses "YYYY-MM-DDTHH:MM:SSZ". Parts after the year may be missing from the end, but not the "Z".
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

/// Whether the absolute value of a decimal number is below one.
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
    // The nearest representable number.
    const double nearest = isBelowOne(text) ? 0.0 : std::numeric_limits<double>::infinity();
    value = std::copysign(nearest, text.starts_with('-') ? -1.0 : 1.0);
  } else if (error != std::errc()) {
    return std::nullopt;
  }
  return PropertyList(value);
}

std::optional<PropertyList> parsedScalar(std::string_view name, std::string text) {
  if (name == "string") return PropertyList(std::move(text));
  if (name == "integer") return parsedInteger(trimmed(text));
  if (name == "real") return parsedReal(trimmed(text));
  if (name == "date") return parsedDate(trimmed(text)).transform([](Date date) { return PropertyList(date); });
  if (name == "true" || name == "false") return PropertyList(name == "true");
  if (name != "data") return std::nullopt;
  std::erase_if(text, [](char unit) { return white.contains(unit); });
  return Data::fromBase64(text).transform([](Data&& data) { return PropertyList(std::move(data)); });
}

bool isASCIIEncoding(std::string name) {
  std::ranges::transform(name, name.begin(), [](char unit) { return unit >= 'A' && unit <= 'Z' ? unit + 32 : unit; });
  return name == "utf-8" || name == "us-ascii";
}

/// Builds a value from the events of expat. An exception must not pass through expat. So the first exception stops the
/// parser, and is thrown after the parser has returned.
class Reader {
 public:
  Reader() : parser_(XML_ParserCreate("UTF-8")) {
    if (parser_ == nullptr) throw std::bad_alloc();
    XML_SetUserData(parser_.get(), this);
    XML_SetXmlDeclHandler(parser_.get(), [](void* self, const char*, const char* encoding, int) {
      if (encoding != nullptr) call(self, &Reader::noteEncoding, encoding);
    });
    // No entity can be declared, so none can expand. The file of the document type is not read.
    XML_SetStartDoctypeDeclHandler(parser_.get(), [](void* self, const char*, const char*, const char*, int hasSubset) {
      if (hasSubset != 0) call(self, &Reader::fail, "declares entities");
    });
    XML_SetSkippedEntityHandler(parser_.get(), [](void* self, const char*, int) {
      call(self, &Reader::fail, "refers to an entity that is not declared");
    });
    XML_SetElementHandler(
        parser_.get(), [](void* self, const char* name, const char**) { call(self, &Reader::begin, name); },
        [](void* self, const char*) { call(self, &Reader::end); });
    XML_SetCharacterDataHandler(parser_.get(), [](void* self, const char* text, int size) {
      call(self, &Reader::append, std::string_view(text, static_cast<std::size_t>(size)));
    });
  }

  PropertyList read(std::string_view text) {
    if (!Text::isWellFormed(text)) throw PropertyListError("The property list is not in UTF-8");
    constexpr std::size_t largestPiece = std::size_t{1} << 30;  // Expat counts in `int`.
    for (bool isLast = false; !isLast;) {
      const std::string_view piece = text.substr(0, largestPiece);
      text.remove_prefix(piece.size());
      isLast = text.empty();
      if (XML_Parse(parser_.get(), piece.data(), static_cast<int>(piece.size()), isLast ? 1 : 0) != XML_STATUS_OK) {
        if (failure_ != nullptr) std::rethrow_exception(failure_);
        const XML_LChar* const reason = XML_ErrorString(XML_GetErrorCode(parser_.get()));
        fail(fmt::format("is not well-formed XML ({})", reason));
      }
    }
    return std::move(*result_);
  }

 private:
  struct FreeParser {
    void operator()(XML_Parser parser) const noexcept { XML_ParserFree(parser); }
  };
  /// An open element.
  struct Element {
    std::string name;
    std::string text = {};
    PropertyList::Array values = {};
    PropertyList::Dictionary entries = {};
    std::optional<std::string> key = {};

    [[nodiscard]] bool isContainer() const noexcept { return name == "dict" || name == "array"; }
  };

  template <typename Method, typename... Arguments>
  static void call(void* self, Method method, Arguments... arguments) noexcept {
    Reader& reader = *static_cast<Reader*>(self);
    if (reader.failure_ != nullptr) return;
    try {
      (reader.*method)(arguments...);
    } catch (...) {
      reader.failure_ = std::current_exception();
      XML_StopParser(reader.parser_.get(), XML_FALSE);
    }
  }

  /// The parser's position in bytes. Newer versions of expat have another function for the position and deprecate the
  /// former one. The template uses the newer function if it exists.
  template <typename Parser>
  static std::int64_t byteIndex(Parser parser) {
    if constexpr (requires { XML_GetCurrentByteIndex64(parser); }) {
      return XML_GetCurrentByteIndex64(parser);
    } else {
      return XML_GetCurrentByteIndex(parser);
    }
  }

  [[noreturn]] void fail(std::string_view what) {
    throw PropertyListError(fmt::format("The property list {} at byte {}", what, byteIndex(parser_.get())));
  }

  void noteEncoding(const char* name) {
    if (!isASCIIEncoding(name)) fail("is in an encoding that is not UTF-8");
  }

  void begin(const char* elementName) {
    const std::string_view name = elementName;
    if (!open_.empty()) {
      const Element& outer = open_.back();
      if (outer.name == "dict") {
        if (!outer.key && name != "key") fail("has a value without a key");
        if (outer.key && name == "key") fail("has a key without a value");
      } else if (outer.name == "plist") {
        if (result_) fail("has more than one value");
      } else if (outer.name != "array") {
        fail(fmt::format("has an element in an element \"{}\"", outer.name));
      }
    }
    Element element{.name = std::string(name)};
    if (element.isContainer() && depth_++ >= PropertyList::maximumDepth) fail("is nested too deep");
    open_.push_back(std::move(element));
  }

  void append(std::string_view text) {
    Element& element = open_.back();
    if (!element.isContainer() && element.name != "plist") {
      element.text += text;
    } else if (!trimmed(text).empty()) {
      fail("has text where a value should be");
    }
  }

  void end() {
    Element element = std::move(open_.back());
    open_.pop_back();
    const bool isInDictionary = !open_.empty() && open_.back().name == "dict";
    if (element.name == "key" && isInDictionary) {
      open_.back().key = std::move(element.text);
    } else if (element.name == "plist" && open_.empty()) {
      if (!result_) fail("holds no value");
    } else if (PropertyList value = valueOf(element); isInDictionary) {
      Element& outer = open_.back();
      outer.entries.insert_or_assign(*std::exchange(outer.key, std::nullopt), std::move(value));
    } else if (!open_.empty() && open_.back().name == "array") {
      open_.back().values.push_back(std::move(value));
    } else {
      result_ = std::move(value);
    }
  }

  PropertyList valueOf(Element& element) {
    if (element.isContainer()) --depth_;
    if (element.name == "array") return PropertyList(std::move(element.values));
    if (element.name == "dict") {
      if (element.key) fail("has a key without a value");
      return PropertyList(std::move(element.entries));
    }
    if ((element.name == "true" || element.name == "false") && !trimmed(element.text).empty()) {
      fail("has text in a boolean");
    }
    auto value = parsedScalar(element.name, std::move(element.text));
    if (!value) fail(fmt::format("has a malformed or unknown element \"{}\"", element.name));
    return *std::move(value);
  }

  std::unique_ptr<XML_ParserStruct, FreeParser> parser_;
  std::exception_ptr failure_;
  std::vector<Element> open_;
  std::uint32_t depth_ = 0;
  std::optional<PropertyList> result_;
};

}  // namespace

PropertyList readXMLPropertyList(std::span<const std::uint8_t> bytes) {
  return Reader().read({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
}

}  // namespace Tessaly::inline v1::detail
