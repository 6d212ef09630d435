// SPDX-License-Identifier: MIT
// Settings that a host has published.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <limits>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "Tessaly/Core/Base/ThreadIdentifier.hpp"
#include "Tessaly/Platform/Settings/detail/SettingDescriptions.hpp"
#include "Tessaly/Platform/Testing/InMemoryUserDefaults.hpp"
#include "tests/Platform/Settings/FaultyFileSystem.hpp"
#include "tests/Platform/Settings/StoreFixture.hpp"
#include "tests/Support/Threads.hpp"
#include "tests/Support/WaitUntil.hpp"

namespace Tessaly::inline v1 {
namespace {

using Kind = PropertyList::Kind;
using Descriptions = std::vector<SettingDescription>;

Descriptions examples() {
  return {{.name = "columns", .kind = Kind::integer, .defaultValue = 80, .minimum = 20, .maximum = 200},
          {.name = "page", .kind = Kind::integer, .hasPredicate = true, .documentation = "The last page"},
          {.name = "theme", .kind = Kind::text, .defaultValue = "light", .cases = {"light", "dark"}}};
}

class PublishedKeys : public Tests::StoreFixture {
 protected:
  [[nodiscard]] std::string file() const { return folder() + "/Keys.plist"; }
};

TEST_F(PublishedKeys, OtherProcessesReadThem) {
  const Store store = open();
  EXPECT_TRUE(store->publishedKeys().empty());
  store->publishKeys(examples());
  EXPECT_EQ(store->publishedKeys(), examples());
  EXPECT_EQ(openForReading()->publishedKeys(), examples());
  store->publishKeys({});
  EXPECT_TRUE(openForReading()->publishedKeys().empty());
  EXPECT_TRUE(store->dictionaryRepresentation().empty());
}

TEST_F(PublishedKeys, FileIsWrittenOnlyWhenTheyChange) {
  const Store store = open();
  store->publishKeys(examples());
  const auto written = std::filesystem::last_write_time(file());
  std::filesystem::last_write_time(file(), written - std::chrono::hours(1));
  store->publishKeys(examples());
  EXPECT_EQ(std::filesystem::last_write_time(file()), written - std::chrono::hours(1));
  store->publishKeys({});
  EXPECT_GE(std::filesystem::last_write_time(file()), written);
}

TEST_F(PublishedKeys, FailureChangesNoSetting) {
  std::atomic<bool> isFull = false;
  Tests::FaultyFileSystem files([&](auto call, const std::string&) -> Tests::FaultyFileSystem::Fate {
    return {.errorCode = isFull && call == Tests::FaultyFileSystem::Call::write ? ENOSPC : 0};
  });
  const Store store = open(files.system());
  store->set(1, "a");
  store->publishKeys(examples());
  isFull = true;
  store->publishKeys({});
  EXPECT_EQ(store->publishedKeys(), examples());
  EXPECT_EQ(store->status().problem, UserDefaultsProblem::none);
  std::size_t entries = 0;
  for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(folder())) ++entries;
  EXPECT_EQ(entries, 2u);  // The journal and the former file.
}

TEST_F(PublishedKeys, StoreForReadingWritesNone) {
  makeFolder();
  openForReading()->publishKeys(examples());
  EXPECT_FALSE(std::filesystem::exists(file()));
}

TEST_F(PublishedKeys, DamagedFileHasNone) {
  makeFolder();
  write(file(), "damaged");
  EXPECT_TRUE(open()->publishedKeys().empty());
}

TEST_F(PublishedKeys, TwoThreadsMayPublishAtOnce) {
  std::atomic<bool> isFirst = false;
  std::atomic<pid_t> second = 0;
  std::thread other;
  Store store;
  Tests::FaultyFileSystem files([&](auto call, const std::string&) -> Tests::FaultyFileSystem::Fate {
    if (call != Tests::FaultyFileSystem::Call::write || !isFirst.exchange(false)) return {};
    other = std::thread([&] {
      second = static_cast<pid_t>(currentThreadIdentifier());
      store->publishKeys(examples());
      second = -1;
    });
    // The second thread waits for the first one, or has published meanwhile.
    EXPECT_TRUE(Tests::waitUntil([&] { return second == -1 || (second > 0 && Tests::isAsleep(second)); }));
    return {};
  });
  store = open(files.system());
  isFirst = true;
  store->publishKeys({{.name = "early", .kind = Kind::integer}});
  other.join();
  store.reset();
  EXPECT_EQ(openForReading()->publishedKeys(), examples());
}

TEST_F(PublishedKeys, TemporaryFileThatStayedBehindIsNoObstacle) {
  std::atomic<bool> fails = true;
  Tests::FaultyFileSystem files([&](auto call, const std::string&) -> Tests::FaultyFileSystem::Fate {
    const bool isOfTheFile =
        call == Tests::FaultyFileSystem::Call::rename || call == Tests::FaultyFileSystem::Call::remove;
    return {.errorCode = fails && isOfTheFile ? EIO : 0};
  });
  makeFolder();
  const Store store = open(files.system());
  store->publishKeys({});
  EXPECT_FALSE(std::filesystem::exists(file()));
  fails = false;
  store->publishKeys(examples());
  EXPECT_EQ(store->publishedKeys(), examples());
}

TEST_F(PublishedKeys, FileThatExceedsTheMemoryHasNone) {
  Tests::FaultyFileSystem files([&](auto call, const std::string& path) -> Tests::FaultyFileSystem::Fate {
    if (call == Tests::FaultyFileSystem::Call::open && path == file()) throw std::bad_alloc();
    return {};
  });
  EXPECT_TRUE(open(files.system())->publishedKeys().empty());
}

TEST_F(PublishedKeys, FileOfAnotherSizeIsReplacedUnread) {
  std::atomic<int> opened = 0;
  Tests::FaultyFileSystem files([&](auto call, const std::string& path) -> Tests::FaultyFileSystem::Fate {
    if (call == Tests::FaultyFileSystem::Call::open && path == file()) ++opened;
    return {};
  });
  const Store store = open(files.system());
  write(file(), std::string(100'000, 'x'));
  store->publishKeys(examples());
  EXPECT_EQ(opened, 0);
  EXPECT_EQ(store->publishedKeys(), examples());
}

TEST(SettingDescriptions, MalformedOnesAreLeftOut) {
  const PropertyList list = PropertyList::Dictionary{
      {"a", 5},
      {"b", PropertyList::Dictionary{{"type", "number"}}},
      {"c", PropertyList::Dictionary{{"type", "integer"}, {"cases", "text"}, {"documentation", 5}}}};
  const Descriptions expected{{.name = "c", .kind = Kind::integer}};
  EXPECT_EQ(detail::descriptionsIn(list), expected);
  EXPECT_TRUE(detail::descriptionsIn("text").empty());
}

TEST(SettingDescriptions, AllowValuesOfTheKind) {
  const auto allows = [](Kind kind, const PropertyList& stored) {
    return SettingDescription{.kind = kind}.allows(stored);
  };
  EXPECT_TRUE(allows(Kind::boolean, 1));
  EXPECT_FALSE(allows(Kind::boolean, 2));
  EXPECT_TRUE(allows(Kind::integer, 5.0));
  EXPECT_FALSE(allows(Kind::integer, 5.5));
  EXPECT_FALSE(allows(Kind::integer, "5"));
  EXPECT_TRUE(allows(Kind::integer, std::numeric_limits<std::uint64_t>::max()));
  EXPECT_TRUE(allows(Kind::real, 5));
  EXPECT_FALSE(allows(Kind::text, 5));
  EXPECT_TRUE(allows(Kind::array, PropertyList::Array{}));
  EXPECT_FALSE(allows(Kind::dictionary, PropertyList::Array{}));
}

TEST(SettingDescriptions, AllowValuesWithinTheRange) {
  const auto allows = [](const PropertyList& minimum, const PropertyList& maximum, const PropertyList& stored) {
    return SettingDescription{.kind = minimum.kind(), .minimum = minimum, .maximum = maximum}.allows(stored);
  };
  EXPECT_TRUE(allows(1, 3600, 1));
  EXPECT_TRUE(allows(1, 3600, 3600.0));
  EXPECT_FALSE(allows(1, 3600, 0));
  EXPECT_FALSE(allows(1, 3600, 3601));
  constexpr auto large = std::numeric_limits<std::uint64_t>::max();
  EXPECT_TRUE(allows(0, large, large));
  EXPECT_TRUE(allows(0, large, 5));
  EXPECT_FALSE(allows(0, large - 1, large));
  EXPECT_FALSE(allows(0, large, -1));
  EXPECT_TRUE(allows(0.5, 2.0, 1));
  EXPECT_FALSE(allows(0.5, 2.0, std::numeric_limits<double>::quiet_NaN()));
  EXPECT_TRUE(allows("a", "m", "b"));
  EXPECT_FALSE(allows("a", "m", "z"));
  EXPECT_FALSE(allows(Date::sinceReferenceDate(0), Date::sinceReferenceDate(9), Date::sinceReferenceDate(10)));
}

TEST(SettingDescriptions, SummaryIsOneLine) {
  std::vector<std::string> lines;
  for (const auto& description : examples()) lines.push_back(description.summary());
  EXPECT_EQ(lines, (std::vector<std::string>{"integer from 20 to 200, default 80",
                                             "integer, checked by the host, absent by default",
                                             "text, one of \"light\", \"dark\", default \"light\""}));
}

TEST(SettingDescriptions, InMemoryStoreKeepsThem) {
  const auto store = InMemoryUserDefaults::make();
  store->publishKeys(examples());
  EXPECT_EQ(store->publishedKeys(), examples());
}

}  // namespace
}  // namespace Tessaly::inline v1
