// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <poll.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>

#include "Tessaly/Platform/Linux/BusConnection.hpp"
#include "tests/Support/PrivateBus.hpp"

namespace Tessaly::inline v1::detail {
namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;

TEST(BusConnection, MessagesThatNeverPauseEndAWaitAfterItsLimit) {
  const Tests::PrivateBus bus("DBUS_SESSION_BUS_ADDRESS");
  if (!bus.reason().empty()) GTEST_SKIP() << bus.reason();
  BusConnection receiver;
  ASSERT_EQ(0, receiver.open(Bus::session));
  // Messages arrive faster than the receiver processes them.
  ::sd_bus_add_filter(
      receiver.get(), nullptr, [](sd_bus_message*, void*, sd_bus_error*) { return ::poll(nullptr, 0, 5); }, nullptr);
  const char* name = nullptr;
  ASSERT_LE(0, sd_bus_get_unique_name(receiver.get(), &name));

  std::atomic<bool> isOver{false};
  const auto start = steady_clock::now();
  std::thread sender([&, destination = std::string(name)] {
    BusConnection connection;
    if (connection.open(Bus::session) != 0) return;
    while (!isOver && steady_clock::now() - start < 20s) {
      const BusMessage message = connection.makeCall(destination.c_str(), "/", "org.example", "Nothing");
      ::sd_bus_message_set_expect_reply(message.get(), 0);
      ::sd_bus_send(connection.get(), message.get(), nullptr);
    }
  });
  EXPECT_EQ(-ETIMEDOUT, receiver.processUntil([] { return false; }));
  EXPECT_LT(steady_clock::now() - start, 15s);
  isOver = true;
  sender.join();
}

}  // namespace
}  // namespace Tessaly::inline v1::detail
