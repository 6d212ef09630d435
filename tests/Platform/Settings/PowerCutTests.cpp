// SPDX-License-Identifier: MIT
// What is left of a store after a power cut, as POSIX has it: of a file what it held when it was synchronised last, of
// a folder the entries that it had then.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <string>
#include <utility>

#include "Tessaly/Platform/Linux/JournaledUserDefaults.hpp"
#include "tests/Support/ContentsOf.hpp"
#include "tests/Support/LastingClock.hpp"
#include "tests/Support/TemporaryFolder.hpp"

namespace Tessaly::inline v1 {
namespace {

/// What a disk holds that loses everything but what it was told to keep. There is one at a time, while it is in use.
class Disk {
 public:
  Disk() { current() = this; }
  ~Disk() { current() = nullptr; }
  Disk(const Disk&) = delete;
  Disk& operator=(const Disk&) = delete;

  static std::atomic<Disk*>& current() {
    static constinit std::atomic<Disk*> disk = nullptr;
    return disk;
  }

  /// Called each time before something is kept, but for what is kept meanwhile.
  void setMoment(std::function<void()> moment) { moment_ = std::move(moment); }

  void keep(int descriptor) {
    if (const auto moment = std::exchange(moment_, nullptr)) {
      moment();
      moment_ = moment;
    }
    struct stat status{};
    ASSERT_EQ(::fstat(descriptor, &status), 0);
    const std::string path = std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(descriptor)).string();
    const UnfairLock::Guard guard(lock_);
    if (S_ISDIR(status.st_mode)) {
      entries_[path] = inodesIn(path);
    } else {
      contents_[status.st_ino] = Tests::contentsOf(path);
    }
  }

  /// Makes a folder of what is left of another. Entries that were not kept may have come to the disk or not.
  void restore(const std::string& from, const std::string& to, bool hasLatestEntries) {
    const UnfairLock::Guard guard(lock_);
    std::filesystem::create_directories(to);
    for (const auto& [name, inode] : hasLatestEntries ? inodesIn(from) : entries_[from]) {
      std::ofstream(to + "/" + name, std::ios::binary) << contents_[inode];
    }
  }

 private:
  using Entries = std::map<std::string, ino_t>;

  static Entries inodesIn(const std::string& path) {
    Entries entries;
    for (const auto& entry : std::filesystem::directory_iterator(path)) {
      struct stat status{};
      if (::lstat(entry.path().c_str(), &status) == 0) entries[entry.path().filename().string()] = status.st_ino;
    }
    return entries;
  }

  std::function<void()> moment_;
  UnfairLock lock_;
  std::map<ino_t, std::string> contents_ TESSALY_GUARDED_BY(lock_);
  std::map<std::string, Entries> entries_ TESSALY_GUARDED_BY(lock_);
};

class PowerCut : public ::testing::TestWithParam<bool> {
 protected:
  PropertyList::Dictionary valuesAfterIt() {
    const std::string left = folder_.path() + "/left" + std::to_string(++cuts_);
    disk_.restore(folder(), left, GetParam());
    return JournaledUserDefaults::open({.folder = left, .clock = Tests::lastingClock()})->dictionaryRepresentation();
  }
  [[nodiscard]] std::string folder() const { return folder_.path() + "/org.example.test"; }

  Disk disk_;

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

INSTANTIATE_TEST_SUITE_P(, PowerCut, ::testing::Bool(), [](const auto& latest) {
  return latest.param ? "WithTheLatestEntries" : "WithTheEntriesThatWereKept";
});

}  // namespace
}  // namespace Tessaly::inline v1

// In the place of those of the C library.
extern "C" {

int fsync(int descriptor) {
  if (Tessaly::Disk* const disk = Tessaly::Disk::current()) disk->keep(descriptor);
  return static_cast<int>(::syscall(SYS_fsync, descriptor));
}

int fdatasync(int descriptor) {
  if (Tessaly::Disk* const disk = Tessaly::Disk::current()) disk->keep(descriptor);
  return static_cast<int>(::syscall(SYS_fdatasync, descriptor));
}
}
