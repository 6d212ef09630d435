// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Linux/Inhibitor.hpp"

#include <atomic>
#include <cerrno>
#include <utility>

namespace Tessaly::inline v1::detail {
namespace {

constexpr Inhibitor all[] = {
    {PowerService::portal, Bus::session, "org.freedesktop.portal.Desktop", "/org/freedesktop/portal/desktop",
     "org.freedesktop.portal.Inhibit"},
    {PowerService::screenSaver, Bus::session, "org.freedesktop.ScreenSaver", "/org/freedesktop/ScreenSaver",
     "org.freedesktop.ScreenSaver"},
    {PowerService::sessionManager, Bus::session, "org.gnome.SessionManager", "/org/gnome/SessionManager",
     "org.gnome.SessionManager"},
    {PowerService::login, Bus::system, "org.freedesktop.login1", "/org/freedesktop/login1",
     "org.freedesktop.login1.Manager"},
};

/// The flag of the portal and of the session manager for an inhibition of the idle state.
constexpr std::uint32_t inhibitIdle = 8;

/// A name for a request. A desktop may still know the request of a portal that died, so every name is new.
std::string freshToken() {
  static constinit std::atomic<std::uint32_t> count{0};
  return "tessaly" + std::to_string(count.fetch_add(1, std::memory_order_relaxed));
}

}  // namespace

std::span<const Inhibitor> inhibitors(Surroundings surroundings) {
  return std::span(all).subspan(surroundings == Surroundings::sandbox ? 0 : 1);
}

BusMessage makeInhibit(const Inhibitor& inhibitor, const BusConnection& bus, const std::string& owner,
                       const std::string& application, const std::string& reason) {
  BusMessage message = bus.makeCall(owner.c_str(), inhibitor.path, inhibitor.interface, "Inhibit");
  if (message == nullptr) return nullptr;
  int result = -EINVAL;
  switch (inhibitor.service) {
    case PowerService::portal:
      // The portal knows the application. The first text would name a window.
      result = sd_bus_message_append(message.get(), "sua{sv}", "", inhibitIdle, 2, "reason", "s", reason.c_str(),
                                     "handle_token", "s", freshToken().c_str());
      break;
    case PowerService::screenSaver:
      result = sd_bus_message_append(message.get(), "ss", application.c_str(), reason.c_str());
      break;
    case PowerService::sessionManager:
      result = sd_bus_message_append(message.get(), "susu", application.c_str(), 0u, reason.c_str(), inhibitIdle);
      break;
    case PowerService::login:
      result = sd_bus_message_append(message.get(), "ssss", "idle", application.c_str(), reason.c_str(), "block");
      break;
    case PowerService::none:
      break;
  }
  return result < 0 ? nullptr : std::move(message);
}

std::expected<Inhibition, ReplyProblem> readInhibition(const Inhibitor& inhibitor, sd_bus_message* reply) {
  Inhibition inhibition;
  const auto taken = [](auto& place, auto read) -> std::expected<void, ReplyProblem> {
    if (!read) return std::unexpected(read.error());
    place = std::move(*read);
    return {};
  };
  const auto result = inhibitor.service == PowerService::portal  ? taken(inhibition.request, readObjectPath(reply))
                      : inhibitor.service == PowerService::login ? taken(inhibition.descriptor, readDescriptor(reply))
                                                                 : taken(inhibition.cookie, readNumber(reply));
  if (!result) return std::unexpected(result.error());
  return inhibition;
}

BusMessage makeRelease(const Inhibitor& inhibitor, const BusConnection& bus, const std::string& owner,
                       const Inhibition& inhibition) {
  if (inhibitor.service == PowerService::portal)
    return bus.makeCall(owner.c_str(), inhibition.request.c_str(), "org.freedesktop.portal.Request", "Close");
  const char* const method = inhibitor.service == PowerService::screenSaver ? "UnInhibit" : "Uninhibit";
  BusMessage message = bus.makeCall(owner.c_str(), inhibitor.path, inhibitor.interface, method);
  if (message == nullptr || sd_bus_message_append(message.get(), "u", inhibition.cookie) < 0) return nullptr;
  return message;
}

}  // namespace Tessaly::inline v1::detail
