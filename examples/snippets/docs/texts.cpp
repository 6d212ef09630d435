// SPDX-License-Identifier: MIT
#include <iostream>
#include <optional>

#include "Tessaly/Core/Formatters/ByteCountFormatStyle.hpp"
#include "Tessaly/Core/Formatters/CurrencyFormatStyle.hpp"
#include "Tessaly/Core/Formatters/DateFormatter.hpp"
#include "Tessaly/Core/Formatters/DateIntervalFormatStyle.hpp"
#include "Tessaly/Core/Formatters/DurationFormatStyle.hpp"
#include "Tessaly/Core/Formatters/FormatsLocale.hpp"
#include "Tessaly/Core/Formatters/ListFormatStyle.hpp"
#include "Tessaly/Core/Formatters/MeasurementFormatStyle.hpp"
#include "Tessaly/Core/Formatters/NumberFormatStyle.hpp"
#include "Tessaly/Core/Formatters/OrdinalFormatStyle.hpp"
#include "Tessaly/Core/Formatters/PercentFormatStyle.hpp"
#include "Tessaly/Core/Formatters/PluralRules.hpp"
#include "Tessaly/Core/Formatters/RelativeDateFormatStyle.hpp"
#include "Tessaly/Formatting/FormattingService+Styles.hpp"

namespace Tessaly {

void showTexts0() {
  std::cout << NumberFormatStyle().format(1'234'567.891);                              // 1,234,567.891
  std::cout << PercentFormatStyle().fractionDigits(1).format(0.1234);                  // 12.3%
  std::cout << CurrencyFormatStyle("EUR").format(9.99);                                // €9.99
  std::cout << RelativeDateFormatStyle().format(Date::now() + -300.0);                 // 5 minutes ago
  std::cout << ListFormatStyle().format({"A", "B", "C"});                              // A, B, and C
  std::cout << OrdinalFormatStyle().format(22);                                        // 22nd
  std::cout << MeasurementFormatStyle().format({20, Quantity::Unit::celsius});         // 68°F
  std::cout << NumberFormatStyle().formatRange(3, 5);                                  // 3–5
  std::cout << DateIntervalFormatStyle().format(Date::now(), Date::now() + 86'400.0);  // Jan 2 – 3, 2023
  std::cout << DurationFormatStyle().maximumUnitCount(2).format(93'784);               // 1 day, 2 hours
}

void showTexts1() {
  FormattingService::setLanguage("de");
  std::cout << FormattingService::format(ByteCountFormatStyle(), 1'500'000);      // 1,5 MB
  std::cout << NumberFormatStyle().locale(FormatsLocale::numeric()).format(0.5);  // 0,5 with LC_NUMERIC=de_DE
}

void showTexts2() {
  PluralRules rules;
  std::cout << 3 << (rules.category(3) == PluralRules::Category::one ? " file" : " files");
}

void readTexts() {
  std::optional<double> price = CurrencyFormatStyle("EUR").locale(Locale("de")).parse("1.234,5");
  std::optional<Quantity> way = MeasurementFormatStyle().parse("26.2 miles", Quantity::Unit::kilometer);
  DateFormatter dates;
  dates.setDateStyle(DateFormatter::Style::medium);
  std::optional<Date> birthday = dates.date("2/1/1990");
  std::cout << price.has_value() << way.has_value() << birthday.has_value();
}

}  // namespace Tessaly
