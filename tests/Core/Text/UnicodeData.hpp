// SPDX-License-Identifier: MIT
#pragma once

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

/// The lines with data in a file of the Unicode Character Database.
inline std::vector<std::vector<std::string>> readUnicodeData(const std::string& name) {
  const char* folder = std::getenv("TESSALY_UNICODE_DATA");
  std::ifstream file(std::string(folder != nullptr ? folder : "/usr/share/unicode") + "/" + name);
  if (!file) throw std::runtime_error("Cannot read " + name + "; is the package unicode-data installed?");
  std::vector<std::vector<std::string>> lines;
  for (std::string line; std::getline(file, line);) {
    auto fields = fieldsOfLine(line);
    if (!fields.empty()) lines.push_back(std::move(fields));
  }
  return lines;
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

}  // namespace Tessaly::Tests
