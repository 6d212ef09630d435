// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <unicode/translit.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>
#include <unicode/uscript.h>

#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "Tessaly/Core/Text/StringTransform.hpp"
#include "Tessaly/Core/Text/UTF8.hpp"

namespace Tessaly::inline v1::Text {
namespace {

/// ICU itself, with the whole text.
std::string byICU(std::string_view text) {
  static icu::Transliterator& transliterator = [] -> icu::Transliterator& {
    UErrorCode status = U_ZERO_ERROR;
    auto* made = icu::Transliterator::createInstance("Any-Latin; Latin-ASCII; Lower", UTRANS_FORWARD, status);
    EXPECT_TRUE(U_SUCCESS(status));
    return *made;
  }();
  auto units = icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), static_cast<int32_t>(text.size())));
  transliterator.transliterate(units);
  std::string result;
  return units.toUTF8String(result);
}

TEST(StringTransform, PassesATextThroughTheTransformOfThatName) {
  EXPECT_EQ(transformed("Ελληνικά", "Any-Latin"), "Ellēniká");
  EXPECT_EQ(transformed("Straße", "Latin-ASCII"), "Strasse");
  EXPECT_EQ(transformed("", "Lower"), "");
  EXPECT_EQ(transformed("a\xFF", "Upper"), "A\uFFFD");
}

TEST(StringTransform, IsAbsentForUnknownTransforms) {
  EXPECT_EQ(transformed("a", "No-Such"), std::nullopt);
  EXPECT_EQ(transformed("a", ";;::"), std::nullopt);
}

TEST(StringTransform, ServesManyThreadsAtOnce) {
  std::vector<std::thread> threads;
  std::vector<int> wrong(4);
  for (int& count : wrong) {
    threads.emplace_back([&] {
      for (int round = 0; round < 50; ++round) {
        if (transformedForSearch("Привет, Мир") != "privet, mir") ++count;
        if (transformedForSearch("Øyvind ½") != "oyvind  1/2") ++count;
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(wrong, std::vector<int>(4));
}

TEST(TransformedForSearch, EqualsICUForEveryScalarAloneAndBetweenLetters) {
  for (char32_t scalar = 0; scalar < 0x3000; ++scalar) {
    std::string text;
    appendScalar(text, scalar);
    ASSERT_EQ(transformedForSearch(text), byICU(text)) << text;
    for (const std::string& around : {"a" + text + "Z", "I" + text, text + "\u0301", "9" + text + text + "Σ"}) {
      ASSERT_EQ(transformedForSearch(around), byICU(around)) << around;
    }
  }
}

TEST(TransformedForSearch, EqualsICUForEveryPairOfLatinScalars) {
  // All scalars with a replacement, each between every other. The texts are long, so that ICU is called seldom.
  std::vector<char32_t> scalars;
  for (char32_t scalar = 1; scalar < 0x2070; ++scalar) {
    if (scalar == 0x300) scalar = 0x1E00;
    if (scalar == 0x1F00) scalar = 0x2000;
    scalars.push_back(scalar);
  }
  for (std::size_t step = 1; step < scalars.size(); step += step < 8 ? 1 : 7) {
    std::string text;
    for (std::size_t at = 0; at < scalars.size(); ++at) {
      appendScalar(text, scalars[at]);
      appendScalar(text, scalars[(at + step) % scalars.size()]);
    }
    ASSERT_EQ(transformedForSearch(text), byICU(text)) << step;
    // Without other scripts, so that all of it is replaced scalar by scalar.
    std::string latin;
    for (const char32_t scalar : Scalars(text)) {
      UErrorCode status = U_ZERO_ERROR;
      const auto script = uscript_getScript(static_cast<UChar32>(scalar), &status);
      if (script == USCRIPT_LATIN || script == USCRIPT_COMMON) appendScalar(latin, scalar);
    }
    ASSERT_EQ(transformedForSearch(latin), byICU(latin)) << step;
  }
}

TEST(TransformedForSearch, EqualsICUOverAMixedCorpus) {
  const std::vector<std::u32string_view> pools{
      U"abcXYZ 0123 .,;'\"-",
      U"éÉßẞøØæÆłŁđĐñÑüÜçÇİıſĳŉǅǆ",
      U"“”‘’–—…†•©®™½¼¾№€£µªº¡¿«»×÷±",
      U"ẤấỆệỢợỰựỸỹḀḁṄṅẛẚẞ",
      U"e\u0301\u0308\u0323\u0327\u0345\u200D\uFE0F\u034F",
      U"αβγΣσςΩώΆΐ΄΅;·",
      U"привеТЁёЪъЬьЩщ",
      U"漢字日本語中文ひらがなカタカナー・、。「」",
      U"한국어각ᄀᄁ가나다",
      U"हिन्दीক্ষতமிழ்ไทย",
      U"العربيةעברית٠١٢",
      U"😀👍🏽🇫🇷❤️ℌ𝔄ﬁﬂＡｂ１Ⅷ①",
  };
  std::mt19937 random(72);
  std::size_t latin = 0;
  for (int round = 0; round < 20'000; ++round) {
    std::string text;
    const std::size_t most = round % 3 == 0 ? pools.size() : 4;
    for (std::size_t length = random() % 16; length > 0; --length) {
      const auto pool = pools[random() % most];
      appendScalar(text, pool[random() % pool.size()]);
      if (random() % 300 == 0) text += static_cast<char>(random());
    }
    ASSERT_EQ(transformedForSearch(text), byICU(text)) << testing::PrintToString(text);
    latin += most == 4 ? 1 : 0;
  }
  EXPECT_GT(latin, 10'000u);
}

}  // namespace
}  // namespace Tessaly::inline v1::Text
