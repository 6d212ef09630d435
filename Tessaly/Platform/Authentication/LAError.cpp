// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Authentication/LAError.hpp"

namespace Tessaly::inline v1 {
namespace {

struct Row {
  LAFailure failure;
  LAError::Code code;
  const char* reason;
  const char* description;
};

constexpr Row rows[] = {
    {LAFailure::unknown, LAError::Code::authenticationFailed, "unknown", "The system did not say why"},
    {LAFailure::cancelled, LAError::Code::userCancel, "cancelled", "The user cancelled"},
    {LAFailure::denied, LAError::Code::authenticationFailed, "denied", "The user was not authenticated"},
    {LAFailure::noAgent, LAError::Code::notInteractive, "noAgent", "No program in this session can ask the user"},
    {LAFailure::notInstalled, LAError::Code::notInteractive, "notInstalled",
     "The application's action is not known to the system"},
    {LAFailure::noService, LAError::Code::notInteractive, "noService", "No authority can be reached"},
    {LAFailure::notAnswering, LAError::Code::systemCancel, "notAnswering", "The authority did not answer"},
    {LAFailure::refused, LAError::Code::notInteractive, "refused", "The authority refused the question"},
    {LAFailure::policyNotSupported, LAError::Code::biometryNotAvailable, "policyNotSupported",
     "This system cannot distinguish biometrics from other means"},
};

const Row& rowOf(LAFailure failure) { return rows[static_cast<std::size_t>(failure)]; }

}  // namespace

LAError::LAError(LAFailure failure, std::string_view message)
    : code_(rowOf(failure).code),
      userInfo_{{"reason", rowOf(failure).reason}, {"description", rowOf(failure).description}} {
  if (!message.empty()) userInfo_.at("description").append(": ").append(message);
}

LAError::~LAError() = default;

LAFailure LAError::failure() const noexcept {
  const auto found = userInfo_.find("reason");
  if (found == userInfo_.end()) return LAFailure::unknown;
  for (const Row& row : rows) {
    if (found->second == row.reason) return row.failure;
  }
  return LAFailure::unknown;
}

std::string LAError::domain() const { return "Tessaly.LAError"; }

std::string LAError::description() const {
  const auto found = userInfo_.find("description");
  return "Error Domain=" + domain() + " Code=" + std::to_string(code()) + " \"" +
         (found == userInfo_.end() ? "(null)" : found->second) + '"';
}

std::string LAError::localizedDescription() const {
  const auto found = userInfo_.find("description");
  return found == userInfo_.end() || !userInfo_.contains("reason") ? Error::localizedDescription() : found->second;
}

LAError LAError::unknownError() {
  return LAError(Code::authenticationFailed, {{"description", "Unable to evaluate policy for unknown reasons"}});
}

}  // namespace Tessaly::inline v1
