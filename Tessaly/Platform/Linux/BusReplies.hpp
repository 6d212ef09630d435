// SPDX-License-Identifier: MIT
#pragma once

#include <fcntl.h>

#include <cerrno>
#include <cstdint>
#include <expected>
#include <optional>
#include <string>
#include <string_view>

#include "Tessaly/Core/Base/detail/OwnedDescriptor.hpp"
#include "Tessaly/Platform/Linux/SystemdLibrary.hpp"

/// The functions that parse the messages of daemons on a bus. No other code parses such messages. Each library that
/// includes this header has its own copy of the code, and does not export the copy.
///
/// The caller must pass a message that has not been read yet, because each function reads from the message's current
/// position. libsystemd checks only the header of the message. The body may have any types, may be cut short, and may
/// be malformed. A function parses only the part that it needs, and returns a `ReplyProblem` if it cannot use that
/// part.
///
/// Thread contract: thread-compatible.
namespace Tessaly::inline v1::detail {

/// The reason why a message does not contain the wanted value.
enum class ReplyProblem : std::uint8_t {
  /// The message is an error.
  isError,
  /// The message ends before the value.
  missing,
  /// There is a value of another type.
  otherType,
  /// The bytes do not encode the types that the message names, or the encoded value is impossible.
  malformed,
  /// The process has reached its limit of descriptors.
  noRoom,
};

/// A text that describes the problem to people.
[[nodiscard]] constexpr std::string_view description(ReplyProblem problem) noexcept {
  switch (problem) {
    case ReplyProblem::isError:
      return "the answer is an error";
    case ReplyProblem::missing:
      return "the answer ends too early";
    case ReplyProblem::otherType:
      return "the answer is of another type";
    case ReplyProblem::noRoom:
      return "there is no room for the answer's descriptor";
    case ReplyProblem::malformed:
      break;
  }
  return "the answer is malformed";
}

/// The kind of failure of a call.
enum class CallFailure : std::uint8_t {
  /// No program owns the called name.
  noOwner,
  /// The answer did not arrive in time, or the called program ended without an answer.
  noAnswer,
  /// The called program has no such object, interface, method or property.
  nothingThere,
  /// The called program answered with another error.
  refused,
};

/// The kind of failure that a D-Bus error name stands for. `refused` for an unknown or empty name.
[[nodiscard]] inline CallFailure failureOf(std::string_view errorName) noexcept {
  if (errorName == SD_BUS_ERROR_SERVICE_UNKNOWN || errorName == SD_BUS_ERROR_NAME_HAS_NO_OWNER)
    return CallFailure::noOwner;
  if (errorName == SD_BUS_ERROR_NO_REPLY) return CallFailure::noAnswer;
  for (const std::string_view name : {SD_BUS_ERROR_UNKNOWN_OBJECT, SD_BUS_ERROR_UNKNOWN_METHOD,
                                      SD_BUS_ERROR_UNKNOWN_INTERFACE, SD_BUS_ERROR_UNKNOWN_PROPERTY}) {
    if (errorName == name) return CallFailure::nothingThere;
  }
  return CallFailure::refused;
}

/// Takes the values of a message in order, from its beginning. `take`, `enter`, `leave` and `skip` fail for a message
/// that is an error, because the text of an error is not an answer. After one failure, all later calls of these
/// functions fail.
class BusReader {
 public:
  explicit BusReader(sd_bus_message* message) noexcept : message_(message) {
    if (sd_bus_message_is_method_error(message, nullptr) > 0) problem_ = ReplyProblem::isError;
  }

  /// The problem of the first failure. Requires a failure.
  [[nodiscard]] std::unexpected<ReplyProblem> problem() const noexcept { return std::unexpected(problem_.value()); }

  /// Takes one value of a basic type.
  template <typename Value>
  [[nodiscard]] bool take(char type, Value& place) noexcept {
    return !problem_ && succeeds(sd_bus_message_read_basic(message_, type, static_cast<void*>(&place)));
  }
  /// Enters a container of this type with these contents.
  [[nodiscard]] bool enter(char type, const char* contents) noexcept {
    return !problem_ && succeeds(sd_bus_message_enter_container(message_, type, contents));
  }
  /// Leaves the container that was entered last. Fails if some of its values were neither taken nor skipped.
  [[nodiscard]] bool leave() noexcept { return !problem_ && succeeds(sd_bus_message_exit_container(message_)); }
  /// Skips values of these types.
  [[nodiscard]] bool skip(const char* types) noexcept {
    return !problem_ && succeeds(sd_bus_message_skip(message_, types));
  }
  /// Whether there is one more element in the array that was entered.
  [[nodiscard]] bool hasMore() noexcept { return sd_bus_message_at_end(message_, 0) == 0; }

