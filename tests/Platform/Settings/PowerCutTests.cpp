// SPDX-License-Identifier: MIT
// A store after a power cut, with the guarantees of POSIX only: a file has the contents, and a directory the entries,
// of its last synchronization.
#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <string>

#include "Tessaly/Platform/Linux/JournaledUserDefaults.hpp"
#include "tests/Platform/Settings/FaultyFileSystem.hpp"
#include "tests/Platform/Settings/SynchronizedDisk.hpp"
#include "tests/Support/LastingClock.hpp"
#include "tests/Support/TemporaryFolder.hpp"

namespace Tessaly::inline v1 {
namespace {

class PowerCut : public ::testing::TestWithParam<bool> {
 protected:
  /// The directory that is left after a power cut now.
  std::string cut() {
    using Entries = Tests::SynchronizedDisk::PowerCut::Entries;
    const std::string left = folder_.path() + "/left" + std::to_string(++cuts_);
    disk_.restore(folder(), left, {.entries = GetParam() ? Entries::latest : Entries::synchronized});
    return left;
  }
  PropertyList::Dictionary valuesAfterIt() {
    return JournaledUserDefaults::open({.folder = cut(), .clock = Tests::lastingClock()})->dictionaryRepresentation();
  }
  [[nodiscard]] std::string folder() const { return folder_.path() + "/org.example.test"; }

  Tests::SynchronizedDisk disk_;

 private:
  Tests::TemporaryFolder folder_;
  int cuts_ = 0;
};

TEST_P(PowerCut, TakesNothingThatWasSynchronized) {
  const auto store = JournaledUserDefaults::open({.folder = folder(), .clock = Tests::lastingClock()});
  for (int i = 0; i < 20; ++i) {
    store->set(i, "a");
    store->set(std::string(100, 'x') + std::to_string(i), "text" + std::to_string(i % 7));
    if (i % 3 == 0) store->removeObject("text" + std::to_string(i % 5));
    const PropertyList::Dictionary expected = store->dictionaryRepresentation();
    ASSERT_TRUE(store->synchronize());
    EXPECT_EQ(valuesAfterIt(), expected) << i;
    store->set(-i, "later");
    for (const auto& [key, value] : valuesAfterIt()) {
      if (key != "later") EXPECT_EQ(expected.at(key), value) << key;
    }
    store->removeObject("later");
  }
}

TEST_P(PowerCut, AmidACheckpointTakesNothingThatWasSynchronizedBefore) {
  const auto store = JournaledUserDefaults::open({.folder = folder(), .clock = Tests::lastingClock()});
  PropertyList::Dictionary synchronized;
  PropertyList::Dictionary latest;
  int moments = 0;
  disk_.setMoment([&] {
    ++moments;
    const PropertyList::Dictionary left = valuesAfterIt();
    EXPECT_TRUE(left == synchronized || left == latest) << moments;
  });
  for (int i = 0; i < 20; ++i) {
    store->set(i, "a");
    if (i % 2 == 0)
      store->removeObject("b");
    else
      store->set(i, "b");
    latest = store->dictionaryRepresentation();
    ASSERT_TRUE(store->synchronize());
    synchronized = latest;
  }
  disk_.setMoment(nullptr);
  EXPECT_GE(moments, 40);
}

TEST_P(PowerCut, TakesNothingThatAnotherStoreHasSynchronized) {
  const auto first = JournaledUserDefaults::open({.folder = folder(), .clock = Tests::lastingClock()});
  const auto second = JournaledUserDefaults::open({.folder = folder(), .clock = Tests::lastingClock()});
  for (int i = 0; i < 20; ++i) {
    const auto& writer = i % 2 == 0 ? first : second;
    const auto& other = i % 2 == 0 ? second : first;
    writer->set(i, "key" + std::to_string(i % 5));
    ASSERT_TRUE(other->synchronize());
    EXPECT_EQ(valuesAfterIt(), other->dictionaryRepresentation()) << i;
    ASSERT_TRUE(writer->synchronize());
    EXPECT_EQ(valuesAfterIt(), writer->dictionaryRepresentation()) << i;
  }
}

TEST_P(PowerCut, FindsNoOldJournalAfterASynchronization) {
  const auto store = JournaledUserDefaults::open({.folder = folder(), .clock = Tests::lastingClock()});
  for (int i = 0; i < 3; ++i) {
    store->set(i, "a");
    ASSERT_TRUE(store->synchronize());
    // A power cut may take the end of an unsynchronized file. The beginning would then replace later values.
    const std::string left = cut();
    EXPECT_TRUE(std::filesystem::exists(left + "/Settings.plist"));
    EXPECT_FALSE(std::filesystem::exists(left + "/journal.old"));
  }
}

TEST_P(PowerCut, SynchronizationRepeatsTheWaitOfAFailedOne) {
  const auto other = JournaledUserDefaults::open({.folder = folder(), .clock = Tests::lastingClock()});
  int synchronizations = 0;
  // The first one is of the property list, the next ones are of its directory and of the journal.
  Tests::FaultyFileSystem files([&](Tests::FaultyFileSystem::Call call, const std::string&) {
    const bool fails = call == Tests::FaultyFileSystem::Call::synchronize && ++synchronizations > 1;
    return Tests::FaultyFileSystem::Fate{.errorCode = fails ? EIO : 0};
  });
  const auto failing =
      JournaledUserDefaults::open({.folder = folder(), .clock = Tests::lastingClock(), .fileSystem = files.system()});
  failing->set(1, "a");
  EXPECT_FALSE(failing->synchronize());
  EXPECT_EQ(synchronizations, 3);
  ASSERT_TRUE(other->synchronize());
  EXPECT_EQ(valuesAfterIt(), other->dictionaryRepresentation());
  EXPECT_EQ(other->value("a"), PropertyList(1));
}

INSTANTIATE_TEST_SUITE_P(, PowerCut, ::testing::Bool(), [](const auto& latest) {
  return latest.param ? "WithTheLatestEntries" : "WithTheEntriesThatWereKept";
});

}  // namespace
}  // namespace Tessaly::inline v1
