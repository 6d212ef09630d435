// SPDX-License-Identifier: MIT
#pragma once

#include <unicode/locid.h>
#include <unicode/utypes.h>

#include <algorithm>
#include <functional>
#include <initializer_list>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/Core/Formatters/AllLocales.hpp"

namespace Tessaly::Tests {

/// Writes the output of a golden row by ICU alone. No code of the library takes part, so that the rows are not its own.
using WriteByICU = std::function<std::string(const icu::Locale& locale, const std::string& input)>;

/// By table and formatter, as in "icu/bytes".
using WritersByICU = std::map<std::string, WriteByICU>;

WritersByICU writersOfNumbers();
WritersByICU writersOfDates();

inline WritersByICU writersByICU() {
  WritersByICU writers = writersOfNumbers();
  writers.merge(writersOfDates());
  return writers;
}

/// The result of a function of ICU, which must not fail.
template <typename Function>
auto succeeding(Function&& function) {
  UErrorCode status = U_ZERO_ERROR;
  auto result = std::forward<Function>(function)(status);
  if (U_FAILURE(status)) throw std::runtime_error(u_errorName(status));
  return result;
}

inline std::vector<std::string> wordsOf(const std::string& input) {
  std::istringstream stream(input);
  std::vector<std::string> words;
  for (std::string word; stream >> word;) words.push_back(word);
  return words;
}

/// The place of a word among the names of the values of an enumeration.
inline std::size_t placeOf(const std::string& word, std::initializer_list<std::string_view> names) {
  const auto* found = std::ranges::find(names, word);
  if (found == names.end()) throw std::invalid_argument(word);
  return static_cast<std::size_t>(found - names.begin());
}

inline std::size_t widthOf(const std::string& word) { return placeOf(word, {"wide", "abbreviated", "narrow"}); }

}  // namespace Tessaly::Tests
