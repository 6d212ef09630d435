// SPDX-License-Identifier: MIT
// Journals that were shortened, overwritten, removed or damaged: no acknowledged value is lost in silence.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "Tessaly/Platform/Settings/detail/SettingsJournal.hpp"
#include "tests/Platform/Settings/FaultyFileSystem.hpp"
#include "tests/Platform/Settings/StoreFixture.hpp"
#include "tests/Support/Repetitions.hpp"
#include "tests/Support/WaitUntil.hpp"

namespace Tessaly::inline v1 {
namespace {

using Tests::contentsOf;
using Tests::waitUntil;

class JournalAttack : public Tests::StoreFixture {
 protected:
  [[nodiscard]] std::string oldJournal() const { return folder() + "/journal.old"; }

  /// Overwrites each file in place, as "cp -r backup/. directory/" does.
  static void copyInPlace(const std::string& from, const std::string& to) {
    for (const auto& entry : std::filesystem::directory_iterator(from)) {
      write(to + "/" + entry.path().filename().string(), contentsOf(entry.path().string()));
    }
  }
  /// Whether the status has named an overwritten journal since then.
  static bool isTold(const Store& store, Date since) {
    const auto problems = store->status().problems;
    return std::ranges::any_of(problems, [&](const auto& incident) {
      return incident.problem == UserDefaultsProblem::overwrittenJournal && incident.time >= since;
    });
  }
  /// The files that the status names for overwritten journals.
  static std::vector<std::string> overwrittenJournals(const Store& store) {
    std::vector<std::string> paths;
    for (const auto& incident : store->status().problems) {
      if (incident.problem == UserDefaultsProblem::overwrittenJournal) paths.push_back(incident.file);
    }
    return paths;
  }
  static void flipBit(const std::string& path, std::size_t byte) {
    std::string bytes = contentsOf(path);
    bytes.at(byte) = static_cast<char>(bytes.at(byte) ^ 4);
    write(path, bytes);
  }
  /// A property list with "a", and "b" in a journal of one record; no process has the store open.
  void leaveRecord() {
    {
      const Store store = open();
      store->set(1, "a");
      ASSERT_TRUE(store->synchronize());
      store->set(2, "b");
      std::filesystem::copy_file(journal(), above() + "/kept");
      std::filesystem::copy_file(plist(), above() + "/plist");
    }
    std::filesystem::rename(above() + "/plist", plist());
    std::filesystem::remove(journal());
  }
};

TEST_F(JournalAttack, ShortenedJournalIsRestoredFromMemory) {
  const Store store = open();
  store->set(1, "a");
  ASSERT_TRUE(store->synchronize());
  store->set(std::string(300, 'x'), "b");
  std::filesystem::resize_file(journal(), 0);
  store->set(5, "k");
  const Dictionary expected{{"a", 1}, {"b", std::string(300, 'x')}, {"k", 5}};
  EXPECT_EQ(store->dictionaryRepresentation(), expected);
  EXPECT_EQ(stored(), expected);
  EXPECT_TRUE(hasProblem(store, UserDefaultsProblem::overwrittenJournal));
  EXPECT_TRUE(store->synchronize());
  EXPECT_EQ(onDisk(), PropertyList(expected));
}

TEST_F(JournalAttack, NoStatusNamesTheRestoredJournalAsOverwritten) {
  for (const std::uintmax_t size : {80, 0}) {
    SCOPED_TRACE(size);
    startAnew();
    const Store first = open();
    const Store second = open();
    first->set(1, "a");
    second->set(2, "b");
    std::filesystem::resize_file(journal(), size);
    first->set(3, "a");
    second->set(4, "b");
    std::vector<std::string> named = overwrittenJournals(first);
    std::ranges::copy(overwrittenJournals(second), std::back_inserter(named));
    std::ranges::sort(named);
    // One process restored the journal, and knows the new path of the overwritten file. An empty file is not kept.
    EXPECT_EQ(named, (std::vector<std::string>{folder(), size == 0 ? folder() : folder() + "/journal.damaged"}));
  }
}

TEST_F(JournalAttack, JournalThatIsShortenedInTheMiddleIsRestored) {
  for (const std::uintmax_t size : {10, 63, 64, 80, 117, 160}) {
    SCOPED_TRACE(size);
    startAnew();
    const Store store = open();
    store->set(1, "a");
    store->set(2, "b");
    store->set(3, "c");
    ASSERT_GT(std::filesystem::file_size(journal()), size);
    std::filesystem::resize_file(journal(), size);
    store->set(4, "d");
    EXPECT_EQ(stored(), (Dictionary{{"a", 1}, {"b", 2}, {"c", 3}, {"d", 4}}));
  }
}

TEST_F(JournalAttack, JournalOverwrittenByABackupIsRestored) {
  const Store store = open();
  store->set(1, "a");
  ASSERT_TRUE(store->synchronize());
  store->set("early", "b");
  std::filesystem::copy(folder(), above() + "/backup");
  store->set("late", "b");
  store->set(3, "c");
  copyInPlace(above() + "/backup", folder());
  store->set(4, "d");
  const Dictionary expected{{"a", 1}, {"b", "late"}, {"c", 3}, {"d", 4}};
  EXPECT_EQ(stored(), expected);
  EXPECT_EQ(store->dictionaryRepresentation(), expected);
  EXPECT_TRUE(hasProblem(store, UserDefaultsProblem::overwrittenJournal));
}

TEST_F(JournalAttack, LongerBackupOverAJournalIsNoticed) {
  const Store store = open();
  for (int i = 0; i < 20; ++i) store->set(i, "many");
  std::filesystem::copy(folder(), above() + "/backup");
  ASSERT_TRUE(store->synchronize());
  store->set(1, "a");
  copyInPlace(above() + "/backup", folder());
  store->set(2, "b");
  EXPECT_EQ(stored(), (Dictionary{{"a", 1}, {"b", 2}, {"many", 19}}));
}

TEST_F(JournalAttack, JournalThatIsOverwrittenDuringAWriteIsRestored) {
  for (const std::size_t growth : {1, 100, 500}) {
    SCOPED_TRACE(growth);
    startAnew();
    std::atomic<bool> isArmed = false;
    Tests::FaultyFileSystem files([&](auto call, const std::string&) -> Tests::FaultyFileSystem::Fate {
      if (call != Tests::FaultyFileSystem::Call::write || !isArmed.exchange(false)) return {};
      // Another program shortens the journal, and a third one has written more than was there before.
      const auto size = std::filesystem::file_size(journal());
      std::filesystem::resize_file(journal(), 64);
      std::ofstream(journal(), std::ios::binary | std::ios::app) << std::string(size - 64 + growth, 'x');
      return {};
    });
    const Store store = open(files.system());
    store->set(1, "a");
    store->set(std::string(200, 'b'), "b");
    isArmed = true;
    store->set(3, "c");
    EXPECT_FALSE(isArmed);
    const Dictionary expected{{"a", 1}, {"b", std::string(200, 'b')}, {"c", 3}};
    EXPECT_EQ(store->dictionaryRepresentation(), expected);
    EXPECT_EQ(stored(), expected);
    EXPECT_TRUE(hasProblem(store, UserDefaultsProblem::overwrittenJournal));
  }
}

TEST_F(JournalAttack, CheckpointOfAShortenedJournalLosesNothingUntold) {
  const Store writer = open();
  const Store other = open();
  int kept = 0;
  const int rounds = Tests::repetitions(30);
  for (int round = 0; round < rounds; ++round) {
    const Date start = Date::now();
    writer->set(round, "a");
    std::filesystem::resize_file(journal(), 64);
    // Most often it has not read the write yet, so it finds nothing wrong.
    EXPECT_TRUE(other->synchronize());
    writer->set(round, "b");
    EXPECT_TRUE(writer->synchronize());
    const bool isKept = stored() == Dictionary{{"a", round}, {"b", round}};
    kept += isKept ? 1 : 0;
    EXPECT_TRUE(isKept || isTold(writer, start) || isTold(other, start)) << round;
  }
  EXPECT_GT(kept, rounds / 2);
}

TEST_F(JournalAttack, TwoProcessesLoseNothingUntoldWithAShortenedJournal) {
  const Store first = open();
  const Store second = open();
  int kept = 0;
  const int rounds = Tests::repetitions(100);
  for (int round = 0; round < rounds; ++round) {
    const Date start = Date::now();
    first->set(round, "first");
    second->set(round, "second");
    std::filesystem::resize_file(journal(), static_cast<std::uintmax_t>(round % 3) * 32);
    (round % 2 == 0 ? first : second)->set(round, "after");
    const Dictionary expected{{"after", round}, {"first", round}, {"second", round}};
    int looks = 0;
    Tests::waitUntil([&] {
      clock_.advance(JournaledUserDefaults::retryDelay);
      return stored() == expected || ++looks == 100;
    });
    const bool isKept = looks < 100;
    kept += isKept ? 1 : 0;
    // A write that the process which restored the journal had not read yet may be undone. Then the status names it.
    EXPECT_TRUE(isKept || isTold(first, start) || isTold(second, start)) << round;
  }
  EXPECT_GT(kept, 0);
}

TEST_F(JournalAttack, OwnWriteDuringACheckpointSurvivesARestorationByAnother) {
  using Fate = Tests::FaultyFileSystem::Fate;
  using Call = Tests::FaultyFileSystem::Call;
  std::atomic<bool> isWriterBlind = false;
  std::atomic<bool> isOtherBlind = false;
  std::function<void()> duringCheckpoint;
  Tests::FaultyFileSystem files([&](Call call, const std::string& path) -> Fate {
    const bool isNewList = call == Call::open && path.contains("Settings.plist.new");
    if (isNewList && duringCheckpoint) std::exchange(duringCheckpoint, nullptr)();
    return {.errorCode = isWriterBlind && call == Call::lock ? EIO : 0};
  });
  Tests::FaultyFileSystem otherFiles([&](Call call, const std::string&) -> Fate {
    return {.errorCode = isOtherBlind && call == Call::lock ? EIO : 0};
  });
  const Store writer = open(files.system());
  writer->set(1, "a");
  const Store other = open(otherFiles.system());
  isOtherBlind = true;  // So the other process does not follow the journal of the checkpoint.
  duringCheckpoint = [&] { writer->set(2, "b"); };
  ASSERT_TRUE(writer->synchronize());
  ASSERT_FALSE(duringCheckpoint);
  isWriterBlind = true;
  std::filesystem::resize_file(journal(), 0);
  isOtherBlind = false;
  other->set(3, "c");
  isWriterBlind = false;
  writer->set(4, "d");
  ASSERT_TRUE(writer->synchronize());  // The write itself stores "b" only if no other store holds the journal's lock.
  const Dictionary expected{{"a", 1}, {"b", 2}, {"c", 3}, {"d", 4}};
  EXPECT_EQ(writer->dictionaryRepresentation(), expected);
  EXPECT_EQ(stored(), expected);
}

TEST_F(JournalAttack, RestorationByAnotherCostsNoWriteAfterAFailedLoad) {
  using Fate = Tests::FaultyFileSystem::Fate;
  using Call = Tests::FaultyFileSystem::Call;
  std::atomic<bool> isWriterBlind = false;
  std::atomic<bool> isOtherBlind = false;
  std::atomic<int> failedLoads = -1;
  Tests::FaultyFileSystem files([&](Call call, const std::string& path) -> Fate {
    if (call == Call::open && path == oldJournal() && failedLoads == 0) return {.errorCode = ++failedLoads * EIO};
    return {.errorCode = isWriterBlind && call == Call::lock ? EIO : 0};
  });
  Tests::FaultyFileSystem otherFiles([&](Call call, const std::string&) -> Fate {
    return {.errorCode = isOtherBlind && call == Call::lock ? EIO : 0};
  });
  const Store writer = open(files.system());
  writer->set(1, "a");
  ASSERT_TRUE(writer->synchronize());
  const Store other = open(otherFiles.system());
  isOtherBlind = true;  // So the other process does not read the next write.
  writer->set(2, "b");
  isWriterBlind = true;
  std::filesystem::resize_file(journal(), 0);
  isOtherBlind = false;
  other->set(3, "c");
  failedLoads = 0;
  isWriterBlind = false;
  writer->set(4, "d");
  EXPECT_EQ(failedLoads, 1);
  writer->set(5, "e");
  ASSERT_TRUE(writer->synchronize());  // The write itself stores "b" only if no other store holds the journal's lock.
  EXPECT_EQ(stored(), (Dictionary{{"a", 1}, {"b", 2}, {"c", 3}, {"d", 4}, {"e", 5}}));
}

TEST_F(JournalAttack, ProcessThatFindsNoJournalTakesNothingAway) {
  const Store first = open();
  first->set(1, "a");
  ASSERT_TRUE(first->synchronize());
  first->set(2, "b");
  std::filesystem::remove(journal());
  const Store second = open();
  second->set(3, "c");
  EXPECT_TRUE(waitUntil([&] {
    clock_.advance(JournaledUserDefaults::retryDelay);
    return stored() == Dictionary{{"a", 1}, {"b", 2}, {"c", 3}};
  }));
}

TEST_F(JournalAttack, RemovedJournalIsRestoredByTheNextWrite) {
  const Store store = open();
  store->set(1, "a");
  ASSERT_TRUE(store->synchronize());
  store->set(2, "b");
  std::filesystem::remove(journal());
  store->set(3, "c");
  EXPECT_EQ(stored(), (Dictionary{{"a", 1}, {"b", 2}, {"c", 3}}));
}

TEST_F(JournalAttack, OldJournalWithADamagedHeaderKeepsItsRecords) {
  for (const std::size_t byte : {0, 8, 12, 16, 20, 25, 40, 57, 61}) {
    SCOPED_TRACE(byte);
    startAnew();
    std::filesystem::remove(above() + "/kept");
    leaveRecord();
    std::filesystem::rename(above() + "/kept", oldJournal());
    flipBit(oldJournal(), byte);
    const Store store = open();
    EXPECT_EQ(store->dictionaryRepresentation(), (Dictionary{{"a", 1}, {"b", 2}}));
    EXPECT_TRUE(hasProblem(store, UserDefaultsProblem::damagedJournal));
    EXPECT_TRUE(store->synchronize());
    EXPECT_EQ(onDisk(), PropertyList(Dictionary{{"a", 1}, {"b", 2}}));
    EXPECT_TRUE(std::filesystem::exists(folder() + "/journal.damaged.old"));
    EXPECT_FALSE(std::filesystem::exists(oldJournal()));
  }
}

TEST_F(JournalAttack, OldJournalThatCannotBeReadAtAllIsKept) {
  leaveRecord();
  const std::string garbage(200, 'g');
  write(oldJournal(), garbage);
  const Store store = open();
  EXPECT_TRUE(hasProblem(store, UserDefaultsProblem::damagedJournal));
  EXPECT_TRUE(store->synchronize());
  EXPECT_EQ(contentsOf(folder() + "/journal.damaged.old"), garbage);
}

TEST_F(JournalAttack, OldJournalOfABackupIsNotReplayed) {
  const Store store = open();
  store->set("early", "a");
  std::filesystem::copy_file(journal(), above() + "/kept");
  ASSERT_TRUE(store->synchronize());
  store->set("late", "a");
  ASSERT_TRUE(store->synchronize());
  std::filesystem::copy_file(above() + "/kept", oldJournal());
  EXPECT_EQ(stored(), (Dictionary{{"a", "late"}}));
  const Store second = open();
  EXPECT_EQ(second->value("a"), "late");
  EXPECT_TRUE(hasProblem(second, UserDefaultsProblem::damagedJournal));
  EXPECT_TRUE(second->synchronize());
  EXPECT_EQ(onDisk(), PropertyList(Dictionary{{"a", "late"}}));
  EXPECT_TRUE(std::filesystem::exists(folder() + "/journal.damaged.old"));
}

TEST_F(JournalAttack, JournalWithADamagedHeaderKeepsItsRecords) {
  for (const std::size_t byte : {0, 8, 12, 16, 20, 25, 40, 57, 61}) {
    SCOPED_TRACE(byte);
    startAnew();
    std::filesystem::remove(above() + "/kept");
    leaveRecord();
    std::filesystem::rename(above() + "/kept", journal());
    flipBit(journal(), byte);
    const Store reader = openForReading();
    EXPECT_EQ(reader->dictionaryRepresentation(), (Dictionary{{"a", 1}, {"b", 2}}));
    const Store store = open();
    EXPECT_EQ(store->dictionaryRepresentation(), (Dictionary{{"a", 1}, {"b", 2}}));
    EXPECT_TRUE(hasProblem(store, UserDefaultsProblem::damagedJournal));
    store->set(3, "c");
    EXPECT_EQ(stored(), (Dictionary{{"a", 1}, {"b", 2}, {"c", 3}}));
    EXPECT_TRUE(std::filesystem::exists(folder() + "/journal.damaged"));
  }
}

TEST_F(JournalAttack, DamagedRecordIsToldAndItsFileKept) {
  leaveRecord();
  std::filesystem::rename(above() + "/kept", journal());
  flipBit(journal(), 64 + 53 + 32);  // Behind the header and the record of the checkpoint.
  const Store store = open();
  EXPECT_EQ(store->dictionaryRepresentation(), (Dictionary{{"a", 1}}));
  const auto problems = store->status().problems;
  ASSERT_EQ(problems.size(), 1u);
  EXPECT_EQ(problems[0].problem, UserDefaultsProblem::damagedJournal);
  EXPECT_EQ(problems[0].effect, UserDefaultsEffect::mayBeLost);
  EXPECT_EQ(problems[0].file, journal());
  store->set(3, "c");
  EXPECT_TRUE(store->synchronize());
  EXPECT_TRUE(std::filesystem::exists(folder() + "/journal.damaged.old"));
}

TEST_F(JournalAttack, RecordOfAKilledWriterIsNoDamage) {
  const Store store = open();
  store->set(1, "a");
  const std::string record = contentsOf(journal()).substr(64);
  for (std::size_t size = 1; size < record.size(); ++size) {
    std::ofstream(journal(), std::ios::binary | std::ios::app) << record.substr(0, size);
    store->set(static_cast<int>(size), "b");
  }
  EXPECT_TRUE(store->status().problems.empty());
  EXPECT_TRUE(openForReading()->status().problems.empty());
}

TEST_F(JournalAttack, ThingsInThePlaceOfTheJournalAreSetAside) {
  for (const std::string kind : {"directory", "pipe", "link"}) {
    SCOPED_TRACE(kind);
    startAnew();
    makeFolder();
    replace({{"a", 1}});
    if (kind == "directory") std::filesystem::create_directories(journal() + "/within");
    const int made = kind == "pipe" ? ::mkfifo(journal().c_str(), 0600) : 0;
    ASSERT_EQ(made, 0);
    if (kind == "link") std::filesystem::create_symlink("nowhere", journal());
    const Store store = open();
    store->set(2, "b");
    EXPECT_EQ(store->status().problem, UserDefaultsProblem::none);
    EXPECT_EQ(stored(), (Dictionary{{"a", 1}, {"b", 2}}));
    EXPECT_TRUE(std::filesystem::exists(std::filesystem::symlink_status(folder() + "/journal.damaged")));
  }
}

TEST_F(JournalAttack, DirectoryNamedLikeANewJournalIsNoObstacle) {
  makeFolder();
  std::filesystem::create_directories(journal() + ".new/within");
  const Store store = open();
  store->set(1, "a");
  EXPECT_TRUE(store->synchronize());
  EXPECT_EQ(onDisk(), PropertyList(Dictionary{{"a", 1}}));
}

}  // namespace
}  // namespace Tessaly::inline v1
