// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <limits>
#include <string>

#include "Tessaly/Core/Foundation/Data.hpp"
#include "Tessaly/Core/Foundation/POSIXError.hpp"
#include "Tessaly/Core/Foundation/detail/AvailableMemory.hpp"
#include "tests/Support/TemporaryFolder.hpp"

namespace Tessaly {
namespace {

constexpr std::int64_t gibibyte = std::int64_t{1} << 30;

class AvailableMemory : public testing::Test {
 protected:
  void put(const std::string& name, std::string_view text) const {
    const std::filesystem::path path(root.path() + "/" + name);
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path) << text;
  }
  [[nodiscard]] std::int64_t available() const { return detail::availableMemory(root.path()); }

  Tests::TemporaryFolder root;
};

TEST_F(AvailableMemory, EqualsTheMachinesFigure) {
  put("proc/meminfo", "MemTotal:       16000000 kB\nMemAvailable:    1000 kB\n");
  EXPECT_EQ(available(), 1'024'000);
}

TEST_F(AvailableMemory, IsUnlimitedWithoutASystemFigure) {
  EXPECT_EQ(available(), std::numeric_limits<std::int64_t>::max());
  put("proc/meminfo", "MemAvailable:\n");
  put("proc/self/cgroup", "12:cpu:/a\n0::nonsense\n");
  EXPECT_EQ(available(), std::numeric_limits<std::int64_t>::max());
}

TEST_F(AvailableMemory, FollowsTheNarrowestControlGroup) {
  put("proc/meminfo", "MemAvailable:    1000000 kB\n");
  put("proc/self/cgroup", "1:name=systemd:/\n0::/app.slice/player.scope\n");
  put("sys/fs/cgroup/app.slice/player.scope/memory.max", "max\n");
  put("sys/fs/cgroup/app.slice/player.scope/memory.current", "5000\n");
  put("sys/fs/cgroup/app.slice/memory.max", "9000\n");
  put("sys/fs/cgroup/app.slice/memory.current", "5000\n");
  EXPECT_EQ(available(), 4000);
  put("sys/fs/cgroup/app.slice/player.scope/memory.max", "5001\n");
  EXPECT_EQ(available(), 1);
  put("sys/fs/cgroup/app.slice/player.scope/memory.current", "6000\n");
  EXPECT_EQ(available(), 0);
}

TEST_F(AvailableMemory, SparseFileLargerThanMemoryIsRefused) {
  const std::string path = root.path() + "/sparse";
  std::ofstream(path) << "x";
  std::filesystem::resize_file(path, 10'000'000'000);
  std::int64_t pages = 0;
  std::ifstream("/proc/self/statm") >> pages;
  rlimit limit{};
  ASSERT_EQ(::getrlimit(RLIMIT_AS, &limit), 0);
  limit.rlim_cur = static_cast<rlim_t>(pages * ::sysconf(_SC_PAGESIZE) + 4 * gibibyte);
  ASSERT_EQ(::setrlimit(RLIMIT_AS, &limit), 0);
  EXPECT_LE(detail::availableMemory(), 4 * gibibyte);
  try {
    static_cast<void>(Data::contentsOf(URL::fileURLWithPath(path)));
    ADD_FAILURE();
  } catch (const POSIXError& error) {
    EXPECT_EQ(error.code(), ENOMEM);
  }
}

}  // namespace
}  // namespace Tessaly
