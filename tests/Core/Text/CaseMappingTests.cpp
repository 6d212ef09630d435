// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <unicode/uchar.h>

#include <string>

#include "Tessaly/Core/Text/CaseMapping.hpp"
#include "Tessaly/Core/Text/UTF8.hpp"
#include "UnicodeData.hpp"

namespace Tessaly::inline v1::Text {
namespace {

TEST(CaseMapping, MapsASCIIByteByByte) {
  std::string all;
  for (char byte = 0; byte >= 0; ++byte) {
    all += byte;
    if (byte == 127) break;
  }
  const std::string upper = uppercased(all);
  const std::string lower = lowercased(all);
  for (std::size_t i = 0; i < all.size(); ++i) {
    EXPECT_EQ(upper[i], static_cast<char>(u_toupper(all[i])));
    EXPECT_EQ(lower[i], static_cast<char>(u_tolower(all[i])));
  }
  EXPECT_EQ(uppercased(""), "");
}

TEST(CaseMapping, MayMapOneCharacterToSeveral) {
  EXPECT_EQ(uppercased("ß"), "SS");
  EXPECT_EQ(uppercased("ﬁx"), "FIX");
  EXPECT_EQ(lowercased("İ"), "i\u0307");
  EXPECT_EQ(uppercased(std::string(100, 'a') + "ΐΐΐΐΐΐΐΐ").size(), 100u + 8 * 6);
}

TEST(CaseMapping, KnowsTheSigmaAtTheEndOfAWord) {
  EXPECT_EQ(lowercased("ΟΔΟΣ"), "οδος");
  EXPECT_EQ(lowercased("Σ"), "σ");
}

TEST(CaseMapping, IsIndependentOfLanguage) {
  EXPECT_EQ(uppercased("iı"), "II");
  EXPECT_EQ(lowercased("Iİ"), "ii\u0307");
}

TEST(CaseMapping, ReplacesIllFormedBytes) {
  EXPECT_EQ(uppercased("a\xFFz"), "A\uFFFDZ");
  EXPECT_EQ(lowercased("\xE2\x82"), "\uFFFD");
}

TEST(CaseMapping, FollowsTheCharacterDatabase) {
  int mapped = 0;
  for (const auto& fields : Tests::readUnicodeData("UnicodeData.txt")) {
    if (fields.size() < 14 || (fields[12].empty() && fields[13].empty())) continue;
    const auto scalar = static_cast<char32_t>(std::stoul(fields[0], nullptr, 16));
    // These scalars have mappings of several characters, in SpecialCasing.txt.
    if (scalar == 0x130 || (scalar >= 0x1F80 && scalar <= 0x1FFF)) continue;
    std::string text;
    appendScalar(text, scalar);
    const auto expected = [&](const std::string& field) {
      if (field.empty()) return text;
      std::string result;
      appendScalar(result, static_cast<char32_t>(std::stoul(field, nullptr, 16)));
      return result;
    };
    EXPECT_EQ(uppercased(text), expected(fields[12])) << fields[0];
    EXPECT_EQ(lowercased(text), expected(fields[13])) << fields[0];
    ++mapped;
  }
  EXPECT_GT(mapped, 2600);
}

}  // namespace
}  // namespace Tessaly::inline v1::Text
