// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <semaphore>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Columns.hpp"
#include "Desk.hpp"
#include "DuplicateFinder.hpp"
#include "Log.hpp"
#include "Opening.hpp"
#include "Preferences.hpp"
#include "Sharing.hpp"
#include "Shelf.hpp"
#include "Tessaly/Concurrency/Observations.hpp"
#include "Tessaly/Core/Foundation/UUID.hpp"
#include "Tessaly/Core/Tasks/SyncWait.hpp"
#include "Tessaly/Core/Tasks/WithIsolation.hpp"
#include "Tessaly/Platform/Authentication/LAError.hpp"
#include "Tessaly/Platform/Power/PowerBackend.hpp"
#include "Tessaly/Platform/Testing/InMemoryUserDefaults.hpp"
#include "Tessaly/Platform/Testing/ScriptedAuthentication.hpp"
#include "Words.hpp"
#include "tests/Support/ContentsOf.hpp"

namespace keeper {
namespace {

using namespace Tessaly;
using Tests::contentsOf;
using Names = std::vector<std::string>;

Names names(const Files& files) {
  Names names;
  for (const auto& file : files) names.push_back(file->name);
  return names;
}

/// Counts what keeps the display awake. Its calls come from other threads.
class CountingPower final : public PowerBackend {
 public:
  std::int32_t createAssertion(std::string_view /*type*/, std::uint32_t /*level*/, std::string_view /*reason*/,
                               std::uint32_t& identifier) override {
    identifier = static_cast<std::uint32_t>(++taken);
    return 0;
  }
  std::int32_t releaseAssertion(std::uint32_t /*identifier*/) override {
    released.release();
    return 0;
  }
  [[nodiscard]] PowerStatus status() const override { return {}; }

  std::atomic<int> taken = 0;
  std::counting_semaphore<> released{0};
};

class KeeperTest : public testing::Test {
 protected:
  KeeperTest() { std::filesystem::create_directory(path); }
  ~KeeperTest() override { std::filesystem::remove_all(path); }

  void write(const std::string& name, const std::string& contents = "") const {
    std::ofstream(path / name) << contents;
  }

  /// Serves the main queue until the condition holds. Changes of what it reads wake it.
  template <typename Condition>
  static void waitUntil(Condition condition) {
    syncWait([&]() -> Async<void> {
      auto answers = Observations(condition).makeAsyncIterator();
      while (!*co_await answers.next()) {
      }
    });
  }

  std::unique_ptr<Shelf> shelfIn(const char* locale) const {
    return std::make_unique<Shelf>(URL::fileURLWithPath(path.string()), FileManager::default_(), Locale(locale));
  }

  static void waitForNames(const Shelf& shelf, const Names& expected) {
    waitUntil([&] { return shelf.listing.value() != nullptr && names(shelf.listing.value()->files) == expected; });
    EXPECT_EQ(names(shelf.listing.value()->files), expected);
  }

