// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Formatters/DateComponentsFormatter.hpp"

#include <unicode/decimfmt.h>
#include <unicode/fmtable.h>
#include <unicode/locid.h>
#include <unicode/measfmt.h>
#include <unicode/measunit.h>
#include <unicode/measure.h>

#include <array>
#include <cmath>
#include <utility>
#include <vector>

#include "Tessaly/Core/Text/detail/RecentlyUsed.hpp"
#include "Tessaly/Core/Text/detail/UTF16Output.hpp"

namespace Tessaly::inline v1 {
namespace {

using Units = DateComponentsFormatter::Units;

constexpr std::array<Units, 3> allUnits{Units::hour, Units::minute, Units::second};
constexpr std::array<double, 3> secondsOf{3600, 60, 1};

template <typename Set>
bool contains(Set set, Set element) noexcept {
  return (static_cast<unsigned>(set) & static_cast<unsigned>(element)) != 0;
}

icu::MeasureUnit unitOfICU(std::size_t index) {
  return index == 0   ? icu::MeasureUnit::getHour()
         : index == 1 ? icu::MeasureUnit::getMinute()
                      : icu::MeasureUnit::getSecond();
}

UMeasureFormatWidth widthOf(DateComponentsFormatter::UnitsStyle style) {
  switch (style) {
    case DateComponentsFormatter::UnitsStyle::positional:
      return UMEASFMT_WIDTH_NUMERIC;
    case DateComponentsFormatter::UnitsStyle::abbreviated:
      return UMEASFMT_WIDTH_NARROW;
    case DateComponentsFormatter::UnitsStyle::full:
      break;
  }
  return UMEASFMT_WIDTH_WIDE;
}

/// One unit of a duration, and its number.
struct Component {
  std::size_t unit;
  double value;
};

}  // namespace

/// The prepared data of one locale and style.
class DateComponentsFormatter::Engine {
 public:
  Engine(const std::string& identifier, UnitsStyle style)
      : locale_(rootIfBogus(icu::Locale(identifier.c_str()))), format_(locale_, widthOf(style), status_) {
    const std::unique_ptr<icu::NumberFormat> numbers(icu::NumberFormat::createInstance(locale_, status_));
    if (const auto* decimal = dynamic_cast<const icu::DecimalFormat*>(numbers.get())) {
      const icu::DecimalFormatSymbols& symbols = *decimal->getDecimalFormatSymbols();
      minusSign_ = symbols.getConstSymbol(icu::DecimalFormatSymbols::kMinusSignSymbol);
      for (int digit = 0; digit < 10; ++digit) {
        digits_[static_cast<std::size_t>(digit)] = detail::fromUTF16(symbols.getConstDigitSymbol(digit));
      }
    }
  }

  /// Writes a positional text with the separators of the first such text. ICU would make the pattern again for each
  /// text.
  std::string positional(const std::vector<Component>& components) {
    // Larger numbers may be grouped, by two digits in some languages.
    if (components.size() < 2 || components.front().value >= 100) return string(components);
    Layout& layout = layouts_[components.size() - 2][components.front().unit];
    if (!layout.isKnown) learn(layout, components);
    if (layout.literals.empty()) return string(components);
    std::string text = layout.literals.front();
    for (std::size_t index = 0; index < components.size(); ++index) {
      const auto value = static_cast<std::size_t>(components[index].value);
      if (index > 0 || value >= 10) text += digits_[value / 10 % 10];
      text += digits_[value % 10];
      text += layout.literals[index + 1];
    }
    return text;
  }

  std::string string(const std::vector<Component>& components) const {
    UErrorCode status = U_ZERO_ERROR;
    std::vector<icu::Measure> measures;
    measures.reserve(components.size());
    for (const Component& component : components) {
      measures.emplace_back(icu::Formattable(component.value), new icu::MeasureUnit(unitOfICU(component.unit)), status);
    }
    icu::UnicodeString units;
    icu::FieldPosition position(icu::FieldPosition::DONT_CARE);
    format_.formatMeasures(measures.data(), static_cast<std::int32_t>(measures.size()), units, position, status);
    return U_SUCCESS(status) ? detail::fromUTF16(units) : std::string();
  }

  [[nodiscard]] std::string minusSign() const { return detail::fromUTF16(minusSign_); }

 private:
  /// The texts before, between and after the fields of positional texts. Empty unless the locale writes the first field
  /// without padding and pads every later field to two digits.
  struct Layout {
    bool isKnown = false;
    std::vector<std::string> literals;
  };

  void learn(Layout& layout, std::vector<Component> components) const {
    layout.isKnown = true;
    for (Component& component : components) component.value = 1;
    const std::string sample = string(components);
    std::size_t at = 0;
    for (std::size_t index = 0; index < components.size(); ++index) {
      const std::string field = index == 0 ? digits_[1] : digits_[0] + digits_[1];
      const std::size_t found = sample.find(field, at);
      if (found == std::string::npos) return layout.literals.clear();
      layout.literals.push_back(sample.substr(at, found - at));
      at = found + field.size();
    }
    layout.literals.push_back(sample.substr(at));
    if (layout.literals.front().ends_with(digits_[0])) layout.literals.clear();  // The first field is padded, too.
  }

  static icu::Locale rootIfBogus(const icu::Locale& locale) {
    return locale.isBogus() ? icu::Locale::getRoot() : locale;
  }

