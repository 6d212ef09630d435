// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unicode/ustring.h>

#include <random>
#include <ranges>
#include <vector>

#include "Tessaly/Core/Text/UTF8.hpp"

namespace Tessaly::inline v1::Text {
namespace {

using ::testing::ElementsAre;
using namespace std::string_literals;

static_assert(std::ranges::forward_range<Scalars>);
static_assert(std::ranges::borrowed_range<Scalars>);
static_assert(std::ranges::view<Scalars>);
static_assert(decodeScalar("€", 0) == DecodedScalar{U'€', 3, true});

constexpr std::string_view replacement = "\uFFFD";

std::vector<char32_t> scalarsOf(std::string_view text) {
  std::vector<char32_t> scalars;
  for (const char32_t scalar : Scalars(text)) scalars.push_back(scalar);
  return scalars;
}

TEST(UTF8, EveryScalarSurvivesARoundTrip) {
  for (char32_t scalar = 0; scalar < 0x110000; ++scalar) {
    if (scalar >= 0xD800 && scalar <= 0xDFFF) continue;
    std::string text;
    appendScalar(text, scalar);
    const DecodedScalar decoded = decodeScalar(text, 0);
    ASSERT_TRUE(decoded.isWellFormed);
    ASSERT_EQ(decoded.scalar, scalar);
    ASSERT_EQ(decoded.length, text.size());
    ASSERT_TRUE(isWellFormed(text));
  }
}

TEST(UTF8, SurrogatesAndTooLargeNumbersAreAppendedAsReplacements) {
  std::string text;
  for (const char32_t scalar : {0xD800u, 0xDFFFu, 0x110000u, 0xFFFFFFFFu}) appendScalar(text, scalar);
  EXPECT_EQ(text, "\uFFFD\uFFFD\uFFFD\uFFFD");
}

TEST(UTF8, ScalarsComeInOrder) {
  EXPECT_THAT(scalarsOf("né€😀"), ElementsAre(U'n', U'é', U'€', U'😀'));
  EXPECT_TRUE(scalarsOf("").empty());
  const Scalars scalars("é!");
  auto iterator = scalars.begin();
  EXPECT_EQ(iterator.offset(), 0u);
  EXPECT_EQ(iterator++.decoded().length, 2);
  EXPECT_EQ(iterator.offset(), 2u);
  EXPECT_EQ(*iterator, U'!');
  EXPECT_EQ(++iterator, scalars.end());
}

TEST(UTF8, EveryMaximalIllFormedSubpartReadsAsOneReplacement) {
  // The examples of the Unicode standard, tables 3-8 to 3-11.
  EXPECT_EQ(sanitized("\xC0\xAF\xE0\x80\xBF\xF0\x81\x82\x41"), "\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\x41");
  EXPECT_EQ(sanitized("\xED\xA0\x80\xED\xBF\xBF\xED\xAF\x41"), "\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\x41");
  EXPECT_EQ(sanitized("\xF4\x91\x92\x93\xFF\x41\x80\xBF\x42"), "\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\x41\uFFFD\uFFFD\x42");
  EXPECT_EQ(sanitized("\xE1\x80\xE2\xF0\x91\x92\xF1\xBF\x41"), "\uFFFD\uFFFD\uFFFD\uFFFD\x41");
}

TEST(UTF8, ATruncatedScalarAtTheEndIsOneReplacement) {
  for (const std::string_view whole : {"é", "€", "😀"}) {
    for (std::size_t length = 1; length < whole.size(); ++length) {
      EXPECT_EQ(sanitized(whole.substr(0, length)), replacement);
      EXPECT_FALSE(isWellFormed(whole.substr(0, length)));
      EXPECT_EQ(decodeScalar(whole.substr(0, length), 0).length, length);
    }
  }
}

TEST(UTF8, WellFormedTextIsSanitizedToItself) {
  const std::string text = "plain, né, €, 😀, \uFFFD and \0 inside"s;
  EXPECT_EQ(sanitized(text), text);
  EXPECT_EQ(sanitized(""), "");
  EXPECT_TRUE(isWellFormed(""));
}

TEST(UTF8, IllFormedBytesAreFoundAtEveryOffset) {
  for (std::size_t size = 1; size < 40; ++size) {
    for (std::size_t offset = 0; offset < size; ++offset) {
      std::string text(size, 'a');
      text[offset] = '\xFF';
      EXPECT_FALSE(isWellFormed(text));
      EXPECT_EQ(sanitized(text), text.substr(0, offset) + std::string(replacement) + text.substr(offset + 1));
    }
  }
}

TEST(UTF8, RandomBytesDecodeLikeICU) {
  std::mt19937 random(20230102);
  // Bytes near the ends of the ranges are more frequent.
  constexpr std::string_view interesting =
      "aZ\x7F\x80\x8F\x90\x9F\xA0\xBF\xC0\xC1\xC2\xDF\xE0\xE1\xEC\xED\xEF\xF0\xF1\xF3\xF4\xF5\xFF";
  for (int round = 0; round < 200'000; ++round) {
    std::string text(random() % 12, '\0');
    for (char& byte : text) byte = interesting[random() % interesting.size()];
    std::vector<UChar> units(text.size() + 1);
    int32_t length = 0;
    UErrorCode status = U_ZERO_ERROR;
    u_strFromUTF8WithSub(units.data(), static_cast<int32_t>(units.size()), &length, text.data(),
                         static_cast<int32_t>(text.size()), 0xFFFD, nullptr, &status);
    ASSERT_TRUE(U_SUCCESS(status));
    std::vector<char32_t> expected;
    for (int32_t i = 0; i < length;) {
      UChar32 scalar = 0;
      U16_NEXT(units.data(), i, length, scalar);
      expected.push_back(static_cast<char32_t>(scalar));
    }
    ASSERT_EQ(scalarsOf(text), expected);
    ASSERT_EQ(scalarsOf(sanitized(text)), expected);
    ASSERT_EQ(isWellFormed(text), sanitized(text) == text);
  }
}

}  // namespace
}  // namespace Tessaly::inline v1::Text
