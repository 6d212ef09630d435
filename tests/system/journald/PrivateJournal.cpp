// SPDX-License-Identifier: MIT
#include "tests/system/journald/PrivateJournal.hpp"

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <systemd/sd-journal.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string_view>
#include <thread>

namespace Tessaly::Tests {
namespace {

constexpr const char* daemonPath = "/lib/systemd/systemd-journald";
constexpr const char* socketPath = "/run/systemd/journal/socket";
constexpr const char* journalFolder = "/run/log/journal";

using Clock = std::chrono::steady_clock;

void write(const char* path, const std::string& text) { std::ofstream(path) << text; }

// Empty on success.
std::string enterNamespace() {
  const uid_t user = ::getuid();
  const gid_t group = ::getgid();
  if (::unshare(CLONE_NEWNS) != 0) {
    if (::unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) {
      return std::string("no mount namespace can be made: ") + std::strerror(errno);
    }
    write("/proc/self/uid_map", "0 " + std::to_string(user) + " 1");
    write("/proc/self/setgroups", "deny");
    write("/proc/self/gid_map", "0 " + std::to_string(group) + " 1");
  }
  if (::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
      ::mount("tmpfs", "/run", "tmpfs", 0, nullptr) != 0 || ::mount("tmpfs", "/var/log", "tmpfs", 0, nullptr) != 0) {
    return std::string("the namespace takes no mounts: ") + std::strerror(errno);
  }
  std::filesystem::create_directories("/run/systemd/journal");
  std::filesystem::create_directories(journalFolder);
  std::filesystem::create_directories("/run/systemd/journald.conf.d");
  write("/run/systemd/journald.conf.d/test.conf",
        "[Journal]\nRateLimitIntervalSec=0\nReadKMsg=no\nAudit=no\nStorage=volatile\nForwardToSyslog=no\n");
  if (std::ifstream("/etc/machine-id").peek() == std::ifstream::traits_type::eof()) {
    return "this machine has no machine-id";
  }
  return {};
}

bool isListening() {
  const int client = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
  std::strncpy(address.sun_path, socketPath, sizeof(address.sun_path) - 1);
  const bool isThere = ::connect(client, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
  ::close(client);
  return isThere;
}

std::string field(sd_journal* journal, const char* name) {
  const void* data = nullptr;
  std::size_t length = 0;
  if (::sd_journal_get_data(journal, name, &data, &length) < 0) return {};
  const std::string_view text(static_cast<const char*>(data), length);
  return std::string(text.substr(text.find('=') + 1));
}

}  // namespace

PrivateJournal::PrivateJournal() {
  if (::access(daemonPath, X_OK) != 0) {
    reason_ = "systemd-journald is not installed";
    return;
  }
  reason_ = enterNamespace();
  if (reason_.empty()) start();
}

PrivateJournal::~PrivateJournal() {
  if (daemon_ > 0) kill();
}

void PrivateJournal::start() {
  // The socket of a killed daemon would still accept records, and they would be lost.
  std::filesystem::remove(socketPath);
  daemon_ = ::fork();
  if (daemon_ == 0) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    const int null = ::open("/dev/null", O_RDWR);
    for (const int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) ::dup2(null, standard);
    ::execl(daemonPath, daemonPath, nullptr);
    ::_exit(127);
  }
  for (const auto limit = Clock::now() + std::chrono::seconds(5); !isListening();) {
    int status = 0;
    if (::waitpid(daemon_, &status, WNOHANG) == daemon_) {
      reason_ = "systemd-journald ended at once with status " + std::to_string(status);
      daemon_ = -1;
      return;
    }
    if (Clock::now() > limit) {
      reason_ = "systemd-journald did not open its socket";
      return;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
}

void PrivateJournal::kill() {
  ::kill(daemon_, SIGKILL);
  ::waitpid(daemon_, nullptr, 0);
  daemon_ = -1;
}

void PrivateJournal::pause() const {
  ::kill(daemon_, SIGSTOP);
  ::waitpid(daemon_, nullptr, WUNTRACED);
}

void PrivateJournal::resume() const { ::kill(daemon_, SIGCONT); }

void PrivateJournal::removeSocket() const { std::filesystem::remove(socketPath); }

std::vector<PrivateJournal::Entry> PrivateJournal::entries(const std::string& subsystem, std::size_t count) const {
  std::vector<Entry> entries;
  const auto limit = Clock::now() + std::chrono::seconds(8);
  do {
    entries.clear();
    sd_journal* journal = nullptr;
    if (::sd_journal_open_directory(&journal, journalFolder, 0) < 0) return entries;
    const std::string match = "TESSALY_SUBSYSTEM=" + subsystem;
    ::sd_journal_add_match(journal, match.data(), match.size());
    SD_JOURNAL_FOREACH(journal) {
      Entry entry;
      for (const char* name : {"MESSAGE", "PRIORITY", "SYSLOG_IDENTIFIER", "TESSALY_SUBSYSTEM", "TESSALY_CATEGORY",
                               "TESSALY_TIME", "TID", "_PID", "CODE_FILE", "CODE_LINE", "CODE_FUNC"}) {
        entry[name] = field(journal, name);
      }
      entries.push_back(std::move(entry));
    }
    ::sd_journal_close(journal);
    if (entries.size() >= count) break;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  } while (Clock::now() < limit);
  return entries;
}

bool PrivateJournal::filesContain(const std::string& text) const {
  for (const auto& file : std::filesystem::recursive_directory_iterator(journalFolder)) {
    if (!file.is_regular_file()) continue;
    std::ifstream stream(file.path(), std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(stream)), {});
    if (bytes.find(text) != std::string::npos) return true;
  }
  return false;
}

}  // namespace Tessaly::Tests
