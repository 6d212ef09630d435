// SPDX-License-Identifier: MIT
#include "Tessaly/SystemServices/LocalAuthenticationService.hpp"

#include <memory>
#include <utility>

#include "Tessaly/Core/Tasks/BlockingWork.hpp"
#include "Tessaly/Core/Tasks/CheckedContinuation.hpp"

namespace Tessaly::inline v1 {

namespace LocalAuthenticationService {
namespace {

std::exception_ptr orUnknown(std::exception_ptr error) {
  return error != nullptr ? std::move(error) : std::make_exception_ptr(LAError::unknownError());
}

}  // namespace

Async<void> evaluatePolicy(LAPolicy policy, std::string localizedReason) {
  const std::shared_ptr<LAContext> context = AuthenticationBackend::current().makeContext();
  std::exception_ptr obstacle;
  const bool isPossible =
      co_await runBlocking([&context, policy, &obstacle] { return context->canEvaluatePolicy(policy, obstacle); });
  if (!isPossible) std::rethrow_exception(orUnknown(std::move(obstacle)));
  co_await withCheckedContinuation<void>(
      [&](const CheckedContinuation<void>& continuation) {
        context->evaluatePolicy(policy, std::move(localizedReason),
                                [continuation](bool isAuthenticated, std::exception_ptr error) {
                                  if (isAuthenticated) {
                                    continuation.resume();
                                  } else {
                                    continuation.resumeThrowing(orUnknown(std::move(error)));
                                  }
                                });
      },
      "evaluatePolicy(_:localizedReason:)");
}

}  // namespace LocalAuthenticationService
}  // namespace Tessaly::inline v1
