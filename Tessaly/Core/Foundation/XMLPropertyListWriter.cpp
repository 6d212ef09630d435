// SPDX-License-Identifier: MIT
#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <iterator>
#include <string>
#include <string_view>

#include "Tessaly/Core/Foundation/PropertyListSerialization.hpp"
#include "Tessaly/Core/Foundation/detail/PropertyListFormats.hpp"

namespace Tessaly::inline v1::detail {
namespace {

constexpr double firstSecond = -63'113'904'000.0;  // 0001-01-01 00:00:00.
constexpr std::size_t largestSize = std::size_t{1} << 32;
constexpr double lastSecond = 252'423'993'599.0;  // 9999-12-31 23:59:59.

/// Whether XML 1.0 can represent the text. XML 1.0 cannot represent most control characters, U+FFFE and U+FFFF.
bool isTextOfXML(std::string_view text) noexcept {
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto unit = static_cast<unsigned char>(text[i]);
    if (unit < 0x20 && unit != '\t' && unit != '\n' && unit != '\r') return false;
    if (unit == 0xEF && (text.substr(i).starts_with("\xEF\xBF\xBE") || text.substr(i).starts_with("\xEF\xBF\xBF"))) {
      return false;
    }
  }
  return true;
}

bool isInXMLRange(Date date) noexcept {
  const double seconds = date.timeIntervalSinceReferenceDate();
  return seconds >= firstSecond && std::floor(seconds) <= lastSecond;
}

class Writer {
 public:
  Data::Bytes write(const PropertyList& root) {
    put("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n");
    value(root, 0);
    put("</plist>\n");
    return std::move(bytes_);
  }

 private:
  void put(std::string_view text) {
    // Values that share memory are written once for each reference.
    if (bytes_.size() + text.size() > largestSize) throw PropertyListError("The property list is too large for XML");
    bytes_.insert(bytes_.end(), text.begin(), text.end());
  }

  void line(std::uint32_t depth, std::string_view text) {
    bytes_.insert(bytes_.end(), depth, '\t');
    put(text);
    put("\n");
  }

  void element(std::uint32_t depth, std::string_view name, std::string_view contents) {
    bytes_.insert(bytes_.end(), depth, '\t');
    put("<");
    put(name);
    put(">");
    put(contents);
    put("</");
    put(name);
    put(">\n");
  }

  static std::string escaped(std::string_view text) {
    if (!isTextOfXML(text)) throw PropertyListError("A text with control characters cannot be written as XML");
    std::string out;
    out.reserve(text.size());
    for (const char unit : text) {
      switch (unit) {
        case '<':
          out += "&lt;";
          break;
        case '>':
          out += "&gt;";
          break;
        case '&':
          out += "&amp;";
          break;
        case '\r':
          out += "&#13;";
          break;
        default:
          out += unit;
      }
    }
    return out;
  }

  static std::string dateText(Date date) {
    if (!isInXMLRange(date)) throw PropertyListError("A date outside the years 1 to 9999 cannot be written as XML");
    using namespace std::chrono;
    const sys_seconds time{seconds(static_cast<std::int64_t>(std::floor(date.timeIntervalSince1970())))};
    const sys_days day = floor<days>(time);
    const year_month_day calendar(day);
    const hh_mm_ss clock(time - day);
    return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}Z", static_cast<int>(calendar.year()),
                       static_cast<unsigned>(calendar.month()), static_cast<unsigned>(calendar.day()),
                       clock.hours().count(), clock.minutes().count(), clock.seconds().count());
  }

  void value(const PropertyList& value, std::uint32_t depth) {
    switch (value.kind()) {
      case PropertyList::Kind::boolean:
        line(depth, value.number()->boolValue() ? "<true/>" : "<false/>");
        return;
      case PropertyList::Kind::integer:
        element(depth, "integer", value.number()->description());
        return;
      case PropertyList::Kind::real:
        // The number has the digits of double precision, because readers parse it as a double.
        element(depth, "real", fmt::to_string(value.number()->doubleValue()));
        return;
      case PropertyList::Kind::text:
        element(depth, "string", escaped(*value.text()));
        return;
      case PropertyList::Kind::date:
        element(depth, "date", dateText(*value.date()));
        return;
      case PropertyList::Kind::data:
        element(depth, "data", value.data()->base64EncodedString());
        return;
      case PropertyList::Kind::array:
        if (value.array()->empty()) {
          line(depth, "<array/>");
          return;
        }
        line(depth, "<array>");
        for (const PropertyList& one : *value.array()) this->value(one, depth + 1);
        line(depth, "</array>");
        return;
      case PropertyList::Kind::dictionary:
        if (value.dictionary()->empty()) {
          line(depth, "<dict/>");
          return;
        }
        line(depth, "<dict>");
        for (const auto& [key, one] : *value.dictionary()) {
          element(depth + 1, "key", escaped(key));
          this->value(one, depth + 1);
        }
        line(depth, "</dict>");
        return;
    }
  }

  Data::Bytes bytes_;
};

}  // namespace

Data::Bytes writeXMLPropertyList(const PropertyList& value) { return Writer().write(value); }

bool isExactInXML(const PropertyList& value) noexcept {
  switch (value.kind()) {
    case PropertyList::Kind::text:
      return isTextOfXML(*value.text());
    case PropertyList::Kind::date: {
      const double seconds = value.date()->timeIntervalSinceReferenceDate();
      return isInXMLRange(*value.date()) && seconds == std::floor(seconds);
    }
    case PropertyList::Kind::array:
      return std::ranges::all_of(*value.array(), [](const PropertyList& one) { return isExactInXML(one); });
    case PropertyList::Kind::dictionary:
      return std::ranges::all_of(*value.dictionary(), [](const auto& entry) {
        return isTextOfXML(entry.first) && isExactInXML(entry.second);
      });
    default:
      return true;
  }
}

}  // namespace Tessaly::inline v1::detail
