// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Formatters/ListFormatStyle.hpp"

#include <unicode/listformatter.h>
#include <unicode/locid.h>

#include <array>
#include <memory>
#include <utility>

#include "Tessaly/Core/Base/detail/PerThread.hpp"
#include "Tessaly/Core/Text/UTF8.hpp"
#include "Tessaly/Core/Text/detail/RecentlyUsed.hpp"
#include "Tessaly/Core/Text/detail/UTF16Output.hpp"

namespace Tessaly::inline v1 {
namespace {

using Type = ListFormatStyle::Type;
using Width = ListFormatStyle::Width;

struct Sought {
  const std::string& locale;
  Type type;
  Width width;
};

struct Key {
  std::string locale;
  Type type;
  Width width;
  explicit Key(const Sought& sought) : locale(sought.locale), type(sought.type), width(sought.width) {}
  bool operator==(const Sought& sought) const noexcept {
    return type == sought.type && width == sought.width && locale == sought.locale;
  }
};

void append(std::string& text, std::string_view item) {
  if (Text::isWellFormed(item)) {
    text += item;
  } else {
    text += Text::sanitized(item);
  }
}

/// The preparation for one locale and style.
class Engine {
 public:
  explicit Engine(const Key& key) {
    icu::Locale locale(key.locale.c_str());
    if (locale.isBogus()) locale = icu::Locale::getRoot();
    UErrorCode status = U_ZERO_ERROR;
    format_.reset(icu::ListFormatter::createInstance(locale, static_cast<UListFormatterType>(key.type),
                                                     static_cast<UListFormatterWidth>(key.width), status));
    // In Spanish and Hebrew, the word before the last item depends on the beginning of that item: "e" instead of "y"
    // before an "i".
    const std::string_view language = locale.getLanguage();
    isLeftToICU_ = language == "es" || language == "he" || language == "iw" || !learn();
  }

  std::string string(std::span<const std::string_view> items) const {
    if (isLeftToICU_) return stringOfICU(items);
    std::string text = around_[items.size() == 2 ? pair : first].front();
    for (std::size_t index = 0; index < items.size(); ++index) {
      if (index > 0) text += separator(index, items.size());
      append(text, items[index]);
    }
    return text += around_[items.size() == 2 ? pair : last].back();
  }

 private:
  enum Place : std::uint8_t { pair, first, middle, last };

  [[nodiscard]] const std::string& separator(std::size_t index, std::size_t count) const {
    if (count == 2) return around_[pair][1];
    return around_[index == 1 ? first : index + 1 == count ? last : middle][1];
  }

  [[nodiscard]] std::string stringOfICU(std::span<const std::string_view> items) const {
    std::vector<icu::UnicodeString> units;
    units.reserve(items.size());
    for (const std::string_view item : items) {
      const std::u16string text = Text::toUTF16(item);
      units.emplace_back(text.data(), static_cast<std::int32_t>(text.size()));
    }
    icu::UnicodeString text;
    UErrorCode status = U_ZERO_ERROR;
    if (format_) format_->format(units.data(), static_cast<std::int32_t>(units.size()), text, status);
    return detail::fromUTF16(text);
  }

  /// Learns the texts around the items from two lists of marks. False if the texts do not have the expected form.
  bool learn() {
    constexpr std::array<std::string_view, 5> marks{"\uE000", "\uE001", "\uE002", "\uE003", "\uE004"};
    const auto split = [&](std::span<const std::string_view> items) {
      const std::string text = stringOfICU(items);
      std::vector<std::string> parts;
      std::size_t at = 0;
      for (const std::string_view item : items) {
        const std::size_t found = text.find(item, at);
        if (found == std::string::npos) return std::vector<std::string>();
        parts.push_back(text.substr(at, found - at));
        at = found + item.size();
      }
      parts.push_back(text.substr(at));
      return parts;
    };
    const auto two = split(std::span(marks).first(2));
    const auto five = split(marks);
    if (two.size() != 3 || five.size() != 6 || five[2] != five[3]) return false;
    around_ = {{{two[0], two[1], two[2]}, {five[0], five[1], ""}, {"", five[2], ""}, {"", five[4], five[5]}}};
    return true;
  }

  std::unique_ptr<icu::ListFormatter> format_;
  bool isLeftToICU_ = false;
  /// The texts of each place: before the first item, between two items, and after the last item.
  std::array<std::array<std::string, 3>, 4> around_;
};

struct Engines : detail::RecentlyUsed<Key, Engine, 16> {};

}  // namespace

std::string ListFormatStyle::format(std::span<const std::string_view> items) const {
  if (items.empty()) return {};
  std::string alone;
  if (items.size() == 1) {
    append(alone, items.front());
    return alone;
  }
  const Locale& locale = locale_ ? *locale_ : detail::currentLocale();
  return detail::PerThread<Engines>::current()
      .get(Sought{locale.identifier(), type_, width_}, [](const Key& key) { return std::make_unique<Engine>(key); })
      .string(items);
}

}  // namespace Tessaly::inline v1
