// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <vector>

#include "Tessaly/Core/Formatters/ByteCountFormatStyle.hpp"
#include "Tessaly/Core/Formatters/CurrencyFormatStyle.hpp"
#include "Tessaly/Core/Formatters/DurationFormatStyle.hpp"
#include "Tessaly/Core/Formatters/ListFormatStyle.hpp"
#include "Tessaly/Formatting/FormattingService+Styles.hpp"

namespace Tessaly {
namespace {

TEST(FormattingServiceStyles, FollowTheChosenLanguage) {
  FormattingService::setLanguage("de");
  EXPECT_EQ(FormattingService::format(CurrencyFormatStyle("EUR"), 1234.5), "1.234,50\u00A0€");
  EXPECT_EQ(FormattingService::format(ByteCountFormatStyle(), 1'500'000), "1,5 MB");
  EXPECT_EQ(FormattingService::format(DurationFormatStyle(), 90'000), "1 Tag, 1 Stunde");
  EXPECT_EQ(FormattingService::format(ListFormatStyle(), std::vector{"A", "B"}), "A und B");
  FormattingService::setLanguage("fr");
  EXPECT_EQ(FormattingService::format(ByteCountFormatStyle(), 1'500'000), "1,5\u202FMo");
}

TEST(FormattingServiceStyles, KeepTheirLocaleUntilALanguageIsChosen) {
  EXPECT_EQ(FormattingService::language(), std::nullopt);
  EXPECT_EQ(FormattingService::format(CurrencyFormatStyle("EUR").locale(Locale("ja")), 1), "€1.00");
  FormattingService::setLanguage("fr");
  EXPECT_EQ(FormattingService::language(), Locale("fr"));
}

}  // namespace
}  // namespace Tessaly
