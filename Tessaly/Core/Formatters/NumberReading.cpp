// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Formatters/detail/NumberReading.hpp"

#include <unicode/uchar.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <memory>
#include <optional>
#include <utility>

#include "Tessaly/Core/Base/detail/PerThread.hpp"
#include "Tessaly/Core/Formatters/detail/TypedNumber.hpp"
#include "Tessaly/Core/Text/CaseMapping.hpp"
#include "Tessaly/Core/Text/Characters.hpp"
#include "Tessaly/Core/Text/UTF8.hpp"
#include "Tessaly/Core/Text/detail/RecentlyUsed.hpp"

namespace Tessaly::inline v1::detail {
namespace {

using Kind = NumberShape::Kind;
using Width = NumberShape::Width;

/// A text with digits in it, without direction marks. The outer parts have no white space at their ends.
struct Split {
  std::u32string before;
  std::u32string digits;
  std::u32string behind;
};

void trim(std::u32string& part) {
  const auto isInk = [](char32_t scalar) { return !Text::isWhiteSpace(scalar); };
  part.erase(part.begin(), std::ranges::find_if(part, isInk));
  while (!part.empty() && !isInk(part.back())) part.pop_back();
}

std::string utf8(std::u32string_view scalars) {
  std::string text;
  for (const char32_t scalar : scalars) Text::appendScalar(text, scalar);
  return text;
}

/// The text without direction marks, and without white space at its ends.
std::u32string plain(std::string_view text) {
  std::u32string scalars;
  for (const char32_t scalar : Text::Scalars(text)) {
    if (u_hasBinaryProperty(static_cast<UChar32>(scalar), UCHAR_BIDI_CONTROL) == 0) scalars.push_back(scalar);
  }
  trim(scalars);
  return scalars;
}

/// Splits a text around its digits. Absent if the text has no digit.
std::optional<Split> split(std::string_view text) {
  const std::u32string scalars = plain(text);
  const auto isDigit = [](char32_t scalar) { return u_charDigitValue(static_cast<UChar32>(scalar)) >= 0; };
  const auto first = std::ranges::find_if(scalars, isDigit);
  if (first == scalars.end()) return std::nullopt;
  const auto last = std::find_if(scalars.rbegin(), scalars.rend(), isDigit).base();
  Split parts{.before = {scalars.begin(), first}, .digits = {first, last}, .behind = {last, scalars.end()}};
  trim(parts.before);
  trim(parts.behind);
  return parts;
}

/// The signs around a number.
struct Signs {
  int count = 0;
  bool isNegative = false;

  /// Removes the signs from both ends of a part, but no more than two. A number with two signs is refused.
  void take(std::u32string& part) {
    while (count < 2 && !part.empty() && isSign(part.front())) {
      add(part.front());
      part.erase(0, 1);
      trim(part);
    }
    while (count < 2 && !part.empty() && isSign(part.back())) {
      add(part.back());
      part.pop_back();
      trim(part);
    }
  }

 private:
  static bool isSign(char32_t scalar) { return isMinusSign(scalar) || isPlusSign(scalar); }
  void add(char32_t sign) {
    ++count;
    isNegative = isMinusSign(sign);
  }
};

/// The value of a typed number times a power of ten, correctly rounded.
std::optional<double> valueOf(const TypedNumber& number, int exponent) {
  const std::string text = number.integer + "." + number.fraction + "e" + std::to_string(exponent);
  double value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number.isNegative ? -value : value;
}

/// The texts that a shape writes around numbers, in every width and grammatical number.
class Labels {
 public:
  Labels(const std::string& locale, NumberShape shape) {
    constexpr std::array samples{5.0, 0.0, 1.0, 2.0, 3.0, 6.0, 11.0, 20.0, 100.0, 0.5, 1.5, 1e6};
    setFractionDigits(shape, 0, 1);
    const bool hasForms = shape.kind == Kind::currency || shape.kind == Kind::measure;
    for (const Width width : {Width::abbreviated, Width::narrow, Width::code, Width::wide}) {
      shape.width = width;
      const bool isUsed =
          width == Width::abbreviated || (hasForms && (width != Width::code || shape.kind == Kind::currency));
      for (const double sample : samples) {
        if (isUsed) add(numberText(locale, shape, sample), sample);
      }
    }
    if (shape.kind == Kind::percent) {
      for (const std::string_view sign : {"%", "\u066A", "\uFF05"}) add("5" + std::string(sign), 5);
    }
    setFractionDigits(shape, 1, 1);
    shape.width = Width::abbreviated;
    const auto half = split(numberText(locale, shape, 1.5));
    if (half && half->digits.size() == 3) separator_ = half->digits[1];
  }

  /// The meanings of digits and separators, in which the locale's decimal separator may be any character.
  [[nodiscard]] std::vector<TypedNumber> readings(std::u32string digits) const {
    constexpr char32_t decimal = U'\u066B';
    std::ranges::replace(digits, separator_, decimal);
    return typedText(utf8(digits), utf8({&decimal, 1})).readings;
  }

