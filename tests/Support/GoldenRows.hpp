// SPDX-License-Identifier: MIT
#pragma once

#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Tessaly::Tests {

/// One line of the expected texts of the formatters.
struct GoldenRow {
  std::string locale;
  std::string input;
  std::string output;
};

/// The text, with each mark replaced by the invisible character that it stands for.
inline std::string withoutMarks(std::string text) {
  constexpr std::pair<std::string_view, std::string_view> marks[] = {
      {"⟨NBSP⟩", "\u00A0"}, {"⟨NNBSP⟩", "\u202F"}, {"⟨ALM⟩", "\u061C"}, {"⟨LRM⟩", "\u200E"}, {"⟨RLM⟩", "\u200F"}};
  for (const auto& [mark, character] : marks) {
    for (std::size_t at = text.find(mark); at != std::string::npos; at = text.find(mark, at)) {
      text.replace(at, mark.size(), character);
    }
  }
  return text;
}

/// The rows of a formatter in a file. The test fails if the file has no rows for it.
inline std::vector<GoldenRow> goldenRows(std::string_view formatter, const std::string& name = "icu72.tsv") {
  std::ifstream file(TESSALY_GOLDEN_DATA "/" + name);
  std::vector<GoldenRow> rows;
  for (std::string line; std::getline(file, line);) {
    const std::size_t first = line.find('\t');
    if (line.starts_with('#') || std::string_view(line).substr(0, first) != formatter) continue;
    const std::size_t second = line.find('\t', first + 1);
    const std::size_t third = line.find('\t', second + 1);
    rows.push_back({line.substr(first + 1, second - first - 1), line.substr(second + 1, third - second - 1),
                    withoutMarks(line.substr(third + 1))});
  }
  EXPECT_FALSE(rows.empty()) << "no rows of " << formatter << "";
  return rows;
}

}  // namespace Tessaly::Tests
