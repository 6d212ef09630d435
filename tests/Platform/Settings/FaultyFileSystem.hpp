// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <utility>
#include <vector>

#include "Tessaly/Platform/Linux/SettingsFileSystem.hpp"

namespace Tessaly::Tests {

/// The system's files, where a test decides what becomes of each call. The end of this object ends the decisions, and
/// waits for the calls of the test's function.
///
/// A store may still be ending on another thread after the test. So the file system of the store lives until the end of
/// the process, and makes its last calls unchanged.
class FaultyFileSystem {
  class System final : public detail::SettingsFileSystem {
   public:
    using SettingsFileSystem::Fate;
    using Decision = std::function<Fate(Call, const std::string&)>;

    static System& make(Decision decision) {
      static auto& systems = *new std::vector<std::unique_ptr<System>>;
      return *systems.emplace_back(std::make_unique<System>(std::move(decision)));
    }
    explicit System(Decision decision) : decision_(std::move(decision)) {}

    void endDecisions() {
      const std::unique_lock guard(mutex_);
      decision_ = nullptr;
    }

   protected:
    Fate before(Call call, const std::string& path) override {
      const std::shared_lock guard(mutex_);
      return decision_ ? decision_(call, path) : Fate{};
    }

   private:
    std::shared_mutex mutex_;
    Decision decision_;
  };

 public:
  using Call = System::Call;
  using Fate = System::Fate;

  explicit FaultyFileSystem(System::Decision decision) : system_(System::make(std::move(decision))) {}
  ~FaultyFileSystem() { system_.endDecisions(); }
  FaultyFileSystem(const FaultyFileSystem&) = delete;
  FaultyFileSystem& operator=(const FaultyFileSystem&) = delete;

  /// For the options of a store.
  [[nodiscard]] detail::SettingsFileSystem* system() const noexcept { return &system_; }

 private:
  System& system_;
};

}  // namespace Tessaly::Tests
