// SPDX-License-Identifier: MIT
// Any bytes replace the messages of the kernel. The first bytes decide the datagrams and their kinds. No path leads out
// without a link, an address and a route, and a cleared table is empty.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <vector>

#include "Tessaly/Platform/Linux/RouteTable.hpp"

namespace {

using Tessaly::RouteTable;

void require(bool condition) {
  if (!condition) std::abort();
}

void requireSense(const RouteTable& table) {
  if (table.leadsOut())
    require(table.linksForTesting() > 0 && table.addressesForTesting() > 0 && table.routesForTesting() > 0);
}

/// Applies a copy on the heap of the exact size, so that a sanitizer reports a read beyond the end.
RouteTable::Outcome apply(RouteTable& table, std::span<const std::byte> bytes, RouteTable::Origin origin) {
  const std::vector<std::byte> datagram(bytes.begin(), bytes.end());
  const std::size_t routes = table.routesForTesting();
  const RouteTable::Outcome outcome = table.apply(datagram, origin);
  if (origin == RouteTable::Origin::event) require(table.routesForTesting() == routes);
  if (origin == RouteTable::Origin::dump) require(table.routesForTesting() >= routes);
  require(outcome.error >= 0 && outcome.error < 4096);
  requireSense(table);
  return outcome;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::span<const std::byte> bytes(reinterpret_cast<const std::byte*>(data) + 1, size - 1);
  RouteTable whole;
  apply(whole, bytes, RouteTable::Origin::dump);
  RouteTable again;
  apply(again, bytes, RouteTable::Origin::dump);
  require(whole.leadsOut() == again.leadsOut());

  RouteTable parts;
  const std::size_t split = bytes.size() * (data[0] & 0x7FU) / 0x80U;
  apply(parts, bytes.first(split), RouteTable::Origin::dump);
  apply(parts, bytes.subspan(split), (data[0] & 0x80U) != 0 ? RouteTable::Origin::event : RouteTable::Origin::dump);
  parts.clear();
  require(parts.linksForTesting() + parts.addressesForTesting() + parts.routesForTesting() == 0);
  require(!parts.leadsOut());
  return 0;
}
