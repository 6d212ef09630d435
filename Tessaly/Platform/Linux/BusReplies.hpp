// SPDX-License-Identifier: MIT
#pragma once

#include <fcntl.h>
#include <systemd/sd-bus.h>

#include <cerrno>
#include <cstdint>
#include <expected>
#include <optional>
#include <string>
#include <string_view>

#include "Tessaly/Core/Base/detail/OwnedDescriptor.hpp"

/// What daemons say over a bus is read here, and nowhere else. Part of each library that uses it, and of none of their
/// interfaces.
///
/// A message is read from its beginning on, once. Its header was checked by the bus's library, its body by nobody: the
/// body may be of any types, cut short, or no encoding of anything, and each function takes all of that. What stands
/// behind the part that is looked for is not read.
///
/// Thread contract: thread-compatible.
namespace Tessaly::inline v1::detail {

/// Why a message does not hold what was looked for.
enum class ReplyProblem : std::uint8_t {
  /// It is an error.
  isError,
  /// It ends before.
  missing,
  /// Something of another type stands there.
  otherType,
  /// Its bytes are no encoding of the types that it names, or what they encode cannot be.
  malformed,
  /// This process may not have one more descriptor.
  noRoom,
};

/// What a problem is called in front of a person.
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

/// A way in which a call failed, as far as it matters to whoever called.
enum class CallFailure : std::uint8_t {
  /// Nobody has the name that was called, or whoever had it went away without a word.
  noOwner,
  /// The answer did not come in time, or the asked one went away.
  noAnswer,
  /// The called one has no such object, interface, method or property.
  nothingThere,
  /// It has, and answered with an error of its own.
  refused,
};

/// What the name of an error means.
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

/// A message from whose beginning on things are taken one after the other. In one that is an error nothing is found:
/// the words of an error are no answer. After a failure nothing more is.
class BusReader {
 public:
  explicit BusReader(sd_bus_message* message) noexcept : message_(message) {
    if (sd_bus_message_is_method_error(message, nullptr) > 0) problem_ = ReplyProblem::isError;
  }

  /// Of the first failure; only after one.
  [[nodiscard]] std::unexpected<ReplyProblem> problem() const noexcept { return std::unexpected(problem_.value()); }

  /// Takes one thing of a basic type.
  template <typename Value>
  [[nodiscard]] bool take(char type, Value& place) noexcept {
    return !problem_ && succeeds(sd_bus_message_read_basic(message_, type, static_cast<void*>(&place)));
  }
  /// Goes into a container of this type with these contents.
  [[nodiscard]] bool enter(char type, const char* contents) noexcept {
    return !problem_ && succeeds(sd_bus_message_enter_container(message_, type, contents));
  }
  /// Leaves a container that has been read whole.
  [[nodiscard]] bool leave() noexcept { return !problem_ && succeeds(sd_bus_message_exit_container(message_)); }
  /// Passes over things of these types.
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

/// A number, such as a cookie.
[[nodiscard]] inline std::expected<std::uint32_t, ReplyProblem> readNumber(sd_bus_message* message) {
  BusReader reader(message);
  std::uint32_t number = 0;
  if (!reader.take(SD_BUS_TYPE_UINT32, number)) return reader.problem();
  return number;
}

/// The number that is the value of a property, as `Get` answers it.
[[nodiscard]] inline std::expected<std::uint32_t, ReplyProblem> readNumberProperty(sd_bus_message* message) {
  BusReader reader(message);
  std::uint32_t number = 0;
  if (!reader.enter(SD_BUS_TYPE_VARIANT, "u") || !reader.take(SD_BUS_TYPE_UINT32, number) || !reader.leave())
    return reader.problem();
  return number;
}

/// A descriptor of the caller's own: the one in the message is closed with the message.
[[nodiscard]] inline std::expected<OwnedDescriptor, ReplyProblem> readDescriptor(sd_bus_message* message) {
  BusReader reader(message);
  int descriptor = -1;
  if (!reader.take(SD_BUS_TYPE_UNIX_FD, descriptor)) return reader.problem();
  OwnedDescriptor own(::fcntl(descriptor, F_DUPFD_CLOEXEC, 0));
  if (!own.isOpen()) return std::unexpected(ReplyProblem::noRoom);
  return own;
}

/// Who owns a name, as `GetNameOwner` answers it: the name of a connection.
[[nodiscard]] inline std::expected<std::string, ReplyProblem> readOwner(sd_bus_message* message) {
  BusReader reader(message);
  const char* owner = nullptr;
  if (!reader.take(SD_BUS_TYPE_STRING, owner)) return reader.problem();
  if (sd_bus_service_name_is_valid(owner) <= 0) return std::unexpected(ReplyProblem::malformed);
  return owner;
}

/// What `NameOwnerChanged` says. An owner is empty where there was or is none.
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

/// What `PropertiesChanged` says of one property.
struct PropertyChange {
  enum class Kind : std::uint8_t {
    /// Nothing.
    none,
    /// That it has to be asked for.
    invalidated,
    value,
  };
  Kind kind = Kind::none;
  /// With `value`.
  std::uint32_t number = 0;
};

/// Looks for a property that is a number. Of several values the first counts, and any value before an invalidation.
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

/// What polkit answers to `CheckAuthorization`.
struct Authorization {
  bool isAuthorized = false;
  /// The user has to be asked, and was not.
  bool needsTheUser = false;
  /// The user was asked, and sent the question away.
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
