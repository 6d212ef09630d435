// SPDX-License-Identifier: MIT
#pragma once

#include <sys/socket.h>
#include <sys/uio.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

namespace Tessaly::Tests {

/// The far end of a connection of sd-bus, without a daemon. Messages with a valid header and any body arrive as if a
/// service had sent them. The program must link libsystemd.
class BusWire {
 public:
  enum class Kind : std::uint8_t { methodReturn = 2, error = 3, signal = 4 };
  struct Contents {
    Kind kind = Kind::methodReturn;
    std::string signature = {};
    std::string body = {};
    /// The number of attached descriptors, at most four.
    std::uint32_t descriptors = 0;
    std::string errorName = "org.example.Error";
  };
  struct Releaser {
    void operator()(sd_bus_message* message) const noexcept { sd_bus_message_unref(message); }
  };
  using Message = std::unique_ptr<sd_bus_message, Releaser>;

  BusWire() = default;
  BusWire(const BusWire&) = delete;
  BusWire& operator=(const BusWire&) = delete;
  ~BusWire() { close(); }

  /// The connection that receives.
  sd_bus* bus() {
    if (bus_ == nullptr) open();
    return bus_;
  }

  /// The message that arrives. Null if sd-bus drops it. Then the next message uses another connection.
  Message receive(const Contents& contents) {
    if (bus() == nullptr) return nullptr;
    const std::string bytes = encoded(contents);
    sd_bus_message* message = nullptr;
    std::size_t sent = 0;
    int result = 1;
    while (message == nullptr && (sent < bytes.size() || result > 0)) {
      if (sent < bytes.size()) {
        const ssize_t count = send(std::string_view(bytes).substr(sent), sent == 0 ? contents.descriptors : 0);
        if (count > 0) sent += static_cast<std::size_t>(count);
      }
      result = sd_bus_process(bus_, &message);
      if (result < 0) break;
    }
    if (message == nullptr || sd_bus_is_open(bus_) <= 0) close();
    return Message(message);
  }

 private:
  void open() {
    int ends[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends) < 0) return;
    end_ = ends[1];
    constexpr std::string_view handshake = "DATA\r\nOK 0123456789abcdef0123456789abcdef\r\nAGREE_UNIX_FD\r\n";
    bool isOpen = sd_bus_new(&bus_) >= 0 && sd_bus_set_fd(bus_, ends[0], ends[0]) >= 0 && sd_bus_start(bus_) >= 0 &&
                  ::send(end_, handshake.data(), handshake.size(), MSG_NOSIGNAL) > 0;
    while (isOpen && sd_bus_is_ready(bus_) == 0) isOpen = sd_bus_process(bus_, nullptr) > 0;
    if (!isOpen || sd_bus_is_ready(bus_) < 0) close();
  }
  void close() {
    // The connection owns its end now.
    sd_bus_close_unref(std::exchange(bus_, nullptr));
    if (end_ >= 0) ::close(std::exchange(end_, -1));
  }

  static void pad(std::string& bytes, std::size_t alignment) {
    bytes.append((alignment - bytes.size() % alignment) % alignment, '\0');
  }
  static void append(std::string& bytes, std::uint32_t number) {
    pad(bytes, 4);
    bytes.append(reinterpret_cast<const char*>(&number), sizeof number);
  }
  static void begin(std::string& bytes, char field, std::string_view type) {
    pad(bytes, 8);
    bytes += field;
    bytes += static_cast<char>(type.size());
    bytes += type;
    bytes += '\0';
  }
  static void appendText(std::string& bytes, char field, std::string_view type, std::string_view text) {
    begin(bytes, field, type);
    append(bytes, static_cast<std::uint32_t>(text.size()));
    bytes += text;
    bytes += '\0';
  }

  std::string encoded(const Contents& contents) {
    const std::uint16_t one = 1;
    std::string bytes(1, *reinterpret_cast<const char*>(&one) == 1 ? 'l' : 'B');
    bytes += static_cast<char>(contents.kind);
    bytes += '\0';
    bytes += '\1';
    append(bytes, static_cast<std::uint32_t>(contents.body.size()));
    append(bytes, ++serial_);
    // The text is at an aligned address, so its padding is right.
    std::string fields;
    if (contents.kind == Kind::signal) {
      appendText(fields, 1, "o", "/org/example");
      appendText(fields, 2, "s", "org.example.Service");
      appendText(fields, 3, "s", "Changed");
    } else {
      begin(fields, 5, "u");
      append(fields, 7);
    }
    if (contents.kind == Kind::error) appendText(fields, 4, "s", contents.errorName);
    if (!contents.signature.empty()) {
      begin(fields, 8, "g");
      fields += static_cast<char>(std::min<std::size_t>(contents.signature.size(), 255));
      fields += contents.signature.substr(0, 255);
      fields += '\0';
    }
    if (contents.descriptors > 0) {
      begin(fields, 9, "u");
      append(fields, contents.descriptors);
    }
    append(bytes, static_cast<std::uint32_t>(fields.size()));
    bytes += fields;
    pad(bytes, 8);
    return bytes + contents.body;
  }

  ssize_t send(std::string_view bytes, std::uint32_t descriptors) const {
    iovec part{.iov_base = const_cast<char*>(bytes.data()), .iov_len = bytes.size()};
    msghdr header{};
    header.msg_iov = &part;
    header.msg_iovlen = 1;
    alignas(cmsghdr) std::array<char, CMSG_SPACE(4 * sizeof(int))> control{};
    if (descriptors > 0) {
      header.msg_control = control.data();
      header.msg_controllen = CMSG_SPACE(descriptors * sizeof(int));
      cmsghdr* const rights = CMSG_FIRSTHDR(&header);
      rights->cmsg_level = SOL_SOCKET;
      rights->cmsg_type = SCM_RIGHTS;
      rights->cmsg_len = CMSG_LEN(descriptors * sizeof(int));
      for (std::uint32_t i = 0; i < descriptors; ++i) {
        std::memcpy(CMSG_DATA(rights) + i * sizeof(int), &end_, sizeof(int));
      }
    }
    return ::sendmsg(end_, &header, MSG_NOSIGNAL | MSG_DONTWAIT);
  }

  sd_bus* bus_ = nullptr;
  int end_ = -1;
  std::uint32_t serial_ = 0;
};

}  // namespace Tessaly::Tests
