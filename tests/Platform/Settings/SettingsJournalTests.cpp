// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "Tessaly/Platform/Settings/detail/SettingsJournal.hpp"

namespace Tessaly::inline v1::detail {
namespace {

using namespace std::string_literals;

constexpr std::uint64_t nonce = 0x0123'4567'89AB'CDEF;

std::string record(std::string_view key, std::string_view value) {
  return JournalRecord{.kind = JournalRecord::Kind::set, .writer = 7, .key = key, .value = value}.encoded(nonce);
}

std::vector<std::string> keysOf(std::string_view bytes) {
  std::vector<std::string> keys;
  JournalReader reader(bytes, nonce);
  while (const auto found = reader.next()) keys.emplace_back(found->key);
  return keys;
}

TEST(SettingsJournal, ChecksumsAsCastagnoliDoes) {
  EXPECT_EQ(crc32c(0, "123456789"), 0xE306'9283u);
  EXPECT_EQ(crc32c(0, ""), 0u);
  EXPECT_EQ(crc32c(crc32c(0, "12345"), "6789"), 0xE306'9283u);
  EXPECT_EQ(crc32c(0, std::string(32, '\0')), 0x8A91'36AAu);
}

TEST(SettingsJournal, ReadsTheHeaderThatWasWritten) {
  const JournalHeader header{.nonce = 1, .predecessor = 2, .checkpoint = {.inode = 3, .size = 4, .modified = -5}};
  const auto found = JournalHeader::from(header.encoded());
  ASSERT_TRUE(found.has_value());
  EXPECT_EQ(found->nonce, 1u);
  EXPECT_EQ(found->predecessor, 2u);
  EXPECT_EQ(found->checkpoint, header.checkpoint);
}

TEST(SettingsJournal, RefusesADamagedHeaderButKnowsALaterVersion) {
  const std::string header = JournalHeader{.nonce = 1}.encoded();
  for (std::size_t i = 0; i < header.size(); ++i) {
    std::string changed = header;
    changed[i] = static_cast<char>(changed[i] ^ 0x40);
    EXPECT_FALSE(JournalHeader::from(changed).has_value()) << i;
    EXPECT_FALSE(JournalHeader::from(header.substr(0, i)).has_value());
  }
  const auto later = JournalHeader::from(JournalHeader{.version = 2}.encoded());
  ASSERT_TRUE(later.has_value());
  EXPECT_EQ(later->version, 2u);
}

TEST(SettingsJournal, ReadsRecordsInTheirOrder) {
  const std::string bytes = record("a", "1") + record("", "") + record("n\0l"s, std::string(1000, 'v'));
  EXPECT_EQ(keysOf(bytes), (std::vector<std::string>{"a", "", "n\0l"s}));
  JournalReader reader(bytes, nonce);
  const auto first = reader.next();
  EXPECT_EQ(first->writer, 7u);
  EXPECT_EQ(first->value, "1");
  EXPECT_EQ(first->kind, JournalRecord::Kind::set);
}

TEST(SettingsJournal, WaitsAtARecordThatIsNotWhole) {
  const std::string first = record("a", "1");
  const std::string second = record("b", "2");
  for (std::size_t size = 0; size < second.size(); ++size) {
    const std::string bytes = first + second.substr(0, size);
    JournalReader reader(bytes, nonce);
    EXPECT_TRUE(reader.next().has_value());
    EXPECT_FALSE(reader.next().has_value());
    EXPECT_EQ(reader.position(), first.size());
  }
}

TEST(SettingsJournal, SkipsACutRecordThatAnotherFollows) {
  const std::string cut = record("cut", std::string(100'000, 'x'));
  for (const std::size_t size : {std::size_t{1}, std::size_t{5}, std::size_t{28}, std::size_t{40}, cut.size() - 1}) {
    EXPECT_EQ(keysOf(cut.substr(0, size) + record("b", "2")), (std::vector<std::string>{"b"}));
  }
}

TEST(SettingsJournal, NamesARecordWithAnyBitChanged) {
  const std::string whole = record("key", "value");
  for (std::size_t bit = 0; bit < 8 * whole.size(); ++bit) {
    std::string bytes = whole + record("b", "2");
    bytes[bit / 8] = static_cast<char>(bytes[bit / 8] ^ 1 << bit % 8);
    JournalReader reader(bytes, nonce);
    const bool isOfLength = bit / 64 == 1;
    if (isOfLength) {
      const auto found = reader.next();
      ASSERT_TRUE(found.has_value()) << bit;
      EXPECT_EQ(found->key, "key");
      EXPECT_EQ(found->value, "value");
    }
    const auto next = reader.next();
    ASSERT_TRUE(next.has_value()) << bit;
    EXPECT_EQ(next->key, "b");
    EXPECT_EQ(reader.damaged().size(), 1u) << bit;
    EXPECT_EQ(reader.position(), bytes.size());
  }
}

TEST(SettingsJournal, NamesALastRecordWithAnyBitChanged) {
  const std::string whole = record("key", "value");
  for (std::size_t bit = 0; bit < 8 * whole.size(); ++bit) {
    std::string bytes = whole;
    bytes[bit / 8] = static_cast<char>(bytes[bit / 8] ^ 1 << bit % 8);
    JournalReader reader(bytes, nonce);
    EXPECT_EQ(reader.next().has_value(), bit / 64 == 1) << bit;
    EXPECT_EQ(reader.damaged().size() + reader.damagedAtEnd().size(), 1u) << bit;
  }
}

TEST(SettingsJournal, NoiseIsNotTakenForACutRecord) {
  std::string bytes = record("key", std::string(600, 'v')) + record("b", "2");
  for (std::size_t i = 8; i < 520; ++i) bytes[i] = static_cast<char>(i * 167 + 13);
  JournalReader reader(bytes, nonce);
  EXPECT_EQ(reader.next()->key, "b");
  EXPECT_EQ(reader.damaged().size(), 1u);
}

TEST(SettingsJournal, IgnoresRecordsOfAnotherJournal) {
  const std::string other =
      JournalRecord{.kind = JournalRecord::Kind::set, .writer = 7, .key = "other", .value = ""}.encoded(nonce + 1);
  const std::string cut = record("cut", other + other);
  EXPECT_EQ(keysOf(cut.substr(0, cut.size() - 1) + record("b", "2")), (std::vector<std::string>{"b"}));
}

TEST(SettingsJournal, KeepsTheIdentityOfAFile) {
  const FileIdentity identity{.inode = 1, .size = 2, .modified = -3};
  const std::string value = JournalRecord::encodedIdentity(identity);
  const JournalRecord checkpoint{.kind = JournalRecord::Kind::checkpoint, .writer = 7, .value = value};
  EXPECT_EQ(checkpoint.identity(), identity);
  const JournalRecord set{.kind = JournalRecord::Kind::set, .writer = 7, .value = value};
  EXPECT_EQ(set.identity(), std::nullopt);
}

TEST(SettingsJournal, BatchHoldsItsChangesInOrder) {
  const std::vector<JournalRecord::Change> changes{{"b", "value"}, {"", std::nullopt}, {"a", ""}};
  const std::string value = JournalRecord::encodedChanges(changes);
  const auto read = JournalRecord{.kind = JournalRecord::Kind::batch, .writer = 7, .value = value}.changes();
  ASSERT_EQ(read.size(), 3u);
  EXPECT_EQ(read[0].key, "b");
  EXPECT_EQ(read[0].value, "value");
  EXPECT_EQ(read[1].key, "");
  EXPECT_EQ(read[1].value, std::nullopt);
  EXPECT_EQ(read[2].key, "a");
  EXPECT_EQ(read[2].value, "");
}

TEST(SettingsJournal, MalformedBatchHasNoChanges) {
  const std::vector<JournalRecord::Change> changes{{"a", "value"}, {"b", std::nullopt}};
  const std::string value = JournalRecord::encodedChanges(changes);
  for (std::size_t size = 0; size < value.size(); ++size) {
    const auto cut = std::string_view(value).substr(0, size);
    const JournalRecord record{.kind = JournalRecord::Kind::batch, .writer = 7, .value = cut};
    const bool isOneWholeChange = size == value.size() - JournalRecord::changeOverhead - 1;
    EXPECT_EQ(record.changes().size(), isOneWholeChange ? 1u : 0u) << size;
  }
}

TEST(SettingsJournal, DamagedBatchStillNamesItsKeys) {
  const std::vector<JournalRecord::Change> changes{{"first", "value"}, {"second", "value"}};
  const std::string value = JournalRecord::encodedChanges(changes);
  std::string bytes = JournalRecord{.kind = JournalRecord::Kind::batch, .writer = 7, .value = value}.encoded(nonce);
  bytes.back() = static_cast<char>(bytes.back() ^ 1);
  EXPECT_EQ(keysOfDamagedRecord(bytes), (std::vector<std::string_view>{"first", "second"}));
  EXPECT_EQ(keysOfDamagedRecord(record("single", "value")), std::vector<std::string_view>{"single"});
  EXPECT_TRUE(keysOfDamagedRecord("short").empty());
}

}  // namespace
}  // namespace Tessaly::inline v1::detail
