// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Linux/DocumentPortal.hpp"

#include <cerrno>

#include "Tessaly/Platform/Bookmarks/DocumentError.hpp"
#include "Tessaly/Platform/Linux/BusConnection.hpp"
#include "Tessaly/Platform/Linux/BusReplies.hpp"

namespace Tessaly::inline v1::detail {
namespace {

DocumentFailure problemOf(const BusReply& reply, const BusConnection& bus) {
  const CallFailure failure = failureOf(reply.errorName);
  if (reply.result == -ETIMEDOUT || failure == CallFailure::noAnswer || !bus.isOpen())
    return DocumentFailure::notAnswering;
  const bool cannotStart = reply.errorName.starts_with("org.freedesktop.DBus.Error.Spawn.");
  return failure == CallFailure::noOwner || cannotStart ? DocumentFailure::noPortal : DocumentFailure::refused;
}

}  // namespace

std::string directoryOfDocuments() {
  BusConnection bus;
  const int opened = bus.open(Bus::session);
  if (opened < 0) {
    throw DocumentError(opened == -ETIMEDOUT ? DocumentFailure::notAnswering : DocumentFailure::noPortal);
  }
  const BusMessage question = bus.makeCall("org.freedesktop.portal.Documents", "/org/freedesktop/portal/documents",
                                           "org.freedesktop.portal.Documents", "GetMountPoint");
  if (question != nullptr) sd_bus_message_set_auto_start(question.get(), 1);
  const BusReply reply = bus.call(question);
  if (reply.result < 0) throw DocumentError(problemOf(reply, bus));
  const auto path = readFilePath(reply.message.get());
  if (!path) throw DocumentError(DocumentFailure::refused);
  return *path;
}

}  // namespace Tessaly::inline v1::detail
