// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Formatters/ValueFormatter.hpp"

#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "Tessaly/Core/Formatters/CurrencyFormatStyle.hpp"
#include "Tessaly/Core/Formatters/FieldEditing.hpp"

namespace Tessaly {
namespace {

enum class Color { red, blue };

std::string nameOf(const Color& color) { return color == Color::red ? "red" : "blue"; }

std::optional<Color> colorNamed(std::string_view name) {
  for (const Color color : {Color::red, Color::blue}) {
    if (nameOf(color) == name) return color;
  }
  return std::nullopt;
}

}  // namespace

void showValueFormatter() {
  auto colors = std::make_shared<ValueFormatter<Color>>(&nameOf, &colorNamed);
  FieldEditing editing(colors);
  static_cast<void>(editing.end("red"));
}

void showFieldOfMoney() {
  FieldEditing price(fieldFormatter(CurrencyFormatStyle("EUR").locale(Locale("de"))));
  FieldEditing::End end = price.end("9,5");  // Shows "9,50 €".
  std::cout << end.text;
}

void showFieldOfMeasurements() {
  FieldEditing distance(fieldFormatter(MeasurementFormatStyle(), Quantity::Unit::kilometer));
  FieldEditing::End end = distance.end("26.2 miles");
  std::cout << end.text;
}

}  // namespace Tessaly
