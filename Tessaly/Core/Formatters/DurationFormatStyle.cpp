// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Formatters/DurationFormatStyle.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

#include "Tessaly/Core/Formatters/ListFormatStyle.hpp"
#include "Tessaly/Core/Formatters/detail/NumberText.hpp"

namespace Tessaly::inline v1 {
namespace {

struct UnitOfTime {
  const char* identifier;
  double seconds;
};

constexpr std::array<UnitOfTime, 4> unitsOfTime{{{"day", 86'400}, {"hour", 3600}, {"minute", 60}, {"second", 1}}};

detail::NumberShape shapeOf(const char* unit, DurationFormatStyle::Width width) {
  using Shape = detail::NumberShape;
  constexpr std::array widths{Shape::Width::wide, Shape::Width::abbreviated, Shape::Width::narrow};
  return {.kind = Shape::Kind::measure,
          .width = widths[static_cast<std::size_t>(width)],
          .unit = unit,
          .maximumFraction = 0};
}

}  // namespace

std::string DurationFormatStyle::format(double seconds) const {
  if (!std::isfinite(seconds)) return {};
  const std::string locale = (locale_ ? *locale_ : detail::currentLocale()).identifier();
  const std::size_t first = static_cast<std::size_t>(largest_);
  const std::size_t last = std::max(first, static_cast<std::size_t>(smallest_));
  double rest = std::abs(seconds);
  std::vector<std::string> texts;
  const auto add = [&](std::size_t unit, double amount) {
    const double value = texts.empty() && seconds < 0 && amount > 0 ? -amount : amount;
    texts.push_back(detail::numberText(locale, shapeOf(unitsOfTime[unit].identifier, width_), value));
  };
  std::size_t end = last + 1;
  for (std::size_t unit = first; unit < end; ++unit) {
    const double amount = std::floor(rest / unitsOfTime[unit].seconds);
    rest = std::fmod(rest, unitsOfTime[unit].seconds);
    if (amount == 0) continue;
    if (texts.empty()) end = std::min(end, unit + static_cast<std::size_t>(std::min(maximumUnitCount_, 4)));
    add(unit, amount);
  }
  if (texts.empty()) add(last, 0);
  return ListFormatStyle()
      .type(ListFormatStyle::Type::units)
      .width(static_cast<ListFormatStyle::Width>(width_))
      .locale(Locale(locale))
      .format(texts);
}

}  // namespace Tessaly::inline v1
