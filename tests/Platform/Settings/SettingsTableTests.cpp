// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "Tessaly/Platform/Settings/detail/SettingsTable.hpp"
#include "tests/Support/Repetitions.hpp"

namespace Tessaly::inline v1::detail {
namespace {

TEST(SettingsTable, ExchangeReturnsTheFormerValue) {
  SettingsTable table;
  EXPECT_EQ(table.exchange("a", PropertyList(1)), std::nullopt);
  EXPECT_EQ(table.exchange("a", PropertyList(2)), 1);
  EXPECT_EQ(table.value("a"), 2);
  EXPECT_EQ(table.exchange("a", std::nullopt), 2);
  EXPECT_EQ(table.exchange("a", std::nullopt), std::nullopt);
  EXPECT_EQ(table.value("a"), std::nullopt);
}

TEST(SettingsTable, ReplacementRemovesFormerValues) {
  SettingsTable table;
  table.exchange("former", PropertyList(1));
  const std::uint64_t before = table.revision();
  table.replace({{"a", 2}, {"b", 3}});
  EXPECT_EQ(table.all(), (PropertyList::Dictionary{{"a", 2}, {"b", 3}}));
  EXPECT_EQ(table.value("former"), std::nullopt);
  EXPECT_NE(table.revision(), before);
}

TEST(SettingsTable, KeepsManyKeysApart) {
  SettingsTable table;
  PropertyList::Dictionary expected;
  for (int i = 0; i < 10'000; ++i) {
    expected.emplace(std::to_string(i), i);
    table.exchange(std::to_string(i), PropertyList(i));
  }
  table.exchange("", PropertyList("empty"));
  expected.emplace("", "empty");
  EXPECT_EQ(table.all(), expected);
  for (const auto& [key, value] : expected) EXPECT_EQ(table.value(key), value);
}

TEST(SettingsTable, ReadersGetWholeValuesWhileOthersWrite) {
  SettingsTable table;
  const PropertyList first(std::string(100, 'a'));
  const PropertyList second(std::string(100, 'b'));
  table.exchange("key", first);
  std::atomic<bool> isOver = false;
  std::vector<std::thread> readers;
  for (int i = 0; i < 2; ++i) {
    readers.emplace_back([&] {
      while (!isOver) {
        const auto value = table.value("key");
        EXPECT_TRUE(value == first || value == second);
      }
    });
  }
  for (int i = 0; i < Tests::repetitions(20'000); ++i) table.exchange("key", i % 2 == 0 ? second : first);
  isOver = true;
  for (auto& reader : readers) reader.join();
}

TEST(SettingsTable, RevisionChangesWithEachExchangeAndIsUnique) {
  std::set<std::uint64_t> seen;
  for (int i = 0; i < 3; ++i) {
    SettingsTable table;
    EXPECT_TRUE(seen.insert(table.revision()).second);
    for (const std::optional<PropertyList>& value : {std::optional<PropertyList>(1), std::optional<PropertyList>(1),
                                                     std::optional<PropertyList>(), std::optional<PropertyList>()}) {
      table.exchange("key", value);
      EXPECT_TRUE(seen.insert(table.revision()).second);
    }
    EXPECT_TRUE(table.value("key") == std::nullopt);
    EXPECT_FALSE(seen.insert(table.revision()).second);
  }
  EXPECT_FALSE(seen.contains(0));
}

TEST(SettingsTable, ThreadThatSeesARevisionSeesTheChange) {
  SettingsTable table;
  std::atomic<bool> isDone{false};
  std::thread writer([&] {
    for (int i = 1; i <= Tests::repetitions(2000); ++i) table.exchange("key", PropertyList(i));
    isDone = true;
  });
  std::uint64_t known = 0;
  std::optional<PropertyList> value;
  while (!isDone) {
    const std::uint64_t revision = table.revision();
    if (revision != known) value = table.value("key");
    known = revision;
  }
  writer.join();
  if (table.revision() != known) value = table.value("key");
  EXPECT_EQ(value, Tests::repetitions(2000));
}

}  // namespace
}  // namespace Tessaly::inline v1::detail
