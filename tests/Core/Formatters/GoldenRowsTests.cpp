// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "tests/Core/Formatters/ICUTexts.hpp"
#include "tests/Support/GoldenRows.hpp"

namespace Tessaly::Tests {
namespace {

TEST(GoldenRows, AreTextsOfTheInstalledICU) {
  const WritersByICU writers = writersByICU();
  for (const char* table : {"icu", "texts"}) {
    for (const GoldenRow& row : allGoldenRows(table)) {
      EXPECT_EQ(writers.at(table + ("/" + row.formatter))(icu::Locale(row.locale.c_str()), row.input), row.output)
          << table << ' ' << row.formatter << ' ' << row.locale << ' ' << row.input;
    }
  }
}

}  // namespace
}  // namespace Tessaly::Tests
