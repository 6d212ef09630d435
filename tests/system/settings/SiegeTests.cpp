// SPDX-License-Identifier: MIT
// Writing processes under attack: the journal is shortened, a backup is copied over the store, locks are stuck, the
// disk is full, processes are killed. No acknowledged write may be lost unless a status had named the loss.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "Tessaly/Core/Base/detail/OwnedDescriptor.hpp"
#include "Tessaly/Core/Foundation/Date.hpp"
#include "Tessaly/Core/Foundation/PropertyListSerialization.hpp"
#include "Tessaly/Platform/Linux/JournaledUserDefaults.hpp"
#include "Tessaly/Platform/Linux/SettingsFiles.hpp"
#include "tests/Support/ContentsOf.hpp"
#include "tests/Support/MemoryVolume.hpp"
#include "tests/system/settings/WritingProcess.hpp"

namespace Tessaly::inline v1 {
namespace {

using Clock = std::chrono::steady_clock;
using Tests::WritingProcess;

class SettingsSiege : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!disk_.reason().empty()) GTEST_SKIP() << disk_.reason();
    for (int i = 0; i < 3; ++i) writers_.push_back(std::make_unique<WritingProcess>("BesiegedWriter", folder(), i));
  }
  [[nodiscard]] std::string folder() const { return disk_.path("store"); }
  [[nodiscard]] std::string journal() const { return folder() + "/journal"; }

  void watchFor(std::chrono::microseconds time) {
    for (const auto end = Clock::now() + time; Clock::now() < end; ::poll(nullptr, 0, 1)) {
      for (const auto& writer : writers_) writer->read();
    }
  }
  /// Until each other process has written so many times from now on, and everything that it has written is stored.
  bool isSettled(const WritingProcess* except, std::int64_t writes = 2) {
    watchFor(std::chrono::milliseconds(1));
    std::map<const WritingProcess*, std::int64_t> before;
    for (const auto& writer : writers_) before[writer.get()] = writer->reports();
    const auto end = Clock::now() + std::chrono::seconds(60);
    while (Clock::now() < end) {
      const auto isDone = [&](const auto& writer) {
        return writer.get() == except || (writer->reports() >= before[writer.get()] + writes && !writer->hasUnstored());
      };
      if (std::ranges::all_of(writers_, isDone)) return true;
      watchFor(std::chrono::milliseconds(1));
    }
    return false;
  }
  /// Values that an attack has brought back stay until they are written again: those of a copied list win over newer
  /// ones by the rules, and others were named. Waits until a checkpoint has replaced the list, and each process has
  /// written its ten keys.
  bool isAttackOver() {
    const auto end = Clock::now() + std::chrono::seconds(60);
    while (detail::identityAt(folder() + "/Settings.plist").inode == copiedList_) {
      if (Clock::now() > end) return false;
      watchFor(std::chrono::milliseconds(5));
    }
    // One write may be under way now.
    return isSettled(nullptr, 11);
  }
  PropertyList::Dictionary values() {
    const auto reader =
        JournaledUserDefaults::open({.folder = folder(), .opening = JournaledUserDefaults::Opening::forReading});
    for (const auto& incident : reader->status().problems) {
      if (incident.effect != UserDefaultsEffect::mayBeLost) continue;
      lossTold_ = std::max(lossTold_, incident.time.timeIntervalSinceReferenceDate());
    }
    return reader->dictionaryRepresentation();
  }
  [[nodiscard]] double lossTold() const {
    double latest = lossTold_;
    for (const auto& writer : writers_) latest = std::max(latest, writer->lossTold());
    return latest;
  }

  void shorten() {
    std::error_code error;
    const auto size = std::filesystem::file_size(journal(), error);
    if (!error) std::filesystem::resize_file(journal(), random_() % (size + 1), error);
  }
  void copyFiles(const std::string& from, const std::string& to) {
    std::error_code error;
    std::filesystem::create_directories(to, error);
    for (const auto& entry : std::filesystem::directory_iterator(from, error)) {
      if (!entry.is_regular_file(error)) continue;
      const std::string bytes = Tests::contentsOf(entry.path().string());
      std::ofstream(to + "/" + entry.path().filename().string(), std::ios::binary | std::ios::trunc) << bytes;
    }
  }
  /// Their number has a limit, and the disk is small.
  void removeFilesThatWereSetAside() {
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(folder(), error)) {
      if (entry.path().filename().string().find(".damaged") != std::string::npos) {
        std::filesystem::remove(entry.path(), error);
      }
    }
  }
  static PropertyList::Dictionary listIn(const std::string& directory) {
    const std::string bytes = Tests::contentsOf(directory + "/Settings.plist");
    const Data data{std::string_view(bytes)};
    try {
      const PropertyList list = PropertyListSerialization::read(data.bytes()).value;
      return list.dictionary() != nullptr ? *list.dictionary() : PropertyList::Dictionary();
    } catch (const PropertyListError&) {
      return {};  // It was copied while it was replaced.
    }
  }
  void holdLock(std::chrono::milliseconds time) {
    const detail::OwnedDescriptor file(::open(journal().c_str(), O_RDONLY | O_CLOEXEC));
    if (file.isOpen() && ::flock(file.get(), LOCK_EX | LOCK_NB) == 0) watchFor(time);
  }
  void fillDisk(std::chrono::milliseconds time) {
    EXPECT_TRUE(disk_.fill("filler"));
    watchFor(time);
    std::filesystem::remove(disk_.path("filler"));
  }
  void attack(std::string_view kind) {
    const bool isLong = random_() % 8 == 0;
    if (kind == "shortened journal") shorten();
    if (kind == "backup") {
      if (std::filesystem::exists(disk_.path("backup"))) {
        copyFiles(disk_.path("backup"), folder());
        copied_ = listIn(disk_.path("backup"));
        copiedList_ = detail::identityAt(folder() + "/Settings.plist").inode;
      }
      if (random_() % 2 == 0) copyFiles(folder(), disk_.path("backup"));
    }
    if (kind == "stuck lock") holdLock(std::chrono::milliseconds(isLong ? 3000 : random_() % 500));
    if (kind == "full disk") fillDisk(std::chrono::milliseconds(isLong ? 1500 : random_() % 300));
    if (kind == "removed journal") std::filesystem::remove(journal());
  }

  /// Attacks, kills one process, and looks for its writes.
  void round(std::string_view kind, std::map<std::string, int>& outcomes) {
    const double start = Date::now().timeIntervalSinceReferenceDate();
    copied_.clear();
    attack(kind);
    WritingProcess& victim = *writers_[random_() % writers_.size()];
    // Records that were cut off leave no witness if the only process that knew them is killed at once.
    const bool needsWitness = kind == "shortened journal" || kind == "backup";
    ASSERT_TRUE(!needsWitness || isSettled(nullptr)) << kind;
    if (random_() % 2 == 0) watchFor(std::chrono::microseconds(random_() % 20'000));
    victim.kill();
    ASSERT_TRUE(isSettled(&victim)) << kind;
    std::string missing = victim.missing(values(), copied_);
    if (missing.empty()) {
      ++outcomes[std::string(kind) + ": kept"];
    } else if (lossTold() >= start) {
      ++outcomes[std::string(kind) + ": named"];
    } else {
      ADD_FAILURE() << kind << ": " << missing << ", and no status named it (seed " << seed_ << ")";
    }
    removeFilesThatWereSetAside();
    victim.start();
    ASSERT_TRUE(isAttackOver()) << kind;
  }

  std::vector<std::unique_ptr<WritingProcess>> writers_;
  const unsigned seed_ = std::random_device()();
  std::mt19937 random_{seed_};

 private:
  Tests::MemoryVolume disk_{"4m"};
  double lossTold_ = -1e300;
  std::uint64_t copiedList_ = UINT64_MAX;
  /// The list that the attack has copied over the present one. By the rules for other programs its values win.
  PropertyList::Dictionary copied_;
};

TEST_F(SettingsSiege, LosesNoWriteWithoutNamingIt) {
  const char* const given = std::getenv("TESSALY_SIEGE_SECONDS");
  int seconds = std::getenv("TESSALY_STRESS") != nullptr ? 1200 : 5;
  if (given != nullptr) std::from_chars(given, given + std::strlen(given), seconds);
  constexpr std::array<std::string_view, 6> kinds{"none",       "shortened journal", "backup",
                                                  "stuck lock", "full disk",         "removed journal"};
  std::map<std::string, int> outcomes;
  int rounds = 0;
  ASSERT_TRUE(isSettled(nullptr));
  for (const auto end = Clock::now() + std::chrono::seconds(seconds); Clock::now() < end && !HasFailure(); ++rounds) {
    round(kinds[static_cast<std::size_t>(rounds) % kinds.size()], outcomes);
  }
  std::int64_t writes = 0;
  std::int64_t longestWait = 0;
  for (const auto& writer : writers_) {
    writer->kill();
    writes += writer->reports();
    longestWait = std::max(longestWait, writer->longestWait());
  }
  // Between two attempts a call sleeps, and a loaded machine wakes it late.
  EXPECT_LE(longestWait, std::int64_t{2'100'000'000});
  std::cout << rounds << " rounds, each an attack and a kill, " << writes << " calls, the longest waited "
            << longestWait / 1'000'000 << " ms\n";
  for (const auto& [outcome, count] : outcomes) std::cout << "  " << outcome << " " << count << '\n';
}

}  // namespace
}  // namespace Tessaly::inline v1
