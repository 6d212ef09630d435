// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/inotify.h>
#include <sys/syscall.h>
#include <sys/wait.h>

#include <atomic>
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
  /// Changes the file, and returns once the hub has called this subscriber again. It makes no call that sleeps, but
  /// waits in `poll`.
  void changeAndAwait(const std::string& path) {
    const int before = wakes_;
    std::ofstream(path) << "text";
    while (wakes_ == before) ::poll(nullptr, 0, 1);
  }

 private:
  bool note(int /*watch*/, std::uint32_t /*mask*/, std::string_view /*name*/) noexcept override { return true; }
  void wake() noexcept override { ++wakes_; }
  [[nodiscard]] bool isPatient() const noexcept override { return isPatient_; }

  const bool isPatient_;
  std::atomic<int> wakes_ = 0;
};

class InotifyHubPause : public testing::Test {
 protected:
  /// The status of a process that the kernel kills if the hub's thread sleeps after an event of a patient subscriber.
  int statusOfPatientEvents(bool withImpatientSubscriber) const {
    return Tests::statusOfForkedChild([&] {
      if (!Tests::forbidSystemCall(SYS_clock_nanosleep)) return 1;
      const auto impatient = std::make_shared<Subscriber>(false);
      const auto patient = std::make_shared<Subscriber>(true);
      auto& hub = InotifyHub::shared();
      const int other = hub.add("/", IN_CLOSE_WRITE, impatient);
      if (other < 0 || hub.add(folder_.path().c_str(), IN_CLOSE_WRITE, patient) < 0) return 2;
      if (!withImpatientSubscriber) hub.remove(other, *impatient);
      for (int change = 0; change < 20; ++change) patient->changeAndAwait(folder_.path() + "/file");
      return 0;
    });
  }

 private:
  const Tests::TemporaryFolder folder_;
};

TEST_F(InotifyHubPause, ImpatientSubscriberPreventsIt) { EXPECT_EQ(statusOfPatientEvents(true), 0); }

TEST_F(InotifyHubPause, HappensIfAllSubscribersArePatient) {
  const int status = statusOfPatientEvents(false);
  ASSERT_TRUE(WIFSIGNALED(status)) << status;
  EXPECT_EQ(WTERMSIG(status), SIGSYS);
}

}  // namespace
}  // namespace Tessaly::inline v1::detail
