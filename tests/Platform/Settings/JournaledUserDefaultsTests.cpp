// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <ranges>
#include <string>
#include <thread>
#include <vector>

#include "Tessaly/Core/Foundation/PropertyListSerialization.hpp"
#include "Tessaly/Platform/Linux/JournaledUserDefaults.hpp"
#include "Tessaly/Platform/Linux/SettingsFiles.hpp"
#include "Tessaly/Platform/Testing/RecordingLogBackend.hpp"
#include "tests/Platform/Settings/StoreFixture.hpp"
#include "tests/Platform/Settings/SynchronizedDisk.hpp"
#include "tests/Support/ContentsOf.hpp"
#include "tests/Support/Repetitions.hpp"
#include "tests/Support/WaitUntil.hpp"

namespace Tessaly::inline v1 {
namespace {

using namespace std::string_literals;
using namespace std::string_view_literals;
using Dictionary = PropertyList::Dictionary;
using Store = std::shared_ptr<JournaledUserDefaults>;
using Tests::contentsOf;
using Tests::waitUntil;

class JournaledUserDefaultsTest : public Tests::StoreFixture {};

/// Records its notifications, and lets a test wait for them.
class Recorder final : public KeyValueObserver {
 public:
  struct Call {
    std::string key;
    std::optional<PropertyList> value;
    ChangeOrigin origin;
    std::thread::id thread;
  };
  void observeValue(std::optional<std::string_view> keyPath, const Object*, const std::optional<KeyValueChange>& change,
                    void*) override {
    const UnfairLock::Guard guard(lock_);
    calls_.push_back({std::string(*keyPath), *change->newValue, change->origin, std::this_thread::get_id()});
  }
  std::vector<Call> calls() {
    const UnfairLock::Guard guard(lock_);
    return calls_;
  }

