// SPDX-License-Identifier: MIT
// Trees in which another program exchanges a directory with a symbolic link all the time.
#include <fcntl.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <stop_token>
#include <string>
#include <system_error>
#include <thread>

#include "Tessaly/Core/Foundation/POSIXError.hpp"
#include "Tessaly/Platform/Files/FileManager.hpp"
#include "Tessaly/Platform/Files/NSFileCoordinator.hpp"
#include "tests/Support/ContentsOf.hpp"
#include "tests/Support/Repetitions.hpp"
#include "tests/Support/TemporaryFolder.hpp"

namespace Tessaly {
namespace {

class SwappedDirectory : public testing::Test {
 protected:
  void SetUp() override {
    std::filesystem::create_directories(path("tree/sub"));
    std::filesystem::create_directories(path("outside"));
    std::ofstream(path("tree/sub/inside")) << "text";
    std::ofstream(path("outside/secret")) << "text";
    std::filesystem::create_directory_symlink(path("outside"), path("spare"));
    attacker_ = std::jthread([this](const std::stop_token& end) {
      while (!end.stop_requested()) {
        if (::renameat2(AT_FDCWD, path("tree/sub").c_str(), AT_FDCWD, path("spare").c_str(), RENAME_EXCHANGE) == 0) {
          ++swaps_;
        }
      }
    });
  }

  /// Does the work again and again. It may fail, because the tree changes.
  template <typename Work>
  void whileSwapped(Work work) {
    constexpr int leastSwaps = 100;
    for (int round = 0; round < Tests::repetitions(3'000) || swaps_ < leastSwaps; ++round) {
      try {
        work();
      } catch (const POSIXError&) {
      }
      if (HasFatalFailure()) return;
    }
  }

  [[nodiscard]] std::string path(const std::string& name) const { return folder_.path() + "/" + name; }
  [[nodiscard]] URL url(const std::string& name) const { return URL::fileURLWithPath(path(name)); }

  FileManager& files_ = FileManager::default_();

 private:
  Tests::TemporaryFolder folder_;
  std::atomic<int> swaps_{0};
  std::jthread attacker_;
};

TEST_F(SwappedDirectory, CopyHasNoFileOfAnotherDirectory) {
  whileSwapped([&] {
    std::filesystem::remove_all(path("copy"));
    files_.copyItem(url("tree"), url("copy"));
    ASSERT_FALSE(!std::filesystem::is_symlink(path("copy/sub")) && std::filesystem::exists(path("copy/sub/secret")));
  });
}

TEST_F(SwappedDirectory, ZipHasNoFileOfAnotherDirectory) {
  whileSwapped([&] {
    NSFileCoordinator().coordinateReading(
        url("tree"), NSFileCoordinator::ReadingOptions::forUploading,
        [](const URL& archive) { ASSERT_EQ(Tests::contentsOf(archive.path()).find("sub/secret"), std::string::npos); });
  });
}

TEST_F(SwappedDirectory, RemovalRemovesNoFileOfAnotherDirectory) {
  whileSwapped([&] {
    std::error_code ignored;
    std::filesystem::remove_all(path("spare"), ignored);
    std::filesystem::create_directory_symlink(path("outside"), path("spare"), ignored);
    std::filesystem::create_directories(path("tree/sub/inner"), ignored);
    files_.removeItem(url("tree"));
  });
  EXPECT_TRUE(std::filesystem::exists(path("outside/secret")));
}

}  // namespace
}  // namespace Tessaly
