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

/// The data that is needed to end an inhibition. Only one member is set, and the service determines which one.
struct Inhibition {
  std::uint32_t cookie = 0;
  /// The path of the portal's request object.
  std::string request = {};
  /// Closing this descriptor ends the inhibition.
  OwnedDescriptor descriptor = {};
};

/// Whether this process is in a sandbox. The list of services depends on this.
enum class Surroundings : bool { open, sandbox };

/// The services in the order in which they are called. The portal is called only in a sandbox.
[[nodiscard]] std::span<const Inhibitor> inhibitors(Surroundings surroundings);

/// A message that asks the service to keep the display awake. `owner` is the unique bus name of the service. The result
/// is null if the message cannot be made, for example because a text is not UTF-8.
[[nodiscard]] BusMessage makeInhibit(const Inhibitor& inhibitor, const BusConnection& bus, const std::string& owner,
                                     const std::string& application, const std::string& reason);

/// The contents of the service's answer to the request from `makeInhibit`.
[[nodiscard]] std::expected<Inhibition, ReplyProblem> readInhibition(const Inhibitor& inhibitor, sd_bus_message* reply);

/// A message that asks the service to end the inhibition. Null if the message cannot be made. Must not be called for
/// `PowerService::login`. The caller must close that inhibition's descriptor instead.
[[nodiscard]] BusMessage makeRelease(const Inhibitor& inhibitor, const BusConnection& bus, const std::string& owner,
                                     const Inhibition& inhibition);

}  // namespace Tessaly::inline v1::detail