 private:
  UnfairLock lock_;
  std::vector<Call> calls_ TESSALY_GUARDED_BY(lock_);
};

std::shared_ptr<Recorder> observe(const Store& store) {
  auto recorder = std::make_shared<Recorder>();
  store->addObserverOfEveryKey(recorder, KeyValueObservingOptions::newValue, nullptr);
  return recorder;
}

TEST_F(JournaledUserDefaultsTest, ReadsAWrittenValue) {
  const Store store = open();
  EXPECT_EQ(store->value("a"), std::nullopt);
  store->set(5, "a");
  store->set("text", "b");
  store->removeObject("b");
  store->removeObject("c");
  EXPECT_EQ(store->value("a"), 5);
  EXPECT_EQ(store->value("b"), std::nullopt);
  EXPECT_EQ(store->dictionaryRepresentation(), (Dictionary{{"a", 5}}));
  EXPECT_EQ(store->status(), (UserDefaultsStatus{.folder = folder()}));
}

TEST_F(JournaledUserDefaultsTest, OtherProcessesReadEveryKindAndKeyAtOnce) {
  const Dictionary values{{"", "the empty key"},
                          {"a.b.c", 1},
                          {"n\0l"s, true},
                          {std::string(10'000, 'k'), 0.1f},
                          {"ü", Date::sinceReferenceDate(0.25)},
                          {"largest", std::numeric_limits<std::uint64_t>::max()},
                          {"data", Data("\0\xFF"sv)},
                          {"nested", PropertyList::Array{1, Dictionary{{"x", PropertyList::Array{}}}}}};
  const Store store = open();
  for (const auto& [key, value] : values) store->set(value, key);
  EXPECT_TRUE(PropertyList(stored()).isIdentical(values));
  EXPECT_TRUE(store->synchronize());
  EXPECT_TRUE(onDisk().isIdentical(values));
  EXPECT_TRUE(PropertyList(stored()).isIdentical(values));
}

TEST_F(JournaledUserDefaultsTest, TakesIllFormedKeysForTheirReplacement) {
  const Store store = open();
  store->set(1, "a\xFF");
  EXPECT_EQ(store->value("a\xFF"), 1);
  EXPECT_EQ(store->value("a\uFFFD"), 1);
  EXPECT_EQ(stored(), (Dictionary{{"a\uFFFD", 1}}));
  const auto recorder = std::make_shared<Recorder>();
  store->addObserver(recorder, "a\xFF", KeyValueObservingOptions::newValue, nullptr);
  store->set(2, "a\xFF");
  store->set(3, "a\uFFFD");
  ASSERT_EQ(recorder->calls().size(), 2u);
  EXPECT_EQ(recorder->calls()[1].key, "a\xFF");  // As the observer names it.
}

TEST_F(JournaledUserDefaultsTest, PropertyListFollowsTheFirstWriteAfterAQuarterSecond) {
  const Store store = open();
  store->set(1, "a");
  EXPECT_FALSE(std::filesystem::exists(plist()));
  clock_.advance(JournaledUserDefaults::checkpointDelay);
  ASSERT_TRUE(waitUntil(
      [&] { return std::filesystem::exists(plist()) && !std::filesystem::exists(folder() + "/journal.old"); }));
  EXPECT_EQ(onDisk(), PropertyList(Dictionary{{"a", 1}}));
  EXPECT_EQ(std::filesystem::file_size(journal()), 64u + 53);
}

TEST_F(JournaledUserDefaultsTest, WritesThePropertyListAtItsEnd) {
  open()->set(1, "a");
  EXPECT_EQ(onDisk(), PropertyList(Dictionary{{"a", 1}}));
}

TEST_F(JournaledUserDefaultsTest, DoesNotWaitWithALargeJournal) {
  const Store store = open();
  store->set(Data(std::string(100'000, 'x')), "a");
  clock_.advance(std::chrono::milliseconds(1));
  EXPECT_TRUE(waitUntil([&] { return std::filesystem::exists(plist()); }));
}

TEST_F(JournaledUserDefaultsTest, MakesOneCheckpointAtATimeHoweverManyAreDue) {
  for (int round = 0; round < Tests::repetitions(5); ++round) {
    Store store = JournaledUserDefaults::open({.folder = folder()});
    const std::string text(500, 'x');
    for (int i = 0; i < 2'000; ++i) store->set(text + std::to_string(round), std::to_string(i));
    const auto threads = std::filesystem::directory_iterator("/proc/self/task");
    EXPECT_LT(std::distance(begin(threads), end(threads)), 16);
    store.reset();  // While checkpoints are due.
    const Dictionary values = stored();
    ASSERT_EQ(values.size(), 2'000U);
    EXPECT_TRUE(
        std::ranges::all_of(values, [&](const auto& entry) { return entry.second == text + std::to_string(round); }));
  }
}

TEST_F(JournaledUserDefaultsTest, WritesMoreSlowlyWhileACheckpointIsOverdue) {
  const Store store = open();  // Whose time stands still: no checkpoint comes.
  const std::string large(JournaledUserDefaults::largeJournal, 'x');
  for (std::uint64_t i = 0; i < JournaledUserDefaults::overdueJournals; ++i) store->set(large, std::to_string(i));
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < 100; ++i) store->set(i, "a");
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(10));
}

TEST_F(JournaledUserDefaultsTest, WritesWhileItsCheckpointWaitsForAnother) {
  const Store store = open();
  store->set(1, "a");
  const int other = ::open(journal().c_str(), O_RDONLY | O_CLOEXEC);
  ASSERT_EQ(::flock(other, LOCK_SH), 0);
  std::atomic<bool> isDone = false;
  bool isStored = true;
  std::thread checkpoint([&] {
    isStored = store->synchronize();
    isDone = true;
  });
  int writes = 0;
  while (!isDone) {
    store->set(++writes, "b");
    if (writes > 100) clock_.advance(std::chrono::milliseconds(1));
  }
  checkpoint.join();
  EXPECT_FALSE(isStored);  // It was waited for in vain.
  EXPECT_GT(writes, 100);
  ::close(other);
  EXPECT_TRUE(store->synchronize());
  EXPECT_EQ(onDisk(), PropertyList(Dictionary{{"a", 1}, {"b", writes}}));
}

TEST_F(JournaledUserDefaultsTest, EqualValueOfAnotherKindIsStoredWithoutNotification) {
  const Store store = open();
  store->set(5, "a");
  const auto size = std::filesystem::file_size(journal());
  const auto recorder = observe(store);
  store->set(5, "a");
  EXPECT_EQ(std::filesystem::file_size(journal()), size);
  store->set(5.0, "a");
  EXPECT_GT(std::filesystem::file_size(journal()), size);
  EXPECT_TRUE(recorder->calls().empty());
  EXPECT_TRUE(PropertyList(stored()).isIdentical(Dictionary{{"a", 5.0}}));
}

TEST_F(JournaledUserDefaultsTest, NotifiesOnTheWritingThreadBeforeTheWriteReturns) {
  const Store store = open();
  const auto recorder = observe(store);
  store->set(1, "a");
  store->removeObject("a");
  const auto calls = recorder->calls();
  ASSERT_EQ(calls.size(), 2u);
  EXPECT_EQ(calls[0].value, 1);
  EXPECT_EQ(calls[1].value, std::nullopt);
  for (const auto& call : calls) {
    EXPECT_EQ(call.origin, ChangeOrigin::thisProcess);
    EXPECT_EQ(call.thread, std::this_thread::get_id());
  }
}

TEST_F(JournaledUserDefaultsTest, NoticesAnotherWriterWithoutACall) {
  const Store first = open();
  const Store second = open();
  const auto recorder = observe(first);
  second->set(1, "a");
  second->set(2, "b");
  second->removeObject("a");
  ASSERT_TRUE(waitUntil([&] { return recorder->calls().size() == 3; }));
  const auto calls = recorder->calls();
  EXPECT_EQ(calls[0].value, 1);
  EXPECT_EQ(calls[1].key, "b");
  EXPECT_EQ(calls[2].value, std::nullopt);
  EXPECT_EQ(calls[0].origin, ChangeOrigin::otherProcess);
  EXPECT_NE(calls[0].thread, std::this_thread::get_id());
  EXPECT_EQ(first->value("b"), 2);
}

TEST_F(JournaledUserDefaultsTest, NoticesEveryChangeDuringCheckpointsOfAnyProcess) {
  const Store first = open();
  const Store second = open();
  const auto recorder = observe(first);
  const auto lastHeard = [&] {
    const auto calls = recorder->calls();
    const auto last = std::ranges::find(calls | std::views::reverse, "theirs"s, &Recorder::Call::key);
    return last == std::ranges::rend(calls) ? std::optional<PropertyList>() : last->value;
  };
  for (int round = 0; round < Tests::repetitions(200); ++round) {
    first->set(round, "mine");
    second->set(round, "theirs");
    clock_.advance(JournaledUserDefaults::checkpointDelay);
    ASSERT_TRUE(waitUntil([&] { return lastHeard() == PropertyList(round); })) << "round " << round;
  }
}

TEST_F(JournaledUserDefaultsTest, ObserversMayWrite) {
  class Doubler final : public KeyValueObserver {
   public:
    void observeValue(std::optional<std::string_view>, const Object* object,
                      const std::optional<KeyValueChange>& change, void*) override {
      auto& store = const_cast<UserDefaults&>(static_cast<const UserDefaults&>(*object));
      store.set(2 * (*change->newValue)->number()->integerValue(), "double");
    }
  };
  const Store store = open();
  const auto doubler = std::make_shared<Doubler>();
  store->addObserver(doubler, "single", KeyValueObservingOptions::newValue, nullptr);
  store->set(4, "single");
  EXPECT_EQ(store->value("double"), 8);
}

TEST_F(JournaledUserDefaultsTest, AgreesWithOthersOnTheLastWriteOfEachKey) {
  for (int round = 0; round < Tests::repetitions(5); ++round) {
    std::vector<Store> stores{open(), open(), open()};
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < 4; ++i) {
      threads.emplace_back([&, i, store = stores[i % stores.size()]] {
        for (int n = 0; n < 200; ++n) {
          store->set(static_cast<int>(i) * 1000 + n, std::to_string(n % 5));
          if (n % 50 == 0) store->synchronize();
        }
      });
    }
    for (auto& thread : threads) thread.join();
    Dictionary expected = stored();
    expected.erase("end");
    EXPECT_EQ(expected.size(), 5u);
    for (const Store& store : stores) {
      store->set(round, "end");  // Brings it up to date.
      Dictionary values = store->dictionaryRepresentation();
      values.erase("end");
      EXPECT_EQ(values, expected);
    }
  }
}

TEST_F(JournaledUserDefaultsTest, AdoptsAListThatAnotherProgramPutsInPlace) {
  const Store store = open();
  store->set(1, "a");
  store->set(1, "b");
  store->set(1, "c");
  ASSERT_TRUE(store->synchronize());
  store->set(2, "c");  // No checkpoint holds this yet, and the other program has not changed it.
  const auto recorder = observe(store);
  replace({{"a", 1}, {"b", "changed"}, {"c", 1}, {"d", true}}, PropertyListFormat::xml);
  ASSERT_TRUE(waitUntil([&] { return recorder->calls().size() == 2; }));
  EXPECT_EQ(recorder->calls()[0].origin, ChangeOrigin::otherProcess);
  const Dictionary expected{{"a", 1}, {"b", "changed"}, {"c", 2}, {"d", true}};
  EXPECT_EQ(store->dictionaryRepresentation(), expected);
  ASSERT_TRUE(store->synchronize());
  EXPECT_EQ(onDisk(), PropertyList(expected));
  EXPECT_TRUE(contentsOf(plist()).starts_with("<?xml"));
}

TEST_F(JournaledUserDefaultsTest, TakesOverRemovalsByAnotherProgram) {
  const Store store = open();
  store->set(1, "a");
  store->set(1, "b");
  ASSERT_TRUE(store->synchronize());
  const auto recorder = observe(store);
  replace({{"a", 1}});
  ASSERT_TRUE(waitUntil([&] { return recorder->calls().size() == 1; }));
  EXPECT_EQ(recorder->calls()[0].value, std::nullopt);
  EXPECT_EQ(stored(), (Dictionary{{"a", 1}}));
}

TEST_F(JournaledUserDefaultsTest, AdoptsAListThatAnotherProgramWritesInPlace) {
  const Store store = open();
  store->set(1, "a");
  ASSERT_TRUE(store->synchronize());
  const auto recorder = observe(store);
  write(plist(), PropertyListSerialization::data(Dictionary{{"a", 2}}, PropertyListFormat::binary).text());
  ASSERT_TRUE(waitUntil([&] { return recorder->calls().size() == 1; }));
  EXPECT_EQ(store->value("a"), 2);
}

TEST_F(JournaledUserDefaultsTest, TakesOverOnceHoweverManySeeIt) {
  const Store first = open();
  const Store second = open();
  first->set(1, "a");
  ASSERT_TRUE(first->synchronize());
  const auto one = observe(first);
  const auto two = observe(second);
  replace({{"a", 2}});
  ASSERT_TRUE(waitUntil([&] { return first->value("a") == 2 && second->value("a") == 2; }));
  ASSERT_TRUE(first->synchronize());
  ASSERT_TRUE(second->synchronize());
  first->set(3, "a");
  ASSERT_TRUE(waitUntil([&] { return second->value("a") == 3; }));
  EXPECT_EQ(one->calls().size(), 2u);
}

TEST_F(JournaledUserDefaultsTest, UsesTheBinaryFormatForValuesThatXMLCannotHold) {
  makeFolder();
  replace({{"a", 1}}, PropertyListFormat::xml);
  const Store store = open();
  store->set(Date::sinceReferenceDate(0.5), "date");
  ASSERT_TRUE(store->synchronize());
  EXPECT_TRUE(contentsOf(plist()).starts_with("bplist"));
  EXPECT_EQ(onDisk(), PropertyList(Dictionary{{"a", 1}, {"date", Date::sinceReferenceDate(0.5)}}));
}

TEST_F(JournaledUserDefaultsTest, DamagedListIsReplacedByTheLastGoodStateAfterASecond) {
  const auto log = std::make_shared<RecordingLogBackend>();
  const LogBackendInstallation installation(log);
  const Store store = open();
  store->set(1, "a");
  ASSERT_TRUE(store->synchronize());
  const std::size_t timers = clock_.timerCount();
  write(plist(), "damaged");
  ASSERT_TRUE(waitUntil([&] { return clock_.timerCount() > timers; }));
  store->set(2, "b");
  EXPECT_FALSE(store->synchronize());
  EXPECT_EQ(contentsOf(plist()), "damaged");
  clock_.advance(JournaledUserDefaults::damageDelay);
  ASSERT_TRUE(waitUntil([&] { return store->status().damagedFile.has_value(); }));
  EXPECT_EQ(store->status().damagedFile, folder() + "/Settings.damaged.plist");
  EXPECT_EQ(contentsOf(folder() + "/Settings.damaged.plist"), "damaged");
  EXPECT_TRUE(store->synchronize());
  EXPECT_EQ(onDisk(), PropertyList(Dictionary{{"a", 1}, {"b", 2}}));
  EXPECT_EQ(log->records().size(), 1u);
}

TEST_F(JournaledUserDefaultsTest, WaitsForAFileThatIsHalfWritten) {
  makeFolder();
  write(plist(), "<plist><dict><key>a</key>");
  const Store store = open();
  EXPECT_EQ(store->value("a"), std::nullopt);
  store->set(2, "b");
  write(plist(), "<plist><dict><key>a</key><true/></dict></plist>");
  EXPECT_TRUE(waitUntil([&] { return store->value("a").has_value(); }));
  EXPECT_TRUE(store->synchronize());
  EXPECT_EQ(onDisk(), PropertyList(Dictionary{{"a", true}, {"b", 2}}));
  EXPECT_FALSE(std::filesystem::exists(folder() + "/Settings.damaged.plist"));
}

TEST_F(JournaledUserDefaultsTest, ReadsAnUnreadableListOnceAnotherProcessHasReplacedIt) {
  const Store first = open();
  first->set(1, "a");
  ASSERT_TRUE(first->synchronize());
  const std::string good = contentsOf(plist());
  write(plist(), "half wri");
  const Store second = open();
  EXPECT_EQ(second->value("a"), std::nullopt);
  write(plist(), good);
  first->set(2, "b");
  ASSERT_TRUE(first->synchronize());
  second->set(3, "c");
  EXPECT_EQ(second->dictionaryRepresentation(), (Dictionary{{"a", 1}, {"b", 2}, {"c", 3}}));
  ASSERT_TRUE(second->synchronize());
  EXPECT_EQ(onDisk(), PropertyList(Dictionary{{"a", 1}, {"b", 2}, {"c", 3}}));
}

TEST_F(JournaledUserDefaultsTest, LeavesADamagedFileToAnotherThatKnowsItsValues) {
  Store first = open();
  first->set(1, "a");
  ASSERT_TRUE(first->synchronize());
  write(plist(), "damaged");
  EXPECT_FALSE(first->synchronize());
  const Store second = open();
  second->set(2, "b");
  clock_.advance(JournaledUserDefaults::damageDelay);
  ASSERT_TRUE(waitUntil([&] { return first->status().damagedFile.has_value(); }));
  // A list of the second store would leave out values that only the first one knows.
  if (second->synchronize()) EXPECT_EQ(onDisk(), PropertyList(Dictionary{{"a", 1}, {"b", 2}}));
  first.reset();  // Which makes a last checkpoint.
  ASSERT_TRUE(waitUntil([&] { return second->value("a") == PropertyList(1); }));
  EXPECT_EQ(second->status().damagedFile, std::nullopt);
  EXPECT_TRUE(second->synchronize());
  EXPECT_EQ(onDisk(), PropertyList(Dictionary{{"a", 1}, {"b", 2}}));
}

TEST_F(JournaledUserDefaultsTest, EndingStoreRepairsADamagedListItKnows) {
  Store last = open();
  last->set(1, "a");
  ASSERT_TRUE(last->synchronize());
  write(plist(), "damaged");
  last->set(2, "b");
  releaseWhileTimePasses(last);
  EXPECT_EQ(contentsOf(folder() + "/Settings.damaged.plist"), "damaged");
  EXPECT_EQ(onDisk(), PropertyList(Dictionary{{"a", 1}, {"b", 2}}));
}

TEST_F(JournaledUserDefaultsTest, EndWaitsForAListThatIsHalfWritten) {
  Store last = open();
  last->set(1, "a");
  last->set(1, "b");
  ASSERT_TRUE(last->synchronize());
  write(plist(), "<plist><dict><key>a</key>");
  last->set(2, "c");
  std::atomic<bool> hasEnded = false;
  std::thread ending([&] {
    last.reset();
    hasEnded = true;
  });
  clock_.advance(JournaledUserDefaults::damageDelay / 2);
  EXPECT_FALSE(hasEnded);
  write(plist(), "<plist><dict><key>a</key><true/></dict></plist>");
  ending.join();
  EXPECT_FALSE(std::filesystem::exists(folder() + "/Settings.damaged.plist"));
  EXPECT_EQ(onDisk(), PropertyList(Dictionary{{"a", true}, {"c", 2}}));
}

TEST_F(JournaledUserDefaultsTest, WritesAListAgainWhoseValuesNoProcessKnows) {
  makeFolder();
  write(plist(), "damaged");
  const Store store = open();
  store->set(2, "b");
  std::filesystem::remove(plist());
  EXPECT_FALSE(store->synchronize());
  clock_.advance(JournaledUserDefaults::damageDelay * 3);
  ASSERT_TRUE(waitUntil([&] { return store->synchronize(); }));
  EXPECT_EQ(onDisk(), PropertyList(Dictionary{{"b", 2}}));
}

TEST_F(JournaledUserDefaultsTest, TakesAFileThatIsNoDictionaryForDamaged) {
  makeFolder();
  write(plist(), PropertyListSerialization::data(PropertyList::Array{1}, PropertyListFormat::binary).text());
  const Store store = open();
  EXPECT_TRUE(store->dictionaryRepresentation().empty());
  clock_.advance(JournaledUserDefaults::damageDelay * 3);
  EXPECT_TRUE(waitUntil([&] { return store->status().damagedFile.has_value(); }));
}

TEST_F(JournaledUserDefaultsTest, RecoversThePropertyListBothJournalsAndTheirOrder) {
  makeFolder();
  {
    const Store store = open();
    store->set(1, "a");
    store->set(1, "b");
  }
  // The files after a kill between the steps of a checkpoint: the old journal has b and c, the journal has c.
  const std::string before = contentsOf(plist());
  Store store = open();
  store->set(2, "b");
  store->set(2, "c");
  std::filesystem::create_hard_link(journal(), folder() + "/kept");
  ASSERT_TRUE(store->synchronize());
  store->set(3, "c");
  const std::string current = contentsOf(journal());
  store.reset();
  write(above() + "/other", before);
  std::filesystem::rename(above() + "/other", plist());
  std::filesystem::rename(folder() + "/kept", folder() + "/journal.old");
  write(journal(), current);
  EXPECT_EQ(stored(), (Dictionary{{"a", 1}, {"b", 2}, {"c", 3}}));
  EXPECT_TRUE(open()->synchronize());
  EXPECT_EQ(onDisk(), PropertyList(Dictionary{{"a", 1}, {"b", 2}, {"c", 3}}));
  EXPECT_FALSE(std::filesystem::exists(folder() + "/journal.old"));
}

TEST_F(JournaledUserDefaultsTest, RecognizesTheListThatAKilledCheckpointLeft) {
  const Store store = open();
  store->set(1, "a");
  store->set(1, "b");
  ASSERT_TRUE(store->synchronize());
  store->set(2, "a");
  // Another process puts the journal aside, announces its property list, and is killed.
  const auto header = detail::JournalHeader::from(contentsOf(journal()));
  ASSERT_TRUE(header.has_value());
  const detail::JournalHeader next{.nonce = 12345, .predecessor = header->nonce, .checkpoint = header->checkpoint};
  const std::string announced = detail::JournalRecord::encodedIdentity({.inode = 1, .size = 2, .modified = 3});
  const detail::JournalRecord record{
      .kind = detail::JournalRecord::Kind::checkpoint, .writer = 99, .key = {}, .value = announced};
  std::filesystem::rename(journal(), folder() + "/journal.old");
  write(above() + "/next", next.encoded() + record.encoded(next.nonce));
  std::filesystem::rename(above() + "/next", journal());
  const auto recorder = observe(store);
  store->set(2, "b");
  ASSERT_TRUE(store->synchronize());
  EXPECT_EQ(onDisk(), PropertyList(Dictionary{{"a", 2}, {"b", 2}}));
  EXPECT_EQ(store->dictionaryRepresentation(), (Dictionary{{"a", 2}, {"b", 2}}));
  EXPECT_EQ(recorder->calls().size(), 1u);
  EXPECT_FALSE(std::filesystem::exists(folder() + "/journal.old"));
  EXPECT_EQ(open()->dictionaryRepresentation(), (Dictionary{{"a", 2}, {"b", 2}}));
}

TEST_F(JournaledUserDefaultsTest, ReadsEverythingAgainWhenItHasMissedAJournal) {
  const Store store = open();
  store->set(1, "a");
  store->set(1, "b");
  ASSERT_TRUE(store->synchronize());
  const auto recorder = observe(store);
  // A journal that does not follow the one that this store knows, with another property list.
  const detail::JournalHeader other{.nonce = 12345, .predecessor = 54321, .checkpoint = {}};
  replace({{"a", 2}, {"c", 3}});
  write(above() + "/next", other.encoded());
  std::filesystem::rename(above() + "/next", journal());
  store->set(4, "d");
  EXPECT_TRUE(waitUntil([&] { return recorder->calls().size() == 4; }));
  EXPECT_EQ(store->dictionaryRepresentation(), (Dictionary{{"a", 2}, {"c", 3}, {"d", 4}}));
}

/// Another writer of the journal, which holds its lock from the beginning to `release`.
class OtherWriter {
 public:
  explicit OtherWriter(const std::string& journal)
      : file_(::open(journal.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC)),
        nonce_(detail::JournalHeader::from(contentsOf(journal).substr(0, detail::JournalHeader::size))->nonce) {
    EXPECT_EQ(::flock(file_.get(), LOCK_EX), 0);
  }
  void append(detail::JournalRecord::Kind kind, std::string_view key, std::string_view value) const {
    const std::string record =
        detail::JournalRecord{.kind = kind, .writer = 12345, .key = key, .value = value}.encoded(nonce_);
    EXPECT_EQ(::write(file_.get(), record.data(), record.size()), static_cast<ssize_t>(record.size()));
  }
  void release() const { EXPECT_EQ(::flock(file_.get(), LOCK_UN), 0); }

 private:
  detail::OwnedDescriptor file_;
  std::uint64_t nonce_;
};

TEST_F(JournaledUserDefaultsTest, ReadsEverythingAgainAfterUnknownChanges) {
  const Store store = open();
  store->set("old", "a");
  store->synchronize();
  const auto recorder = observe(store);
  const OtherWriter writer(journal());
  replace({{"a", "new"}});
  writer.append(detail::JournalRecord::Kind::adoptionWithUnknownChanges, "",
                detail::JournalRecord::encodedIdentity(detail::identityAt(plist())));
  writer.release();
  ASSERT_TRUE(waitUntil([&] { return recorder->calls().size() == 1; }));
  EXPECT_EQ(recorder->calls()[0].value, "new");
  EXPECT_EQ(recorder->calls()[0].origin, ChangeOrigin::otherProcess);
}

TEST_F(JournaledUserDefaultsTest, NoticesTheChangeOfAWriterThatWasStopped) {
  const Store store = open();
  store->set("old", "a");
  const auto recorder = observe(store);
  const OtherWriter writer(journal());
  writer.append(detail::JournalRecord::Kind::set, "a",
                PropertyListSerialization::data("new", PropertyListFormat::binary).text());
  clock_.advance(std::chrono::seconds(3));
  EXPECT_TRUE(recorder->calls().empty());
  writer.release();
  ASSERT_TRUE(waitUntil([&] {
    clock_.advance(JournaledUserDefaults::retryDelay);
    return recorder->calls().size() == 1;
  }));
  EXPECT_EQ(recorder->calls()[0].value, "new");
}

TEST_F(JournaledUserDefaultsTest, RemovesTheFilesThatAKilledCheckpointHasLeft) {
  const Store store = open();
  for (const std::string& file : {plist(), journal()}) {
    const std::string abandoned = file + ".new-1";
    const std::string recent = file + ".new-2";
    const std::string notOurs = file + ".new-1.bak";
    for (const std::string& path : {abandoned, recent, notOurs}) write(path, "half");
    for (const std::string& path : {abandoned, notOurs}) {
      std::filesystem::last_write_time(path, std::filesystem::file_time_type::clock::now() - std::chrono::hours(1));
    }
    store->set(file, "a");
    EXPECT_TRUE(store->synchronize());
    EXPECT_FALSE(std::filesystem::exists(abandoned)) << file;
    EXPECT_TRUE(std::filesystem::exists(recent)) << file;
    EXPECT_TRUE(std::filesystem::exists(notOurs)) << file;
  }
}

TEST_F(JournaledUserDefaultsTest, SkipsRecordsThatWereCutShort) {
  const Store store = open();
  store->set(1, "a");
  const std::string record = contentsOf(journal()).substr(64);
  for (std::size_t size = 1; size < record.size(); size += 7) {
    std::ofstream(journal(), std::ios::binary | std::ios::app) << record.substr(0, size);
    store->set(static_cast<int>(size), "b");
    EXPECT_EQ(store->value("b"), static_cast<int>(size));
    EXPECT_EQ(stored(), store->dictionaryRepresentation());
  }
}

TEST_F(JournaledUserDefaultsTest, SetsAsideAFileThatIsNotAJournal) {
  makeFolder();
  write(journal(), "no journal at all, but a text that is longer than the header of a journal is");
  const Store store = open();
  store->set(1, "a");
  EXPECT_EQ(stored(), (Dictionary{{"a", 1}}));
  EXPECT_TRUE(std::filesystem::exists(folder() + "/journal.damaged"));
}

TEST_F(JournaledUserDefaultsTest, DoesNotChangeTheStoreOfALaterVersion) {
  makeFolder();
  replace({{"a", 1}});
  const std::string header = detail::JournalHeader{.version = 2}.encoded();
  write(journal(), header + "what only that version knows");
  const std::string before = contentsOf(journal());
  {
    const Store store = open();
    EXPECT_EQ(store->value("a"), 1);
    store->set(2, "a");
    EXPECT_EQ(store->value("a"), 2);
    EXPECT_EQ(store->status().problem, UserDefaultsProblem::newerVersion);
    EXPECT_FALSE(store->synchronize());
  }
  EXPECT_EQ(contentsOf(journal()), before);
  EXPECT_EQ(onDisk(), PropertyList(Dictionary{{"a", 1}}));
}

TEST_F(JournaledUserDefaultsTest, WritesEverythingAgainWhenItsDirectoryVanishes) {
  const Store store = open();
  store->set(1, "a");
  ASSERT_TRUE(store->synchronize());
  store->set(2, "b");
  std::filesystem::remove_all(folder());
  store->set(3, "c");
  EXPECT_EQ(store->dictionaryRepresentation(), (Dictionary{{"a", 1}, {"b", 2}, {"c", 3}}));
  EXPECT_TRUE(store->synchronize());
  EXPECT_EQ(onDisk(), PropertyList(Dictionary{{"a", 1}, {"b", 2}, {"c", 3}}));
  const Store other = open();
  other->set(4, "d");
  EXPECT_TRUE(waitUntil([&] { return store->value("d").has_value(); }));
}

TEST_F(JournaledUserDefaultsTest, EndsTheWatchThatItCouldOnlyBeginAtItsEnd) {
  for (int round = 0; round < Tests::repetitions(50); ++round) {
    write(above() + "/parent", "in the place of a folder");
    const std::string folder = above() + "/parent/org.example.test";
    Store store = JournaledUserDefaults::open({.folder = folder, .clock = clock_});
    store->set(1, "a");
    std::filesystem::remove(above() + "/parent");
    std::atomic<bool> isOver = false;
    std::jthread touching([&] {
      while (!isOver) write(folder + "/other", "");
    });
    store.reset();
    isOver = true;
    touching.join();
    EXPECT_TRUE(std::filesystem::exists(folder + "/Settings.plist"));
    EXPECT_EQ(JournaledUserDefaults::open({.folder = folder, .clock = clock_})->value("a"), 1);
    std::filesystem::remove_all(above() + "/parent");
  }
}

TEST_F(JournaledUserDefaultsTest, KeepsItsValuesWhenAnotherDirectoryIsPutInPlace) {
  const Store store = open();
  store->set(1, "a");
  store->set(2, "b");
  ASSERT_TRUE(store->synchronize());
  std::filesystem::create_directory(above() + "/new");
  write(above() + "/new/Settings.plist",
        PropertyListSerialization::data(Dictionary{{"b", 3}, {"c", 4}}, PropertyListFormat::xml).text());
  std::filesystem::rename(folder(), above() + "/away");
  std::filesystem::rename(above() + "/new", folder());
  EXPECT_TRUE(store->synchronize());
  EXPECT_EQ(store->dictionaryRepresentation(), (Dictionary{{"a", 1}, {"b", 3}, {"c", 4}}));
  EXPECT_EQ(onDisk(), PropertyList(Dictionary{{"a", 1}, {"b", 3}, {"c", 4}}));
}

TEST_F(JournaledUserDefaultsTest, BringsValuesThatTheNewDirectoryLacks) {
  const Store store = open();
  store->set(1, "a");
  ASSERT_TRUE(store->synchronize());
  store->set(2, "b");
  std::filesystem::rename(folder(), above() + "/away");
  {
    const Store maker = open();
    maker->set(3, "c");
    maker->set(4, "a");
  }
  EXPECT_TRUE(store->synchronize());
  EXPECT_EQ(store->dictionaryRepresentation(), (Dictionary{{"a", 4}, {"b", 2}, {"c", 3}}));
  EXPECT_EQ(onDisk(), PropertyList(Dictionary{{"a", 4}, {"b", 2}, {"c", 3}}));
}

TEST_F(JournaledUserDefaultsTest, RepeatsItsCheckpointWhenItsDirectoryIsMovedAway) {
  Tests::SynchronizedDisk disk;
  const Store store = open();
  const Store other = open();
  store->set(1, "a");
  ASSERT_TRUE(store->synchronize());
  store->set(2, "b");
  disk.setMoment([&, isFirst = true]() mutable {
    if (!std::exchange(isFirst, false)) return;
    std::filesystem::rename(folder(), above() + "/away");
    other->set(3, "c");  // Which makes another folder.
    EXPECT_TRUE(other->synchronize());
  });
  EXPECT_TRUE(store->synchronize());
  disk.setMoment(nullptr);
  EXPECT_EQ(onDisk(), PropertyList(Dictionary{{"a", 1}, {"b", 2}, {"c", 3}}));
}

TEST_F(JournaledUserDefaultsTest, WritesARemovedPropertyListAgain) {
  const Store store = open();
  store->set(1, "a");
  ASSERT_TRUE(store->synchronize());
  std::filesystem::remove(plist());
  EXPECT_TRUE(store->synchronize());
  EXPECT_EQ(onDisk(), PropertyList(Dictionary{{"a", 1}}));
  EXPECT_EQ(store->value("a"), 1);
}

TEST_F(JournaledUserDefaultsTest, ReadsAPropertyListThatComesAndGoes) {
  const Store store = open();
  store->set(1, "a");
  ASSERT_TRUE(store->synchronize());
  std::atomic<bool> isOver = false;
  std::jthread coming([&] {
    for (int i = 0; !isOver; ++i) {
      replace({{"a", 1}, {"b", i}});
      std::filesystem::remove(plist());
    }
  });
  for (int i = 0; i < Tests::repetitions(300); ++i) store->synchronize();
  isOver = true;
  coming.join();
  store->set(2, "c");
  EXPECT_TRUE(store->synchronize());
  EXPECT_EQ(store->value("a"), 1);
  EXPECT_EQ(onDisk(), PropertyList(store->dictionaryRepresentation()));
}

TEST_F(JournaledUserDefaultsTest, LosesNothingWithARemovedJournal) {
  const Store first = open();
  const Store second = open();
  first->set(1, "a");
  ASSERT_TRUE(waitUntil([&] { return second->value("a").has_value(); }));
  std::filesystem::remove(journal());
  second->set(2, "b");
  ASSERT_TRUE(waitUntil([&] { return first->value("b").has_value(); }));
  EXPECT_TRUE(second->synchronize());
  EXPECT_EQ(onDisk(), PropertyList(Dictionary{{"a", 1}, {"b", 2}}));
}

TEST_F(JournaledUserDefaultsTest, ItsFilesAreForTheirOwnerOnly) {
  const mode_t former = ::umask(0);
  {
    const Store store = open();
    store->set(1, "a");
    EXPECT_TRUE(store->synchronize());
  }
  ::umask(former);
  const auto modeOf = [](const std::string& path) { return std::filesystem::status(path).permissions(); };
  EXPECT_EQ(modeOf(std::filesystem::path(plist()).parent_path()), std::filesystem::perms::owner_all);
  for (const std::string& file : {plist(), journal()}) {
    EXPECT_EQ(modeOf(file), std::filesystem::perms::owner_read | std::filesystem::perms::owner_write) << file;
  }
}

TEST_F(JournaledUserDefaultsTest, FollowsSymbolicLinksAndKeepsModes) {
  makeFolder();
  std::filesystem::create_directory(above() + "/elsewhere");
  const std::string target = above() + "/elsewhere/target.plist";
  write(target, PropertyListSerialization::data(Dictionary{{"a", 1}}, PropertyListFormat::binary).text());
  ::chmod(target.c_str(), 0640);
  std::filesystem::create_symlink("../elsewhere/target.plist", plist());
  const Store store = open();
  store->set(2, "b");
  ASSERT_TRUE(store->synchronize());
  EXPECT_TRUE(std::filesystem::is_symlink(plist()));
  struct stat status{};
  ASSERT_EQ(::stat(target.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0640u);
  EXPECT_EQ(onDisk(), PropertyList(Dictionary{{"a", 1}, {"b", 2}}));
  ASSERT_EQ(::stat(journal().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600u);
}

TEST_F(JournaledUserDefaultsTest, FollowsALinkThatLeadsElsewhereNow) {
  makeFolder();
  const auto put = [&](const std::string& directory, int value) {
    std::filesystem::create_directories(above() + directory);
    const auto text = PropertyListSerialization::data(Dictionary{{"a", value}}, PropertyListFormat::binary);
    write(above() + directory + "/new", text.text());
    std::filesystem::rename(above() + directory + "/new", above() + directory + "/target.plist");
  };
  put("/first", 1);
  put("/second", 2);
  std::filesystem::create_symlink("../first/target.plist", plist());
  const Store store = open();
  EXPECT_EQ(store->value("a"), 1);
  std::filesystem::create_symlink("../second/target.plist", plist() + ".new");
  std::filesystem::rename(plist() + ".new", plist());
  EXPECT_TRUE(Tests::waitUntil([&] { return store->value("a") == 2; }));
  put("/second", 3);
  EXPECT_TRUE(Tests::waitUntil([&] { return store->value("a") == 3; }));
}

TEST_F(JournaledUserDefaultsTest, WithoutADirectoryIsInMemoryAndNamesIt) {
  const auto log = std::make_shared<RecordingLogBackend>();
  const LogBackendInstallation installation(log);
  const Store store = JournaledUserDefaults::open({.folder = "", .clock = clock_});
  store->set(1, "a");
  store->set(2, "b");
  EXPECT_EQ(store->value("a"), 1);
  EXPECT_FALSE(store->synchronize());
  EXPECT_EQ(store->status().problem, UserDefaultsProblem::noFolder);
  EXPECT_EQ(store->status().unstoredKeys, 2);
  EXPECT_EQ(log->records().size(), 1u);
}

TEST_F(JournaledUserDefaultsTest, OpenedForReadingLeavesNoTrace) {
  const Store store = openForReading();
  EXPECT_TRUE(store->dictionaryRepresentation().empty());
  EXPECT_FALSE(std::filesystem::exists(folder()));
  EXPECT_FALSE(store->synchronize());
}

TEST_F(JournaledUserDefaultsTest, RefusesAValueThatIsNestedTooDeep) {
  const Store store = open();
  store->set(1, "a");
  PropertyList deep = 1;
  for (int i = 0; i < 10'000; ++i) deep = PropertyList::Array{deep};
  store->set(deep, "a");
  EXPECT_EQ(store->value("a"), 1);
  EXPECT_EQ(store->status().problem, UserDefaultsProblem::valueTooLarge);
  store->set(2, "a");
  EXPECT_EQ(store->status().problem, UserDefaultsProblem::none);
}

TEST_F(JournaledUserDefaultsTest, StoresAValueOfAHundredMegabytes) {
  const PropertyList large(Data(std::string(100'000'000, 'x')));
  {
    const Store store = open();
    store->set(large, "large");
    store->set(1, "small");
    EXPECT_EQ(stored().at("large"), large);
  }
  EXPECT_EQ(stored().at("large"), large);
  EXPECT_EQ(stored().at("small"), 1);
}

TEST_F(JournaledUserDefaultsTest, AWriterThatIsKilledAtOnceHasWritten) {
  // In a child process, because the runtime must not be forked.
  makeFolder();
  const pid_t child = ::fork();
  if (child == 0) {
    const Store store = open();
    store->set("stored", "a");
    ::kill(::getpid(), SIGKILL);
  }
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFSIGNALED(status));
  const Store store = open();
  EXPECT_EQ(store->value("a"), "stored");
  clock_.advance(JournaledUserDefaults::checkpointDelay);
  ASSERT_TRUE(waitUntil([&] { return std::filesystem::exists(plist()); }));
  EXPECT_EQ(onDisk(), PropertyList(Dictionary{{"a", "stored"}}));
}

TEST_F(JournaledUserDefaultsTest, DoesNotAskTheWallClock) {
  // Another time of a file tells it from the former one. The time need not be later.
  const Store store = open();
  store->set(1, "a");
  ASSERT_TRUE(store->synchronize());
  replace({{"a", 2}});
  std::filesystem::last_write_time(plist(),
                                   std::filesystem::file_time_type::clock::now() - std::chrono::hours(24 * 365));
  ASSERT_TRUE(waitUntil([&] { return store->value("a") == 2; }));
  store->set(3, "a");
  ASSERT_TRUE(store->synchronize());
  EXPECT_EQ(onDisk(), PropertyList(Dictionary{{"a", 3}}));
}

TEST_F(JournaledUserDefaultsTest, ItsEndInAForkedChildDoesNotTouchTheParent) {
  Store store = open();
  store->set(1, "a");
  const pid_t child = ::fork();
  if (child == 0) {
    store.reset();
    ::_exit(0);
  }
  int status = -1;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  EXPECT_FALSE(std::filesystem::exists(plist()));
  open()->set(2, "a");
  EXPECT_TRUE(waitUntil([&] { return store->value("a") == 2; }));
}

TEST_F(JournaledUserDefaultsTest, IsStoppedInTheChildOfAForkAfterItsThreadsHaveStarted) {
  const Store store = open();
  store->set(1, "a");
  const pid_t child = ::fork();
  if (child == 0) {
    ::close(2);
    store->set(2, "a");
    ::_exit(0);
  }
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT);
  EXPECT_EQ(stored(), (Dictionary{{"a", 1}}));
}

}  // namespace
}  // namespace Tessaly::inline v1
