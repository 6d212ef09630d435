// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cstdlib>
#include <sstream>

#include "Tessaly/Core/Text/Locale.hpp"

namespace Tessaly {
namespace {

std::string currentWith(const char* all, const char* messages, const char* language) {
  for (const auto& [name, value] :
       {std::pair("LC_ALL", all), std::pair("LC_MESSAGES", messages), std::pair("LANG", language)}) {
    if (value == nullptr) {
      ::unsetenv(name);
    } else {
      ::setenv(name, value, 1);
    }
  }
  return Locale::current().identifier();
}

TEST(Locale, ComesFromTheFirstNonemptyVariable) {
  EXPECT_EQ(currentWith("fr_FR", "de_DE", "ja_JP"), "fr_FR");
  EXPECT_EQ(currentWith("", "de_DE", "ja_JP"), "de_DE");
  EXPECT_EQ(currentWith(nullptr, "", "ja_JP"), "ja_JP");
  EXPECT_EQ(currentWith(nullptr, nullptr, nullptr), "en_US_POSIX");
  EXPECT_EQ(currentWith("", "", ""), "en_US_POSIX");
}

TEST(Locale, DropsTheEncodingAndKeepsTheScript) {
  EXPECT_EQ(currentWith("de_DE.UTF-8", nullptr, nullptr), "de_DE");
  EXPECT_EQ(currentWith("de_DE.UTF-8@euro", nullptr, nullptr), "de_DE");
  EXPECT_EQ(currentWith("sr_RS@latin", nullptr, nullptr), "sr_Latn_RS");
  EXPECT_EQ(currentWith("uz_UZ.UTF-8@cyrillic", nullptr, nullptr), "uz_Cyrl_UZ");
  EXPECT_EQ(currentWith("ca_ES@valencia", nullptr, nullptr), "ca_ES_VALENCIA");
  EXPECT_EQ(currentWith("C", nullptr, nullptr), "en_US_POSIX");
  EXPECT_EQ(currentWith("C.UTF-8", nullptr, nullptr), "en_US_POSIX");
  EXPECT_EQ(currentWith("POSIX", nullptr, nullptr), "en_US_POSIX");
  EXPECT_EQ(currentWith(".UTF-8", nullptr, nullptr), "en_US_POSIX");
}

TEST(Locale, KnowsItsLanguagesCode) {
  const auto code = [](const char* identifier) {
    const auto found = Locale(identifier).language().languageCode();
    return found ? found->identifier() : "none";
  };
  EXPECT_EQ(code("en_GB"), "en");
  EXPECT_EQ(code("pt-BR"), "pt");
  EXPECT_EQ(code("zh_Hant_TW"), "zh");
  EXPECT_EQ(code("en_US_POSIX"), "en");
  EXPECT_EQ(code(""), "none");
  EXPECT_EQ(code("root"), "none");
  EXPECT_EQ(code("_DE"), "none");
  EXPECT_EQ(code("@@@"), "none");
}

TEST(Locale, IsAValue) {
  EXPECT_EQ(Locale("fr"), Locale("fr"));
  EXPECT_NE(Locale("fr"), Locale("fr_FR"));
  EXPECT_EQ(std::hash<Locale>()(Locale("fr")), std::hash<Locale>()(Locale("fr")));
  std::ostringstream stream;
  stream << Locale("fr_CA") << ' ' << *Locale("fr_CA").language().languageCode();
  EXPECT_EQ(stream.str(), "fr_CA fr");
}

TEST(Locale, IsReplacedForAScope) {
  const std::string before = currentWith("fr_FR", nullptr, nullptr);
  {
    const Locale outer("de");
    const Locale::Replacement first(outer);
    {
      const Locale inner("ja");
      const Locale::Replacement second(inner);
      EXPECT_EQ(Locale::current(), inner);
    }
    EXPECT_EQ(Locale::current(), outer);
  }
  EXPECT_EQ(Locale::current().identifier(), before);
}

}  // namespace
}  // namespace Tessaly
