// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Platform/Linux/MeteredWatch.hpp"
#include "Tessaly/Platform/Linux/NetlinkSocket.hpp"
#include "Tessaly/Platform/Linux/RouteTable.hpp"
#include "Tessaly/Platform/Network/NetworkBackend.hpp"

namespace Tessaly::inline v1 {

/// A backend that reports the network path of the network namespace in which it is made. The path's `status()` comes
/// from the kernel's tables through rtnetlink. `isExpensive()` comes from NetworkManager, or in a sandbox from the
/// desktop's portal. The portal also gives the status if the kernel does not give it.
///
/// `make` reads the tables. Afterwards each change wakes two threads, and there is no cost without changes. After lost
/// messages the backend reads the tables again.
///
/// Thread contract: thread-safe.
///
///     const std::shared_ptr<LinuxNetworkBackend> backend = LinuxNetworkBackend::make();
///     show(backend->currentPath());
class TESSALY_EXPORT LinuxNetworkBackend final : public NetworkBackend,
                                                 public std::enable_shared_from_this<LinuxNetworkBackend> {
  struct Private {};

 public:
  [[nodiscard]] static std::shared_ptr<LinuxNetworkBackend> make();
  explicit LinuxNetworkBackend(Private);
  ~LinuxNetworkBackend() override;

  void refresh() override;
  /// The number of times that the backend has begun to read all tables.
  [[nodiscard]] std::uint64_t fullReadingsForTesting() const noexcept { return fullReadings_.load(); }
  /// The number of times that the backend has begun to read the routes, alone or as a part of reading all tables.
  [[nodiscard]] std::uint64_t routeReadingsForTesting() const noexcept { return routeReadings_.load(); }

 private:
  void open() TESSALY_REQUIRES(lock_);
  void takeIn() TESSALY_REQUIRES(lock_);
  bool readAll() TESSALY_REQUIRES(lock_);
  bool readRoutes() TESSALY_REQUIRES(lock_);
  bool read(std::uint16_t type) TESSALY_REQUIRES(lock_);
  void tell();

  std::shared_ptr<MeteredWatch> metered_;
  UnfairLock lock_;
  std::unique_ptr<NetlinkSocket> events_ TESSALY_GUARDED_BY(lock_);
  std::shared_ptr<detail::DescriptorSource> source_ TESSALY_GUARDED_BY(lock_);
  RouteTable table_ TESSALY_GUARDED_BY(lock_);
  /// Whether `table_` is unreliable, so that all of the kernel's tables must be read again.
  bool needsReading_ TESSALY_GUARDED_BY(lock_) = true;
  bool hasReported_ TESSALY_GUARDED_BY(lock_) = false;
  std::atomic<NWPath::Status> status_{NWPath::Status::unknown};
  std::atomic<std::uint64_t> fullReadings_{0};
  std::atomic<std::uint64_t> routeReadings_{0};
};

}  // namespace Tessaly::inline v1
