// SPDX-License-Identifier: MIT
#include "tests/system/network/Namespace.hpp"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace Tessaly::Tests {
namespace {

constexpr const char* mark = "TESSALY_TEST_NAMESPACE";

int runIp(const std::string& lines, const char* options) {
  FILE* const pipe = ::popen((std::string("ip ") + options + " -batch -").c_str(), "we");
  if (pipe == nullptr) return -1;
  std::fwrite(lines.data(), 1, lines.size(), pipe);
  std::fputc('\n', pipe);
  return ::pclose(pipe);
}

}  // namespace

const std::string& reasonForNoNamespace() {
  static const auto* const reason = [] {
    const char* const value = std::getenv(mark);
    if (value == nullptr) return new std::string("the process was not started in a namespace");
    return new std::string(std::strcmp(value, "inside") == 0 ? "" : value);
  }();
  return *reason;
}

void enterNamespace(char** arguments) {
  if (std::getenv(mark) != nullptr) return;
  if (std::system("unshare --user --net --map-root-user ip link show >/dev/null 2>&1") != 0) {
    ::setenv(mark, "unshare cannot make a network namespace for this user, or there is no ip command", 1);
    return;
  }
  ::setenv(mark, "inside", 1);
  std::vector<char*> command;
  for (const char* word : {"unshare", "--user", "--net", "--map-root-user", "/proc/self/exe"}) {
    command.push_back(::strdup(word));
  }
  // By then /proc/self/exe names unshare.
  std::vector<char> path(4096);
  const ssize_t length = ::readlink("/proc/self/exe", path.data(), path.size() - 1);
  if (length > 0) command.back() = path.data();
  for (char** argument = arguments + 1; *argument != nullptr; ++argument) command.push_back(*argument);
  command.push_back(nullptr);
  ::execvp(command[0], command.data());
  ::setenv(mark, "unshare could not be started", 1);
}

bool ip(const std::string& lines) {
  const int status = runIp(lines, "");
  EXPECT_EQ(status, 0) << "ip: " << lines;
  return status == 0;
}

bool canIp(const std::string& line) {
  const int status = std::system(("ip " + line + " >/dev/null 2>&1").c_str());
  return status == 0;
}

}  // namespace Tessaly::Tests
