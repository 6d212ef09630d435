// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <unicode/listformatter.h>

#include <memory>
#include <string>
#include <vector>

#include "Tessaly/Core/Formatters/ListFormatStyle.hpp"
#include "tests/Core/Formatters/AllLocales.hpp"
#include "tests/Support/GoldenRows.hpp"

namespace Tessaly {
namespace {

using Type = ListFormatStyle::Type;
using Width = ListFormatStyle::Width;

constexpr Type types[] = {Type::and_, Type::or_, Type::units};
constexpr Width widths[] = {Width::wide, Width::abbreviated, Width::narrow};

ListFormatStyle lists(const std::string& locale) { return ListFormatStyle().locale(Locale(locale)); }

TEST(ListFormatStyle, WritesTheGoldenTexts) {
  for (const auto& row : Tests::goldenRows("list", "texts")) {
    auto style = lists(row.locale);
    if (row.input.starts_with("or ")) style = style.type(Type::or_);
    if (row.input.starts_with("units ")) style = style.type(Type::units);
    if (row.input.contains(" abbreviated ")) style = style.width(Width::abbreviated);
    if (row.input.contains(" narrow ")) style = style.width(Width::narrow);
    const std::vector<std::string> items{"A", "B", "C", "D"};
    EXPECT_EQ(style.format(std::vector(items.begin(), items.begin() + (row.input.back() - '0'))), row.output)
        << row.locale << ' ' << row.input;
  }
}

TEST(ListFormatStyle, WritesInEveryLocaleAsICUDoes) {
  const std::vector<std::vector<std::string>> samples{{"A"},
                                                      {"A", "B"},
                                                      {"A", "B", "C"},
                                                      {"A", "B", "C", "D", "E"},
                                                      {"agua", "iglesia"},
                                                      {"siete", "ocho"},
                                                      {"7", "8", "11"},
                                                      {"א", "B", "ג"},
                                                      {"", "", ""},
                                                      {"hielo", "hijo", "Ignacio"},
                                                      {"\uE000", "\uE001"},
                                                      {"{0}", "{1}", "{2}"}};
  for (const std::string& name : Tests::comparedLocales()) {
    for (const Type type : types) {
      for (const Width width : widths) {
        UErrorCode status = U_ZERO_ERROR;
        const std::unique_ptr<icu::ListFormatter> peer(
            icu::ListFormatter::createInstance(icu::Locale(name.c_str()), static_cast<UListFormatterType>(type),
                                               static_cast<UListFormatterWidth>(width), status));
        for (const auto& items : samples) {
          std::vector<icu::UnicodeString> units;
          for (const std::string& item : items) units.push_back(icu::UnicodeString::fromUTF8(item));
          icu::UnicodeString text;
          peer->format(units.data(), static_cast<std::int32_t>(units.size()), text, status);
          EXPECT_EQ(lists(name).type(type).width(width).format(items), Tests::utf8(text)) << name;
        }
      }
    }
  }
}

TEST(ListFormatStyle, EmptyListIsEmpty) {
  EXPECT_EQ(lists("en").format({}), "");
  EXPECT_EQ(lists("en").format(std::vector<std::string>()), "");
}

TEST(ListFormatStyle, ReplacesIllFormedText) {
  EXPECT_EQ(lists("en").format({"a\xFF"}), "a\uFFFD");
  EXPECT_EQ(lists("en").format({"\xFF", "b"}), "\uFFFD and b");
  EXPECT_EQ(lists("es").format({"\xFF", "b"}), "\uFFFD y b");
}

TEST(ListFormatStyle, WritesInUnknownLocales) {
  for (const char* locale : {"", "xx", "@@@", "\xFF\xFE"}) {
    const std::string text = lists(locale).format({"A", "B"});
    EXPECT_TRUE(text.starts_with("A") && text.ends_with("B")) << locale << ' ' << text;
  }
}

}  // namespace
}  // namespace Tessaly
