// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Linux/NetlinkSocket.hpp"

#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <cerrno>

namespace Tessaly::inline v1 {
namespace {

/// The kernel sends dumps in pieces of at most 32 KiB.
constexpr std::size_t largestDatagram = std::size_t{64} * 1024;
/// The buffer must hold bursts of events. The system may allow less.
constexpr int receiveBuffer = 1024 * 1024;

}  // namespace

NetlinkSocket::NetlinkSocket(std::uint32_t groups) noexcept
    : descriptor_(::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE)) {
  sockaddr_nl address{};
  address.nl_family = AF_NETLINK;
  address.nl_groups = groups;
  if (!descriptor_.isOpen() || ::bind(descriptor(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    error_ = errno;
    return;
  }
  const timeval limit{.tv_sec = 2, .tv_usec = 0};
  ::setsockopt(descriptor(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
  if (groups != 0) ::setsockopt(descriptor(), SOL_SOCKET, SO_RCVBUF, &receiveBuffer, sizeof receiveBuffer);
}

int NetlinkSocket::requestDump(std::uint16_t type) noexcept {
  struct {
    nlmsghdr header;
    rtgenmsg body;
  } request{};
  request.header.nlmsg_len = NLMSG_LENGTH(sizeof(rtgenmsg));
  request.header.nlmsg_type = type;
  request.header.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
  request.body.rtgen_family = AF_UNSPEC;
  sockaddr_nl kernel{};
  kernel.nl_family = AF_NETLINK;
  const ssize_t sent = ::sendto(descriptor(), &request, request.header.nlmsg_len, 0,
                                reinterpret_cast<const sockaddr*>(&kernel), sizeof kernel);
  return sent < 0 ? errno : 0;
}

NetlinkSocket::Received NetlinkSocket::receive(Wait wait) {
  buffer_.resize(largestDatagram);
  for (;;) {
    sockaddr_nl sender{};
    iovec part{.iov_base = buffer_.data(), .iov_len = buffer_.size()};
    msghdr message{};
    message.msg_name = &sender;
    message.msg_namelen = sizeof sender;
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    const ssize_t size = ::recvmsg(descriptor(), &message, wait == Wait::no ? MSG_DONTWAIT : 0);
    if (size < 0) {
      if (errno == EINTR) continue;
      if (errno == EAGAIN) return {.result = Result::nothing};
      if (errno == ENOBUFS) return {.result = Result::lost};
      return {.result = Result::failed, .error = errno};
    }
    if (sender.nl_pid != 0) continue;
    if ((message.msg_flags & MSG_TRUNC) != 0) return {.result = Result::lost};
    return {.result = Result::datagram, .datagram = std::span(buffer_).first(static_cast<std::size_t>(size))};
  }
}

}  // namespace Tessaly::inline v1
