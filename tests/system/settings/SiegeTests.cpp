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
#include <optional>
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
#include "tests/system/settings/SiegeReport.hpp"

namespace Tessaly::inline v1 {
namespace {

using Clock = std::chrono::steady_clock;
using Tests::SiegeReport;

/// One writing process, and what it has reported.
class Besieged {
 public:
  Besieged(std::string folder, int index) : folder_(std::move(folder)), name_("w" + std::to_string(index)) { start(); }
  Besieged(const Besieged&) = delete;
  Besieged& operator=(const Besieged&) = delete;
  ~Besieged() { kill(); }

  void start() {
    std::array<int, 2> ends{};
    ASSERT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
    const std::string program = std::string(std::getenv("TESSALY_TEST_PROGRAMS")) + "/BesiegedWriter";
    const std::string first = std::to_string(acknowledged_ + 1);
    child_ = ::fork();
    if (child_ == 0) {
      ::dup2(ends[1], 1);
      ::execl(program.c_str(), program.c_str(), folder_.c_str(), name_.c_str(), first.c_str(), nullptr);
      ::_exit(127);
    }
    ::close(ends[1]);
    output_ = detail::OwnedDescriptor(ends[0]);
    ::fcntl(output_.get(), F_SETFL, O_NONBLOCK);
  }

  void kill() {
    if (child_ <= 0) return;
    ::kill(child_, SIGKILL);
    int status = 0;
    ::waitpid(child_, &status, 0);
    EXPECT_TRUE(WIFSIGNALED(status)) << name_ << " ended by itself with " << status;
    child_ = 0;
    read();
    output_ = {};
    pending_.clear();
  }

  void read() {
    std::array<char, 65536> block;
    for (ssize_t size = 1; size > 0;) {
      size = ::read(output_.get(), block.data(), block.size());
      if (size > 0) pending_.append(block.data(), static_cast<std::size_t>(size));
    }
    std::size_t at = 0;
    for (; at + sizeof(SiegeReport) <= pending_.size(); at += sizeof(SiegeReport)) {
      SiegeReport report;
      std::memcpy(&report, pending_.data() + at, sizeof(report));
      ++reports;
      longestWait = std::max(longestWait, report.waited);
      lossTold = std::max(lossTold, report.lossTold);
      hasUnstored = report.unstored > 0;
      if (report.number == 0) continue;
      acknowledged_ = report.number;
      if (!hasUnstored) stored_ = report.number;
    }
    pending_.erase(0, at);
  }

  /// The last numbers that no status named as unstored, which are missing; empty if none is. Those that a copied list
  /// has instead are not missing. Fails for a value that was never written.
  std::string missing(const PropertyList::Dictionary& values,
                      const std::optional<PropertyList::Dictionary>& copied) const {
    for (std::int64_t number = std::max<std::int64_t>(1, stored_ - 9); number <= stored_; ++number) {
      const auto found = values.find(name_ + "." + std::to_string(number % 10));
      if (copied && valueIn(values, number) == valueIn(*copied, number)) continue;
      if (found == values.end()) return name_ + " has lost the key of " + std::to_string(number);
      const std::int64_t value = found->second.number().value().integerValue();
      EXPECT_LE(value, acknowledged_ + 10) << name_;
      EXPECT_EQ(value % 10, number % 10) << name_;
      if (value < number) return name_ + " reads " + std::to_string(value) + " for " + std::to_string(number);
    }
    return {};
  }

  [[nodiscard]] std::optional<PropertyList> valueIn(const PropertyList::Dictionary& values, std::int64_t number) const {
    const auto found = values.find(name_ + "." + std::to_string(number % 10));
    return found == values.end() ? std::nullopt : std::optional(found->second);
  }

  std::int64_t reports = 0;
  std::int64_t longestWait = 0;
  double lossTold = -1e300;
  bool hasUnstored = false;

 private:
  std::string folder_;
  std::string name_;
  pid_t child_ = 0;
  detail::OwnedDescriptor output_;
  std::string pending_;
  std::int64_t acknowledged_ = 0;
  std::int64_t stored_ = 0;
};

class SettingsSiege : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!disk_.reason().empty()) GTEST_SKIP() << disk_.reason();
    for (int i = 0; i < 3; ++i) writers_.push_back(std::make_unique<Besieged>(folder(), i));
  }
  [[nodiscard]] std::string folder() const { return disk_.path("store"); }
  [[nodiscard]] std::string journal() const { return folder() + "/journal"; }

  void watchFor(std::chrono::microseconds time) {
    for (const auto end = Clock::now() + time; Clock::now() < end; ::poll(nullptr, 0, 1)) {
      for (const auto& writer : writers_) writer->read();
    }
  }
  /// Until each other process has written twice since, and everything that it has written is stored.
  bool isSettled(const Besieged* except) {
    std::map<const Besieged*, std::int64_t> before;
    for (const auto& writer : writers_) before[writer.get()] = writer->reports;
    const auto end = Clock::now() + std::chrono::seconds(60);
    while (Clock::now() < end) {
      watchFor(std::chrono::milliseconds(1));
      const auto isDone = [&](const auto& writer) {
        return writer.get() == except || (writer->reports >= before[writer.get()] + 2 && !writer->hasUnstored);
      };
      if (std::ranges::all_of(writers_, isDone)) return true;
    }
    return false;
  }
  /// The values of a copied property list win over newer ones, whenever a process adopts them. Waits until a checkpoint
  /// has replaced that list.
  bool isListReplaced() {
    const auto end = Clock::now() + std::chrono::seconds(60);
    while (detail::identityAt(folder() + "/Settings.plist").inode == copiedList_) {
      if (Clock::now() > end) return false;
      watchFor(std::chrono::milliseconds(5));
    }
    return true;
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
    for (const auto& writer : writers_) latest = std::max(latest, writer->lossTold);
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
    copied_.reset();
    attack(kind);
    Besieged& victim = *writers_[random_() % writers_.size()];
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
      ADD_FAILURE() << kind << ": " << missing << ", and no status named it";
    }
    removeFilesThatWereSetAside();
    victim.start();
    ASSERT_TRUE(isSettled(nullptr) && isListReplaced()) << kind;
  }

  std::vector<std::unique_ptr<Besieged>> writers_;
  std::mt19937 random_{std::random_device()()};

 private:
  Tests::MemoryVolume disk_{"4m"};
  double lossTold_ = -1e300;
  std::uint64_t copiedList_ = UINT64_MAX;
  /// The list that the attack has copied over the present one. By the rules for other programs its values win.
  std::optional<PropertyList::Dictionary> copied_;
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
    writes += writer->reports;
    longestWait = std::max(longestWait, writer->longestWait);
  }
  // Between two attempts a call sleeps, and a loaded machine wakes it late.
  EXPECT_LE(longestWait, std::int64_t{2'100'000'000});
  std::cout << rounds << " rounds, " << writes << " calls, the longest waited " << longestWait / 1'000'000 << " ms\n";
  for (const auto& [outcome, count] : outcomes) std::cout << "  " << outcome << " " << count << '\n';
}

}  // namespace
}  // namespace Tessaly::inline v1
