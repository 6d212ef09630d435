// SPDX-License-Identifier: MIT
#include "Tessaly/SystemServices/DisplayWakefulness.hpp"

#include <utility>

#include "Tessaly/Core/Tasks/BlockingWork.hpp"
#include "Tessaly/Platform/Power/PowerBackend.hpp"

namespace Tessaly::inline v1 {
namespace {

using Assertion = std::optional<std::uint32_t>;

Async<Assertion> taken(std::string reason) {
  return runBlocking([reason = std::move(reason)]() -> Assertion {
    std::uint32_t identifier = 0;
    PowerBackend& power = PowerBackend::current();
    if (power.createAssertion(PowerBackend::noDisplaySleep, PowerBackend::levelOn, reason, identifier) != 0) return {};
    return identifier;
  });
}

Async<void> release(Task<Assertion> assertion) {
  if (const Assertion identifier = co_await assertion.value()) {
    co_await runBlocking([&] { PowerBackend::current().releaseAssertion(*identifier); });
  }
}

Async<bool> isPresent(Task<Assertion> assertion) { co_return (co_await assertion.value()).has_value(); }

}  // namespace

DisplayWakefulness::DisplayWakefulness(std::string reason)
    : assertion_(Task<Assertion>::detached([reason = std::move(reason)] { return taken(reason); })) {}

DisplayWakefulness::~DisplayWakefulness() {
  Task<>::detached([assertion = assertion_] { return release(assertion); });
}

Async<bool> DisplayWakefulness::isEffective() const { return isPresent(assertion_); }

}  // namespace Tessaly::inline v1
