// SPDX-License-Identifier: MIT
#pragma once

#include <unicode/uchar.h>

#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace Tessaly::Tests {

/// The fields between the semicolons of a line, without its comment and without outer blanks.
inline std::vector<std::string> fieldsOfLine(std::string_view line) {
  line = line.substr(0, line.find('#'));
  std::vector<std::string> fields;
  while (line.find_first_not_of(" \t") != std::string_view::npos) {
    const std::size_t end = line.find(';');
    std::string_view field = line.substr(0, end);
    const std::size_t begin = field.find_first_not_of(" \t");
    field = begin == std::string_view::npos ? "" : field.substr(begin, field.find_last_not_of(" \t") + 1 - begin);
    fields.emplace_back(field);
    line = end == std::string_view::npos ? "" : line.substr(end + 1);
  }
  return fields;
}

/// The lines with data in a file.
inline std::vector<std::vector<std::string>> readDataLines(const std::string& path) {
  std::ifstream file(path);
  if (!file) throw std::runtime_error("Cannot read " + path + "; is the package unicode-data installed?");
  std::vector<std::vector<std::string>> lines;
  for (std::string line; std::getline(file, line);) {
    auto fields = fieldsOfLine(line);
    if (!fields.empty()) lines.push_back(std::move(fields));
  }
  return lines;
}

/// The lines with data in a file of the Unicode Character Database of the system, which may have any version.
inline std::vector<std::vector<std::string>> readUnicodeData(const std::string& name) {
  const char* directory = std::getenv("TESSALY_UNICODE_DATA");
  return readDataLines(std::string(directory != nullptr ? directory : "/usr/share/unicode") + "/" + name);
}

/// The lines with data in a file of Unicode 15.0, the version of the library's own tables. The project keeps the file.
inline std::vector<std::vector<std::string>> readUnicode15(const std::string& name) {
  return readDataLines(std::string(TESSALY_UNICODE_15) + "/" + name);
}

struct ScalarRange {
  char32_t first;
  char32_t last;
};

/// "0041..005A" or "00AA".
inline ScalarRange readRange(const std::string& text) {
  const auto number = [](const std::string& digits) { return static_cast<char32_t>(std::stoul(digits, nullptr, 16)); };
  const std::size_t dots = text.find("..");
  if (dots == std::string::npos) return {number(text), number(text)};
  return {number(text.substr(0, dots)), number(text.substr(dots + 2))};
}

constexpr char32_t scalarCount = 0x110000;

/// The value of a property of each scalar in Unicode 15.0. `absent` is the value of scalars that the file omits.
inline std::vector<std::string> valuesInUnicode15(const std::string& file, const std::string& absent) {
  std::vector<std::string> values(scalarCount, absent);
  for (const auto& fields : readUnicode15(file)) {
    const auto range = readRange(fields[0]);
    for (char32_t scalar = range.first; scalar <= range.last; ++scalar) values[scalar] = fields[1];
  }
  return values;
}

/// The scalars that have a binary property in Unicode 15.0.
inline std::vector<bool> scalarsInUnicode15(const std::string& file, const std::string& property) {
  std::vector<bool> scalars(scalarCount);
  for (const auto& fields : readUnicode15(file)) {
    if (fields[1] != property) continue;
    const auto range = readRange(fields[0]);
    for (char32_t scalar = range.first; scalar <= range.last; ++scalar) scalars[scalar] = true;
  }
  return scalars;
}

/// Whether the ICU at hand has characters or rules that Unicode 15.0 lacks.
inline bool isICUYoungerThanUnicode15() {
  UVersionInfo version{};
  u_getUnicodeVersion(version);
  return version[0] > 15 || (version[0] == 15 && version[1] > 0);
}

/// Whether the ICU at hand says that Unicode 15.0 did not have the character yet.
inline bool isYoungerThanUnicode15(char32_t scalar) {
  UVersionInfo age{};
  u_charAge(static_cast<UChar32>(scalar), age);
  return age[0] > 15 || (age[0] == 15 && age[1] > 0);
}

}  // namespace Tessaly::Tests
