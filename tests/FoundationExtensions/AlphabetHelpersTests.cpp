// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <list>
#include <memory>
#include <ranges>
#include <string>
#include <unordered_set>
#include <vector>

#include "Tessaly/Core/Foundation/Bundle.hpp"
#include "Tessaly/Core/Logging/LogConfiguration.hpp"
#include "Tessaly/FoundationExtensions/AlphabetHelpers.hpp"
#include "Tessaly/Platform/Testing/RecordingLogBackend.hpp"

namespace {

using namespace Tessaly;
using AlphabetHelpers::generateAlphabetItems;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

using Names = std::vector<std::string>;
using Entry = AlphabetItem<std::string>;

Names itemsOf(const std::vector<Entry>& entries) {
  Names items;
  for (const Entry& entry : entries) items.push_back(entry.item);
  return items;
}

Names indexOf(const Names& names) {
  return itemsOf(generateAlphabetItems(names, AlphabetHelpers::alphabet, std::identity()));
}

/// The first items, and the last one up to the end of the alphabet.
Names filled(Names items) {
  const std::string last = items.back();
  items.resize(26, last);
  return items;
}

TEST(AlphabetHelpers, HaveTheLettersInLowerCase) {
  std::string joined;
  for (const std::string_view letter : AlphabetHelpers::alphabet) joined += letter;
  EXPECT_EQ(joined, "abcdefghijklmnopqrstuvwxyz");
}

TEST(GenerateAlphabetItems, LeadsToTheFirstItemOfEachSection) {
  EXPECT_EQ(indexOf({"apple", "avocado", "cherry"}), filled({"apple", "apple", "cherry"}));
}

TEST(GenerateAlphabetItems, LeadsToTheFirstItemBeforeTheFirstSection) {
  EXPECT_EQ(indexOf({"banana", "cherry"}), filled({"banana", "banana", "cherry"}));
  EXPECT_EQ(indexOf({"zucchini"}), filled({"zucchini"}));
}

TEST(GenerateAlphabetItems, FindsUpperCaseIdentifiersByLowerCaseLetter) {
  EXPECT_EQ(indexOf({"apple", "Banana"}), filled({"apple", "Banana"}));
}

TEST(GenerateAlphabetItems, GivesOneUpperCaseLetterForEachEntry) {
  std::string letters;
  for (const auto& entry : generateAlphabetItems(Names{"x"}, AlphabetHelpers::alphabet, std::identity())) {
    letters += entry.letter;
  }
  EXPECT_EQ(letters, "ABCDEFGHIJKLMNOPQRSTUVWXYZ");
}

TEST(GenerateAlphabetItems, MatchesLettersExactly) {
  const Names names{"apple", "banana", "äpfel", "ßx", "1"};
  EXPECT_THAT(generateAlphabetItems(names, {"a", "B", "ä", "ß", "b", "ba"}, std::identity()),
              ElementsAre(Entry{"A", "apple"}, Entry{"B", "apple"}, Entry{"Ä", "äpfel"}, Entry{"SS", "ßx"},
                          Entry{"B", "banana"}, Entry{"BA", "banana"}));
  EXPECT_THAT(generateAlphabetItems(names, Names{}, std::identity()), IsEmpty());
}

TEST(GenerateAlphabetItems, AcceptsALazyAlphabet) {
  const auto letters = std::views::iota(0, 3) | std::views::transform([](int index) {
                         return std::string(1, static_cast<char>('a' + index)) + " and a text too long to stand inside";
                       });
  const Names names{"a", "c"};
  Names found;
  for (const auto& entry : generateAlphabetItems(names, letters, std::identity())) found.push_back(entry.letter);
  EXPECT_THAT(found, ElementsAre("A AND A TEXT TOO LONG TO STAND INSIDE", "B AND A TEXT TOO LONG TO STAND INSIDE",
                                 "C AND A TEXT TOO LONG TO STAND INSIDE"));
}

TEST(GenerateAlphabetItems, HasNoEntryForAnItemOutsideTheAlphabet) {
  EXPECT_EQ(indexOf({"1st", "apple", "ähre", "berry"}), filled({"apple", "berry"}));
  EXPECT_EQ(indexOf({"1st", "ähre"}), filled({"1st"}));
}

TEST(GenerateAlphabetItems, FirstCharacterIsAWholeGraphemeCluster) {
  // "e" with a combining accent is one character, and not the letter "e".
  EXPECT_EQ(indexOf({"apple", "e\u0301tude"}), filled({"apple"}));
  EXPECT_THAT(itemsOf(generateAlphabetItems(Names{"a", "É\u0323"}, {"é\u0323"}, std::identity())),
              ElementsAre("É\u0323"));
}

TEST(GenerateAlphabetItems, IllFormedBytesCountAsReplacementCharacters) {
  EXPECT_THAT(itemsOf(generateAlphabetItems(Names{"a", "\xFFz"}, {"\uFFFD"}, std::identity())), ElementsAre("\xFFz"));
}

TEST(GenerateAlphabetItems, RequestsEachIdentifierOnceFromLastToFirst) {
  std::vector<int> asked;
  const std::list<int> items{1, 2, 3};
  const auto entries = generateAlphabetItems(items, {"a", "b"}, [&](int item) {
    asked.push_back(item);
    return item == 2 ? std::string("b") : std::string("c");
  });
  EXPECT_THAT(asked, ElementsAre(3, 2, 1));
  EXPECT_THAT(entries, ElementsAre(AlphabetItem<int>{"A", 1}, AlphabetItem<int>{"B", 2}));
}

class EmptyIdentifierTest : public testing::Test {
 protected:
  EmptyIdentifierTest() { Bundle::setMain({.identifier = "app.identifier"}); }

