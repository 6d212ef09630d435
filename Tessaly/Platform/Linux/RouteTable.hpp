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

/// What the kernel tells by rtnetlink (RFC 3549) of links, addresses and default routes, and whether they lead out.
///
/// A default route of a family leads out when its link is up and has a carrier, which for a bridge means a port that
/// has one and for a tunnel that the tunnel is up, and the link has an address of that family that others could answer
/// to. A pair of routes to the two halves of the address space, as tunnels like to set, counts as a default route. Only
/// the main and the default table are looked at.
///
/// Takes any bytes: what is malformed, cut short or of no interest changes nothing.
///
/// Thread contract: thread-compatible.
///
///     RouteTable table;
///     table.apply(datagram, RouteTable::Origin::dump);
///     show(table.leadsOut());
class TESSALY_EXPORT RouteTable {
 public:
  enum class Origin : std::uint8_t {
    /// The reply to a request for everything of a kind.
    dump,
    /// The tidings of a change. Routes are then only told of, not taken in: the kernel joins, splits and replaces them
    /// in more ways than its messages say, and drops those of IPv4 with their link or address without any.
    event,
  };
  struct Outcome {
    /// After an event: routes may have changed. They must be cleared and read again.
    bool needsRoutes = false;
    /// After a dump: it has ended.
    bool isDone = false;
    /// After a dump: the tables changed meanwhile, and it must be repeated.
    bool isInterrupted = false;
    /// After a dump: it was refused with this `errno`; 0 if not.
    int error = 0;
  };

  /// Takes in all messages of a datagram.
  Outcome apply(std::span<const std::byte> datagram, Origin origin);
  void clear();
  void clearRoutes() { routes_.clear(); }

  [[nodiscard]] bool leadsOut() const;
  [[nodiscard]] std::size_t linksForTesting() const noexcept { return links_.size(); }
  /// Of those that others could answer to.
  [[nodiscard]] std::size_t addressesForTesting() const noexcept { return addresses_.size(); }
  /// Of the default routes.
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
    /// Which halves of the address space it covers: 1, 2, or 3 for both.
    unsigned halves = 3;
    bool hasPreferredSource = false;
    AddressBytes preferredSource{};
    /// The links of its ways that are not dead.
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
