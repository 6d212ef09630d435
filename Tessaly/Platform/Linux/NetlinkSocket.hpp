// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Base/detail/OwnedDescriptor.hpp"

namespace Tessaly::inline v1 {

/// A socket on which the kernel answers about routes and the like.
///
/// Thread contract: thread-compatible.
///
///     NetlinkSocket socket(0);
///     if (socket.error() == 0 && socket.requestDump(RTM_GETLINK)) show(socket.receive(NetlinkSocket::Wait::briefly));
class TESSALY_EXPORT NetlinkSocket {
 public:
  enum class Wait : std::uint8_t { no, briefly };
  enum class Result : std::uint8_t {
    datagram,
    /// Nothing is there.
    nothing,
    /// The kernel had no room for a message and dropped it.
    lost,
    failed,
  };
  struct Received {
    Result result;
    /// Good until the next call.
    std::span<const std::byte> datagram = {};
    int error = 0;
  };

  /// Opens it and joins the multicast groups, given as a mask of `RTMGRP_` bits.
  explicit NetlinkSocket(std::uint32_t groups) noexcept;
  NetlinkSocket(const NetlinkSocket&) = delete;
  NetlinkSocket& operator=(const NetlinkSocket&) = delete;

  /// The `errno` of opening it; 0 if it is open.
  [[nodiscard]] int error() const noexcept { return error_; }
  [[nodiscard]] int descriptor() const noexcept { return descriptor_.get(); }

  /// Asks for everything of a kind (`RTM_GETLINK`, ...), of all families. The `errno`; 0 if it was sent.
  int requestDump(std::uint16_t type) noexcept;
  /// The next datagram from the kernel; datagrams from others are passed over. Waits for up to 2 s if told to.
  Received receive(Wait wait);

 private:
  detail::OwnedDescriptor descriptor_;
  int error_ = 0;
  std::vector<std::byte> buffer_;
};

}  // namespace Tessaly::inline v1
