// SPDX-License-Identifier: MIT
#include "tests/Support/PrivateBus.hpp"

#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <thread>

namespace Tessaly::Tests {
namespace {

bool isListening(const std::string& path) {
  const int client = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
  std::strncpy(address.sun_path, path.c_str(), sizeof(address.sun_path) - 1);
  const bool isThere = ::connect(client, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
  ::close(client);
  return isThere;
}

}  // namespace

PrivateBus::PrivateBus() {
  std::string folder = (std::filesystem::temp_directory_path() / "bus-XXXXXX").string();
  if (::mkdtemp(folder.data()) == nullptr) {
    reason_ = "there is no folder for temporary files";
    return;
  }
  folder_ = folder;
  address_ = "unix:path=" + folder_ + "/bus";
  std::ofstream(folder_ + "/bus.conf") << "<busconfig><type>session</type><listen>" << address_
                                       << "</listen><policy context=\"default\"><allow send_destination=\"*\" "
                                          "eavesdrop=\"true\"/><allow eavesdrop=\"true\"/><allow own=\"*\"/>"
                                          "</policy></busconfig>";
  ::setenv("DBUS_SYSTEM_BUS_ADDRESS", address_.c_str(), 1);
  start();
}

PrivateBus::~PrivateBus() {
  // In this order, since ThreadSanitizer takes the folder's descriptor, which has the number of one that a thread
  // closes when the bus is gone, for that one.
  std::error_code ignored;
  if (!folder_.empty()) std::filesystem::remove_all(folder_, ignored);
  stop();
}

void PrivateBus::start() {
  const std::string configuration = "--config-file=" + folder_ + "/bus.conf";
  daemon_ = ::fork();
  if (daemon_ == 0) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    ::execlp("dbus-daemon", "dbus-daemon", "--nofork", "--nopidfile", configuration.c_str(), nullptr);
    ::_exit(127);
  }
  const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(8);
  while (!isListening(folder_ + "/bus")) {
    int status = 0;
    if (::waitpid(daemon_, &status, WNOHANG) == daemon_ || std::chrono::steady_clock::now() > limit) {
      reason_ = "dbus-daemon does not start";
      daemon_ = -1;
      return;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
}

void PrivateBus::stop() {
  if (daemon_ < 0) return;
  ::kill(daemon_, SIGKILL);
  ::waitpid(daemon_, nullptr, 0);
  daemon_ = -1;
  ::unlink((folder_ + "/bus").c_str());
}

}  // namespace Tessaly::Tests
