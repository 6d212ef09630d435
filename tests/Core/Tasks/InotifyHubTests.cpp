// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <sys/inotify.h>
#include <sys/syscall.h>
#include <sys/wait.h>

#include <csignal>
#include <fstream>
#include <memory>
#include <string>
#include <string_view>

#include "Tessaly/Core/Tasks/detail/InotifyHub.hpp"
#include "tests/Support/ForkedChild.hpp"
#include "tests/Support/SystemCalls.hpp"
#include "tests/Support/TemporaryFolder.hpp"

namespace Tessaly::inline v1::detail {
namespace {

class Subscriber final : public InotifyHub::Subscriber {
 public:
  explicit Subscriber(bool isPatient) : isPatient_(isPatient) {}

 private:
  bool note(int /*watch*/, std::uint32_t /*mask*/, std::string_view /*name*/) noexcept override { return true; }
  void wake() noexcept override {}
  [[nodiscard]] bool isPatient() const noexcept override { return isPatient_; }

  const bool isPatient_;
};

class InotifyHubPause : public testing::Test {
 protected:
  /// The status of a process that the kernel kills if the hub's thread sleeps. The process changes a file of a patient
  /// subscriber again and again.
  int statusOfBurst(bool withImpatientSubscriber) const {
    return Tests::statusOfForkedChild([&] {
      if (!Tests::forbidSystemCall(SYS_clock_nanosleep)) return 1;
      const auto impatient = std::make_shared<Subscriber>(false);
      const auto patient = std::make_shared<Subscriber>(true);
      auto& hub = InotifyHub::shared();
      const int other = hub.add("/", IN_CLOSE_WRITE, impatient);
      if (other < 0 || hub.add(folder_.path().c_str(), IN_CLOSE_WRITE, patient) < 0) return 2;
      if (!withImpatientSubscriber) hub.remove(other, *impatient);
      const std::string file = folder_.path() + "/file";
      const int changes = withImpatientSubscriber ? 2'000 : 2'000'000;
      for (int change = 0; change < changes; ++change) std::ofstream(file) << change;
      return 0;
    });
  }

 private:
  const Tests::TemporaryFolder folder_;
};

TEST_F(InotifyHubPause, ImpatientSubscriberPreventsIt) { EXPECT_EQ(statusOfBurst(true), 0); }

TEST_F(InotifyHubPause, HappensIfAllSubscribersArePatient) {
  const int status = statusOfBurst(false);
  ASSERT_TRUE(WIFSIGNALED(status)) << status;
  EXPECT_EQ(WTERMSIG(status), SIGSYS);
}

}  // namespace
}  // namespace Tessaly::inline v1::detail
