// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <memory>
#include <thread>

#include "Tessaly/Core/Base/BackendInstallation.hpp"

namespace {

using namespace Tessaly;

/// A seam with an accessor that gives a reference.
class Lamp {
 public:
  explicit Lamp(int watts) : watts(watts) {}
  static Lamp& current() { return detail::backendInUse<Lamp>(); }
  static Lamp& system() {
    static Lamp lamp(40);
    return lamp;
  }
  static InstalledBackend<Lamp>& installed() noexcept {
    static constinit InstalledBackend<Lamp> installed{nullptr};
    return installed;
  }
  const int watts;
};

/// A seam with an accessor that shares the backend.
class Bell {
 public:
  static const std::shared_ptr<Bell>& current() { return detail::backendInUse<Bell>(); }
  static const std::shared_ptr<Bell>& system() {
    static const auto bell = std::make_shared<Bell>();
    return bell;
  }
  static InstalledBackend<Bell>& installed() noexcept {
    static constinit InstalledBackend<Bell> installed{nullptr};
    return installed;
  }
};

TEST(BackendInstallation, ReplacesTheSystemsBackendForItsScope) {
  EXPECT_EQ(Lamp::current().watts, 40);
  {
    const BackendInstallation<Lamp> installation(std::make_shared<Lamp>(60));
    EXPECT_EQ(Lamp::current().watts, 60);
    EXPECT_EQ(Lamp::system().watts, 40);
  }
  EXPECT_EQ(Lamp::current().watts, 40);
}

TEST(BackendInstallation, RestoresTheOuterBackend) {
  const BackendInstallation<Lamp> outer(std::make_shared<Lamp>(60));
  {
    const BackendInstallation<Lamp> inner(std::make_shared<Lamp>(75));
    EXPECT_EQ(Lamp::current().watts, 75);
  }
  EXPECT_EQ(Lamp::current().watts, 60);
}

TEST(BackendInstallation, KeepsTheBackendAfterItsScope) {
  std::weak_ptr<Lamp> lamp;
  {
    auto made = std::make_shared<Lamp>(60);
    lamp = made;
    const BackendInstallation<Lamp> installation(std::move(made));
  }
  EXPECT_FALSE(lamp.expired());
}

TEST(BackendInstallation, SharesTheBackendWhereTheSeamDoes) {
  const auto bell = std::make_shared<Bell>();
  const BackendInstallation<Bell> installation(bell);
  EXPECT_EQ(Bell::current(), bell);
  EXPECT_NE(Bell::system(), bell);
}

TEST(BackendInstallation, TakesABackendThatItsOwnerKeeps) {
  Lamp lamp(60);
  const BackendInstallation<Lamp> installation(lamp);
  EXPECT_EQ(&Lamp::current(), &lamp);
}

TEST(BackendInstallation, LetsAnotherThreadUseTheBackendMeanwhile) {
  std::jthread reader([](const std::stop_token& stop) {
    while (!stop.stop_requested()) EXPECT_GE(Lamp::current().watts, 40);
  });
  for (int watts = 41; watts < 241; ++watts) {
    const BackendInstallation<Lamp> installation(std::make_shared<Lamp>(watts));
    EXPECT_EQ(Lamp::current().watts, watts);
  }
}

TEST(BackendInstallationDeathTest, StopsTheProcessWithoutABackend) {
  EXPECT_DEATH(BackendInstallation<Lamp>(std::shared_ptr<Lamp>()), "There is no backend to install");
}

}  // namespace
