// SPDX-License-Identifier: MIT
// Component: Tessaly::Authentication
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>

#include "Tessaly/Core/Base/Error.hpp"
#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1 {

/// The reason why the user was not authenticated.
enum class LAFailure : std::uint8_t {
  /// The system gave no reason.
  unknown,
  /// The user dismissed the authentication dialog, and the authentication agent has reported that.
  cancelled,
  /// The user failed to authenticate, or the system's policy forbids the application's action to this user. Also the
  /// end of the authentication agent during the request, and a dismissal that the agent reports as a failure. The
  /// system does not distinguish these cases.
  denied,
  /// The session has no authentication agent. An agent is the program that asks the user.
  noAgent,
  /// The system does not know the application's action: its policy file is not installed, or the application has no
  /// "PolkitAction" (see `BundleInformation::information`).
  notInstalled,
  /// There is no system bus, or no polkit service on it.
  noService,
  /// The system bus or the polkit service did not answer within 2 s, or the connection was closed.
  notAnswering,
  /// The polkit service answered with an error or with a malformed answer, or the request to it could not be sent.
  refused,
  /// The policy demands a fingerprint or a face, but the system cannot guarantee that kind of proof.
  policyNotSupported,
};

/// A failure to authenticate the user.
///
/// In `userInfo()`, "reason" names the reason that `failure()` returns, and "description" is a text for people. If the
/// system refused to show the `localizedReason` of `evaluatePolicy`, the entry "localizedReason" is "not shown".
///
/// Thread contract: thread-safe while no thread changes the error.
///
///     try {
///       co_await LocalAuthenticationService::evaluatePolicy(LAPolicy::deviceOwnerAuthentication, "Show them");
///     } catch (const LAError& error) {
///       if (error.failure() != LAFailure::cancelled) std::cerr << error.localizedDescription() << '\n';
///     }
class TESSALY_EXPORT LAError final : public Error {
 public:
  /// The code of the error. `failure()` gives the exact reason.
  enum class Code : std::int32_t {
    authenticationFailed = -1,
    userCancel = -2,
    systemCancel = -4,
    biometryNotAvailable = -6,
    notInteractive = -1004,
  };
  using UserInfo = std::map<std::string, std::string>;

  explicit LAError(Code code, UserInfo userInfo = {}) : code_(code), userInfo_(std::move(userInfo)) {}
  /// An error with the code, the reason and the description of the failure. A message that is not empty is appended to
  /// the description, after ": ".
  explicit LAError(LAFailure failure, std::string_view message = {});
  ~LAError() override;

  /// The error to throw if the system gives no error. It has the code -1 and only a description.
  [[nodiscard]] static LAError unknownError();

  [[nodiscard]] Code laCode() const noexcept { return code_; }
  /// The numeric value of `laCode()`.
  [[nodiscard]] std::int64_t code() const noexcept override { return static_cast<std::int64_t>(code_); }
  [[nodiscard]] const UserInfo& userInfo() const noexcept TESSALY_LIFETIMEBOUND { return userInfo_; }
  /// The reason, from "reason" in `userInfo()`. `unknown` if there is no such reason.
  [[nodiscard]] LAFailure failure() const noexcept;
  /// "Tessaly.LAError".
  [[nodiscard]] std::string domain() const override;
  /// For example `Error Domain=Tessaly.LAError Code=-2 "The user cancelled"`.
  [[nodiscard]] std::string description() const override;
  /// The message for people: "description" in `userInfo()`, in English. Without a "reason" there, the message of
  /// `Error`.
  [[nodiscard]] std::string localizedDescription() const override;

  /// Sets a value in `userInfo()`.
  void setInformation(std::string key, std::string value) {
    userInfo_.insert_or_assign(std::move(key), std::move(value));
  }

  /// Whether both errors have the same code and information.
  friend bool operator==(const LAError& left, const LAError& right) noexcept {
    return left.code_ == right.code_ && left.userInfo_ == right.userInfo_;
  }

 private:
  Code code_;
  UserInfo userInfo_;
};

}  // namespace Tessaly::inline v1
