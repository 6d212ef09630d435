// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <unicode/ustring.h>

#include <random>
#include <string>

#include "Tessaly/Core/Text/UTF16.hpp"
#include "Tessaly/Core/Text/UTF8.hpp"

namespace Tessaly::inline v1::Text {
namespace {

TEST(UTF16, EveryScalarSurvivesARoundTrip) {
  for (char32_t scalar = 0; scalar < 0x110000; ++scalar) {
    if (scalar >= 0xD800 && scalar <= 0xDFFF) continue;
    std::string text;
    appendScalar(text, scalar);
    const std::u16string units = toUTF16(text);
    ASSERT_EQ(units.size(), scalar < 0x10000 ? 1u : 2u);
    ASSERT_EQ(fromUTF16(units), text);
  }
}

TEST(UTF16, IllFormedTextBecomesReplacements) {
  EXPECT_EQ(toUTF16("a\xE2\x82z\xFF"), u"a\uFFFDz\uFFFD");
  const std::u16string lone{u'a', 0xD83D, u'b', 0xDE00, 0xDE00, 0xD83D};
  EXPECT_EQ(fromUTF16(lone), "a\uFFFDb\uFFFD\uFFFD\uFFFD");
  EXPECT_EQ(toUTF16(""), u"");
  EXPECT_EQ(fromUTF16(u""), "");
}

TEST(UTF16, RandomBytesConvertLikeICU) {
  std::mt19937 random(16);
  constexpr std::string_view interesting = "aZ\x80\xBF\xC2\xE0\xA0\xE2\xED\x9F\xF0\x90\xF4\x8F\xFF";
  for (int round = 0; round < 50'000; ++round) {
    std::string text(random() % 14, '\0');
    for (char& byte : text) byte = interesting[random() % interesting.size()];
    std::u16string expected(text.size(), u'\0');
    int32_t length = 0;
    UErrorCode status = U_ZERO_ERROR;
    u_strFromUTF8WithSub(expected.data(), static_cast<int32_t>(expected.size()), &length, text.data(),
                         static_cast<int32_t>(text.size()), 0xFFFD, nullptr, &status);
    ASSERT_TRUE(U_SUCCESS(status));
    expected.resize(static_cast<std::size_t>(length));
    ASSERT_EQ(toUTF16(text), expected);
    ASSERT_EQ(fromUTF16(expected), sanitized(text));
  }
}

}  // namespace
}  // namespace Tessaly::inline v1::Text
