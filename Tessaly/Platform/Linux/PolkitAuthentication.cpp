// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Linux/PolkitAuthentication.hpp"

#include <cerrno>
#include <cstdint>
#include <string>

#include "Tessaly/Core/Base/detail/ForkGuard.hpp"
#include "Tessaly/Core/Base/detail/Thread.hpp"
#include "Tessaly/Core/Foundation/Bundle.hpp"
#include "Tessaly/Platform/Authentication/LAError.hpp"
#include "Tessaly/Platform/Linux/BusConnection.hpp"
#include "Tessaly/Platform/Linux/BusReplies.hpp"

namespace Tessaly::inline v1 {
namespace {

using namespace detail;  // Its functions of libsystemd hide the global ones.

/// The bits of CheckAuthorization's flags.
enum class Question : std::uint32_t { withoutTheUser = 0, ofTheUser = 1 };

struct Answer {
  Authorization authorization = {};
  std::optional<LAError> error = std::nullopt;
  bool areDetailsRefused = false;
};

LAError errorOf(const BusReply& reply, const BusConnection& bus) {
  const detail::CallFailure failure = detail::failureOf(reply.errorName);
  if (reply.result == -ETIMEDOUT || failure == detail::CallFailure::noAnswer || !bus.isOpen())
    return LAError(LAFailure::notAnswering);
  if (failure == detail::CallFailure::noOwner) return LAError(LAFailure::noService, reply.errorMessage);
  if (reply.errorMessage.ends_with("is not registered")) return LAError(LAFailure::notInstalled, reply.errorMessage);
  return LAError(LAFailure::refused, reply.errorMessage);
}

BusMessage makeQuestion(const BusConnection& bus, const std::string& action, Question question,
                        const std::string* message) {
  BusMessage call = bus.makeCall("org.freedesktop.PolicyKit1", "/org/freedesktop/PolicyKit1/Authority",
                                 "org.freedesktop.PolicyKit1.Authority", "CheckAuthorization");
  const char* self = nullptr;
  if (call == nullptr || sd_bus_get_unique_name(bus.get(), &self) < 0) return nullptr;
  sd_bus_message_set_auto_start(call.get(), 1);
  int result = sd_bus_message_append(call.get(), "(sa{sv})s", "system-bus-name", 1, "name", "s", self, action.c_str());
  if (result >= 0) {
    result = message == nullptr ? sd_bus_message_append(call.get(), "a{ss}", 0)
                                : sd_bus_message_append(call.get(), "a{ss}", 1, "polkit.message", message->c_str());
  }
  if (result >= 0) result = sd_bus_message_append(call.get(), "us", static_cast<std::uint32_t>(question), "");
  return result < 0 ? nullptr : std::move(call);
}

Answer ask(BusConnection& bus, const std::string& action, Question question, const std::string* message) {
  Answer answer;
  const BusMessage call = makeQuestion(bus, action, question, message);
  if (call == nullptr) {
    answer.error = LAError(LAFailure::refused, "the text cannot be sent");
    answer.areDetailsRefused = message != nullptr;
    return answer;
  }
  const BusReply reply = bus.call(call, question == Question::ofTheUser ? UINT64_MAX : 0);
  if (reply.result < 0) {
    answer.error = errorOf(reply, bus);
    answer.areDetailsRefused =
        message != nullptr && reply.errorName == "org.freedesktop.PolicyKit1.Error.NotAuthorized";
  } else if (const auto authorization = detail::readAuthorization(reply.message.get())) {
    answer.authorization = *authorization;
  } else {
    answer.error = LAError(LAFailure::refused, std::string(detail::description(authorization.error())));
  }
  return answer;
}

class PolkitContext final : public LAContext {
 public:
  explicit PolkitContext(std::optional<std::string> action) : action_(std::move(action)) {}

  bool canEvaluatePolicy(LAPolicy policy, std::exception_ptr& error) override {
    const std::optional<LAError> obstacle = this->obstacle(policy);
    if (obstacle) error = std::make_exception_ptr(*obstacle);
    return !obstacle;
  }

  void evaluatePolicy(LAPolicy policy, std::string localizedReason, Reply reply) override {
    detail::stopIfForkedChild();
    if (policy != LAPolicy::deviceOwnerAuthentication || !action_) {
      reply(false, std::make_exception_ptr(*obstacle(policy)));
      return;
    }
    detail::startLibraryThread(
        "tessaly-auth", [action = *action_, reason = std::move(localizedReason), reply = std::move(reply)]() mutable {
          std::optional<LAError> error = askTheUser(action, reason);
          reply(!error, error ? std::make_exception_ptr(*error) : nullptr);
        });
  }

 private:
  /// The reason why asking the user is pointless.
  [[nodiscard]] std::optional<LAError> obstacle(LAPolicy policy) const {
    // The authority chooses the kind of proof and does not report it.
    if (policy != LAPolicy::deviceOwnerAuthentication) return LAError(LAFailure::policyNotSupported);
    if (!action_) {
      return LAError(LAFailure::notInstalled,
                     "the application names no action: give tessaly_bundle() POLKIT_ACTION, or the information of "
                     "Bundle::setMain() an entry \"PolkitAction\"");
    }
    BusConnection bus;
    if (const int result = bus.open(detail::Bus::system); result < 0)
      return LAError(result == -ETIMEDOUT ? LAFailure::notAnswering : LAFailure::noService, "the system bus");
    const Answer answer = ask(bus, *action_, Question::withoutTheUser, nullptr);
    if (answer.error) return answer.error;
    if (!answer.authorization.isAuthorized && !answer.authorization.needsTheUser)
      return LAError(LAFailure::denied, "the policy forbids it");
    return std::nullopt;
  }

  static std::optional<LAError> askTheUser(const std::string& action, const std::string& reason) {
    BusConnection bus;
    if (const int result = bus.open(detail::Bus::system); result < 0)
      return LAError(result == -ETIMEDOUT ? LAFailure::notAnswering : LAFailure::noService, "the system bus");
    Answer answer = ask(bus, action, Question::ofTheUser, &reason);
    const bool isReasonRefused = answer.areDetailsRefused;
    if (isReasonRefused) answer = ask(bus, action, Question::ofTheUser, nullptr);
    if (answer.authorization.isAuthorized) return std::nullopt;
    if (!answer.error) {
      answer.error = LAError(answer.authorization.isDismissed    ? LAFailure::cancelled
                             : answer.authorization.needsTheUser ? LAFailure::noAgent
                                                                 : LAFailure::denied);
    }
    if (isReasonRefused) answer.error->setInformation("localizedReason", "not shown");
    return answer.error;
  }

  const std::optional<std::string> action_;
};

}  // namespace

PolkitAuthentication::~PolkitAuthentication() = default;

std::unique_ptr<LAContext> PolkitAuthentication::makeContext() {
  return std::make_unique<PolkitContext>(action_ ? action_ : Bundle::main().infoValue("PolkitAction"));
}

AuthenticationBackend& AuthenticationBackend::system() {
  static auto& backend = *new PolkitAuthentication;
  return backend;
}

}  // namespace Tessaly::inline v1
