// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <span>
#include <vector>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1 {

/// The links, addresses and default routes from the kernel's rtnetlink messages (RFC 3549). Also says whether a default
/// route is usable.
///
/// A default route of an address family is usable under two conditions. First, the route's link is up, has a carrier,
/// and is not the loopback link. Second, the link has an address of that family to which other machines can reply. Such
/// an address on another link is enough if it is the route's preferred source. A bridge has a carrier if one of its
/// ports has a carrier. A tunnel has a carrier if it is up. Tunnels often set a pair of routes to the two halves of the
/// address space. Such a pair counts as a default route. Only unicast routes of the main and the default table count.
///
/// The table accepts any bytes. Messages that are malformed, cut short or irrelevant change nothing.
///
/// Thread contract: thread-compatible.
///
///     RouteTable table;
///     table.apply(datagram, RouteTable::Origin::dump);
///     show(table.leadsOut());
class TESSALY_EXPORT RouteTable {
 public:
  enum class Origin : std::uint8_t {
    /// The reply to a request for all objects of a kind.
    dump,
    /// The announcement of a change. The table does not apply announced routes, because the kernel does not announce
    /// every change of a route. For example, the kernel does not announce that IPv4 routes vanish together with their
    /// link or address.
    event,
  };
  struct Outcome {
    /// After an event: routes may have changed, so the caller must clear the routes and read them again.
    bool needsRoutes = false;
    /// Whether the datagram ends a dump. A refusal also ends the dump.
    bool isDone = false;
    /// After a dump: the kernel's tables changed during the dump, so the caller should repeat the dump.
    bool isInterrupted = false;
    /// After a dump: the `errno` of a refusal, or 0.
    int error = 0;
  };

  /// Applies all messages of a datagram.
  Outcome apply(std::span<const std::byte> datagram, Origin origin);
  void clear();
  void clearRoutes() { routes_.clear(); }

  [[nodiscard]] bool leadsOut() const;
  [[nodiscard]] std::size_t linksForTesting() const noexcept { return links_.size(); }
  /// The number of addresses to which other machines can reply.
  [[nodiscard]] std::size_t addressesForTesting() const noexcept { return addresses_.size(); }
  /// The number of default routes. A route to one half of the address space also counts.
  [[nodiscard]] std::size_t routesForTesting() const noexcept { return routes_.size(); }

 private:
  using AddressBytes = std::array<std::byte, 16>;

  struct Address {
    std::uint8_t family = 0;
    int link = 0;
    AddressBytes bytes{};

    friend auto operator<=>(const Address&, const Address&) = default;
  };
  struct Route {
    std::uint8_t family = 0;
    /// The halves of the address space that the route covers: 1 for the lower half, 2 for the upper half, 3 for both.
    unsigned halves = 3;
    bool hasPreferredSource = false;
    AddressBytes preferredSource{};
    /// The link of each next hop of the route, except dead next hops.
    std::vector<int> links;
  };

  void applyLink(std::span<const std::byte> payload, bool isThere, Outcome& outcome);
  void applyAddress(std::span<const std::byte> payload, bool isThere, Outcome& outcome);
  void applyRoute(std::span<const std::byte> payload, Origin origin, Outcome& outcome);
  [[nodiscard]] bool leadsOut(const Route& route) const;

  /// The flags of each link.
  std::map<int, unsigned> links_;
  std::set<Address> addresses_;
  std::vector<Route> routes_;
};

}  // namespace Tessaly::inline v1
