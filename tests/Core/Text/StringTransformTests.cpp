// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <unicode/translit.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>
#include <unicode/uscript.h>

#include <cstdint>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "Tessaly/Core/Text/StringTransform.hpp"
#include "Tessaly/Core/Text/UTF8.hpp"
#include "Tessaly/Core/Text/detail/SearchTransform.hpp"
#include "tests/Support/Repetitions.hpp"

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

TEST(StringTransform, AppliesTheNamedTransform) {
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
  // The texts have every pair of scalars with a replacement. They are long, so that ICU is called seldom.
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
    // The text has no other scripts, so all of it is replaced scalar by scalar.
    std::string latin;
    for (const char32_t scalar : Scalars(text)) {
      UErrorCode status = U_ZERO_ERROR;
      const auto script = uscript_getScript(static_cast<UChar32>(scalar), &status);
      if (script == USCRIPT_LATIN || script == USCRIPT_COMMON) appendScalar(latin, scalar);
    }
    ASSERT_EQ(transformedForSearch(latin), byICU(latin)) << step;
  }
}

std::u32string range(char32_t first, char32_t last) {
  std::u32string scalars;
  for (char32_t scalar = first; scalar <= last; ++scalar) {
    if (u_isdefined(static_cast<UChar32>(scalar)) != 0) scalars += scalar;
  }
  return scalars;
}

std::string textOf(std::u32string_view scalars) {
  std::string text;
  for (const char32_t scalar : scalars) appendScalar(text, scalar);
  return text;
}

TEST(TransformedForSearch, EqualsICUForEveryScalarBetweenLettersOfEachScript) {
  const std::u32string_view letters = U"aЯyαπυγאب가어あん漢字アé1) ";
  std::size_t turn = 0;
  for (char32_t scalar = 1; scalar < 0x10000; ++scalar) {
    if (scalar >= 0xD800 && scalar < 0xE000) continue;
    const bool isOneOfMany = (scalar > 0xAC40 && scalar < 0xD7A0) || (scalar > 0x5000 && scalar < 0x9F00);
    if (isOneOfMany && scalar % 17 != 0) continue;
    // During the loop, every letter stands before and after many scalars.
    const char32_t before = letters[turn % letters.size()];
    const char32_t after = letters[turn / letters.size() % letters.size()];
    ++turn;
    const std::string text = textOf(std::u32string{before, scalar, after});
    ASSERT_EQ(transformedForSearch(text), byICU(text)) << text;
  }
}

TEST(TransformedForSearch, EqualsICUForEveryPairOfOneScript) {
  for (const std::u32string& script :
       {range(U'Ͱ', U'Ͽ'), range(U'א', U'ת'), range(U'ؠ', U'ۓ'), range(U'ぁ', U'ゟ'), range(U'゠', U'ヿ')}) {
    for (const char32_t first : script) {
      for (const char32_t second : script) {
        const std::string text = textOf(std::u32string{first, second});
        ASSERT_EQ(transformedForSearch(text), byICU(text)) << text;
      }
    }
  }
}

