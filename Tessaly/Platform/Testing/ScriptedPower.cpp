// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Testing/ScriptedPower.hpp"

#include <cerrno>

namespace Tessaly::inline v1 {

ScriptedPower::~ScriptedPower() = default;

ScriptedPower::Snapshot ScriptedPower::snapshot() const {
  UnfairLock::Guard guard(lock_);
  return {.held = held, .creations = creations, .releases = releases};
}

std::int32_t ScriptedPower::createAssertion(std::string_view type, std::uint32_t level, std::string_view reason,
                                            std::uint32_t& identifier) {
  UnfairLock::Guard guard(lock_);
  creations.push_back({std::string(type), level, std::string(reason)});
  if (creationResult != 0) return creationResult;
  identifier = ++lastIdentifier_;
  held.emplace(identifier, creations.back());
  return 0;
}

std::int32_t ScriptedPower::releaseAssertion(std::uint32_t identifier) {
  UnfairLock::Guard guard(lock_);
  releases.push_back(identifier);
  if (releaseResult != 0) return releaseResult;
  return held.erase(identifier) == 1 ? 0 : ENOENT;
}

PowerStatus ScriptedPower::status() const {
  UnfairLock::Guard guard(lock_);
  return {.service = held.empty() ? PowerService::none : PowerService::screenSaver};
}

}  // namespace Tessaly::inline v1
