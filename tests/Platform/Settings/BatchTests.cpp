// SPDX-License-Identifier: MIT
// Several changes as one record of the journal.
#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "Tessaly/Platform/Settings/detail/SettingsJournal.hpp"
#include "Tessaly/Platform/Testing/InMemoryUserDefaults.hpp"
#include "tests/Platform/Settings/FaultyFileSystem.hpp"
#include "tests/Platform/Settings/StoreFixture.hpp"
#include "tests/Support/WaitUntil.hpp"

namespace Tessaly::inline v1 {
namespace {

using detail::JournalContents;
using detail::JournalReader;
using detail::JournalRecord;
using Tests::contentsOf;
using Tests::waitUntil;

/// Calls a function for each change, with the key.
class Listener final : public KeyValueObserver {
 public:
  explicit Listener(std::function<void(std::string)> changed) : changed_(std::move(changed)) {}
  void observeValue(std::optional<std::string_view> key, const Object*, const std::optional<KeyValueChange>&,
                    void*) override {
    changed_(std::string(*key));
  }

 private:
  std::function<void(std::string)> changed_;
};

class Batch : public Tests::StoreFixture {
 protected:
  std::vector<JournalRecord::Kind> kindsInJournal() {
    const std::string bytes = contentsOf(journal());
    const auto contents = JournalContents::from(bytes);
    JournalReader reader(contents->records, contents->header.nonce);
    std::vector<JournalRecord::Kind> kinds;
    while (const auto record = reader.next()) kinds.push_back(record->kind);
    return kinds;
  }
};

TEST_F(Batch, IsOneRecordOfTheJournal) {
  const Store store = open();
  store->set(1, "a");
  store->setValuesForKeys({{"a", std::nullopt}, {"b", 2}, {"c", "text"}});
  EXPECT_EQ(kindsInJournal(), (std::vector{JournalRecord::Kind::set, JournalRecord::Kind::batch}));
  const Dictionary expected{{"b", 2}, {"c", "text"}};
  EXPECT_EQ(store->dictionaryRepresentation(), expected);
  EXPECT_EQ(stored(), expected);
  EXPECT_TRUE(store->synchronize());
  EXPECT_EQ(onDisk(), PropertyList(expected));
}

TEST_F(Batch, LeavesOutChangesThatChangeNothing) {
  const Store store = open();
  store->setValuesForKeys({{"a", 1}, {"b", 2}});
  const auto size = std::filesystem::file_size(journal());
  store->setValuesForKeys({{"a", 1}, {"b", 2}, {"c", std::nullopt}});
  store->setValuesForKeys({});
  EXPECT_EQ(std::filesystem::file_size(journal()), size);
  store->setValuesForKeys({{"a", 1}, {"b", 3}});
  EXPECT_EQ(kindsInJournal(), (std::vector{JournalRecord::Kind::batch, JournalRecord::Kind::set}));
}

TEST_F(Batch, CutRecordChangesNothing) {
  {
    const Store store = open();
    store->setValuesForKeys({{"a", 1}, {"b", 2}});
    const auto before = std::filesystem::file_size(journal());
    store->setValuesForKeys({{"a", 3}, {"b", 4}});
    std::filesystem::copy(folder(), above() + "/whole");
    const auto whole = std::filesystem::file_size(journal());
    for (auto size = before; size < whole; ++size) {
      std::filesystem::remove_all(above() + "/cut");
      std::filesystem::copy(above() + "/whole", above() + "/cut");
      std::filesystem::resize_file(above() + "/cut/journal", size);
      const auto cut = JournaledUserDefaults::open({.folder = above() + "/cut", .clock = clock_});
      EXPECT_EQ(cut->dictionaryRepresentation(), (Dictionary{{"a", 1}, {"b", 2}})) << size;
    }
  }
  EXPECT_EQ(stored(), (Dictionary{{"a", 3}, {"b", 4}}));
}

TEST_F(Batch, ObserversAreCalledAfterAllChanges) {
  const Store store = open();
  store->set(5, "same");
  std::vector<std::string> changed;
  const auto listener = std::make_shared<Listener>([&](const std::string& key) {
    changed.push_back(key);
    EXPECT_EQ(store->value("a"), 1);
    EXPECT_EQ(store->value("z"), 26);
  });
  store->addObserverOfEveryKey(listener, KeyValueObservingOptions::newValue, nullptr);
  store->setValuesForKeys({{"a", 1}, {"absent", std::nullopt}, {"same", 5.0}, {"z", 26}});
  EXPECT_EQ(changed, (std::vector<std::string>{"a", "z"}));
}

TEST_F(Batch, ObserversOfAnotherProcessSeeAllChanges) {
  const Store writer = open();
  const Store reader = open();
  constexpr int keys = 500;
  std::atomic<int> calls{0};
  std::atomic<int> early{0};
  const auto listener = std::make_shared<Listener>([&](const std::string&) {
    for (int i = 0; i < keys; ++i) early += reader->value("key" + std::to_string(i)) == i ? 0 : 1;
    ++calls;
  });
  reader->addObserverOfEveryKey(listener, KeyValueObservingOptions::none, nullptr);
  UserDefaults::KeyedValues values;
  for (int i = 0; i < keys; ++i) values.emplace("key" + std::to_string(i), i);
  writer->setValuesForKeys(values);
  EXPECT_TRUE(waitUntil([&] { return calls == keys; }));
  EXPECT_EQ(early, 0);
}

TEST_F(Batch, IsRefusedAsAWholeForOneImpossibleValue) {
  PropertyList deep = 1;
  for (std::uint32_t i = 0; i <= PropertyList::maximumDepth; ++i) deep = PropertyList::Array{deep};
  const auto memory = InMemoryUserDefaults::make();
  for (const std::shared_ptr<UserDefaults>& store : {std::shared_ptr<UserDefaults>(open()), {memory}}) {
    store->set(1, "a");
    store->setValuesForKeys({{"a", 2}, {"b", deep}});
    EXPECT_EQ(store->dictionaryRepresentation(), (Dictionary{{"a", 1}}));
    EXPECT_EQ(store->status().problem, UserDefaultsProblem::valueTooLarge);
  }
}

TEST_F(Batch, StaysWholeWhenItIsStoredLater) {
  std::atomic<bool> isFull = false;
  Tests::FaultyFileSystem files([&](auto call, const std::string&) -> Tests::FaultyFileSystem::Fate {
    return {.errorCode = isFull && call == Tests::FaultyFileSystem::Call::write ? ENOSPC : 0};
  });
  const Store store = open(files.system());
  store->set(0, "first");
  isFull = true;
  store->setValuesForKeys({{"a", 1}, {"b", 2}});
  EXPECT_EQ(store->status().unstoredKeys, 2);
  EXPECT_EQ(store->value("b"), 2);
  EXPECT_EQ(stored(), (Dictionary{{"first", 0}}));
  isFull = false;
  store->set(3, "c");
  EXPECT_EQ(store->status().problem, UserDefaultsProblem::none);
  using Kind = JournalRecord::Kind;
  EXPECT_EQ(kindsInJournal(), (std::vector{Kind::set, Kind::set, Kind::batch}));
  EXPECT_EQ(stored(), (Dictionary{{"a", 1}, {"b", 2}, {"c", 3}, {"first", 0}}));
}

TEST_F(Batch, IllFormedKeysAreReplaced) {
  const Store store = open();
  const auto memory = InMemoryUserDefaults::make();
  for (UserDefaults* const each : {static_cast<UserDefaults*>(store.get()), static_cast<UserDefaults*>(memory.get())}) {
    each->setValuesForKeys({{"key\xFF", 1}, {"plain", 2}});
    EXPECT_EQ(each->dictionaryRepresentation(), (Dictionary{{"key\uFFFD", 1}, {"plain", 2}}));
    EXPECT_EQ(each->value("key\xFF"), 1);
  }
}

TEST_F(Batch, RestoredJournalKeepsItForEveryProcess) {
  const Store first = open();
  const Store second = open();
  first->setValuesForKeys({{"a", 1}, {"b", 2}});
  EXPECT_EQ(second->synchronize(), true);
  first->setValuesForKeys({{"a", 3}, {"b", 4}});
  std::filesystem::resize_file(journal(), 0);
  first->set(5, "c");
  EXPECT_TRUE(waitUntil([&] {
    clock_.advance(JournaledUserDefaults::retryDelay);
    return second->dictionaryRepresentation() == Dictionary{{"a", 3}, {"b", 4}, {"c", 5}};
  }));
}

TEST(InMemoryBatch, ObserversAreCalledAfterAllChanges) {
  const auto store = InMemoryUserDefaults::make();
  std::vector<std::string> changed;
  const auto listener = std::make_shared<Listener>([&](const std::string& key) {
    changed.push_back(key);
    EXPECT_EQ(store->value("z"), 26);
  });
  store->addObserverOfEveryKey(listener, KeyValueObservingOptions::none, nullptr);
  store->setValuesForKeys({{"a", 1}, {"absent", std::nullopt}, {"z", 26}});
  EXPECT_EQ(changed, (std::vector<std::string>{"a", "z"}));
}

}  // namespace
}  // namespace Tessaly::inline v1
