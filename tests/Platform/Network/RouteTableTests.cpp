// SPDX-License-Identifier: MIT
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <linux/if.h>
#include <linux/if_addr.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <vector>

#include "Tessaly/Platform/Linux/RouteTable.hpp"

namespace Tessaly {
namespace {

using Origin = RouteTable::Origin;

/// Builds netlink messages in the kernel's format.
class Datagram {
 public:
  template <typename Part>
  Datagram& message(unsigned type, const Part& part, unsigned flags = 0) {
    start_ = bytes_.size();
    nlmsghdr header{};
    header.nlmsg_type = static_cast<std::uint16_t>(type);
    header.nlmsg_flags = static_cast<std::uint16_t>(flags);
    append(header);
    append(part);
    return finish();
  }
  template <typename Value>
  Datagram& attribute(unsigned kind, const Value& value) {
    rtattr header{};
    header.rta_type = static_cast<unsigned short>(kind);
    header.rta_len = static_cast<unsigned short>(sizeof header + sizeof value);
    append(header);
    append(value);
    return finish();
  }
  template <typename Part>
  Datagram& trailing(const Part& part) {
    append(part);
    return finish();
  }
  Datagram& address(unsigned kind, const std::string& text) {
    in6_addr six{};
    in_addr four{};
    if (::inet_pton(AF_INET, text.c_str(), &four) == 1) return attribute(kind, four);
    EXPECT_EQ(::inet_pton(AF_INET6, text.c_str(), &six), 1);
    return attribute(kind, six);
  }

  Datagram& link(int index, unsigned flags, unsigned type = RTM_NEWLINK, unsigned char family = AF_UNSPEC) {
    ifinfomsg part{};
    part.ifi_family = family;
    part.ifi_index = index;
    part.ifi_flags = flags;
    return message(type, part);
  }
  Datagram& hasAddress(int index, const std::string& text, unsigned char scope = RT_SCOPE_UNIVERSE,
                       std::uint32_t flags = 0, unsigned type = RTM_NEWADDR) {
    ifaddrmsg part{};
    part.ifa_family = text.find(':') == std::string::npos ? AF_INET : AF_INET6;
    part.ifa_scope = scope;
    part.ifa_index = static_cast<unsigned>(index);
    message(type, part).address(IFA_ADDRESS, text);
    return attribute(IFA_FLAGS, flags);
  }
  struct RouteOptions {
    unsigned char family = AF_INET;
    unsigned char type = RTN_UNICAST;
    unsigned char prefix = 0;
    std::uint32_t table = RT_TABLE_MAIN;
    unsigned flags = 0;
    unsigned message = RTM_NEWROUTE;
  };
  Datagram& route(RouteOptions options) {
    rtmsg part{};
    part.rtm_family = options.family;
    part.rtm_dst_len = options.prefix;
    part.rtm_type = options.type;
    part.rtm_flags = options.flags;
    return message(options.message, part).attribute(RTA_TABLE, options.table);
  }
  Datagram& defaultRoute(int index, unsigned char family = AF_INET) {
    return route({.family = family}).attribute(RTA_OIF, index);
  }

  [[nodiscard]] std::span<const std::byte> bytes() const { return bytes_; }

 private:
  template <typename Value>
  void append(const Value& value) {
    const auto* const first = reinterpret_cast<const std::byte*>(&value);
    bytes_.insert(bytes_.end(), first, first + sizeof value);
    bytes_.resize((bytes_.size() + 3) & ~std::size_t{3});
  }
  Datagram& finish() {
    const auto length = static_cast<std::uint32_t>(bytes_.size() - start_);
    std::memcpy(bytes_.data() + start_, &length, sizeof length);
    return *this;
  }

