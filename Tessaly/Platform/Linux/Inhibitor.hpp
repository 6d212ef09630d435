// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <expected>
#include <span>
#include <string>

#include "Tessaly/Core/Base/detail/OwnedDescriptor.hpp"
#include "Tessaly/Platform/Linux/BusConnection.hpp"
#include "Tessaly/Platform/Linux/BusReplies.hpp"
#include "Tessaly/Platform/Power/PowerBackend.hpp"

namespace Tessaly::inline v1::detail {

/// A service that can keep a display awake, and its names on the bus.
struct Inhibitor {
  PowerService service;
  Bus bus;
  const char* name;
  const char* path;
  const char* interface;
};

/// The things that end an inhibition. Each service gives one of them.
struct Inhibition {
  std::uint32_t cookie = 0;
  /// The portal's request object.
  std::string request = {};
  /// Closing this descriptor ends the inhibition.
  OwnedDescriptor descriptor = {};
};

/// The environment of the process, on which the list of services depends.
enum class Surroundings : bool { open, sandbox };

/// The services in the order in which they are called. The portal is called only in a sandbox.
[[nodiscard]] std::span<const Inhibitor> inhibitors(Surroundings surroundings);

/// A request to the service with the unique name `owner` to keep the display awake. Null if the request cannot be made,
/// for example with text that is not UTF-8.
[[nodiscard]] BusMessage makeInhibit(const Inhibitor& inhibitor, const BusConnection& bus, const std::string& owner,
                                     const std::string& application, const std::string& reason);

/// The contents of the service's answer to the request from `makeInhibit`.
[[nodiscard]] std::expected<Inhibition, ReplyProblem> readInhibition(const Inhibitor& inhibitor, sd_bus_message* reply);

/// The request to end the inhibition. Null if the request cannot be made.
[[nodiscard]] BusMessage makeRelease(const Inhibitor& inhibitor, const BusConnection& bus, const std::string& owner,
                                     const Inhibition& inhibition);

}  // namespace Tessaly::inline v1::detail