TEST(TransformedForSearch, EqualsICUForSyllablesOfHangul) {
  std::mt19937 random(11172);
  const std::u32string_view vowelsFirst = U"아어오으이예의";
  for (int round = 0; round < Tests::repetitions(20'000); ++round) {
    std::u32string syllables;
    for (int i = 0; i < 4; ++i) {
      syllables += random() % 2 == 0 ? static_cast<char32_t>(U'가' + random() % 11'172)
                                     : vowelsFirst[random() % vowelsFirst.size()];
    }
    const std::string text = textOf(syllables);
    ASSERT_EQ(transformedForSearch(text), byICU(text)) << text;
  }
}

TEST(TransformedForSearch, KnowsTheIdeographsWithTwoReadings) {
  UErrorCode status = U_ZERO_ERROR;
  const std::unique_ptr<icu::Transliterator> han(
      icu::Transliterator::createInstance("Han-Latin", UTRANS_FORWARD, status));
  ASSERT_TRUE(U_SUCCESS(status));
  icu::UnicodeString rules;
  han->toRules(rules, false);
  std::set<UChar32> ideographs;
  for (int32_t at = 2; at < rules.length(); ++at) {
    const UChar32 before = rules.char32At(rules[at - 1] == u' ' ? at - 2 : at - 1);
    if (rules[at] == u'}' && u_hasBinaryProperty(before, UCHAR_IDEOGRAPHIC) != 0) ideographs.insert(before);
  }
  EXPECT_EQ(ideographs, (std::set<UChar32>{U'藏', U'重', U'沈', U'秘'}));
  for (const char* text : {"西藏文", "藏 文", "重庆", "重慶", "沈阳", "沈 阳", "秘鲁", "秘密 鲁", "体重"}) {
    EXPECT_EQ(transformedForSearch(text), byICU(text)) << text;
  }
}

TEST(TransformedForSearch, ScriptLooksBackOverLettersThatBecameSigns) {
  for (const char* text : {"ー٢ ع؟ンcー", "; ع ع Α", "·ع ع ع Α", "; א א Α", "α·字", "α·「字」"}) {
    EXPECT_EQ(transformedForSearch(text), byICU(text)) << text;
  }
}

TEST(TransformedForSearch, EqualsICUOverAMixedCorpus) {
  const std::vector<std::u32string> pools{
      U"abcXYZ 0123 .,;'\"-",
      U"éÉßẞøØæÆłŁđĐñÑüÜçÇİıſĳŉǅǆ",
      U"“”‘’–—…†•©®™½¼¾№€£µªº¡¿«»×÷±",
      U"ẤấỆệỢợỰựỸỹḀḁṄṅẛẚẞ",
      U"e\u0301\u0308\u0323\u0327\u0345\u200D\uFE0F\u034F",
      U"αβγΣσςΩώΆΐ΄΅;·υπνκ",
      U"αειυωΥΑγσ\u0301\u0308\u0301\u0300\u0313\u0345;",
      range(U'Ά', U'ώ'),
      U"привеТЁёЪъЬьЩщи\u0306",
      range(0x400, 0x52F),
      range(0x590, 0x5FF),
      range(0x600, 0x6FF),
      U"漢字日本語中文々重庆藏文ー・、。「」（！",
      range(0x4E00, 0x9FFF),
      U"ひらがなきゃっんーちふぁ",
      U"カタカナキャッンーチファ",
      range(0x3041, 0x30FF),
      range(U'가', U'힣'),
      U"한국어각을의예ᄀᄁ가나다",
      U"हिन्दीক্ষতமிழ்ไทย",
      U"العربيةעברית٠١٢،؟",
      U"😀👍🏽🇫🇷❤️ℌ𝔄ﬁﬂＡｂ１Ⅷ①",
      U"    ",
  };
  std::mt19937 random(72);
  for (int round = 0; round < Tests::repetitions(30'000); ++round) {
    // A few scripts, so that letters of one script often stand side by side and often between spaces.
    std::vector<std::u32string_view> chosen{U"ab c", pools[random() % pools.size()], pools[random() % pools.size()]};
    std::string text;
    for (std::size_t length = random() % 16; length > 0; --length) {
      const auto pool = chosen[random() % chosen.size()];
      appendScalar(text, pool[random() % pool.size()]);
      if (random() % 300 == 0) text += static_cast<char>(random());
    }
    ASSERT_EQ(transformedForSearch(text), byICU(text)) << testing::PrintToString(text);
  }
}

TEST(TransformedForSearch, EqualsICUForSignsAmongIdeographs) {
  const std::u32string_view pool = U"字漢々々。、「」『』《》〈〉（）〜・　. ,;()aかカッーー가α·Я1藏文【】“”’！";
  std::mt19937 random(3005);
  for (int round = 0; round < Tests::repetitions(30'000); ++round) {
    std::u32string scalars;
    for (std::size_t length = 2 + random() % 7; length > 0; --length) scalars += pool[random() % pool.size()];
    const std::string text = textOf(scalars);
    ASSERT_EQ(transformedForSearch(text), byICU(text)) << text;
  }
  // More signs than the library looks past.
  for (const std::string text : {"か「「「「「「「「「「字", "か・・・・・・・・・・か"}) {
    EXPECT_EQ(transformedForSearch(text), byICU(text)) << text;
  }
}

std::string repeated(std::string_view text, std::size_t count) {
  std::string result;
  for (std::size_t i = 0; i < count; ++i) result += text;
  return result;
}

/// The steps that ICU's transforms need for a text. The tables of the library contain all scalars of the text before
/// the steps are counted.
std::uint64_t stepsOf(const std::string& text) {
  EXPECT_NE(transformedForSearch(text), std::nullopt);
  const std::uint64_t before = detail::transformStepsForTesting();
  EXPECT_NE(transformedForSearch(text), std::nullopt);
  return detail::transformStepsForTesting() - before;
}

TEST(TransformedForSearch, UsesNoICUForKnownScalarsOfUsualScripts) {
  for (const std::string_view text :
       {"Hello, World", "Größe – Łódź", "Cafe\u0301", "Привет, Мир!", "Доктор Живаго", "Οδύσσεια, Μέρος Α",
        "Τι είναι; Αυτό· ναι", "Καφε\u0301ς, αι\u0308\u0301", "😀 Αθήνα", "🎧 музыка", "שלום עולם", "مرحبا، كيف الحال؟",
        "안녕하세요 한국어", "ひらがなっきゃんあ", "カタカナ・データ", "日本語、時々「中文」", "東京タワー 2020年"}) {
    EXPECT_EQ(stepsOf(std::string(text)), 0u) << text;
  }
}

TEST(TransformedForSearch, QueryMatchesTextWhoseNeighbourNeedsICU) {
  for (const std::string query : {"日本語、時々「中文」", "東京。大阪", "漢字・東京〜大阪", "人々（漢字）《中文》"}) {
    EXPECT_EQ(stepsOf(query), 0u) << query;
    const std::string text = query + "ゝ";
    EXPECT_GT(stepsOf(text), 0u) << text;
    EXPECT_TRUE(transformedForSearch(text)->starts_with(*transformedForSearch(query))) << text;
  }
}

TEST(TransformedForSearch, SendsOnlyThePieceWithAnUnusualScalarThroughICU) {
  const std::string words = repeated("a few words ", 20'000);
  EXPECT_LT(stepsOf(words + "हिन्दी " + words), 200u);
  const std::string russian = repeated("несколько слов ", 20'000);
  EXPECT_LT(stepsOf(russian + "हिन्दी " + russian), 200u);
}

TEST(TransformedForSearch, TakesLinearStepsForTextWithoutAPlaceToCut) {
  for (const std::string_view piece : {"हिन्दी", "ქართული", "漢字ゝ", "இந்த"}) {
    const std::uint64_t steps = stepsOf(repeated(piece, 500));
    EXPECT_GT(steps, 500u);
    EXPECT_LT(stepsOf(repeated(piece, 2'000)), 5 * steps) << piece;
  }
}

}  // namespace
}  // namespace Tessaly::inline v1::Text
