// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Base/detail/OwnedDescriptor.hpp"

namespace Tessaly::inline v1 {

/// A netlink socket for the kernel's messages about links, addresses and routes.
///
/// Thread contract: thread-compatible.
///
///     NetlinkSocket socket(0);
///     bool isSent = socket.error() == 0 && socket.requestDump(RTM_GETLINK) == 0;
///     if (isSent) show(socket.receive(NetlinkSocket::Wait::briefly));
class TESSALY_EXPORT NetlinkSocket {
 public:
  /// Whether `receive` waits for a datagram.
  enum class Wait : std::uint8_t { no, briefly };
  /// The outcome of `receive`.
  enum class Result : std::uint8_t {
    datagram,
    /// No datagram is pending. With `Wait::briefly`, none has arrived within 2 s.
    nothing,
    /// The kernel dropped a message because the receive buffer was full, or the datagram was too large.
    lost,
    failed,
  };
  /// A datagram, or the reason why none is available.
  struct Received {
    Result result;
    /// Valid until the next call of `receive`.
    std::span<const std::byte> datagram = {};
    int error = 0;
  };

  /// Opens the socket and joins the multicast groups in `groups`, a mask of `RTMGRP_` bits.
  explicit NetlinkSocket(std::uint32_t groups) noexcept;
  NetlinkSocket(const NetlinkSocket&) = delete;
  NetlinkSocket& operator=(const NetlinkSocket&) = delete;

  /// The `errno` of the failed construction, or 0 if the socket is usable.
  [[nodiscard]] int error() const noexcept { return error_; }
  [[nodiscard]] int descriptor() const noexcept { return descriptor_.get(); }

  /// Requests all objects of a kind (`RTM_GETLINK`, ...) of all families. Returns the `errno`, or 0 if the request was
  /// sent.
  int requestDump(std::uint16_t type) noexcept;
  /// The next datagram from the kernel. Ignores datagrams from other senders. With `Wait::briefly`, waits for at most
  /// 2 s. This time begins again after each ignored datagram and after each interruption by a signal.
  Received receive(Wait wait);

 private:
  detail::OwnedDescriptor descriptor_;
  int error_ = 0;
  std::vector<std::byte> buffer_;
};

}  // namespace Tessaly::inline v1
