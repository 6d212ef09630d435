// SPDX-License-Identifier: MIT
// Processes that write are killed at random moments: whatever they were told is stored must be there.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "Tessaly/Core/Foundation/PropertyListSerialization.hpp"
#include "Tessaly/Platform/Linux/JournaledUserDefaults.hpp"
#include "Tessaly/Platform/Linux/SettingsFiles.hpp"
#include "tests/Support/TemporaryFolder.hpp"

namespace Tessaly::inline v1 {
namespace {

constexpr int writers = 4;

/// A writing process, and the numbers that it reported as stored.
class Writer {
 public:
  Writer(std::string folder, int index) : folder_(std::move(folder)), name_("w" + std::to_string(index)) {}
  Writer(const Writer&) = delete;
  Writer& operator=(const Writer&) = delete;
  ~Writer() { kill(); }

  void start() {
    std::array<int, 2> ends{};
    ASSERT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
    const std::string program = std::string(std::getenv("TESSALY_TEST_PROGRAMS")) + "/SettingsWriter";
    const std::string first = std::to_string(acknowledged_ + 1);
    child_ = ::fork();
    if (child_ == 0) {
      ::dup2(ends[1], 1);
      ::execl(program.c_str(), program.c_str(), folder_.c_str(), name_.c_str(), first.c_str(), nullptr);
      ::_exit(127);
    }
    ::close(ends[1]);
    output_ = ends[0];
    ::fcntl(output_, F_SETFL, O_NONBLOCK);
  }

  void kill() {
    if (child_ <= 0) return;
    ::kill(child_, SIGKILL);
    int status = 0;
    ::waitpid(child_, &status, 0);
    EXPECT_TRUE(WIFSIGNALED(status)) << name_ << " ended by itself with " << status;
    child_ = 0;
    read();
    ::close(output_);
    pending_.clear();
  }

  void read() {
    std::array<char, 65536> block;
    for (;;) {
      const ssize_t size = ::read(output_, block.data(), block.size());
      if (size <= 0) break;
      pending_.append(block.data(), static_cast<std::size_t>(size));
    }
    for (; pending_.size() >= sizeof(acknowledged_); pending_.erase(0, sizeof(acknowledged_))) {
      std::memcpy(&acknowledged_, pending_.data(), sizeof(acknowledged_));
      ++count_;
    }
  }

  /// Each reported number, or a later one, must be under its key. Later numbers may be stored before they are reported.
  void check(const PropertyList::Dictionary& values) const {
    for (std::int64_t number = std::max<std::int64_t>(1, acknowledged_ - 9); number <= acknowledged_; ++number) {
      const auto found = values.find(name_ + "." + std::to_string(number % 10));
      ASSERT_NE(found, values.end()) << name_ << " " << number;
      const std::int64_t stored = found->second.number().value().integerValue();
      EXPECT_GE(stored, number) << name_;
      EXPECT_LE(stored, acknowledged_ + 10) << name_;
      EXPECT_EQ(stored % 10, number % 10) << name_;
    }
    const auto text = values.find(name_ + ".text");
    if (text == values.end()) return;
    const std::string& contents = *text->second.text();
    EXPECT_TRUE(std::ranges::all_of(contents, [&](char unit) { return unit == contents.front(); })) << name_;
  }

  [[nodiscard]] std::int64_t count() const { return count_; }

 private:
  std::string folder_;
  std::string name_;
  pid_t child_ = 0;
  int output_ = -1;
  std::string pending_;
  std::int64_t acknowledged_ = 0;
  std::int64_t count_ = 0;
};

TEST(SettingsKill, LosesNoAcknowledgedWrite) {
  const bool isStress = std::getenv("TESSALY_STRESS") != nullptr;
  const int kills = isStress ? 400 : 24;
  const Tests::TemporaryFolder above;
  const std::string folder = above.path() + "/org.example.test";
  std::vector<std::unique_ptr<Writer>> processes;
  for (int i = 0; i < writers; ++i) {
    processes.push_back(std::make_unique<Writer>(folder, i));
    processes.back()->start();
  }
  std::random_device device;
  const auto seed = device();
  std::mt19937 random(seed);
  SCOPED_TRACE("seed " + std::to_string(seed));
  int checkpoints = 0;
  detail::FileIdentity last;
  const auto read = [&] {
    return JournaledUserDefaults::open({.folder = folder, .opening = JournaledUserDefaults::Opening::forReading})
        ->dictionaryRepresentation();
  };
  for (int round = 0; round < kills && !::testing::Test::HasFailure(); ++round) {
    // The test reads the reports of the writers, and then kills one of them at a random moment.
    const auto end = std::chrono::steady_clock::now() + std::chrono::microseconds(random() % 60'000 + 5'000);
    while (std::chrono::steady_clock::now() < end) {
      ::poll(nullptr, 0, 1);
      for (const auto& process : processes) process->read();
    }
    Writer& victim = *processes[random() % processes.size()];
    victim.kill();
    for (const auto& process : processes) process->read();
    const PropertyList::Dictionary values = read();
    for (const auto& process : processes) {
      if (process.get() == &victim) process->check(values);
    }
    const auto contents = detail::readFile(folder + "/Settings.plist");
    if (contents) {
      // No reader sees an incomplete file.
      EXPECT_NO_THROW(
          static_cast<void>(PropertyListSerialization::read(Data(std::string_view(contents->bytes)).bytes())));
      checkpoints += contents->identity != last ? 1 : 0;
      last = contents->identity;
    }
    victim.start();
  }
  for (const auto& process : processes) process->kill();
  PropertyList::Dictionary values = read();
  std::int64_t writes = 0;
  for (const auto& process : processes) {
    process->check(values);
    writes += process->count();
  }
  {
    const auto store = JournaledUserDefaults::open({.folder = folder});
    EXPECT_EQ(PropertyList(store->dictionaryRepresentation()), PropertyList(values));
    EXPECT_TRUE(store->synchronize());
  }
  const auto contents = detail::readFile(folder + "/Settings.plist");
  ASSERT_TRUE(contents.has_value());
  EXPECT_EQ(PropertyListSerialization::read(Data(std::string_view(contents->bytes)).bytes()).value,
            PropertyList(values));
  EXPECT_GT(writes, 0);
  std::cout << kills + writers << " processes killed, " << 2 * writes << " writes acknowledged, " << checkpoints
            << " property lists seen, nothing lost\n";
}

}  // namespace
}  // namespace Tessaly::inline v1
