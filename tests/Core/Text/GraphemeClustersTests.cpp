// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unicode/ubrk.h>
#include <unicode/uchar.h>
#include <unicode/ustring.h>

#include <random>
#include <ranges>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "Tessaly/Core/Text/GraphemeClusters.hpp"
#include "Tessaly/Core/Text/UTF8.hpp"
#include "UnicodeData.hpp"

namespace Tessaly::inline v1::Text {
namespace {

using ::testing::ElementsAre;

static_assert(std::ranges::forward_range<GraphemeClusters>);
static_assert(std::ranges::borrowed_range<GraphemeClusters>);
static_assert(std::ranges::view<GraphemeClusters>);

using Clusters = std::vector<std::string>;

Clusters clustersOf(std::string_view text) {
  Clusters clusters;
  for (const std::string_view cluster : GraphemeClusters(text)) clusters.emplace_back(cluster);
  return clusters;
}

/// The clusters of the sanitized text, by ICU over UTF-16.
Clusters clustersByICU(std::string_view text) {
  const std::string clean = sanitized(text);
  std::vector<UChar> units(clean.size() + 1);
  int32_t length = 0;
  UErrorCode status = U_ZERO_ERROR;
  u_strFromUTF8(units.data(), static_cast<int32_t>(units.size()), &length, clean.data(),
                static_cast<int32_t>(clean.size()), &status);
  UBreakIterator* iterator = ubrk_open(UBRK_CHARACTER, "", units.data(), length, &status);
  EXPECT_TRUE(U_SUCCESS(status));
  Clusters clusters;
  for (int32_t begin = 0, end = 0; (end = ubrk_next(iterator)) != UBRK_DONE; begin = end) {
    std::string cluster;
    for (int32_t i = begin; i < end;) {
      UChar32 scalar = 0;
      U16_NEXT(units.data(), i, end, scalar);
      appendScalar(cluster, static_cast<char32_t>(scalar));
    }
    clusters.push_back(std::move(cluster));
  }
  ubrk_close(iterator);
  return clusters;
}

/// Whether ICU gives the scalar the Grapheme_Cluster_Break of Unicode 15.0.
bool hasBreakOfUnicode15(char32_t scalar) {
  static const auto& values =
      *new std::vector<std::string>(Tests::valuesInUnicode15("auxiliary/GraphemeBreakProperty.txt", "Other"));
  return u_getPropertyValueEnum(UCHAR_GRAPHEME_CLUSTER_BREAK, values[scalar].c_str()) ==
         u_getIntPropertyValue(static_cast<UChar32>(scalar), UCHAR_GRAPHEME_CLUSTER_BREAK);
}

void expectAsByICU(std::string_view text) {
  const Clusters clusters = clustersOf(text);
  Clusters clean;
  std::string joined;
  for (const auto& cluster : clusters) {
    joined += cluster;
    clean.push_back(sanitized(cluster));
  }
  ASSERT_EQ(joined, text);
  ASSERT_EQ(clean, clustersByICU(text));
  ASSERT_EQ(lastGraphemeCluster(text), clusters.empty() ? "" : clusters.back());
  ASSERT_EQ(graphemeClusterCount(text), static_cast<std::int64_t>(clusters.size()));
}

TEST(GraphemeClusters, PassTheUnicodeTest) {
  const auto lines = Tests::readUnicode15("auxiliary/GraphemeBreakTest.txt");
  ASSERT_EQ(lines.size(), 602u);
  for (const auto& line : lines) {
    Clusters expected;
    std::istringstream words(line.at(0));
    for (std::string word; words >> word;) {
      if (word == "÷") {
        expected.emplace_back();
      } else if (word != "×") {
        appendScalar(expected.back(), static_cast<char32_t>(std::stoul(word, nullptr, 16)));
      }
    }
    ASSERT_TRUE(expected.back().empty());
    expected.pop_back();
    std::string text;
    for (const auto& cluster : expected) text += cluster;
    EXPECT_EQ(clustersOf(text), expected) << line[0];
    EXPECT_EQ(lastGraphemeCluster(text), expected.back()) << line[0];
  }
}

TEST(GraphemeClusters, EmptyTextHasNoCharacters) {
  EXPECT_TRUE(clustersOf("").empty());
  EXPECT_EQ(graphemeClusterCount(""), 0);
  EXPECT_EQ(lastGraphemeCluster(""), "");
  EXPECT_TRUE(GraphemeClusters().empty());
}

TEST(GraphemeClusters, ALineEndIsOne) {
  EXPECT_THAT(clustersOf("a\r\nb\n\rc\r"), ElementsAre("a", "\r\n", "b", "\n", "\r", "c", "\r"));
  EXPECT_EQ(lastGraphemeCluster("a\r\n"), "\r\n");
  EXPECT_EQ(lastGraphemeCluster("\n\r"), "\r");
}

TEST(GraphemeClusters, PerceivedCharactersAreOneCharacter) {
  for (const std::string_view character :
       {"é", "e\u0301", "🇫🇷", "👨‍👩‍👧‍👦", "1️⃣", "👍🏽", "각", "\u1100\u1161\u11A8", "क्ष",
        "क्‍ष", "ক্ষ", "ਕ", "நி", "🏴󠁧󠁢󠁳󠁣󠁴󠁿", "Z͑ͫ̓ͪ̂ͫ̽͏̴̙̤̞͉͚̯̞̠͍"}) {
    EXPECT_EQ(graphemeClusterCount(character), 1) << character;
    EXPECT_EQ(lastGraphemeCluster("x" + std::string(character)), character);
    EXPECT_EQ(clustersOf("ab" + std::string(character) + "cd").at(2), character);
  }
}

TEST(GraphemeClusters, FlagsPairFromTheBeginning) {
  EXPECT_THAT(clustersOf("a🇫🇷🇩🇪🇫"), ElementsAre("a", "🇫🇷", "🇩🇪", "🇫"));
  EXPECT_EQ(lastGraphemeCluster("a🇫🇷🇩🇪🇫"), "🇫");
  EXPECT_EQ(lastGraphemeCluster("a🇫🇷🇩🇪"), "🇩🇪");
}

TEST(GraphemeClusters, IllFormedBytesCountAsReplacements) {
  EXPECT_THAT(clustersOf("a\xFF"
                         "b"),
              ElementsAre("a", "\xFF", "b"));
  EXPECT_THAT(clustersOf("\xE2\x82\xE2\x82\xAC"), ElementsAre("\xE2\x82", "€"));
  EXPECT_THAT(clustersOf("\x80\xCC\x81"), ElementsAre("\x80\xCC\x81"));
  EXPECT_EQ(lastGraphemeCluster("a\xF0\x9F\x98"), "\xF0\x9F\x98");
}

TEST(GraphemeClusters, AnIteratorMayBeCopiedAndUsedAgain) {
  const std::string text = "a👍🏽क्षb🇫🇷e\u0301" + std::string(40, 'x') + "क्ष";
  const GraphemeClusters clusters(text);
  std::size_t offset = 0;
  for (auto iterator = clusters.begin(); iterator != clusters.end(); ++iterator) {
    EXPECT_EQ(iterator.offset(), offset);
    auto copy = iterator;
    const auto before = copy++;
    EXPECT_EQ(before, iterator);
    EXPECT_NE(copy, iterator);
    offset += (*iterator).size();
  }
  EXPECT_EQ(offset, text.size());
  EXPECT_EQ(std::ranges::next(clusters.begin(), 1000, clusters.end()), clusters.end());
  EXPECT_EQ(*std::ranges::next(clusters.begin(), 2), "क्ष");
}

TEST(GraphemeClusters, AVeryLongClusterStaysWhole) {
  std::string text = "a";
  for (int i = 0; i < 100'000; ++i) text += "\u0301";
  EXPECT_EQ(graphemeClusterCount(text), 1);
  EXPECT_EQ(lastGraphemeCluster(text).size(), text.size());
  EXPECT_EQ(clustersOf(text + "b"), (Clusters{text, "b"}));
}

TEST(GraphemeClusters, RunsOfSimpleScriptsAreCutAsByICU) {
  // Every pair of scalars that need no ICU, and each of them beside a scalar that needs ICU.
  std::string text;
  int otherwise = 0;
  for (char32_t scalar = 0; scalar <= 0x10FFFF; ++scalar) {
    if (scalar == 0xAD00) scalar = 0xD700;  // Skips most Hangul syllables.
    if (scalar == 0x4F00) scalar = 0x9F00;  // Skips most Han characters.
    if (scalar == 0xE000) break;
    if (scalar >= 0xD800) continue;
    if (!hasBreakOfUnicode15(scalar)) {
      ++otherwise;
      continue;
    }
    appendScalar(text, scalar);
    if (scalar % 3 == 0) text += "\u0301";
    if (scalar % 5 == 0) text += "\u1160";
  }
  // Unicode 16.0 changed the class of 16 characters of this plane, and a younger one has a class.
  EXPECT_EQ(otherwise, Tests::isICUYoungerThanUnicode15() ? 17 : 0);
  expectAsByICU(text);
}

TEST(GraphemeClusters, RandomMixedTextsAreCutAsByICU) {
  std::vector<std::vector<char32_t>> byBreakClass(U_GCB_COUNT);
  int otherwise = 0;
  for (char32_t scalar = 0; scalar < 0x110000; ++scalar) {
    if (scalar >= 0xD800 && scalar <= 0xDFFF) continue;
    if (!hasBreakOfUnicode15(scalar)) {
      ++otherwise;
      continue;
    }
    byBreakClass[static_cast<std::size_t>(
                     u_getIntPropertyValue(static_cast<UChar32>(scalar), UCHAR_GRAPHEME_CLUSTER_BREAK))]
        .push_back(scalar);
  }
  // Unicode 16.0 changed the class of 27 characters, and 57 younger characters have a class.
  EXPECT_EQ(otherwise, Tests::isICUYoungerThanUnicode15() ? 84 : 0);
  std::erase_if(byBreakClass, [](const auto& scalars) { return scalars.empty(); });
  const std::vector<std::u32string_view> pools{
      U"कषतर्ि़\u200D\u200Cাক্ষৎகிక్షഖ്\u0D4Dગ્ਕ੍",
      U"👨👩👧👦\u200D\uFE0F\u20E3🏻🏿🇫🇷🇩🇪❤♀123#*©",
      U"각\u1100\u1161\u11A8한글",
      U"abc é\u0301\r\n\u00AD\u0600\u0600ж漢字かなカ゛\u3099",
  };
  std::mt19937 random(72);
  for (int round = 0; round < 20'000; ++round) {
    std::string text;
    for (std::size_t length = random() % 40; length > 0; --length) {
      switch (random() % 8) {
        case 0: {
          const auto& scalars = byBreakClass[random() % byBreakClass.size()];
          appendScalar(text, scalars[random() % scalars.size()]);
          break;
        }
        case 1:
          text.push_back(static_cast<char>(random()));
          break;
        default: {
          const auto pool = pools[(round + random() % 2) % pools.size()];
          appendScalar(text, pool[random() % pool.size()]);
        }
      }
    }
    ASSERT_NO_FATAL_FAILURE(expectAsByICU(text)) << testing::PrintToString(text);
  }
}

TEST(GraphemeClusters, ThreadsDoNotDisturbEachOther) {
  std::vector<std::thread> threads;
  std::vector<std::int64_t> counts(8);
  for (std::size_t i = 0; i < counts.size(); ++i) {
    threads.emplace_back([&count = counts[i]] {
      for (int round = 0; round < 300; ++round) count += graphemeClusterCount("क्ष👍🏽e\u0301🇫🇷");
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_THAT(counts, ::testing::Each(1200));
}

/// Cuts a text when it is destroyed.
struct LateUser {
  std::int64_t* count = nullptr;
  ~LateUser() {
    if (count != nullptr) *count = graphemeClusterCount("क्ष👍🏽");
  }
};

TEST(GraphemeClusters, WorkWhileAThreadEnds) {
  std::int64_t count = 0;
  std::thread([&] {
    // Made before the thread's break iterator, so destroyed after it.
    static thread_local LateUser late;
    late.count = &count;
    EXPECT_EQ(graphemeClusterCount("e\u0301"), 1);
  }).join();
  EXPECT_EQ(count, 2);
}

}  // namespace
}  // namespace Tessaly::inline v1::Text
