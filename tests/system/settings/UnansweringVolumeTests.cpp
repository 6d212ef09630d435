// SPDX-License-Identifier: MIT
// Settings beside a volume that does not answer.
#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>

#include "Tessaly/Core/Foundation/URL.hpp"
#include "Tessaly/Platform/Files/FileManager.hpp"
#include "tests/Platform/Settings/StoreFixture.hpp"
#include "tests/Support/RemoteVolume.hpp"
#include "tests/Support/Threads.hpp"
#include "tests/Support/WaitUntil.hpp"

namespace Tessaly::inline v1 {
namespace {

class UnansweringVolume : public Tests::StoreFixture {
 protected:
  void SetUp() override {
    if (!volume_.reason().empty()) GTEST_SKIP() << volume_.reason();
    std::filesystem::create_directory(volume_.theirs("directory"));
  }

  Tests::RemoteVolume volume_;
};

TEST_F(UnansweringVolume, DelaysNoSettings) {
  Store store = open();
  const auto source =
      FileManager::default_().makeFileChangeSource(URL::fileURLWithPath(volume_.ours("directory/file")), [] {});
  volume_.suspend();
  std::atomic<bool> isWatched = false;
  std::atomic<pid_t> identifier = 0;
  std::jthread watching([&] {
    identifier = ::gettid();
    static_cast<void>(source->takeChange());
    isWatched = true;
  });
  ASSERT_TRUE(Tests::waitUntil([&] { return identifier != 0; }));
  Tests::waitUntilAsleep(identifier, "SD");
  const Store other = open();
  other->set(1, "a");
  EXPECT_TRUE(Tests::waitUntil([&] { return store->value("a") == 1; }));
  EXPECT_TRUE(store->synchronize());
  store.reset();
  EXPECT_FALSE(isWatched);
  volume_.resume();
}

}  // namespace
}  // namespace Tessaly::inline v1