  /// The number of a text that a language writes without digits, such as one metre in Arabic.
  [[nodiscard]] std::optional<double> word(const std::string& text) const {
    const auto found = std::ranges::find(words_, text, &std::pair<std::string, double>::first);
    return found != words_.end() ? std::optional(found->second) : std::nullopt;
  }

  /// Compares the text around a number with the labels of the style. A label of one part may stand on the other side of
  /// the number. A label of two parts keeps its order.
  [[nodiscard]] LabelMatch match(const std::string& before, const std::string& behind) const {
    if (before.empty() && behind.empty()) return LabelMatch::absent;
    const auto equals = [&](const auto& label, const std::string& first, const std::string& second) {
      return (label.first == first && label.second == second) ||
             ((first.empty() || second.empty()) && label.first == second && label.second == first);
    };
    if (std::ranges::any_of(exact_, [&](const auto& label) { return equals(label, before, behind); })) {
      return LabelMatch::exact;
    }
    const std::string first = Text::lowercased(before);
    const std::string second = Text::lowercased(behind);
    const bool isFound = std::ranges::any_of(lower_, [&](const auto& label) { return equals(label, first, second); });
    return isFound ? LabelMatch::anyCase : LabelMatch::other;
  }

 private:
  using Label = std::pair<std::string, std::string>;

  void add(std::string_view text, double value) {
    const auto parts = split(text);
    if (!parts) words_.emplace_back(utf8(plain(text)), value);
    if (!parts || (parts->before.empty() && parts->behind.empty())) return;
    Label label(utf8(parts->before), utf8(parts->behind));
    if (std::ranges::find(exact_, label) != exact_.end()) return;
    lower_.emplace_back(Text::lowercased(label.first), Text::lowercased(label.second));
    exact_.push_back(std::move(label));
  }

  std::vector<Label> exact_;
  std::vector<Label> lower_;
  std::vector<std::pair<std::string, double>> words_;
  char32_t separator_ = U'.';
};

struct Key {
  std::string locale;
  NumberShape shape;

  bool operator==(const Key&) const noexcept = default;
};

struct KnownLabels : RecentlyUsed<Key, Labels, 64> {};

const Labels& labelsOf(const std::string& locale, NumberShape shape) {
  shape.minimumFraction = shape.maximumFraction = 0;
  shape.width = Width::abbreviated;
  shape.isGrouped = true;
  shape.isAccounting = false;
  return PerThread<KnownLabels>::current().get(
      Key{locale, shape}, [](const Key& key) { return std::make_unique<Labels>(key.locale, key.shape); });
}

/// Moves a separator that touches the digits from a part to the digits: in ".5" and "5." it belongs to the number.
/// Returns whether it moved a separator.
bool moveSeparator(Split& parts) {
  const auto isSeparator = [](char32_t scalar) { return scalar == U'.' || scalar == U','; };
  if (!parts.before.empty() && isSeparator(parts.before.back())) {
    parts.digits.insert(0, 1, parts.before.back());
    parts.before.pop_back();
    trim(parts.before);
    return true;
  }
  if (parts.behind.empty() || !isSeparator(parts.behind.front())) return false;
  parts.digits.push_back(parts.behind.front());
  parts.behind.erase(0, 1);
  trim(parts.behind);
  return true;
}

/// Removes the sign of a number, and returns whether the number is negative. Absent if the number has several signs.
std::optional<bool> takeSign(Split& parts, Kind kind) {
  Signs signs;
  if (kind == Kind::currency && parts.before.starts_with(U'(') && parts.behind.ends_with(U')')) {
    parts.before.erase(0, 1);
    parts.behind.pop_back();
    trim(parts.before);
    trim(parts.behind);
    signs = {.count = 1, .isNegative = true};
  }
  signs.take(parts.before);
  signs.take(parts.behind);
  if (signs.count > 1) return std::nullopt;
  return signs.isNegative;
}

}  // namespace

NumberReading readNumber(const std::string& locale, const NumberShape& shape, std::string_view text) {
  const Labels& labels = labelsOf(locale, shape);
  std::optional<Split> parts = split(text);
  if (!parts) {
    const std::optional<double> word = labels.word(utf8(plain(text)));
    return word ? NumberReading{.label = LabelMatch::exact, .values = {*word}} : NumberReading();
  }
  const std::optional<bool> isNegative = takeSign(*parts, shape.kind);
  if (!isNegative) return {};
  NumberReading reading{.label = labels.match(utf8(parts->before), utf8(parts->behind)), .values = {}};
  if (reading.label == LabelMatch::other && moveSeparator(*parts)) {
    reading.label = labels.match(utf8(parts->before), utf8(parts->behind));
  }
  if (reading.label == LabelMatch::other) return reading;
  for (TypedNumber& number : labels.readings(parts->digits)) {
    number.isNegative = *isNegative;
    if (const auto value = valueOf(number, shape.kind == Kind::percent ? -2 : 0)) reading.values.push_back(*value);
  }
  return reading;
}

}  // namespace Tessaly::inline v1::detail
