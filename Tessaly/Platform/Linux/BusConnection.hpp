// SPDX-License-Identifier: MIT
#pragma once

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "Tessaly/Platform/Linux/BusReplies.hpp"
#include "Tessaly/Platform/Linux/SystemdLibrary.hpp"

namespace Tessaly::inline v1::detail {

struct BusMessageReleaser {
  void operator()(sd_bus_message* message) const noexcept { sd_bus_message_unref(message); }
};
using BusMessage = std::unique_ptr<sd_bus_message, BusMessageReleaser>;

/// The result of a call: the reply message, or a negative system error code. An error also has the D-Bus name and text,
/// if they are known.
struct BusReply {
  int result = 0;
  BusMessage message = nullptr;
  std::string errorName = {};
  std::string errorMessage = {};
};

/// A private connection to a bus. Each operation takes at most `limit`, unless the caller of `call` passes another
/// timeout. Each library that includes this header has its own copy of the code, and does not export the copy.
///
/// Thread contract: thread-compatible.
class BusConnection {
 public:
  static constexpr std::chrono::microseconds limit = std::chrono::seconds(2);

  BusConnection() = default;

  [[nodiscard]] bool isOpen() const noexcept { return bus_ != nullptr && sd_bus_is_open(bus_.get()) > 0; }
  [[nodiscard]] sd_bus* get() const noexcept { return bus_.get(); }
  void close() noexcept { bus_.reset(); }

  /// Connects, and waits until the bus has accepted the connection. Returns 0 or a negative system error code.
  int open(Bus which) {
    bus_.reset();
    sd_bus* bus = nullptr;
    int result = openBus(which, &bus);
    if (result < 0) return result;
    bus_.reset(bus);
    sd_bus_set_method_call_timeout(bus, static_cast<std::uint64_t>(limit.count()));
    // `processUntil` waits at most `limit`. libsystemd would wait 90 s for a bus that accepts the connection and never
    // answers.
    int ready = 0;
    result = processUntil([&] { return (ready = sd_bus_is_ready(bus)) != 0; });
    if (result == 0) result = ready;
    if (result < 0) bus_.reset();
    return result < 0 ? result : 0;
  }

  /// Processes messages until the condition holds, for at most `limit`. Returns 0 or a negative system error code.
  template <typename Condition>
  int processUntil(Condition holds) {
    using std::chrono::steady_clock;
    const auto deadline = steady_clock::now() + limit;
    while (!holds()) {
      const int processed = sd_bus_process(bus_.get(), nullptr);
      if (processed < 0) return processed;
      // Messages that never pause end the wait too.
      const auto left = std::chrono::duration_cast<std::chrono::microseconds>(deadline - steady_clock::now());
      if (left <= left.zero()) return -ETIMEDOUT;
      if (processed > 0) continue;
      const int waited = sd_bus_wait(bus_.get(), static_cast<std::uint64_t>(left.count()) + 1);
      if (waited < 0 && waited != -EINTR) return waited;
    }
    return 0;
  }

  /// Makes the message of a method call, but does not send it. The bus will not start the destination service for this
  /// message. Null if there is no connection, or if the message cannot be made, for example with an invalid name.
  [[nodiscard]] BusMessage makeCall(const char* destination, const char* path, const char* interface,
                                    const char* member) const {
    sd_bus_message* message = nullptr;
    if (bus_ == nullptr ||
        sd_bus_message_new_method_call(bus_.get(), &message, destination, path, interface, member) < 0)
      return nullptr;
    sd_bus_message_set_auto_start(message, 0);
    return BusMessage(message);
  }

  /// Sends the message and waits for the reply, for at most `timeout` microseconds. If `timeout` is 0, the call waits
  /// for at most `limit`. If `timeout` is `UINT64_MAX`, the call waits without a time limit.
  BusReply call(const BusMessage& message, std::uint64_t timeout = 0) {
    BusReply reply;
    if (message == nullptr || bus_ == nullptr) {
      reply.result = message == nullptr ? -EINVAL : -ENOTCONN;
      return reply;
    }
    sd_bus_error error = SD_BUS_ERROR_NULL;
    sd_bus_message* answer = nullptr;
    reply.result = sd_bus_call(bus_.get(), message.get(), timeout, &error, &answer);
    reply.message.reset(answer);
    if (reply.result < 0 && error.name != nullptr) {
      reply.errorName = error.name;
      reply.errorMessage = error.message != nullptr ? error.message : "";
    }
    sd_bus_error_free(&error);
    return reply;
  }

  /// The unique name of the connection that owns `name`. Empty if no connection owns it, or if the call fails.
  [[nodiscard]] std::string ownerOf(const char* name) {
    const BusMessage question = makeCallOfBus("GetNameOwner");
    if (question == nullptr || sd_bus_message_append(question.get(), "s", name) < 0) return {};
    const BusReply reply = call(question);
    if (reply.result < 0) return {};
    return readOwner(reply.message.get()).value_or(std::string());
  }

  /// Asks the bus to start the program that provides the name, and waits for the bus's answer. Ignores errors. The bus
  /// starts nothing if a connection already owns the name, or if no such program is known.
  void startOwnerOf(const char* name) {
    const BusMessage request = makeCallOfBus("StartServiceByName");
    if (request != nullptr && sd_bus_message_append(request.get(), "su", name, 0u) >= 0) call(request);
  }

 private:
  [[nodiscard]] BusMessage makeCallOfBus(const char* member) const {
    return makeCall("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", member);
  }

  struct Closer {
    void operator()(sd_bus* bus) const noexcept { sd_bus_close_unref(bus); }
  };
  std::unique_ptr<sd_bus, Closer> bus_;
};

}  // namespace Tessaly::inline v1::detail
