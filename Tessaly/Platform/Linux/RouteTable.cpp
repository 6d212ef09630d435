// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Linux/RouteTable.hpp"

#include <linux/if.h>
#include <linux/if_addr.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>
#include <utility>

namespace Tessaly::inline v1 {
namespace {

using Bytes = std::span<const std::byte>;

/// A copy of the fixed part at the beginning, because the bytes may be unaligned.
template <typename Part>
std::optional<Part> read(Bytes bytes) {
  if (bytes.size() < sizeof(Part)) return std::nullopt;
  Part part;
  std::memcpy(&part, bytes.data(), sizeof part);
  return part;
}

Bytes after(Bytes bytes, std::size_t count) { return bytes.subspan(std::min(bytes.size(), count)); }

constexpr std::size_t aligned(std::size_t length) { return (length + 3) & ~std::size_t{3}; }

/// Calls the function with the kind and the contents of each attribute, until the function finds a malformed attribute
/// and returns false. Returns whether every attribute is well-formed.
template <typename Function>
bool forEachAttribute(Bytes bytes, Function function) {
  while (const auto header = read<rtattr>(bytes)) {
    if (header->rta_len < sizeof(rtattr) || header->rta_len > bytes.size()) return false;
    const auto kind = static_cast<unsigned>(header->rta_type & NLA_TYPE_MASK);
    if (!function(kind, bytes.subspan(sizeof(rtattr), header->rta_len - sizeof(rtattr)))) return false;
    bytes = after(bytes, aligned(header->rta_len));
  }
  return bytes.empty();
}

std::optional<std::size_t> addressSize(std::uint8_t family) {
  if (family == AF_INET) return 4;
  if (family == AF_INET6) return 16;
  return std::nullopt;
}

template <typename Array>
bool copyAddress(Bytes from, std::size_t size, Array& to) {
  if (from.size() != size) return false;
  std::ranges::copy(from, to.begin());
  return true;
}

template <typename Number>
bool copyNumber(Bytes from, Number& to) {
  const auto number = read<Number>(from);
  to = number.value_or(to);
  return number.has_value();
}

/// Adds the link of each next hop, except dead next hops. Returns whether every next hop is well-formed.
bool addLinks(Bytes ways, std::vector<int>& links) {
  while (const auto way = read<rtnexthop>(ways)) {
    if (way->rtnh_len < sizeof(rtnexthop) || way->rtnh_len > ways.size()) return false;
    if ((way->rtnh_flags & RTNH_F_DEAD) == 0) links.push_back(way->rtnh_ifindex);
    ways = after(ways, aligned(way->rtnh_len));
  }
  return ways.empty();
}

/// The `errno` in the message that ends a dump, or 0 after a success. An error without a code is a malformed message.
int errorIn(const nlmsghdr& header, Bytes payload) {
  const int code = read<int>(payload).value_or(header.nlmsg_type == NLMSG_ERROR ? -EBADMSG : 0);
  return code < 0 ? -std::max(code, -4095) : 0;
}

bool isLinkUp(unsigned flags) {
  // "Running" is the usable state of RFC 2863: the link has a carrier, and no protocol such as 802.1X is pending.
  constexpr unsigned wanted = IFF_UP | IFF_RUNNING;
  return (flags & wanted) == wanted && (flags & IFF_LOOPBACK) == 0;
}

}  // namespace

RouteTable::Outcome RouteTable::apply(Bytes datagram, Origin origin) {
  Outcome outcome;
  while (const auto header = read<nlmsghdr>(datagram)) {
    if (header->nlmsg_len < sizeof(nlmsghdr) || header->nlmsg_len > datagram.size()) break;
    const Bytes payload = datagram.subspan(sizeof(nlmsghdr), header->nlmsg_len - sizeof(nlmsghdr));
    if ((header->nlmsg_flags & NLM_F_DUMP_INTR) != 0) outcome.isInterrupted = true;
    switch (header->nlmsg_type) {
      case NLMSG_DONE:
      case NLMSG_ERROR:
        outcome.error = errorIn(*header, payload);
        outcome.isDone = true;
        break;
      case RTM_NEWLINK:
      case RTM_DELLINK:
        applyLink(payload, header->nlmsg_type == RTM_NEWLINK, outcome);
        break;
      case RTM_NEWADDR:
      case RTM_DELADDR:
        applyAddress(payload, header->nlmsg_type == RTM_NEWADDR, outcome);
        break;
      case RTM_NEWROUTE:
      case RTM_DELROUTE:
        applyRoute(payload, origin, outcome);
        break;
      default:
        break;
    }
    datagram = after(datagram, aligned(header->nlmsg_len));
  }
  return outcome;
}

void RouteTable::applyLink(Bytes payload, bool isThere, Outcome& outcome) {
  const auto link = read<ifinfomsg>(payload);
  // Messages of AF_BRIDGE concern a port's place in its bridge, not the link.
  if (!link || link->ifi_family != AF_UNSPEC) return;
  const auto known = links_.find(link->ifi_index);
  const bool wasUp = known != links_.end() && (known->second & IFF_UP) != 0;
  const bool isUp = isThere && (link->ifi_flags & IFF_UP) != 0;
  if (wasUp && !isUp) outcome.needsRoutes = true;
  if (isThere) {
    links_[link->ifi_index] = link->ifi_flags;
  } else if (known != links_.end()) {
    links_.erase(known);
    std::erase_if(addresses_, [&](const Address& address) { return address.link == link->ifi_index; });
  }
}

void RouteTable::applyAddress(Bytes payload, bool isThere, Outcome& outcome) {
  const auto part = read<ifaddrmsg>(payload);
  const auto size = part ? addressSize(part->ifa_family) : std::nullopt;
  if (!size) return;
  std::optional<AddressBytes> bytes;
  std::optional<AddressBytes> local;
  std::uint32_t flags = part->ifa_flags;
  const auto attributes = after(payload, NLMSG_ALIGN(sizeof(ifaddrmsg)));
  const bool isWellFormed = forEachAttribute(attributes, [&](unsigned kind, Bytes contents) {
    if (kind == IFA_ADDRESS) return copyAddress(contents, *size, bytes.emplace());
    if (kind == IFA_LOCAL) return copyAddress(contents, *size, local.emplace());
    return kind != IFA_FLAGS || copyNumber(contents, flags);
  });
  if (!isWellFormed) return;
  // If both exist, IFA_ADDRESS is the address of the other end.
  if (local) bytes = local;
  if (!bytes) return;
  const Address address{part->ifa_family, static_cast<int>(part->ifa_index), *bytes};
  // Machines beyond the link cannot answer to an address with the scope of a link or host. For IPv4 an address with the
  // scope of a link counts nevertheless, because address translators use such addresses.
  const bool reachesOut =
      part->ifa_family == AF_INET6 ? part->ifa_scope < RT_SCOPE_LINK : part->ifa_scope < RT_SCOPE_HOST;
  const bool isUsable = (flags & (IFA_F_TENTATIVE | IFA_F_DADFAILED)) == 0 || (flags & IFA_F_OPTIMISTIC) != 0;
  if (isThere && reachesOut && isUsable) {
    addresses_.insert(address);
  } else {
    addresses_.erase(address);
    if (!isThere) outcome.needsRoutes = true;
  }
}

void RouteTable::applyRoute(Bytes payload, Origin origin, Outcome& outcome) {
  const auto part = read<rtmsg>(payload);
  const auto size = part ? addressSize(part->rtm_family) : std::nullopt;
  if (!size || part->rtm_dst_len > 1 || part->rtm_src_len != 0 || (part->rtm_flags & RTM_F_CLONED) != 0) return;
  std::uint32_t table = part->rtm_table;
  Route route{.family = part->rtm_family, .links = {}};
  AddressBytes destination{};
  int link = 0;
  bool hasWays = false;
  const auto attributes = after(payload, NLMSG_ALIGN(sizeof(rtmsg)));
  const bool isWellFormed = forEachAttribute(attributes, [&](unsigned kind, Bytes contents) {
    switch (kind) {
      case RTA_DST:
        return copyAddress(contents, *size, destination);
      case RTA_PREFSRC:
        route.hasPreferredSource = true;
        return copyAddress(contents, *size, route.preferredSource);
      case RTA_OIF:
        return copyNumber(contents, link);
      case RTA_TABLE:
        return copyNumber(contents, table);
      case RTA_MULTIPATH:
        hasWays = true;
        return addLinks(contents, route.links);
      default:
        return true;
    }
  });
  if (!isWellFormed) return;
  if (table != RT_TABLE_MAIN && table != RT_TABLE_DEFAULT) return;
  if (origin == Origin::event) {
    outcome.needsRoutes = true;
    return;
  }
  if (part->rtm_type != RTN_UNICAST) return;
  if (part->rtm_dst_len == 1) route.halves = (destination[0] & std::byte{0x80}) == std::byte{0} ? 1 : 2;
  if (!hasWays && (part->rtm_flags & RTNH_F_DEAD) == 0) route.links.push_back(link);
  routes_.push_back(std::move(route));
}

void RouteTable::clear() {
  links_.clear();
  addresses_.clear();
  routes_.clear();
}

bool RouteTable::leadsOut(const Route& route) const {
  const bool hasSourceElsewhere =
      route.hasPreferredSource && std::ranges::any_of(addresses_, [&](const Address& address) {
        return address.family == route.family && address.bytes == route.preferredSource;
      });
  return std::ranges::any_of(route.links, [&](int link) {
    const auto found = links_.find(link);
    if (found == links_.end() || !isLinkUp(found->second)) return false;
    if (hasSourceElsewhere) return true;
    const auto address = addresses_.lower_bound(Address{route.family, link, {}});
    return address != addresses_.end() && address->family == route.family && address->link == link;
  });
}

bool RouteTable::leadsOut() const {
  unsigned halvesOfIPv4 = 0;
  unsigned halvesOfIPv6 = 0;
  for (const Route& route : routes_) {
    if (leadsOut(route)) (route.family == AF_INET ? halvesOfIPv4 : halvesOfIPv6) |= route.halves;
  }
  return halvesOfIPv4 == 3 || halvesOfIPv6 == 3;
}

}  // namespace Tessaly::inline v1
