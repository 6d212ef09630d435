// SPDX-License-Identifier: MIT
// Component: Tessaly::Formatters
#pragma once

#include <any>
#include <concepts>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "Tessaly/Core/Formatters/Formatter.hpp"
#include "Tessaly/Core/Formatters/MeasurementFormatStyle.hpp"

namespace Tessaly::inline v1 {

/// A formatter that consists of two functions, for fields of a type without a formatter class.
///
/// For numbers use `NumberFormatter` or `Formatters::RangeNumber`, whose fields also judge half-typed texts. For dates
/// use `DateFormatter`. `fieldFormatter` makes a `ValueFormatter` for amounts of money and for measurements.
///
/// At the end of editing, a field shows the typed value as `format` writes it. If that text has another value, for
/// example a rounded value, the field stores the other value and shows a notice.
///
/// An exception from one of the functions goes to the caller. If the caller is a field, the exception stops the
/// process.
///
/// Thread contract: thread-compatible, if both functions are.
///
///     auto colors = std::make_shared<ValueFormatter<Color>>(&nameOf, &colorNamed);
///     FieldEditing editing(colors);
template <std::equality_comparable Value>
class ValueFormatter final : public Formatter {
 public:
  using Format = std::function<std::string(const Value& value)>;
  using Parse = std::function<std::optional<Value>(std::string_view text)>;

  ValueFormatter(Format format, Parse parse) : format_(std::move(format)), parse_(std::move(parse)) {}

  /// The text of a `Value`. Absent for every other object.
  [[nodiscard]] std::optional<std::string> string(const std::any& object) const override {
    const auto* value = std::any_cast<Value>(&object);
    return value != nullptr ? std::optional(format_(*value)) : std::nullopt;
  }
  /// Whether both texts have the same value. False if one of the texts cannot be parsed.
  [[nodiscard]] bool meansTheSame(std::string_view one, std::string_view other) const {
    const std::optional<Value> first = parse_(one);
    return first && first == parse_(other);
  }
  /// Parses a text into a `Value`. If the text cannot be parsed, returns false and stores an English sentence in
  /// `*errorDescription`.
  bool getObjectValue(std::any* object, std::string_view text,
                      std::optional<std::string>* errorDescription = nullptr) override {
    std::optional<Value> value = parse_(text);
    if (!value && errorDescription != nullptr) *errorDescription = "“" + std::string(text) + "” cannot be read.";
    if (!value) return false;
    if (object != nullptr) *object = *std::move(value);
    return true;
  }

 private:
  Format format_;
  Parse parse_;
};

/// A formatter for fields of numbers in a style: amounts of money, percentages or plain numbers. The objects of the
/// formatter are `double`s.
///
/// Thread contract: thread-safe.
///
///     FieldEditing price(fieldFormatter(CurrencyFormatStyle("EUR").locale(Locale("de"))));
///     FieldEditing::End end = price.end("9,5");  // Shows "9,50 €".
template <typename Style>
  requires requires(const Style& style) {
    { style.parse(std::string_view()) } -> std::same_as<std::optional<double>>;
  }
[[nodiscard]] std::shared_ptr<ValueFormatter<double>> fieldFormatter(const Style& style) {
  return std::make_shared<ValueFormatter<double>>([style](double number) { return style.format(number); },
                                                  [style](std::string_view text) { return style.parse(text); });
}

/// A formatter for fields of measurements. A text without a unit is in the assumed unit. If a person types a unit, the
/// field keeps this unit. The objects of the formatter are `Quantity`s.
///
/// Thread contract: thread-safe.
///
///     FieldEditing distance(fieldFormatter(MeasurementFormatStyle(), Quantity::Unit::kilometer));
///     FieldEditing::End end = distance.end("26.2 miles");
[[nodiscard]] inline std::shared_ptr<ValueFormatter<Quantity>> fieldFormatter(const MeasurementFormatStyle& style,
                                                                              Quantity::Unit assumed) {
  return std::make_shared<ValueFormatter<Quantity>>(
      [style = style.unit(MeasurementFormatStyle::UnitChoice::asGiven)](const Quantity& measurement) {
        return style.format(measurement);
      },
      [style, assumed](std::string_view text) { return style.parse(text, assumed); });
}

}  // namespace Tessaly::inline v1
