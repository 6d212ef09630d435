// SPDX-License-Identifier: MIT
// Settings on volumes without hard links, without flags of rename, and with fixed modes.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <string>

#include "Tessaly/Core/Foundation/PropertyListSerialization.hpp"
#include "Tessaly/Platform/Linux/JournaledUserDefaults.hpp"
#include "Tessaly/Platform/Settings/detail/SettingsJournal.hpp"
#include "tests/Platform/Settings/FaultyFileSystem.hpp"
#include "tests/Support/ContentsOf.hpp"
#include "tests/Support/LastingClock.hpp"
#include "tests/Support/RemoteVolume.hpp"

namespace Tessaly::inline v1 {
namespace {

using Call = detail::SettingsFileSystem::Call;

class RestrictedVolume : public testing::Test {
 protected:
  void SetUp() override {
    if (!volume_.reason().empty()) GTEST_SKIP() << volume_.reason();
  }
  std::shared_ptr<JournaledUserDefaults> open() {
    return JournaledUserDefaults::open(
        {.folder = volume_.ours("org.example.test"), .clock = Tests::lastingClock(), .fileSystem = files_.system()});
  }

  Tests::RemoteVolume volume_{{"--chmod-deny"}};
  Tests::FaultyFileSystem files_{[](Call call, const std::string&) -> Tests::FaultyFileSystem::Fate {
    return {.errorCode = call == Call::link ? EPERM : 0};
  }};
};

TEST_F(RestrictedVolume, SettingsAreMadeWrittenAndReadAgain) {
  for (int round = 0; round < 3; ++round) {
    const auto store = open();
    EXPECT_EQ(store->value("round"), round == 0 ? std::nullopt : std::optional(PropertyList(round - 1)));
    store->set(round, "round");
    EXPECT_TRUE(store->synchronize());
    EXPECT_EQ(store->status().problem, UserDefaultsProblem::none);
  }
  EXPECT_TRUE(std::filesystem::exists(volume_.theirs("org.example.test/Settings.plist")));
}

TEST_F(RestrictedVolume, ListOfAnotherProgramIsReplaced) {
  std::filesystem::create_directory(volume_.theirs("org.example.test"));
  const std::string list = volume_.theirs("org.example.test/Settings.plist");
  std::ofstream(list)
      << "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict><key>a</key><string>b</string></dict></plist>";
  ASSERT_EQ(::chmod(list.c_str(), 0644), 0);
  {
    const auto store = open();
    EXPECT_EQ(store->value("a"), PropertyList("b"));
    store->set("c", "a");
    EXPECT_TRUE(store->synchronize());
    EXPECT_EQ(store->status().problem, UserDefaultsProblem::none);
  }
  EXPECT_EQ(open()->value("a"), PropertyList("c"));
}

TEST_F(RestrictedVolume, OverwrittenJournalIsRestored) {
  const auto store = open();
  store->set(1, "a");
  std::filesystem::resize_file(volume_.theirs("org.example.test/journal"), 10);
  store->set(2, "b");
  EXPECT_EQ(store->status().problem, UserDefaultsProblem::none);
  EXPECT_EQ(open()->dictionaryRepresentation(), (PropertyList::Dictionary{{"a", 1}, {"b", 2}}));
  EXPECT_EQ(std::filesystem::file_size(volume_.theirs("org.example.test/journal.damaged")), 10u);
}

TEST_F(RestrictedVolume, JournalWithADamagedHeaderIsRestored) {
  std::filesystem::create_directory(volume_.theirs("org.example.test"));
  const std::string journal = volume_.theirs("org.example.test/journal");
  const detail::JournalHeader header{.nonce = 7};
  const Data one = PropertyListSerialization::data(1, PropertyListFormat::binary);
  const detail::JournalRecord record{
      .kind = detail::JournalRecord::Kind::set, .writer = 5, .key = "a", .value = one.text()};
  std::string bytes = header.encoded() + record.encoded(header.nonce);
  bytes[0] ^= 4;
  std::ofstream(journal, std::ios::binary) << bytes;
  const auto store = open();
  store->set(2, "b");
  EXPECT_EQ(store->status().problem, UserDefaultsProblem::none);
  EXPECT_EQ(open()->dictionaryRepresentation(), (PropertyList::Dictionary{{"a", 1}, {"b", 2}}));
  EXPECT_EQ(Tests::contentsOf(journal + ".damaged"), bytes);
}

}  // namespace
}  // namespace Tessaly::inline v1
