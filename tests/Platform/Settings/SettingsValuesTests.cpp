// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Tessaly/Core/Foundation/PropertyListSerialization.hpp"
#include "Tessaly/Platform/Settings/detail/SettingsValues.hpp"

namespace Tessaly::inline v1::detail {
namespace {

using Dictionary = PropertyList::Dictionary;
using History = SettingsValues::History;

constexpr std::uint64_t thisWriter = 7;
constexpr std::uint64_t otherWriter = 8;
constexpr FileIdentity listFile{.inode = 1, .size = 1, .modified = 1};

std::string bytesOf(const PropertyList& value) {
  return std::string(PropertyListSerialization::data(value, PropertyListFormat::binary).text());
}

class SettingsValuesLoading : public testing::Test {
 protected:
  void SetUp() override {
    load({{"a", 1}}, History::other);
    write(otherWriter, "a", 2);
    delivered_.clear();
  }
  void write(std::uint64_t writer, std::string_view key, const PropertyList& value) {
    const std::string bytes = bytesOf(value);
    values_.apply({.kind = JournalRecord::Kind::set, .writer = writer, .key = key, .value = bytes});
  }
  void load(const Dictionary& list, History history) {
    values_.beginLoad(listFile, &list);
    values_.endLoad({}, history);
  }
  [[nodiscard]] std::optional<PropertyList> read(std::string_view key) const { return values_.table().value(key); }

  std::vector<std::string> delivered_;
  SettingsValues values_{thisWriter, [this](const SettingsChange& change) { delivered_.push_back(change.key); }};
};

TEST_F(SettingsValuesLoading, ReadersSeeNoOlderValueMeanwhile) {
  const Dictionary list{{"a", 1}};
  values_.beginLoad(listFile, &list);
  EXPECT_EQ(read("a"), 2);
  write(otherWriter, "a", 2);
  write(otherWriter, "b", 3);
  EXPECT_EQ(read("b"), std::nullopt);
  EXPECT_EQ(values_.value("b"), 3);
  values_.endLoad({}, History::continued);
  EXPECT_EQ(values_.table().all(), (Dictionary{{"a", 2}, {"b", 3}}));
  EXPECT_EQ(delivered_, std::vector<std::string>{"b"});
}

TEST_F(SettingsValuesLoading, OneThatWasAbandonedLeavesAllValues) {
  values_.keep("unstored", 5);
  const Dictionary list{{"a", 1}};
  values_.beginLoad(listFile, &list);
  values_.abandonLoad();
  EXPECT_EQ(values_.table().all(), (Dictionary{{"a", 2}, {"unstored", 5}}));
  EXPECT_TRUE(values_.pending().contains("unstored"));
  EXPECT_TRUE(values_.list().wantsReload);
}

TEST_F(SettingsValuesLoading, NewerStoredValueWinsOverUnstoredOne) {
  values_.keep("a", 3);
  values_.keep("b", 4);
  load({{"a", 9}}, History::continued);
  EXPECT_EQ(values_.table().all(), (Dictionary{{"a", 9}, {"b", 4}}));
  EXPECT_FALSE(values_.pending().contains("a"));
  EXPECT_EQ(delivered_, std::vector<std::string>{"a"});
}

TEST_F(SettingsValuesLoading, UnstoredValueStaysInAnotherHistory) {
  values_.keep("a", 3);
  load({{"a", 9}}, History::other);
  EXPECT_EQ(read("a"), 3);
  EXPECT_EQ(values_.pending().at("a").former, 9);
}

TEST_F(SettingsValuesLoading, WithoutAListTheFormerValuesCountAsStored) {
  values_.keep("a", 3);
  values_.beginLoad({}, nullptr);
  values_.endLoad({}, History::continued);
  EXPECT_EQ(read("a"), 3);
  EXPECT_EQ(values_.pending().at("a").former, 2);
}

TEST_F(SettingsValuesLoading, BatchWithAnUnreadableValueChangesNothing) {
  const std::string good = bytesOf(4);
  const std::vector<JournalRecord::Change> changes{{"a", good}, {"b", "not a property list"}};
  const std::string batch = JournalRecord::encodedChanges(changes);
  values_.apply({.kind = JournalRecord::Kind::batch, .writer = otherWriter, .key = {}, .value = batch});
  EXPECT_EQ(values_.table().all(), (Dictionary{{"a", 2}}));
  EXPECT_TRUE(delivered_.empty());
}

TEST_F(SettingsValuesLoading, OwnChangesKeepTheirNumbersAcrossACheckpoint) {
  const auto ownChange = [&](std::string_view key) {
    return values_.sincePropertyList().at(std::string(key)).ownChange;
  };
  values_.beginJournal();
  write(thisWriter, "b", 3);
  const std::string identity = JournalRecord::encodedIdentity({.inode = 2, .size = 1, .modified = 1});
  values_.apply({.kind = JournalRecord::Kind::checkpoint, .writer = thisWriter, .key = {}, .value = identity});
  EXPECT_EQ(ownChange("b"), 1u);
  write(thisWriter, "b", 4);
  write(thisWriter, "a", 5);
  write(otherWriter, "a", 6);
  values_.returnToPreviousList();
  EXPECT_EQ(ownChange("b"), 2u);
  EXPECT_EQ(ownChange("a"), 0u);
}

TEST_F(SettingsValuesLoading, AbandonedLoadKeepsTheChangesSinceEveryList) {
  values_.beginJournal();
  write(thisWriter, "b", 3);
  const std::string identity = JournalRecord::encodedIdentity({.inode = 2, .size = 1, .modified = 1});
  values_.apply({.kind = JournalRecord::Kind::checkpoint, .writer = otherWriter, .key = {}, .value = identity});
  const auto changes = values_.changesOfJournal();
  const auto ownChangesBefore = values_.ownChangesBeforeJournal();
  const Dictionary list{{"a", 1}};
  values_.beginLoad(listFile, &list);
  write(thisWriter, "c", 4);
  values_.abandonLoad();
  EXPECT_EQ(values_.changesOfJournal(), changes);
  EXPECT_EQ(values_.ownChangesBeforeJournal(), ownChangesBefore);
  EXPECT_TRUE(values_.hasChangedSinceRotation());
  EXPECT_EQ(values_.valuesAtPropertyList(), (Dictionary{{"a", 2}}));
  EXPECT_EQ(values_.valuesAtPreviousList(), (Dictionary{{"a", 1}}));
  EXPECT_EQ(values_.list().previous, listFile);
}

TEST_F(SettingsValuesLoading, SnapshotReadBeforeALoadIsNotKept) {
  const std::uint64_t journal = values_.journal();
  Dictionary values = values_.table().all();
  load({{"a", 9}}, History::other);
  values_.keepSnapshot(values_.snapshotOf(std::move(values), journal));
  EXPECT_FALSE(values_.takeSnapshot());
}

}  // namespace
}  // namespace Tessaly::inline v1::detail
