// SPDX-License-Identifier: MIT
#pragma once

#include <gtest/gtest.h>
#include <unicode/formattedvalue.h>
#include <unicode/locid.h>

#include <string>
#include <vector>

#include "tests/Support/Repetitions.hpp"

namespace Tessaly::Tests {

/// The names of ICU's locales (one in seven as a rule, all under stress) and of some that are peculiar.
inline std::vector<std::string> comparedLocales() {
  std::vector<std::string> names{"no", "iw", "en-US", "ar@numbers=latn", "en@numbers=roman", "zh@numbers=hanidec",
                                 "xx", ""};
  std::int32_t count = 0;
  const icu::Locale* locales = icu::Locale::getAvailableLocales(count);
  EXPECT_GT(count, 700);
  const std::int32_t stride = repetitions(1) > 1 ? 1 : 7;
  for (std::int32_t index = 0; index < count; index += stride) names.emplace_back(locales[index].getName());
  return names;
}

/// The languages that have golden texts.
inline constexpr const char* goldenLocales[] = {"en", "en_GB", "de", "fr", "es", "it", "pt_BR", "nl", "sv",      "pl",
                                                "ru", "ar",    "he", "fa", "hi", "bn", "ja",    "ko", "zh_Hans", "tr"};

inline std::string utf8(const icu::UnicodeString& text) {
  std::string bytes;
  return text.toUTF8String(bytes);
}

}  // namespace Tessaly::Tests
