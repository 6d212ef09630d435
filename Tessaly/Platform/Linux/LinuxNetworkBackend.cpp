// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Linux/LinuxNetworkBackend.hpp"

#include <linux/rtnetlink.h>

#include <cerrno>
#include <string>
#include <system_error>
#include <utility>

#include "Tessaly/Core/Logging/detail/PlatformLog.hpp"
#include "Tessaly/Core/Tasks/BlockingWork.hpp"
#include "Tessaly/Platform/Linux/Sandbox.hpp"

namespace Tessaly::inline v1 {
namespace {

constexpr std::uint32_t groups =
    RTMGRP_LINK | RTMGRP_IPV4_IFADDR | RTMGRP_IPV6_IFADDR | RTMGRP_IPV4_ROUTE | RTMGRP_IPV6_ROUTE;

/// The maximum number of readings if the tables change during each. The last reading counts in any case, because an
/// event about that change will follow.
constexpr int readingsOfOneKind = 5;

}  // namespace

std::shared_ptr<LinuxNetworkBackend> LinuxNetworkBackend::make() {
  auto backend = std::make_shared<LinuxNetworkBackend>(Private());
  const std::weak_ptr<LinuxNetworkBackend> weak = backend;
  backend->metered_ = MeteredWatch::make(
      [weak] {
        if (const auto self = weak.lock()) self->tell();
      },
      detail::readSandbox() ? MeteredWatch::Service::portal : MeteredWatch::Service::networkManager);
  backend->refresh();
  return backend;
}

LinuxNetworkBackend::LinuxNetworkBackend(Private) {}

LinuxNetworkBackend::~LinuxNetworkBackend() {
  if (source_ != nullptr) source_->cancel();
}

void LinuxNetworkBackend::refresh() {
  {
    const UnfairLock::Guard guard(lock_);
    if (events_ == nullptr) open();
    if (events_ != nullptr) takeIn();
    status_.store(needsReading_       ? NWPath::Status::unknown
                  : table_.leadsOut() ? NWPath::Status::satisfied
                                      : NWPath::Status::unsatisfied);
  }
  tell();
  metered_->connectIfNeeded();
}

void LinuxNetworkBackend::open() {
  auto events = std::make_unique<NetlinkSocket>(groups);
  if (events->error() != 0) {
    if (!std::exchange(hasReported_, true)) {
      detail::logPlatformError("LinuxNetworkBackend", "The kernel refuses to report its routes: " +
                                                          std::generic_category().message(events->error()));
    }
    return;
  }
  events_ = std::move(events);
  source_ =
      detail::DescriptorSource::make(events_->descriptor(), detail::blockingExecutor(), [weak = weak_from_this()] {
        if (const auto self = weak.lock()) self->refresh();
      });
}

void LinuxNetworkBackend::takeIn() {
  // The kernel announces a change after it was made. So a reading after the last announcement is correct, or another
  // announcement follows.
  bool needsRoutes = false;
  for (;;) {
    const NetlinkSocket::Received received = events_->receive(NetlinkSocket::Wait::no);
    switch (received.result) {
      case NetlinkSocket::Result::datagram:
        // The lost messages were newer than the queued ones. So the queued ones must not be applied after a new reading
        // of the tables.
        if (!needsReading_) needsRoutes |= table_.apply(received.datagram, RouteTable::Origin::event).needsRoutes;
        break;
      case NetlinkSocket::Result::lost:
      case NetlinkSocket::Result::failed:
        needsReading_ = true;
        if (received.result == NetlinkSocket::Result::failed) return;
        break;
      case NetlinkSocket::Result::nothing:
        if (needsReading_) {
          if (!readAll()) return;
          needsReading_ = false;
        } else if (needsRoutes) {
          if (!readRoutes()) {
            needsReading_ = true;
            return;
          }
        } else {
          return;
        }
        needsRoutes = false;
        break;
    }
  }
}

bool LinuxNetworkBackend::readAll() {
  fullReadings_.fetch_add(1);
  table_.clear();
  return read(RTM_GETLINK) && read(RTM_GETADDR) && readRoutes();
}

bool LinuxNetworkBackend::readRoutes() {
  routeReadings_.fetch_add(1);
  return read(RTM_GETROUTE);
}

bool LinuxNetworkBackend::read(std::uint16_t type) {
  for (int reading = 0; reading < readingsOfOneKind; ++reading) {
    if (type == RTM_GETROUTE) table_.clearRoutes();
    NetlinkSocket socket(0);
    if (socket.error() != 0 || socket.requestDump(type) != 0) return false;
    RouteTable::Outcome whole;
    while (!whole.isDone) {
      const NetlinkSocket::Received received = socket.receive(NetlinkSocket::Wait::briefly);
      if (received.result != NetlinkSocket::Result::datagram) return false;
      const RouteTable::Outcome outcome = table_.apply(received.datagram, RouteTable::Origin::dump);
      whole.isDone = outcome.isDone;
      whole.isInterrupted |= outcome.isInterrupted;
      if (outcome.error != 0) return false;
    }
    if (!whole.isInterrupted) return true;
  }
  return true;
}

void LinuxNetworkBackend::tell() {
  update(Telling::ofChanges, [this](const NWPath&) {
    const MeteredWatch::State metered = metered_->state();
    NWPath::Parts parts{.status = status_.load(),
                        .isExpensive = metered.isExpensive,
                        .statusSource = NWPath::StatusSource::kernel,
                        .expenseSource = metered.source};
    if (parts.status == NWPath::Status::unknown) {
      parts.statusSource = metered.isAvailable ? NWPath::StatusSource::portal : NWPath::StatusSource::refused;
      if (metered.isAvailable)
        parts.status = *metered.isAvailable ? NWPath::Status::satisfied : NWPath::Status::unsatisfied;
    }
    return NWPath(parts);
  });
}

const std::shared_ptr<NetworkBackend>& NetworkBackend::system() {
  static const auto& backend = *new std::shared_ptr<NetworkBackend>(LinuxNetworkBackend::make());
  return backend;
}

}  // namespace Tessaly::inline v1
