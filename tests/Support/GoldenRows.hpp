// SPDX-License-Identifier: MIT
#pragma once

#include <gtest/gtest.h>
#include <unicode/uversion.h>

#include <fstream>
#include <map>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

namespace Tessaly::Tests {

/// One line of the expected texts of the formatters.
struct GoldenRow {
  std::string formatter;
  std::string locale;
  std::string input;
  std::string output;
};

/// The version of ICU whose texts the complete tables hold. The tables of other versions hold only what differs.
constexpr int baseVersionOfICU = 72;

/// The major version of the ICU that this process has loaded.
inline int versionOfICU() {
  UVersionInfo version;
  u_getVersion(version);
  return version[0];
}

constexpr std::pair<std::string_view, std::string_view> marksAndCharacters[] = {
    {"⟨NBSP⟩", "\u00A0"}, {"⟨NNBSP⟩", "\u202F"}, {"⟨ALM⟩", "\u061C"}, {"⟨LRM⟩", "\u200E"}, {"⟨RLM⟩", "\u200F"}};

inline std::string replaced(std::string text, std::string_view sought, std::string_view replacement) {
  for (std::size_t at = text.find(sought); at != std::string::npos; at = text.find(sought, at + replacement.size())) {
    text.replace(at, sought.size(), replacement);
  }
  return text;
}

/// The text, with each mark replaced by the invisible character that it stands for.
inline std::string withoutMarks(std::string text) {
  for (const auto& [mark, character] : marksAndCharacters) text = replaced(std::move(text), mark, character);
  return text;
}

/// The text, with a mark in the place of each invisible character that has one.
inline std::string withMarks(std::string text) {
  for (const auto& [mark, character] : marksAndCharacters) text = replaced(std::move(text), character, mark);
  return text;
}

/// The rows of the file of a table ("icu" or "texts") and a version of ICU.
inline std::vector<GoldenRow> readGoldenRows(const std::string& table, int version) {
  std::ifstream file(TESSALY_GOLDEN_DATA "/" + table + std::to_string(version) + ".tsv");
  EXPECT_TRUE(file.is_open())
      << "There are no golden texts of ICU " << version << ". Write them with `WriteGoldenRows " << table << " > "
      << table << version
      << ".tsv` into tests/Core/Formatters/golden, look at each kind of difference, and describe it "
      << "in docs/texts.md.";
  std::vector<GoldenRow> rows;
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with('#')) continue;
    const std::size_t first = line.find('\t');
    const std::size_t second = line.find('\t', first + 1);
    const std::size_t third = line.find('\t', second + 1);
    rows.push_back({line.substr(0, first), line.substr(first + 1, second - first - 1),
                    line.substr(second + 1, third - second - 1), withoutMarks(line.substr(third + 1))});
  }
  return rows;
}

/// All rows of a table, with the texts of the ICU that this process has loaded.
inline std::vector<GoldenRow> allGoldenRows(const std::string& table) {
  std::vector<GoldenRow> rows = readGoldenRows(table, baseVersionOfICU);
  if (versionOfICU() == baseVersionOfICU) return rows;
  std::map<std::tuple<std::string, std::string, std::string>, std::string> differing;
  for (GoldenRow& row : readGoldenRows(table, versionOfICU())) {
    differing[{row.formatter, row.locale, row.input}] = std::move(row.output);
  }
  for (GoldenRow& row : rows) {
    const auto found = differing.find({row.formatter, row.locale, row.input});
    if (found == differing.end()) continue;
    row.output = found->second;
    differing.erase(found);
  }
  EXPECT_TRUE(differing.empty()) << differing.size() << " golden rows stand only in the table of ICU "
                                 << versionOfICU();
  return rows;
}

/// The rows of a formatter in a table. The test fails if the table has no rows for it.
inline std::vector<GoldenRow> goldenRows(std::string_view formatter, const std::string& table = "icu") {
  std::vector<GoldenRow> rows = allGoldenRows(table);
  std::erase_if(rows, [&](const GoldenRow& row) { return row.formatter != formatter; });
  EXPECT_FALSE(rows.empty()) << "no rows of " << formatter;
  return rows;
}

}  // namespace Tessaly::Tests