  std::filesystem::path path = std::filesystem::temp_directory_path() / ("keeper-" + UUID::random().uuidString());
  std::shared_ptr<InMemoryUserDefaults> settings = InMemoryUserDefaults::make();
  UserDefaultsInstallation theSettings{settings};
  std::shared_ptr<CountingPower> power = std::make_shared<CountingPower>();
  PowerBackendInstallation thePower{power};
};

TEST_F(KeeperTest, ListsInTheOrderOfTheLanguage) {
  for (const char* name : {"file 10", "file 2", "öl", "zebra"}) write(name);
  waitForNames(*shelfIn("de"), {"file 2", "file 10", "öl", "zebra"});
  const auto swedish = shelfIn("sv");
  waitForNames(*swedish, {"file 2", "file 10", "zebra", "öl"});
  const auto& sections = swedish->listing.value()->sections;
  ASSERT_EQ(sections.size(), 3U);
  EXPECT_EQ(sections[2].label, "Ö");
  EXPECT_EQ(sections[2].first, 3U);
}

TEST_F(KeeperTest, FollowsTheDirectory) {
  write("a", "1");
  const auto shelf = shelfIn("en");
  waitForNames(*shelf, {"a"});
  write("c");
  std::filesystem::rename(path / "a", path / "b");
  waitForNames(*shelf, {"b", "c"});
  std::filesystem::remove(path / "b");
  waitForNames(*shelf, {"c"});
  write("c", "12345");
  waitUntil([&] { return shelf->listing.value()->bytes == 5; });
}

TEST_F(KeeperTest, FindsNamesWithoutRegardForMarksAndScripts) {
  for (const char* name : {"Résumé.pdf", "Москва.txt", "notes"}) write(name);
  const auto shelf = shelfIn("en");
  shelf->search = "resume";
  waitForNames(*shelf, {"Résumé.pdf"});
  shelf->search = "moskva";
  waitForNames(*shelf, {"Москва.txt"});
  shelf->search = "";
  waitForNames(*shelf, {"notes", "Résumé.pdf", "Москва.txt"});
}

TEST_F(KeeperTest, SettingShowsHiddenFilesAtOnce) {
  for (const char* name : {".hidden", "shown"}) write(name);
  const auto shelf = shelfIn("en");
  waitForNames(*shelf, {"shown"});
  settings->set(true, "shows-hidden-files");
  waitForNames(*shelf, {".hidden", "shown"});
}

TEST_F(KeeperTest, NewDelayCountsAtOnceAndLosesNoChange) {
  const auto shelf = shelfIn("en");
  waitForNames(*shelf, {});
  settings->setFromElsewhere(600'000, "update-delay");
  write("a");
  settings->setFromElsewhere(0, "update-delay");
  waitForNames(*shelf, {"a"});
  std::filesystem::rename(path / "a", path / "b");
  waitForNames(*shelf, {"b"});
}

TEST_F(KeeperTest, DelayOutsideItsLimitsCountsAsTheNearest) {
  settings->set(-5, "update-delay");
  EXPECT_EQ(Default<int>::value(updateDelayKey), 0);
  settings->set(600'001, "update-delay");
  EXPECT_EQ(Default<int>::value(updateDelayKey), 600'000);
}

TEST_F(KeeperTest, EveryColumnHasASettingOfItsOwn) {
  publishPreferences();
  std::set<std::string_view> names;
  for (const Column& column : columns) {
    names.insert(column.shown.name());
    EXPECT_TRUE(Default<bool>::value(column.shown)) << column.shown.name();
    settings->set(false, column.shown.name());
    EXPECT_FALSE(Default<bool>::value(column.shown)) << column.shown.name();
  }
  EXPECT_EQ(names.size(), columns.size());
  for (const SettingDescription& key : settings->publishedKeys()) names.erase(key.name);
  EXPECT_TRUE(names.empty());
}

TEST_F(KeeperTest, OpensAnotherDirectoryAndRemembersIt) {
  std::filesystem::create_directory(path / "other");
  std::ofstream(path / "other" / "new") << "1";
  for (const char* name : {"a", "b"}) write(name, "same");
  const auto shelf = shelfIn("en");
  Desk desk(*shelf);
  waitForNames(*shelf, {"a", "b", "other"});
  desk.compare();
  waitUntil([&] { return desk.canShowOnlyDuplicates(); });
  const std::weak_ptr<const File> former = shelf->listing.value()->files.front();
  desk.open(URL::fileURLWithPath((path / "other").string(), URL::DirectoryHint::isDirectory));
  EXPECT_EQ(desk.listing(), nullptr);
  EXPECT_FALSE(former.expired()) << "the files ended on the main thread";
  EXPECT_FALSE(desk.canShowOnlyDuplicates());
  EXPECT_EQ(desk.title(), "other — Keeper");
  waitForNames(*shelf, {"new"});
  waitUntil([&] { return former.expired(); });
  write("c");
  write("other/later");
  waitForNames(*shelf, {"later", "new"});
  EXPECT_EQ(shelf->url(*shelf->listing.value()->files.front()).path(), (path / "other/later").string());
  waitUntil([] { return Default<std::optional<URLBookmark>>::value(directoryKey).has_value(); });
  EXPECT_EQ(directoryToShow("", "/nowhere").lastPathComponent(), "other");
}

TEST_F(KeeperTest, SaysWhyItStopsFollowing) {
  const auto shelf = shelfIn("en");
  std::filesystem::remove(path);
  waitUntil([&] { return !shelf->problem.value().empty(); });
}

TEST_F(KeeperTest, FindsEqualFilesAndKeepsTheDisplayAwake) {
  write("a", "same");
  write("b", "same");
  write("c", "diff");
  write("d", "other size");
  write("empty 1");
  write("empty 2");
  const auto shelf = shelfIn("en");
  waitForNames(*shelf, {"a", "b", "c", "d", "empty 1", "empty 2"});
  DuplicateFinder finder;
  finder.start(shelf->directory(), shelf->listing.value()->files);
  EXPECT_EQ(finder.state, DuplicateFinder::State::searching);
  waitUntil([&] { return finder.state.value() == DuplicateFinder::State::idle; });
  ASSERT_EQ(finder.groups.value().size(), 1U);
  EXPECT_EQ(names(finder.groups.value()[0]), (Names{"a", "b"}));
  EXPECT_EQ(finder.progress, 1.0);
  power->released.acquire();
  EXPECT_EQ(power->taken, 1);
}

TEST_F(KeeperTest, PausedSearchGoesOnWhenItIsResumed) {
  write("a", "same");
  write("b", "same");
  const auto shelf = shelfIn("en");
  waitForNames(*shelf, {"a", "b"});
  DuplicateFinder finder;
  finder.start(shelf->directory(), shelf->listing.value()->files);
  finder.pause();
  for (int turn = 0; turn < 10; ++turn) MainQueue::drain();
  EXPECT_EQ(finder.progress, 0.0);
  finder.resume();
  waitUntil([&] { return finder.state.value() == DuplicateFinder::State::idle; });
  EXPECT_EQ(finder.groups.value().size(), 1U);
}

TEST_F(KeeperTest, CancelledSearchStaysCancelled) {
  write("a", "same");
  write("b", "same");
  const auto shelf = shelfIn("en");
  waitForNames(*shelf, {"a", "b"});
  DuplicateFinder finder;
  finder.start(shelf->directory(), shelf->listing.value()->files);
  finder.cancel();
  for (int turn = 0; turn < 10; ++turn) MainQueue::drain();
  EXPECT_EQ(finder.state, DuplicateFinder::State::idle);
  EXPECT_TRUE(finder.groups.value().empty());
}

TEST_F(KeeperTest, CountsFilesThatCannotBeRead) {
  write("a", "same");
  write("b", "same");
  const auto shelf = shelfIn("en");
  waitForNames(*shelf, {"a", "b"});
  const Files files = shelf->listing.value()->files;
  std::filesystem::remove(path / "b");
  DuplicateFinder finder;
  finder.start(shelf->directory(), files);
  waitUntil([&] { return finder.state.value() == DuplicateFinder::State::idle; });
  EXPECT_EQ(finder.unreadable, 1);
  EXPECT_TRUE(finder.groups.value().empty());
}

TEST_F(KeeperTest, StatusCountsInTheLanguageOfTheUser) {
  const Locale german("de");
  const Locale::Replacement replacement(german);
  write("a", "same");
  write("b", "same");
  const auto shelf = shelfIn("de");
  Desk desk(*shelf);
  EXPECT_EQ(desk.status(), "Wird gelesen …");
  waitForNames(*shelf, {"a", "b"});
  EXPECT_TRUE(desk.status().starts_with("Dateien: 2 · 8 Byte")) << desk.status();
  EXPECT_FALSE(desk.canShowOnlyDuplicates());
  desk.compare();
  waitUntil([&] { return desk.status().contains("Gruppen von Duplikaten: 1"); });
  EXPECT_TRUE(desk.canShowOnlyDuplicates());
}

TEST_F(KeeperTest, OnlyDuplicatesAreListedOnRequest) {
  write("a", "same");
  write("b", "diff");
  write("c", "same");
  const auto shelf = shelfIn("en");
  waitForNames(*shelf, {"a", "b", "c"});
  Desk desk(*shelf);
  desk.compare();
  waitUntil([&] { return desk.canShowOnlyDuplicates(); });
  desk.showsOnlyDuplicates = true;
  EXPECT_EQ(names(*desk.files()), (Names{"a", "c"}));
}

TEST_F(KeeperTest, SelectionIsSavedAsArchive) {
  write("a", "12");
  write("b", "3");
  const auto shelf = shelfIn("en");
  waitForNames(*shelf, {"a", "b"});
  Desk desk(*shelf);
  const std::filesystem::path archive = path.string() + ".zip";
  desk.saveArchive({shelf->listing.value()->files[1]}, URL::fileURLWithPath(archive.string()));
  waitUntil([&] { return desk.status() == "Saved: " + archive.filename().string(); });
  const std::string bytes = contentsOf(archive);
  EXPECT_TRUE(bytes.starts_with("PK"));
  EXPECT_TRUE(bytes.contains("b"));
  std::filesystem::remove(archive);
}

TEST_F(KeeperTest, FailedSaveIsReported) {
  const auto shelf = shelfIn("en");
  waitForNames(*shelf, {});
  Desk desk(*shelf);
  desk.saveTable({}, URL::fileURLWithPath((path / "missing" / "table").string()));
  waitUntil([&] { return desk.status() != "Saving…"; });
  EXPECT_TRUE(desk.status().contains("No such file")) << desk.status();
}

TEST_F(KeeperTest, LogIsSavedWithoutPrivateNames) {
  const auto user = std::make_shared<ScriptedAuthentication>();
  const AuthenticationBackendInstallation installation(user);
  const auto shelf = shelfIn("en");
  Desk desk(*shelf);
  log().error("Cannot read %s", std::string("secret.txt"));
  const std::filesystem::path file = path.string() + ".csv";
  desk.saveLog(URL::fileURLWithPath(file.string()));
  waitUntil([&] { return desk.status() == "Saved: " + file.filename().string(); });
  EXPECT_EQ(user->questions.size(), 1U);
  EXPECT_TRUE(contentsOf(file).contains("Cannot read <private>")) << contentsOf(file);
  EXPECT_FALSE(contentsOf(file).contains("secret"));
  std::filesystem::remove(file);
}

TEST_F(KeeperTest, MissingAuthenticationServiceIsReported) {
  const auto user = std::make_shared<ScriptedAuthentication>();
  user->canEvaluate = false;
  user->obstacle = std::make_exception_ptr(LAError(LAFailure::noService));
  const AuthenticationBackendInstallation installation(user);
  const auto shelf = shelfIn("en");
  Desk desk(*shelf);
  const std::filesystem::path file = path.string() + ".csv";
  desk.saveLog(URL::fileURLWithPath(file.string()));
  const std::string reason = LAError(LAFailure::noService).localizedDescription();
  waitUntil([&] { return desk.status() == reason; });
  EXPECT_FALSE(std::filesystem::exists(file));
}

TEST_F(KeeperTest, EveryWordHasEveryLanguage) {
  for (int word = 0; word <= static_cast<int>(Word::offline); ++word) {
    std::set<std::string> languages;
    for (const char* language : {"en", "de", "ar"}) {
      const Locale locale(language);
      const Locale::Replacement replacement(locale);
      EXPECT_EQ(isRightToLeft(), locale == Locale("ar"));
      languages.insert(text(static_cast<Word>(word)));
    }
    EXPECT_GE(languages.size(), 2U) << *languages.begin();
  }
}

TEST_F(KeeperTest, TableQuotesWhatSpreadsheetsNeed) {
  write("a,b", "12");
  const auto shelf = shelfIn("en");
  waitForNames(*shelf, {"a,b"});
  const std::string text(table(shelf->listing.value()->files).text());
  EXPECT_TRUE(text.starts_with("Name,Size,Modified\r\n\"a,b\",2,")) << text;
}

TEST_F(KeeperTest, TableShowsNamesThatAreNotUTF8) {
  write("\xFF.txt", "12");
  const auto shelf = shelfIn("en");
  waitUntil([&] { return shelf->listing.value() != nullptr && shelf->listing.value()->files.size() == 1; });
  const std::string text(table(shelf->listing.value()->files).text());
  EXPECT_TRUE(text.starts_with("Name,Size,Modified\r\n\uFFFD.txt,2,")) << text;
}

}  // namespace
}  // namespace keeper
