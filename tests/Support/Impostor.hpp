// SPDX-License-Identifier: MIT
#pragma once

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

namespace Tessaly::Tests {

/// Listens at the address of a bus, sends the same bytes to every client, and hangs up.
class Impostor {
 public:
  /// The bytes that a bus sends before the first message.
  static constexpr std::string_view greeting = "DATA\r\nOK 0123456789abcdef0123456789abcdef\r\nAGREE_UNIX_FD\r\n";
  /// Bytes that no bus sends.
  static std::vector<std::string> lies() {
    const std::string greeted(greeting);
    return {"", "\r\n\r\n\r\n", std::string(100'000, 'x'), "REJECTED EXTERNAL\r\n", "DATA\r\nOK nonsense\r\n", greeted,
            greeted + std::string(1'000, '\0'), greeted + std::string(100'000, '\xff'),
            // Three replies: one without a request, one of another version, and one longer than any message.
            greeted + std::string("l\2\0\1\0\0\0\0\1\0\0\0\x08\0\0\0\5\1u\0\xff\xff\xff\xff", 24),
            greeted + std::string("l\2\0\7\0\0\0\0\1\0\0\0\x08\0\0\0\5\1u\0\1\0\0\0", 24),
            greeted + std::string("l\2\0\1\xff\xff\xff\x7f\1\0\0\0\xff\xff\xff\x7f", 16)};
  }

  Impostor(const char* variable, std::string bytes) : bytes_(std::move(bytes)) {
    std::string folder = (std::filesystem::temp_directory_path() / "impostor-XXXXXX").string();
    if (::mkdtemp(folder.data()) == nullptr) return;
    folder_ = folder;
    const std::string path = folder_ + "/bus";
    listener_ = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
    std::strncpy(address.sun_path, path.c_str(), sizeof(address.sun_path) - 1);
    isThere_ = ::bind(listener_, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0 &&
               ::listen(listener_, 8) == 0;
    ::setenv(variable, ("unix:path=" + path).c_str(), 1);
    thread_ = std::thread([this] { serve(); });
  }
  ~Impostor() {
    isDone_ = true;
    if (thread_.joinable()) thread_.join();
    if (listener_ >= 0) ::close(listener_);
    std::error_code ignored;
    if (!folder_.empty()) std::filesystem::remove_all(folder_, ignored);
  }
  Impostor(const Impostor&) = delete;
  Impostor& operator=(const Impostor&) = delete;

  [[nodiscard]] bool isThere() const { return isThere_; }
  /// The number of clients.
  [[nodiscard]] int visitors() const { return visitors_; }

 private:
  void serve() {
    while (!isDone_) {
      pollfd watched{.fd = listener_, .events = POLLIN, .revents = 0};
      if (::poll(&watched, 1, 10) <= 0) continue;
      const int visitor = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
      if (visitor < 0) continue;
      ++visitors_;
      // A client that has read enough may have disconnected.
      static_cast<void>(::send(visitor, bytes_.data(), bytes_.size(), MSG_NOSIGNAL | MSG_DONTWAIT));
      ::close(visitor);
    }
  }

  const std::string bytes_;
  std::string folder_;
  int listener_ = -1;
  bool isThere_ = false;
  std::atomic<bool> isDone_{false};
  std::atomic<int> visitors_{0};
  std::thread thread_;
};

}  // namespace Tessaly::Tests
