// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <string>
#include <utility>

#include "Tessaly/Platform/Linux/SettingsFileSystem.hpp"

namespace Tessaly::Tests {

/// The system's files, where a test decides what becomes of each call.
class FaultyFileSystem final : public detail::SettingsFileSystem {
 public:
  using SettingsFileSystem::Fate;
  explicit FaultyFileSystem(std::function<Fate(Call, const std::string&)> fate) : fate_(std::move(fate)) {}

 protected:
  Fate before(Call call, const std::string& path) override { return fate_(call, path); }

 private:
  std::function<Fate(Call, const std::string&)> fate_;
};

}  // namespace Tessaly::Tests
