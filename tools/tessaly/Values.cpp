// SPDX-License-Identifier: MIT
#include "Values.hpp"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "Tessaly/Core/Foundation/PropertyListSerialization.hpp"

namespace TessalyTool {
namespace {

using Tessaly::Data;
using Tessaly::PropertyList;

constexpr std::string_view dateKind = "date like 2023-01-02T15:04:05Z";

[[noreturn]] void refuse(std::string_view text, std::string_view kind) {
  throw UsageError("\"" + std::string(text) + "\" is no " + std::string(kind));
}

PropertyList parsedInteger(std::string_view text) {
  if (const auto number = parsedNumber<std::int64_t>(text)) return *number;
  if (const auto number = parsedNumber<std::uint64_t>(text)) return *number;
  refuse(text, "integer of 64 bits");
}

PropertyList parsedBoolean(std::string_view text) {
  std::string word(text);
  std::ranges::transform(word, word.begin(), [](char unit) { return unit >= 'A' && unit <= 'Z' ? unit + 32 : unit; });
  if (word == "true" || word == "yes" || word == "1") return true;
  if (word == "false" || word == "no" || word == "0") return false;
  refuse(text, "boolean: true, yes, 1, false, no or 0");
}

PropertyList parsedData(std::string_view text) {
  Data::Bytes bytes;
  // The printed form is accepted too.
  if (text.starts_with('<') && text.ends_with('>')) text = text.substr(1, text.size() - 2);
  if (text.size() % 2 != 0) refuse(text, "data in hexadecimal digits");
  for (std::size_t i = 0; i < text.size(); i += 2) {
    std::uint8_t byte = 0;
    const auto [end, error] = std::from_chars(text.data() + i, text.data() + i + 2, byte, 16);
    if (error != std::errc() || end != text.data() + i + 2) refuse(text, "data in hexadecimal digits");
    bytes.push_back(byte);
  }
  return Data(std::move(bytes));
}

/// Parses one simple value and removes its arguments.
PropertyList takeSimple(Arguments& arguments) {
  const std::string_view first = arguments[0];
  arguments = arguments.subspan(1);
  const bool isKind = first == "-string" || first == "-int" || first == "-float" || first == "-bool" ||
                      first == "-date" || first == "-data";
  if (!isKind) {
    if (first.starts_with('-') && !parsedNumber<double>(first)) {
      throw UsageError("There is no option " + std::string(first) + "; -string takes any text");
    }
    return first;
  }
  if (arguments.empty()) throw UsageError(std::string(first) + " wants a value");
  const std::string_view text = arguments[0];
  arguments = arguments.subspan(1);
  if (first == "-int") return parsedInteger(text);
  if (first == "-bool") return parsedBoolean(text);
  if (first == "-date") return parsedDate(text);
  if (first == "-data") return parsedData(text);
  if (first == "-float") {
    if (const auto number = parsedNumber<double>(text)) return *number;
    refuse(text, "number");
  }
  return text;
}

}  // namespace

PropertyList parsedDate(std::string_view text) {
  std::string date(text);
  // The printed form is accepted too.
  if (constexpr std::string_view printed = " +0000"; date.size() == 25 && date.ends_with(printed) && date[10] == ' ') {
    date.replace(date.size() - printed.size(), printed.size(), "Z");
    date[10] = 'T';
  }
  // The codec for property lists parses the date.
  try {
    if (date.find_first_not_of("0123456789-:TZ") != std::string::npos) refuse(text, dateKind);
    const std::string element = "<date>" + date + "</date>";
    return Tessaly::PropertyListSerialization::read(Data(std::string_view(element)).bytes()).value;
  } catch (const Tessaly::PropertyListError&) {
    refuse(text, dateKind);
  }
}

PropertyList parsedValue(Arguments arguments) {
  if (arguments.empty()) throw UsageError("A value is missing");
  if (arguments[0] == "-array") {
    arguments = arguments.subspan(1);
    PropertyList::Array array;
    while (!arguments.empty()) array.push_back(takeSimple(arguments));
    return array;
  }
  if (arguments[0] == "-dict") {
    arguments = arguments.subspan(1);
    PropertyList::Dictionary dictionary;
    while (!arguments.empty()) {
      std::string key(arguments[0]);
      arguments = arguments.subspan(1);
      if (arguments.empty()) throw UsageError("The key \"" + key + "\" wants a value");
      if (dictionary.contains(key)) throw UsageError("The key \"" + key + "\" comes twice");
      dictionary.insert_or_assign(std::move(key), takeSimple(arguments));
    }
    return dictionary;
  }
  PropertyList value = takeSimple(arguments);
  if (!arguments.empty()) throw UsageError("\"" + std::string(arguments[0]) + "\" is too much");
  return value;
}

std::string printedKey(std::string_view key) {
  const bool isPlain = std::ranges::none_of(key, [](unsigned char unit) { return unit < 0x20 || unit == 0x7F; });
  return isPlain ? std::string(key) : PropertyList(key).description();
}

std::string printed(const PropertyList& value) { return value.text() != nullptr ? *value.text() : value.description(); }

}  // namespace TessalyTool
