// SPDX-License-Identifier: MIT
// Component: Tessaly::Authentication
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>

#include "Tessaly/Core/Base/Error.hpp"

namespace Tessaly::inline v1 {

/// Why somebody was not authenticated, as far as the system tells.
enum class LAFailure : std::uint8_t {
  /// The system did not say.
  unknown,
  /// The user dismissed the question.
  cancelled,
  /// The user could not, or may not, authenticate.
  denied,
  /// The session has no program that asks its user.
  noAgent,
  /// The action that the application asks for is not known to the system: its policy file is not installed, or the
  /// application has no `POLKIT_ACTION`.
  notInstalled,
  /// There is no bus, or no authority on it.
  noService,
  /// The authority did not answer within two seconds, or broke off.
  notAnswering,
  /// The authority answered with an error, or with something else than was agreed.
  refused,
  /// This system cannot promise what the policy asks for.
  policyNotSupported,
};

/// A failure to authenticate the user.
///
/// The information says under "reason" why, as `failure()` does, under "description" the same for people, and under
/// "localizedReason" that the text which the application gave could not be shown, if that is so.
///
/// Thread contract: thread-safe.
///
///     try {
///       co_await LocalAuthenticationService::evaluatePolicy(LAPolicy::deviceOwnerAuthentication, "Show them");
///     } catch (const LAError& error) {
///       if (error.failure() != LAFailure::cancelled) std::cerr << error.localizedDescription() << '\n';
///     }
class TESSALY_EXPORT LAError final : public Error {
 public:
  enum class Code : std::int32_t {
    authenticationFailed = -1,
    userCancel = -2,
    systemCancel = -4,
    biometryNotAvailable = -6,
    notInteractive = -1004,
  };
  using UserInfo = std::map<std::string, std::string>;

  explicit LAError(Code code, UserInfo userInfo = {}) : code_(code), userInfo_(std::move(userInfo)) {}
  /// With the code, the reason and the description that go with the failure.
  explicit LAError(LAFailure failure, std::string_view message = {});
  ~LAError() override;

  /// Replaces an error that the system did not give. It has the code -1 and only a description.
  [[nodiscard]] static LAError unknownError();

  [[nodiscard]] Code laCode() const noexcept { return code_; }
  /// The number of `laCode()`.
  [[nodiscard]] std::int64_t code() const noexcept override { return static_cast<std::int64_t>(code_); }
  [[nodiscard]] const UserInfo& userInfo() const noexcept { return userInfo_; }
  /// The information's "reason".
  [[nodiscard]] LAFailure failure() const noexcept;
  /// "Tessaly.LAError".
  [[nodiscard]] std::string domain() const override;
  /// Such as `Error Domain=Tessaly.LAError Code=-2 "The user cancelled"`.
  [[nodiscard]] std::string description() const override;

  /// Adds to the information.
  void setInformation(std::string key, std::string value) {
    userInfo_.insert_or_assign(std::move(key), std::move(value));
  }

  /// Whether both have the same code and information.
  friend bool operator==(const LAError& left, const LAError& right) noexcept {
    return left.code_ == right.code_ && left.userInfo_ == right.userInfo_;
  }

 private:
  Code code_;
  UserInfo userInfo_;
};

}  // namespace Tessaly::inline v1