  const std::shared_ptr<RecordingLogBackend> backend_ = std::make_shared<RecordingLogBackend>();
  const LogBackendInstallation installation_{backend_};
};

TEST_F(EmptyIdentifierTest, EmptyIdentifierIsLoggedAndOmitted) {
  const auto identifierOf = [](const std::string& name) { return name == "nobody" ? "" : name; };
  const auto entries =
      generateAlphabetItems(Names{"nobody", "apple", "cherry"}, AlphabetHelpers::alphabet, identifierOf);
  EXPECT_EQ(itemsOf(entries), filled({"apple", "apple", "cherry"}));
  const auto records = backend_->records();
  ASSERT_EQ(records.size(), 1u);
  EXPECT_EQ(records[0].composedMessage,
            "☠️ An empty string has been returned by 'sectionIdentifier'. Shouldn't happen. | File: "
            "Tessaly/AlphabetHelpers, line: 46");
  EXPECT_EQ(records[0].type, OSLogType::error);
  EXPECT_EQ(records[0].subsystem, "app.identifier.Tessaly");
  EXPECT_EQ(records[0].category, "AlphabetHelpers");
  EXPECT_EQ(records[0].arguments.at(0).privacy, LogPrivacy::public_);
}

TEST_F(EmptyIdentifierTest, OnlyEmptyIdentifiersLeadToTheFirstItem) {
  const auto entries =
      generateAlphabetItems(Names{"x", "y"}, AlphabetHelpers::alphabet, [](const std::string&) { return ""; });
  EXPECT_EQ(itemsOf(entries), filled({"x"}));
  EXPECT_EQ(backend_->records().size(), 2u);
}

TEST_F(EmptyIdentifierTest, WithoutItemsNothingIsLogged) {
  EXPECT_THAT(generateAlphabetItems(Names{}, AlphabetHelpers::alphabet, [](const std::string&) { return ""; }),
              IsEmpty());
  EXPECT_THAT(backend_->records(), IsEmpty());
}

TEST(EmptyIdentifierDeathTest, StopsTheProcessWithoutABundleIdentifier) {
  EXPECT_DEATH(static_cast<void>(indexOf({""})),
               "Tessaly/Logger\\+Extensions:12: Fatal error: Unable to get 'Bundle.main.bundleIdentifier'");
}

TEST(AlphabetItem, IsAValueThatCanBeHashed) {
  const Entry entry{"A", "apple"};
  EXPECT_EQ(entry, (Entry{"A", "apple"}));
  EXPECT_NE(entry, (Entry{"B", "apple"}));
  EXPECT_NE(entry, (Entry{"A", "avocado"}));
  EXPECT_EQ((std::unordered_set<Entry>{entry, {"A", "apple"}, {"B", "apple"}}.size()), 2u);
}

}  // namespace