  std::vector<std::byte> bytes_;
  std::size_t start_ = 0;
};

constexpr unsigned up = IFF_UP | IFF_RUNNING;
constexpr int ethernet = 2;

class RouteTableTest : public testing::Test {
 protected:
  bool leadsOut(const Datagram& datagram) {
    RouteTable table;
    table.apply(datagram.bytes(), Origin::dump);
    return table.leadsOut();
  }
  Datagram online() { return Datagram().link(ethernet, up).hasAddress(ethernet, "10.0.0.1").defaultRoute(ethernet); }
};

TEST_F(RouteTableTest, EmptyTableHasNoUsableRoute) { EXPECT_FALSE(RouteTable().leadsOut()); }

TEST_F(RouteTableTest, DefaultRouteWithAddressAndCarrierIsUsable) {
  RouteTable table;
  table.apply(online().bytes(), Origin::dump);
  EXPECT_EQ(table.linksForTesting(), 1u);
  EXPECT_EQ(table.addressesForTesting(), 1u);
  EXPECT_EQ(table.routesForTesting(), 1u);
  EXPECT_TRUE(table.leadsOut());
}

TEST_F(RouteTableTest, RouteAddressAndCarrierAreRequired) {
  EXPECT_FALSE(leadsOut(Datagram().hasAddress(ethernet, "10.0.0.1").defaultRoute(ethernet)));
  EXPECT_FALSE(leadsOut(Datagram().link(ethernet, up).defaultRoute(ethernet)));
  EXPECT_FALSE(leadsOut(Datagram().link(ethernet, up).hasAddress(ethernet, "10.0.0.1")));
}

TEST_F(RouteTableTest, LinkMustBeUpRunningAndNotLoopback) {
  for (const unsigned flags : {0U, unsigned{IFF_UP}, unsigned{IFF_RUNNING}, up | IFF_LOOPBACK}) {
    EXPECT_FALSE(leadsOut(Datagram().link(ethernet, flags).hasAddress(ethernet, "10.0.0.1").defaultRoute(ethernet)));
  }
}

TEST_F(RouteTableTest, RouteAndAddressMustShareAFamily) {
  EXPECT_FALSE(
      leadsOut(Datagram().link(ethernet, up).hasAddress(ethernet, "10.0.0.1").defaultRoute(ethernet, AF_INET6)));
  EXPECT_FALSE(leadsOut(Datagram().link(ethernet, up).hasAddress(ethernet, "2001:db8::1").defaultRoute(ethernet)));
  EXPECT_TRUE(
      leadsOut(Datagram().link(ethernet, up).hasAddress(ethernet, "2001:db8::1").defaultRoute(ethernet, AF_INET6)));
}

TEST_F(RouteTableTest, RouteAndAddressMustShareALink) {
  EXPECT_FALSE(leadsOut(Datagram().link(2, up).link(3, up).hasAddress(3, "10.0.0.1").defaultRoute(2)));
}

TEST_F(RouteTableTest, AddressOfNarrowScopeDoesNotCount) {
  const auto with = [&](const std::string& address, unsigned char scope, std::uint32_t flags, unsigned char family) {
    return leadsOut(
        Datagram().link(ethernet, up).hasAddress(ethernet, address, scope, flags).defaultRoute(ethernet, family));
  };
  EXPECT_FALSE(with("fe80::1", RT_SCOPE_LINK, 0, AF_INET6));
  EXPECT_FALSE(with("2001:db8::1", RT_SCOPE_UNIVERSE, IFA_F_TENTATIVE, AF_INET6));
  EXPECT_FALSE(with("2001:db8::1", RT_SCOPE_UNIVERSE, IFA_F_DADFAILED | IFA_F_TENTATIVE, AF_INET6));
  EXPECT_TRUE(with("2001:db8::1", RT_SCOPE_UNIVERSE, IFA_F_TENTATIVE | IFA_F_OPTIMISTIC, AF_INET6));
  EXPECT_TRUE(with("fc00::1", RT_SCOPE_UNIVERSE, IFA_F_DEPRECATED, AF_INET6));
  EXPECT_FALSE(with("10.0.0.1", RT_SCOPE_HOST, 0, AF_INET));
  EXPECT_TRUE(with("169.254.0.1", RT_SCOPE_LINK, 0, AF_INET));
}

TEST_F(RouteTableTest, AddressThatBecomesUsableCounts) {
  RouteTable table;
  table.apply(Datagram().link(2, up).hasAddress(2, "2001:db8::1", 0, IFA_F_TENTATIVE).defaultRoute(2, AF_INET6).bytes(),
              Origin::dump);
  EXPECT_FALSE(table.leadsOut());
  table.apply(Datagram().hasAddress(2, "2001:db8::1").bytes(), Origin::event);
  EXPECT_TRUE(table.leadsOut());
  table.apply(Datagram().hasAddress(2, "2001:db8::1", 0, IFA_F_TENTATIVE).bytes(), Origin::event);
  EXPECT_FALSE(table.leadsOut());
}

TEST_F(RouteTableTest, LocalAddressOfAPointToPointLinkCounts) {
  ifaddrmsg part{};
  part.ifa_family = AF_INET;
  part.ifa_index = ethernet;
  RouteTable table;
  Datagram there;
  there.message(RTM_NEWADDR, part).address(IFA_ADDRESS, "10.9.9.9").address(IFA_LOCAL, "10.0.0.1");
  table.apply(there.bytes(), Origin::event);
  Datagram gone;
  gone.message(RTM_DELADDR, part).address(IFA_LOCAL, "10.0.0.1").address(IFA_ADDRESS, "10.9.9.9");
  EXPECT_EQ(table.addressesForTesting(), 1u);
  table.apply(gone.bytes(), Origin::event);
  EXPECT_EQ(table.addressesForTesting(), 0u);
}

TEST_F(RouteTableTest, RouteMayUseTheAddressOfAnotherLink) {
  Datagram datagram;
  datagram.link(2, up).link(3, up).hasAddress(3, "10.0.0.1").defaultRoute(2).address(RTA_PREFSRC, "10.0.0.1");
  EXPECT_TRUE(leadsOut(datagram));
  Datagram stranger;
  stranger.link(2, up).link(3, up).hasAddress(3, "10.0.0.1").defaultRoute(2).address(RTA_PREFSRC, "10.0.0.2");
  EXPECT_FALSE(leadsOut(stranger));
}

TEST_F(RouteTableTest, UnreachableRoutesDoNotCount) {
  const auto with = [&](Datagram::RouteOptions options) {
    Datagram datagram;
    datagram.link(2, up).hasAddress(2, "10.0.0.1").route(options).attribute(RTA_OIF, 2);
    return leadsOut(datagram);
  };
  EXPECT_TRUE(with({}));
  EXPECT_TRUE(with({.table = RT_TABLE_DEFAULT}));
  EXPECT_FALSE(with({.table = RT_TABLE_LOCAL}));
  EXPECT_FALSE(with({.table = 51820}));
  EXPECT_FALSE(with({.type = RTN_UNREACHABLE}));
  EXPECT_FALSE(with({.type = RTN_BLACKHOLE}));
  EXPECT_FALSE(with({.prefix = 24}));
  EXPECT_FALSE(with({.flags = RTNH_F_DEAD}));
  EXPECT_FALSE(with({.flags = RTM_F_CLONED}));
}

TEST_F(RouteTableTest, TwoHalfRoutesAreADefaultRoute) {
  const auto half = [](Datagram& datagram, const std::string& destination, int index) {
    datagram.route({.prefix = 1}).attribute(RTA_OIF, index);
    if (!destination.empty()) datagram.address(RTA_DST, destination);
  };
  Datagram lower = Datagram().link(2, up).hasAddress(2, "10.0.0.1");
  half(lower, "0.0.0.0", 2);
  EXPECT_FALSE(leadsOut(lower));
  Datagram both = lower;
  half(both, "128.0.0.0", 2);
  EXPECT_TRUE(leadsOut(both));
  Datagram twice = lower;
  half(twice, "", 2);
  EXPECT_FALSE(leadsOut(twice));
  Datagram elsewhere = lower;
  half(elsewhere, "128.0.0.0", 3);
  EXPECT_FALSE(leadsOut(elsewhere));
}

TEST_F(RouteTableTest, OneUsableNextHopIsEnough) {
  const auto way = [](int index, unsigned char flags) {
    rtnexthop hop{};
    hop.rtnh_len = sizeof hop;
    hop.rtnh_flags = flags;
    hop.rtnh_ifindex = index;
    return hop;
  };
  struct {
    rtnexthop first;
    rtnexthop second;
  } ways{way(2, 0), way(3, 0)};
  Datagram links = Datagram().link(2, IFF_UP).hasAddress(2, "10.0.0.1").link(3, up).hasAddress(3, "10.1.0.1");
  Datagram usable = links;
  usable.route({}).attribute(RTA_MULTIPATH, ways);
  EXPECT_TRUE(leadsOut(usable));
  ways.second.rtnh_flags = RTNH_F_DEAD;
  Datagram dead = links;
  dead.route({}).attribute(RTA_MULTIPATH, ways);
  EXPECT_FALSE(leadsOut(dead));
  ways.first.rtnh_len = 0;
  ways.second.rtnh_flags = 0;
  Datagram nonsense = links;
  nonsense.route({}).attribute(RTA_MULTIPATH, ways);
  EXPECT_FALSE(leadsOut(nonsense));
}

TEST_F(RouteTableTest, CarrierLossMakesTheRouteUnusableUntilItReturns) {
  RouteTable table;
  table.apply(online().bytes(), Origin::dump);
  EXPECT_FALSE(table.apply(Datagram().link(ethernet, IFF_UP).bytes(), Origin::event).needsRoutes);
  EXPECT_FALSE(table.leadsOut());
  EXPECT_FALSE(table.apply(Datagram().link(ethernet, up).bytes(), Origin::event).needsRoutes);
  EXPECT_TRUE(table.leadsOut());
}

TEST_F(RouteTableTest, RoutesMustBeReadAgainAfterSilentRemovals) {
  RouteTable table;
  table.apply(online().bytes(), Origin::dump);
  EXPECT_TRUE(table.apply(Datagram().link(ethernet, 0).bytes(), Origin::event).needsRoutes);
  EXPECT_FALSE(table.apply(Datagram().link(ethernet, up).bytes(), Origin::event).needsRoutes);
  EXPECT_TRUE(
      table.apply(Datagram().hasAddress(ethernet, "10.0.0.1", 0, 0, RTM_DELADDR).bytes(), Origin::event).needsRoutes);
  EXPECT_TRUE(table.apply(Datagram().link(ethernet, up, RTM_DELLINK).bytes(), Origin::event).needsRoutes);
}

TEST_F(RouteTableTest, RouteEventRequestsAReading) {
  RouteTable table;
  EXPECT_TRUE(table.apply(Datagram().defaultRoute(ethernet).bytes(), Origin::event).needsRoutes);
  EXPECT_TRUE(table.apply(Datagram().route({.message = RTM_DELROUTE}).bytes(), Origin::event).needsRoutes);
  EXPECT_TRUE(table.apply(Datagram().route({.type = RTN_UNREACHABLE}).bytes(), Origin::event).needsRoutes);
  EXPECT_FALSE(table.apply(Datagram().route({.prefix = 24}).bytes(), Origin::event).needsRoutes);
  EXPECT_FALSE(table.apply(Datagram().route({.table = 100}).bytes(), Origin::event).needsRoutes);
  EXPECT_EQ(table.routesForTesting(), 0u);
}

TEST_F(RouteTableTest, RemovedLinkLosesItsAddresses) {
  RouteTable table;
  table.apply(online().bytes(), Origin::dump);
  table.apply(Datagram().link(ethernet, up, RTM_DELLINK).bytes(), Origin::event);
  EXPECT_EQ(table.linksForTesting(), 0u);
  EXPECT_EQ(table.addressesForTesting(), 0u);
  EXPECT_FALSE(table.leadsOut());
}

TEST_F(RouteTableTest, LinkThatLeavesABridgeStays) {
  RouteTable table;
  table.apply(online().bytes(), Origin::dump);
  table.apply(Datagram().link(ethernet, up, RTM_DELLINK, AF_BRIDGE).bytes(), Origin::event);
  EXPECT_TRUE(table.leadsOut());
}

TEST_F(RouteTableTest, ReportsTheEndOfADump) {
  RouteTable table;
  EXPECT_FALSE(table.apply(online().bytes(), Origin::dump).isDone);
  EXPECT_TRUE(table.apply(Datagram().message(NLMSG_DONE, 0).bytes(), Origin::dump).isDone);
  EXPECT_TRUE(table.apply(Datagram().message(NLMSG_DONE, 0, NLM_F_DUMP_INTR).bytes(), Origin::dump).isInterrupted);
  nlmsgerr error{};
  error.error = -EPERM;
  const RouteTable::Outcome refused = table.apply(Datagram().message(NLMSG_ERROR, error).bytes(), Origin::dump);
  EXPECT_TRUE(refused.isDone);
  EXPECT_EQ(refused.error, EPERM);
  error.error = INT32_MIN;
  EXPECT_EQ(table.apply(Datagram().message(NLMSG_ERROR, error).bytes(), Origin::dump).error, 4095);
}

TEST_F(RouteTableTest, ErrorWithoutACodeIsAFailedDump) {
  RouteTable table;
  nlmsghdr header{};
  header.nlmsg_len = sizeof header;
  header.nlmsg_type = NLMSG_ERROR;
  const auto outcome = table.apply(std::as_bytes(std::span(&header, 1)), Origin::dump);
  EXPECT_TRUE(outcome.isDone);
  EXPECT_EQ(outcome.error, EBADMSG);
}

TEST_F(RouteTableTest, EndOfADumpMayReportAFailure) {
  RouteTable table;
  const auto outcome = table.apply(Datagram().message(NLMSG_DONE, -ENOBUFS).bytes(), Origin::dump);
  EXPECT_TRUE(outcome.isDone);
  EXPECT_EQ(outcome.error, ENOBUFS);
}

TEST_F(RouteTableTest, MessageWithAMalformedAttributeChangesNothing) {
  const auto routes = [](const Datagram& datagram, Origin origin = Origin::dump) {
    RouteTable table;
    EXPECT_FALSE(table.apply(datagram.bytes(), origin).needsRoutes);
    return table.routesForTesting();
  };
  using Short = std::uint16_t;
  for (const unsigned kind : {RTA_DST, RTA_PREFSRC, RTA_OIF, RTA_TABLE, RTA_MULTIPATH}) {
    SCOPED_TRACE(kind);
    EXPECT_EQ(routes(Datagram().defaultRoute(ethernet).attribute(kind, Short{1})), 0u);
    EXPECT_EQ(routes(Datagram().defaultRoute(ethernet).attribute(kind, Short{1}), Origin::event), 0u);
  }
  const rtattr tooLong{.rta_len = 100, .rta_type = RTA_PREFSRC};
  EXPECT_EQ(routes(Datagram().route({}).attribute(RTA_PRIORITY, 1).trailing(tooLong)), 0u);
  RouteTable table;
  table.apply(Datagram().hasAddress(ethernet, "10.0.0.1").bytes(), Origin::dump);
  table.apply(Datagram().hasAddress(ethernet, "10.0.0.1").attribute(IFA_LOCAL, Short{1}).bytes(), Origin::dump);
  table.apply(Datagram().hasAddress(ethernet, "10.0.0.2").attribute(IFA_LOCAL, Short{1}).bytes(), Origin::dump);
  table.apply(Datagram().hasAddress(ethernet, "10.0.0.3").attribute(IFA_FLAGS, Short{1}).bytes(), Origin::dump);
  EXPECT_EQ(table.addressesForTesting(), 1u);
}

TEST_F(RouteTableTest, TruncatedMessagesAreHarmless) {
  const Datagram whole = online();
  for (std::size_t size = 0; size < whole.bytes().size(); ++size) {
    // A copy on the heap of the exact size, so that a sanitizer reports a read beyond the end.
    const std::vector<std::byte> part(whole.bytes().begin(), whole.bytes().begin() + static_cast<std::ptrdiff_t>(size));
    RouteTable table;
    table.apply(part, Origin::dump);
    EXPECT_FALSE(table.leadsOut()) << size;
  }
}

TEST_F(RouteTableTest, InvalidLengthsEndTheParsing) {
  for (const std::uint32_t length : {0U, 1U, 15U, 0xFFFFFFFFU}) {
    Datagram datagram = online();
    std::vector<std::byte> bytes(datagram.bytes().begin(), datagram.bytes().end());
    std::memcpy(bytes.data(), &length, sizeof length);
    RouteTable table;
    table.apply(bytes, Origin::dump);
    EXPECT_EQ(table.linksForTesting(), 0u);
  }
}

TEST_F(RouteTableTest, ClearedTableIsEmpty) {
  RouteTable table;
  table.apply(online().bytes(), Origin::dump);
  table.clearRoutes();
  EXPECT_EQ(table.routesForTesting(), 0u);
  EXPECT_EQ(table.linksForTesting(), 1u);
  table.clear();
  EXPECT_EQ(table.linksForTesting() + table.addressesForTesting(), 0u);
}

}  // namespace
}  // namespace Tessaly
