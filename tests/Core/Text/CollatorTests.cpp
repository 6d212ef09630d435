// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <sys/mman.h>

#include <algorithm>
#include <compare>
#include <cstddef>
#include <random>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "Tessaly/Core/Text/Collator.hpp"

namespace Tessaly::inline v1 {
namespace {

using Strength = Collator::Strength;
using Texts = std::vector<std::string>;

Texts sorted(Texts texts, const Collator& collator) {
  std::ranges::sort(texts, collator);
  return texts;
}

TEST(Collator, EachLanguageHasItsAlphabet) {
  const Texts letters{"z", "a", "ä", "o", "ö", "å"};
  EXPECT_EQ(sorted(letters, Collator(Locale("sv"))), (Texts{"a", "o", "z", "å", "ä", "ö"}));
  EXPECT_EQ(sorted(letters, Collator(Locale("de"))), (Texts{"a", "å", "ä", "o", "ö", "z"}));
  EXPECT_EQ(sorted({"llama", "luz", "nube", "ñandú", "oso"}, Collator(Locale("es"))),
            (Texts{"llama", "luz", "nube", "ñandú", "oso"}));
  EXPECT_EQ(sorted({"chata", "cena", "hora"}, Collator(Locale("cs"))), (Texts{"cena", "hora", "chata"}));
  EXPECT_EQ(sorted({"さくら", "アイス", "いぬ"}, Collator(Locale("ja"))), (Texts{"アイス", "いぬ", "さくら"}));
}

TEST(Collator, DigitsCountAsNumbersUnlessTurnedOff) {
  const Texts names{"file 10", "file 9", "file 2b", "file 2"};
  EXPECT_EQ(sorted(names, Collator(Locale("en"))), (Texts{"file 2", "file 2b", "file 9", "file 10"}));
  EXPECT_EQ(sorted(names, Collator(Locale("en"), {.numeric = false})),
            (Texts{"file 10", "file 2", "file 2b", "file 9"}));
}

TEST(Collator, StrengthDecidesWhichDifferencesCount) {
  const Collator primary(Locale("en"), {.strength = Strength::primary});
  const Collator secondary(Locale("en"), {.strength = Strength::secondary});
  const Collator tertiary(Locale("en"));
  EXPECT_EQ(primary.compare("RESUME", "résumé"), std::weak_ordering::equivalent);
  EXPECT_EQ(secondary.compare("resume", "résumé"), std::weak_ordering::less);
  EXPECT_EQ(secondary.compare("Résumé", "résumé"), std::weak_ordering::equivalent);
  EXPECT_EQ(tertiary.compare("Résumé", "résumé"), std::weak_ordering::greater);
  EXPECT_EQ(tertiary.compare("résumé", "résumé"), std::weak_ordering::equivalent);
  EXPECT_EQ(tertiary.compare("resumes", "Résumé"), std::weak_ordering::greater) << "a letter decides before a mark";
}

TEST(Collator, DecomposedTextIsEquivalentToComposed) {
  EXPECT_EQ(Collator(Locale("vi")).compare("Nguyễn", "Nguye\u0302\u0303n"), std::weak_ordering::equivalent);
}

TEST(Collator, IllFormedTextCountsAsReplacementCharacters) {
  const Collator collator(Locale("en"));
  EXPECT_EQ(collator.compare("a\xFFz", "a\uFFFDz"), std::weak_ordering::equivalent);
  EXPECT_EQ(collator.sortKey("a\xFFz"), collator.sortKey("a\uFFFDz"));
}

TEST(Collator, UnknownLocaleHasTheOrderOfTheRoot) {
  const Texts letters{"z", "Z", "ö", "o"};
  for (const char* locale : {"not a locale", "root", "en_US_POSIX"}) {
    EXPECT_EQ(sorted(letters, Collator(Locale(locale))), (Texts{"o", "ö", "z", "Z"})) << locale;
  }
}

TEST(Collator, KeysCompareAsTheTextsDo) {
  std::mt19937 random(20261122);
  const std::vector<std::string_view> parts{
      "a", "B", "é", "e\u0301", "ß", "12", "9", " ", "-", "я", "漢", "か", std::string_view("\0", 1), "😀"};
  const auto text = [&] {
    std::string made;
    for (auto count = random() % 40; count > 0; --count) made += parts[random() % parts.size()];
    return made;
  };
  for (const char* locale : {"en", "sv", "ja", "th", "fr_CA"}) {
    for (const Strength strength : {Strength::primary, Strength::secondary, Strength::tertiary}) {
      const Collator collator(Locale(locale), {.strength = strength});
      for (int turn = 0; turn < 300; ++turn) {
        const std::string left = text();
        const std::string right = text();
        EXPECT_EQ(collator.compare(left, right), std::weak_ordering(collator.sortKey(left) <=> collator.sortKey(right)))
            << locale << ": " << left << " and " << right;
      }
    }
  }
}

TEST(Collator, KeyOfALongTextIsWhole) {
  const Collator collator(Locale("en"));
  const std::string many(100'000, 'x');
  EXPECT_LT(collator.sortKey(many), collator.sortKey(many + "a"));
  EXPECT_EQ(collator.compare(many + "a", many + "b"), std::weak_ordering::less);
}

TEST(Collator, TextOfTwoGibibytesIsRefused) {
  // The limit is checked before a byte is read.
  constexpr std::size_t size = std::size_t{2} << 30;
  void* const bytes = ::mmap(nullptr, size, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  ASSERT_NE(bytes, MAP_FAILED);
  const Collator collator(Locale("en"));
  try {
    static_cast<void>(collator.compare("a", {static_cast<const char*>(bytes), size}));
    ADD_FAILURE() << "The text was compared";
  } catch (const std::length_error& error) {
    EXPECT_STREQ(error.what(), "A text of 2 GiB or more cannot be compared");
  }
  ::munmap(bytes, size);
}

TEST(Collator, ThreadsShareOne) {
  const Collator collator(Locale("de"));
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 4; ++thread) {
    threads.emplace_back([&] {
      for (int turn = 0; turn < 1'000; ++turn) {
        EXPECT_TRUE(collator("äpfel 2", "Apfel 10") || collator("Apfel 10", "äpfel 2"));
        EXPECT_EQ(collator.sortKey("Straße"), collator.sortKey("Straße"));
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
}

}  // namespace
}  // namespace Tessaly::inline v1
