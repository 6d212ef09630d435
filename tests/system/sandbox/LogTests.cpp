// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <chrono>
#include <cstring>
#include <string>

#include "Tessaly/Core/Logging/LogConfiguration.hpp"
#include "Tessaly/Core/Logging/Logger.hpp"
#include "Tessaly/Core/Logging/OSLogStore.hpp"
#include "Tessaly/Core/Logging/SystemLogBackend.hpp"
#include "tests/system/sandbox/SandboxRoot.hpp"

// The log in a sandbox, with and without the journal's socket.

namespace {

using namespace Tessaly;

class SandboxedLog : public testing::Test {
 protected:
  void SetUp() override {
    if (!Tests::reasonForNoSandbox().empty()) GTEST_SKIP() << Tests::reasonForNoSandbox();
  }

  static std::string errorsOf(void (*write)()) {
    testing::internal::CaptureStderr();
    write();
    return testing::internal::GetCapturedStderr();
  }
  static void writeOne() { Logger("org.example.player", "Player").error("The film ends early"); }
};

TEST_F(SandboxedLog, GoesToStandardErrorWithoutAJournal) {
  const std::string text = errorsOf(writeOne);
  EXPECT_NE(text.find(" error [org.example.player:Player] The film ends early\n"), std::string::npos) << text;
  EXPECT_EQ(LogConfiguration::journalStatus().state, JournalState::sandboxed);
  EXPECT_EQ(SystemLogBackend::shared().store()->entries().size(), 1u);
}

TEST_F(SandboxedLog, HostMaySwitchStandardErrorOff) {
  LogConfiguration::setStandardErrorOutput(LogSwitch::off);
  EXPECT_EQ(errorsOf(writeOne), "");
  EXPECT_EQ(LogConfiguration::journalStatus().state, JournalState::sandboxed);
}

TEST_F(SandboxedLog, GoesToTheJournalThatTheSandboxShows) {
  ASSERT_TRUE(::mkdir("/run/systemd", 0755) == 0 && ::mkdir("/run/systemd/journal", 0755) == 0);
  const int journal = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  sockaddr_un address{.sun_family = AF_UNIX, .sun_path = "/run/systemd/journal/socket"};
  ASSERT_EQ(::bind(journal, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  EXPECT_EQ(errorsOf(writeOne), "");
  LogConfiguration::flush(std::chrono::seconds(5));
  char entry[4096];
  const ssize_t length = ::recv(journal, entry, sizeof entry, MSG_DONTWAIT);
  ASSERT_GT(length, 0) << std::strerror(errno);
  EXPECT_NE(std::string(entry, static_cast<std::size_t>(length)).find("The film ends early"), std::string::npos);
  EXPECT_EQ(LogConfiguration::journalStatus().state, JournalState::sending);
  ::close(journal);
}

}  // namespace