 private:
  bool succeeds(int result) noexcept {
    if (result > 0) return true;
    if (result != 0 && result != -ENXIO) {
      problem_ = ReplyProblem::malformed;
    } else {
      problem_ = sd_bus_message_at_end(message_, 0) > 0 ? ReplyProblem::missing : ReplyProblem::otherType;
    }
    return false;
  }

  sd_bus_message* message_;
  std::optional<ReplyProblem> problem_;
};

/// The first value of the message, an unsigned number, such as the cookie that identifies an inhibition.
[[nodiscard]] inline std::expected<std::uint32_t, ReplyProblem> readNumber(sd_bus_message* message) {
  BusReader reader(message);
  std::uint32_t number = 0;
  if (!reader.take(SD_BUS_TYPE_UINT32, number)) return reader.problem();
  return number;
}

/// The value of a property that is a number, from the answer of `Get`.
[[nodiscard]] inline std::expected<std::uint32_t, ReplyProblem> readNumberProperty(sd_bus_message* message) {
  BusReader reader(message);
  std::uint32_t number = 0;
  if (!reader.enter(SD_BUS_TYPE_VARIANT, "u") || !reader.take(SD_BUS_TYPE_UINT32, number) || !reader.leave())
    return reader.problem();
  return number;
}

/// A duplicate of the message's descriptor, owned by the caller. The message closes the original.
[[nodiscard]] inline std::expected<OwnedDescriptor, ReplyProblem> readDescriptor(sd_bus_message* message) {
  BusReader reader(message);
  int descriptor = -1;
  if (!reader.take(SD_BUS_TYPE_UNIX_FD, descriptor)) return reader.problem();
  OwnedDescriptor own(::fcntl(descriptor, F_DUPFD_CLOEXEC, 0));
  if (!own.isOpen()) return std::unexpected(ReplyProblem::noRoom);
  return own;
}

/// The owner of a name, from the answer of `GetNameOwner`: the name of a connection.
[[nodiscard]] inline std::expected<std::string, ReplyProblem> readOwner(sd_bus_message* message) {
  BusReader reader(message);
  const char* owner = nullptr;
  if (!reader.take(SD_BUS_TYPE_STRING, owner)) return reader.problem();
  if (sd_bus_service_name_is_valid(owner) <= 0) return std::unexpected(ReplyProblem::malformed);
  return owner;
}

/// The path of an object, such as a portal's request.
[[nodiscard]] inline std::expected<std::string, ReplyProblem> readObjectPath(sd_bus_message* message) {
  BusReader reader(message);
  const char* path = nullptr;
  if (!reader.take(SD_BUS_TYPE_OBJECT_PATH, path)) return reader.problem();
  return path;
}

/// An absolute path of the file system: bytes with a zero at the end.
[[nodiscard]] inline std::expected<std::string, ReplyProblem> readFilePath(sd_bus_message* message) {
  BusReader reader(message);
  std::string path;
  std::uint8_t byte = 1;
  if (!reader.enter(SD_BUS_TYPE_ARRAY, "y")) return reader.problem();
  while (reader.hasMore() && byte != 0) {
    if (!reader.take(SD_BUS_TYPE_BYTE, byte)) return reader.problem();
    if (byte != 0) path += static_cast<char>(byte);
  }
  if (byte != 0 || reader.hasMore() || !path.starts_with('/')) return std::unexpected(ReplyProblem::malformed);
  return path;
}

/// The contents of `NameOwnerChanged`. `former` is empty if the name had no owner, and `next` is empty if the name has
/// no owner now.
struct OwnerChange {
  std::string name;
  std::string former;
  std::string next;
};

[[nodiscard]] inline std::expected<OwnerChange, ReplyProblem> readOwnerChange(sd_bus_message* message) {
  BusReader reader(message);
  OwnerChange change;
  for (std::string* const field : {&change.name, &change.former, &change.next}) {
    const char* text = nullptr;
    if (!reader.take(SD_BUS_TYPE_STRING, text)) return reader.problem();
    if ((field == &change.name || *text != '\0') && sd_bus_service_name_is_valid(text) <= 0)
      return std::unexpected(ReplyProblem::malformed);
    *field = text;
  }
  return change;
}

/// The contents of `PropertiesChanged` about one property.
struct PropertyChange {
  enum class Kind : std::uint8_t {
    /// The message does not mention the property.
    none,
    /// The property changed, and its value must be requested.
    invalidated,
    value,
  };
  Kind kind = Kind::none;
  /// The new value, for `value` only.
  std::uint32_t number = 0;
};

/// Searches a `PropertiesChanged` message for a property that is a number. If the message has several values of the
/// property, the result is the first one. A value takes precedence over an invalidation.
[[nodiscard]] inline std::expected<PropertyChange, ReplyProblem> readPropertyChange(sd_bus_message* message,
                                                                                    std::string_view interface,
                                                                                    std::string_view property) {
  BusReader reader(message);
  PropertyChange change;
  const char* text = nullptr;
  if (!reader.take(SD_BUS_TYPE_STRING, text)) return reader.problem();
  if (text != interface) return change;
  if (!reader.enter(SD_BUS_TYPE_ARRAY, "{sv}")) return reader.problem();
  while (reader.hasMore()) {
    if (!reader.enter(SD_BUS_TYPE_DICT_ENTRY, "sv") || !reader.take(SD_BUS_TYPE_STRING, text)) return reader.problem();
    if (text != property) {
      if (!reader.skip("v") || !reader.leave()) return reader.problem();
      continue;
    }
    if (!reader.enter(SD_BUS_TYPE_VARIANT, "u") || !reader.take(SD_BUS_TYPE_UINT32, change.number))
      return reader.problem();
    change.kind = PropertyChange::Kind::value;
    return change;
  }
  if (!reader.leave() || !reader.enter(SD_BUS_TYPE_ARRAY, "s")) return reader.problem();
  while (reader.hasMore()) {
    if (!reader.take(SD_BUS_TYPE_STRING, text)) return reader.problem();
    if (text == property) change.kind = PropertyChange::Kind::invalidated;
  }
  return change;
}

/// The answer of the network portal to `GetStatus`.
struct NetworkStatus {
  std::optional<bool> isAvailable = std::nullopt;
  std::optional<bool> isMetered = std::nullopt;
};

/// Parses the network portal's answer to `GetStatus`. A missing key gives no value. Fails if both keys are missing, or
/// if one of the two values is not a boolean.
[[nodiscard]] inline std::expected<NetworkStatus, ReplyProblem> readNetworkStatus(sd_bus_message* message) {
  BusReader reader(message);
  NetworkStatus status;
  if (!reader.enter(SD_BUS_TYPE_ARRAY, "{sv}")) return reader.problem();
  while (reader.hasMore()) {
    const char* key = nullptr;
    if (!reader.enter(SD_BUS_TYPE_DICT_ENTRY, "sv") || !reader.take(SD_BUS_TYPE_STRING, key)) return reader.problem();
    std::optional<bool>* const place = std::string_view(key) == "available" ? &status.isAvailable
                                       : std::string_view(key) == "metered" ? &status.isMetered
                                                                            : nullptr;
    int value = 0;
    const bool isTaken = place == nullptr ? reader.skip("v")
                                          : reader.enter(SD_BUS_TYPE_VARIANT, "b") &&
                                                reader.take(SD_BUS_TYPE_BOOLEAN, value) && reader.leave();
    if (!isTaken || !reader.leave()) return reader.problem();
    if (place != nullptr) *place = value != 0;
  }
  if (!status.isAvailable && !status.isMetered) return std::unexpected(ReplyProblem::missing);
  return status;
}

/// The answer of polkit to `CheckAuthorization`.
struct Authorization {
  bool isAuthorized = false;
  /// The user must be asked, and was not asked.
  bool needsTheUser = false;
  /// The user was asked, and dismissed the question.
  bool isDismissed = false;
};

[[nodiscard]] inline std::expected<Authorization, ReplyProblem> readAuthorization(sd_bus_message* message) {
  BusReader reader(message);
  int isAuthorized = 0;
  int needsTheUser = 0;
  if (!reader.enter(SD_BUS_TYPE_STRUCT, "bba{ss}") || !reader.take(SD_BUS_TYPE_BOOLEAN, isAuthorized) ||
      !reader.take(SD_BUS_TYPE_BOOLEAN, needsTheUser) || !reader.enter(SD_BUS_TYPE_ARRAY, "{ss}"))
    return reader.problem();
  Authorization authorization{.isAuthorized = isAuthorized != 0, .needsTheUser = needsTheUser != 0};
  while (reader.hasMore()) {
    const char* key = nullptr;
    const char* value = nullptr;
    if (!reader.enter(SD_BUS_TYPE_DICT_ENTRY, "ss") || !reader.take(SD_BUS_TYPE_STRING, key) ||
        !reader.take(SD_BUS_TYPE_STRING, value) || !reader.leave())
      return reader.problem();
    if (std::string_view(key) == "polkit.dismissed" && *value != '\0') authorization.isDismissed = true;
  }
  return authorization;
}

}  // namespace Tessaly::inline v1::detail
