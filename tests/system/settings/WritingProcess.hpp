// SPDX-License-Identifier: MIT
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "Tessaly/Core/Base/detail/OwnedDescriptor.hpp"
#include "Tessaly/Core/Foundation/PropertyList.hpp"
#include "tests/system/settings/WriteReport.hpp"

namespace Tessaly::Tests {

/// A process that writes growing numbers to a store, number n under the key <name>.<n % 10>, and its reports.
class WritingProcess {
 public:
  WritingProcess(std::string program, std::string directory, int index)
      : program_(std::move(program)), directory_(std::move(directory)), name_("w" + std::to_string(index)) {
    start();
  }
  WritingProcess(const WritingProcess&) = delete;
  WritingProcess& operator=(const WritingProcess&) = delete;
  ~WritingProcess() { kill(); }

  /// The process continues behind the last number that was reported.
  void start() {
    std::array<int, 2> ends{};
    ASSERT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
    const std::string program = std::string(std::getenv("TESSALY_TEST_PROGRAMS")) + "/" + program_;
    const std::string first = std::to_string(acknowledged_ + 1);
    child_ = ::fork();
    if (child_ == 0) {
      ::dup2(ends[1], 1);
      ::execl(program.c_str(), program.c_str(), directory_.c_str(), name_.c_str(), first.c_str(), nullptr);
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
    unstored_.clear();  // They were in the memory of the process only.
  }

  /// Takes the reports that have arrived.
  void read() {
    std::array<char, 65536> block;
    for (ssize_t size = 1; size > 0;) {
      size = ::read(output_.get(), block.data(), block.size());
      if (size > 0) pending_.append(block.data(), static_cast<std::size_t>(size));
    }
    std::size_t at = 0;
    for (; at + sizeof(WriteReport) <= pending_.size(); at += sizeof(WriteReport)) {
      WriteReport report;
      std::memcpy(&report, pending_.data() + at, sizeof(report));
      take(report);
    }
    pending_.erase(0, at);
  }

  /// The first key whose last stored number, or a later one, is missing; empty if none is. A copied list may have the
  /// value that is found instead. Fails for a value that was never written.
  [[nodiscard]] std::string missing(const PropertyList::Dictionary& values,
                                    const PropertyList::Dictionary& copied = {}) const {
    for (std::int64_t digit = 0; digit < 10; ++digit) {
      const std::int64_t number = stored_[static_cast<std::size_t>(digit)];
      if (number == 0) continue;
      const std::string key = name_ + "." + std::to_string(digit);
      const auto found = values.find(key);
      if (found == values.end() && !copied.empty() && !copied.contains(key)) continue;
      if (found == values.end()) return name_ + " has lost the key of " + std::to_string(number);
      const std::int64_t value = found->second.number().value().integerValue();
      EXPECT_LE(value, acknowledged_ + 10) << name_;
      EXPECT_EQ(value % 10, digit) << name_;
      const bool isCopied = copied.contains(key) && copied.at(key) == found->second;
      if (value >= number || isCopied) continue;
      return name_ + " reads " + std::to_string(value) + " for " + std::to_string(number) + " of " +
             std::to_string(acknowledged_);
    }
    return {};
  }

  [[nodiscard]] const std::string& name() const { return name_; }
  [[nodiscard]] std::int64_t reports() const { return reports_; }
  [[nodiscard]] std::int64_t longestWait() const { return longestWait_; }
  [[nodiscard]] double lossTold() const { return lossTold_; }
  [[nodiscard]] bool hasUnstored() const { return hasUnstored_; }

 private:
  void take(const WriteReport& report) {
    ++reports_;
    longestWait_ = std::max(longestWait_, report.waited);
    lossTold_ = std::max(lossTold_, report.lossTold);
    hasUnstored_ = report.unstored > 0;
    if (report.number == 0) return;
    acknowledged_ = report.number;
    unstored_.push_back(report.number);
    if (hasUnstored_) return;
    for (const std::int64_t number : unstored_) stored_[static_cast<std::size_t>(number % 10)] = number;
    unstored_.clear();
  }

  std::string program_;
  std::string directory_;
  std::string name_;
  pid_t child_ = 0;
  detail::OwnedDescriptor output_;
  std::string pending_;
  std::int64_t acknowledged_ = 0;
  /// The numbers that were written since the last report that everything is stored.
  std::vector<std::int64_t> unstored_;
  /// The last stored number of each key.
  std::array<std::int64_t, 10> stored_{};
  std::int64_t reports_ = 0;
  std::int64_t longestWait_ = 0;
  double lossTold_ = -1e300;
  bool hasUnstored_ = false;
};

}  // namespace Tessaly::Tests