  UErrorCode status_ = U_ZERO_ERROR;
  icu::Locale locale_;
  icu::MeasureFormat format_;
  icu::UnicodeString minusSign_ = u"-";
  std::array<std::string, 10> digits_{"0", "1", "2", "3", "4", "5", "6", "7", "8", "9"};
  std::array<std::array<Layout, 3>, 2> layouts_;
};

class DateComponentsFormatter::State {
 public:
  std::optional<Locale> locale;
  UnitsStyle unitsStyle = UnitsStyle::positional;
  Units allowedUnits = Units::hour | Units::minute | Units::second;
  ZeroFormattingBehavior zeroFormattingBehavior = ZeroFormattingBehavior::default_;
  bool allowsFractionalUnits = false;
  detail::RecentlyUsed<std::string, Engine, 8> engines;

  /// The units that are written.
  [[nodiscard]] std::vector<Component> shown(std::vector<Component> components) const {
    auto behavior = zeroFormattingBehavior;
    if (contains(behavior, ZeroFormattingBehavior::default_)) {
      behavior =
          unitsStyle == UnitsStyle::positional ? ZeroFormattingBehavior::dropLeading : ZeroFormattingBehavior::dropAll;
    }
    const auto isZero = [](const Component& component) { return component.value == 0; };
    if (contains(behavior, ZeroFormattingBehavior::dropLeading)) {
      // Positional texts keep two fields, because a single field would not look like a time.
      const std::size_t least = unitsStyle == UnitsStyle::positional ? 2 : 1;
      while (components.size() > least && isZero(components.front())) components.erase(components.begin());
    }
    if (unitsStyle == UnitsStyle::positional) return components;
    if (contains(behavior, ZeroFormattingBehavior::dropTrailing)) {
      while (components.size() > 1 && isZero(components.back())) components.pop_back();
    }
    if (contains(behavior, ZeroFormattingBehavior::dropMiddle) && components.size() == 3 && isZero(components[1])) {
      components.erase(components.begin() + 1);
    }
    return components;
  }
};

DateComponentsFormatter::DateComponentsFormatter() : state_(std::make_unique<State>()) {}
DateComponentsFormatter::~DateComponentsFormatter() = default;

std::string_view DateComponentsFormatter::className() const noexcept { return "Tessaly.DateComponentsFormatter"; }

const std::optional<Locale>& DateComponentsFormatter::locale() const noexcept { return state_->locale; }
void DateComponentsFormatter::setLocale(const std::optional<Locale>& locale) { state_->locale = locale; }
DateComponentsFormatter::UnitsStyle DateComponentsFormatter::unitsStyle() const noexcept { return state_->unitsStyle; }
void DateComponentsFormatter::setUnitsStyle(UnitsStyle style) {
  state_->engines.clear();
  state_->unitsStyle = style;
}
DateComponentsFormatter::Units DateComponentsFormatter::allowedUnits() const noexcept { return state_->allowedUnits; }
void DateComponentsFormatter::setAllowedUnits(Units units) noexcept { state_->allowedUnits = units; }
DateComponentsFormatter::ZeroFormattingBehavior DateComponentsFormatter::zeroFormattingBehavior() const noexcept {
  return state_->zeroFormattingBehavior;
}
void DateComponentsFormatter::setZeroFormattingBehavior(ZeroFormattingBehavior behavior) noexcept {
  state_->zeroFormattingBehavior = behavior;
}
bool DateComponentsFormatter::allowsFractionalUnits() const noexcept { return state_->allowsFractionalUnits; }
void DateComponentsFormatter::setAllowsFractionalUnits(bool allows) noexcept { state_->allowsFractionalUnits = allows; }

std::optional<std::string> DateComponentsFormatter::string(double seconds) const {
  if (!std::isfinite(seconds)) return std::nullopt;
  double rest = std::trunc(std::abs(seconds));
  const bool isNegative = seconds < 0 && rest > 0;
  std::vector<Component> components;
  for (std::size_t unit = 0; unit < allUnits.size(); ++unit) {
    if (!contains(state_->allowedUnits, allUnits[unit])) continue;
    const double value = std::floor(rest / secondsOf[unit]);
    rest = std::fmod(rest, secondsOf[unit]);
    components.push_back({unit, value});
  }
  if (components.empty()) return std::nullopt;
  components = state_->shown(std::move(components));

  const Locale& locale = state_->locale ? *state_->locale : detail::currentLocale();
  Engine& engine = state_->engines.get(locale.identifier(), [&](const std::string& identifier) {
    return std::make_unique<Engine>(identifier, state_->unitsStyle);
  });
  const bool isSigned = isNegative && components.front().value != 0;
  // The positional format takes no negative values.
  if (state_->unitsStyle == UnitsStyle::positional) {
    const std::string text = engine.positional(components);
    return isSigned && !text.empty() ? engine.minusSign() + text : text;
  }
  if (isSigned) components.front().value = -components.front().value;
  return engine.string(components);
}

std::optional<std::string> DateComponentsFormatter::string(const std::any& object) const {
  if (const auto* seconds = std::any_cast<double>(&object)) return string(*seconds);
  if (const auto* seconds = std::any_cast<std::int64_t>(&object)) return string(static_cast<double>(*seconds));
  if (const auto* seconds = std::any_cast<int>(&object)) return string(static_cast<double>(*seconds));
  return std::nullopt;
}

}  // namespace Tessaly::inline v1
