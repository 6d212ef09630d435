// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Tessaly/Concurrency/OwnedTasks.hpp"
#include "Tessaly/Core/Base/Error.hpp"
#include "Tessaly/Core/Foundation/Data.hpp"
#include "Tessaly/Core/Foundation/POSIXError.hpp"
#include "Tessaly/Core/Tasks/MainQueue.hpp"
#include "Tessaly/Core/Tasks/SyncWait.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"
#include "Tessaly/FoundationExtensions/Digest+Extensions.hpp"
#include "Tessaly/Platform/Testing/ServeUntil.hpp"
#include "tests/Support/TemporaryFolder.hpp"

namespace Tessaly {
namespace {

Data data(std::string_view text) { return Data(text); }

TEST(DigestExtensions, DigestsArePaddedLowerCaseHexadecimal) {
  SHA256Digest digest;
  digest.bytes[0] = 0x0A;
  digest.bytes[31] = 0xFE;
  EXPECT_EQ(stringEncoded(digest), "0a" + std::string(60, '0') + "fe");
}

TEST(DigestExtensions, EqualThePublishedExamples) {
  EXPECT_EQ(stringEncoded(SHA256Digest::hash(data("abc").bytes())),
            "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
  EXPECT_EQ(stringEncoded(SHA256Digest::hash({})), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
  EXPECT_EQ(stringEncoded(Insecure::MD5Digest::hash(data("abc").bytes())), "900150983cd24fb0d6963f7d28e17f72");
  // RFC 4231, test case 2.
  const auto code =
      HashedAuthenticationCode::authenticationCode(data("what do ya want for nothing?").bytes(), data("Jefe").bytes());
  EXPECT_EQ(stringEncoded(code), "5bdcc146bf60754e6a042426089575c75a003f089d2739839dec58b964ec3843");
  // RFC 4231, test case 6. The key is longer than a block.
  const auto longKey = HashedAuthenticationCode::authenticationCode(
      data("Test Using Larger Than Block-Size Key - Hash Key First").bytes(), Data(std::string(131, '\xaa')).bytes());
  EXPECT_EQ(stringEncoded(longKey), "60e431591ee0b67f0d8a26aacbf5b77f8e0bc6213728c5140546040f0ee37f54");
  EXPECT_EQ(code, code);
  EXPECT_FALSE(code == HashedAuthenticationCode::authenticationCode({}, {}));
}

class DigestOfAFile : public testing::Test {
 protected:
  [[nodiscard]] URL put(std::string_view text) const {
    const URL file = URL::fileURLWithPath(folder_.path() + "/file");
    Data(text).write(file);
    return file;
  }

 private:
  Tests::TemporaryFolder folder_;
};

TEST_F(DigestOfAFile, EqualsTheDigestOfItsContents) {
  for (const std::size_t size : {0U, 3U, 262'144U, 1'000'003U}) {
    const std::string text(size, 'x');
    const URL file = put(text);
    const Data data{std::string_view(text)};
    EXPECT_EQ(syncWait([&] { return digestOfFile<SHA256Digest>(file); }), SHA256Digest::hash(data.bytes()));
    EXPECT_EQ(syncWait([&] { return digestOfFile<SHA512Digest>(file); }), SHA512Digest::hash(data.bytes()));
    EXPECT_EQ(syncWait([&] { return digestOfFile<Insecure::MD5Digest>(file); }),
              Insecure::MD5Digest::hash(data.bytes()));
  }
}

TEST_F(DigestOfAFile, ProgressRisesToOne) {
  const URL file = put(std::string(1'000'000, 'x'));
  std::vector<double> parts;
  syncWait([&] { return digestOfFile<SHA256Digest>(file, [&](double part) { parts.push_back(part); }); });
  EXPECT_EQ(parts, (std::vector<double>{0.262144, 0.524288, 0.786432, 1}));
}

TEST_F(DigestOfAFile, ProgressComesAtMostForEachHundredth) {
  const URL file = put(std::string(60'000'000, 'x'));
  std::vector<double> parts;
  syncWait([&] { return digestOfFile<SHA256Digest>(file, [&](double part) { parts.push_back(part); }); });
  EXPECT_GT(parts.size(), 50U);
  EXPECT_LE(parts.size(), 101U);
  EXPECT_TRUE(std::ranges::is_sorted(parts));
  EXPECT_EQ(parts.back(), 1);
}

TEST_F(DigestOfAFile, ProgressUsesTheOwnerOnlyWhileItLives) {
  struct Window {
    void hash(const URL& file) {
      tasks.add([this, file]() -> Async<void> {
        co_await digestOfFile<SHA256Digest>(file, [this](double part) {
          EXPECT_TRUE(MainQueue::isMainThread());
          progress.push_back(part);
        });
      });
    }

    std::vector<double> progress;
    OwnedTasks tasks;
  };
  const URL file = put(std::string(20'000'000, 'x'));
  auto window = std::make_unique<Window>();
  window->hash(file);
  EXPECT_TRUE(serveUntil([&] { return window->progress.size() >= 2; }));
  window.reset();  // The sanitizer would report a later call.
  syncWait([&] { return digestOfFile<SHA256Digest>(file); });
  MainQueue::drain();
}

TEST_F(DigestOfAFile, CancellationStopsReading) {
  const URL file = put(std::string(10'000'000, 'x'));
  std::atomic<bool> hasBegun{false};
  std::atomic<bool> mayGoOn{false};
  double last = 0;
  Task<> task({.isolation = Isolation()}, [&]() -> Async<void> {  // The main thread is busy with the wait below.
    co_await digestOfFile<SHA256Digest>(file, [&](double part) {
      last = part;
      hasBegun = true;
      mayGoOn.wait(false);
    });
  });
  syncWait([&]() -> Async<void> {
    while (!hasBegun) co_await Task<>::yield();
    task.cancel();
    mayGoOn = true;
    mayGoOn.notify_all();
    EXPECT_THROW(co_await task.value(), CancellationError);
  });
  EXPECT_LT(last, 0.1);
}

TEST_F(DigestOfAFile, MissingFileThrows) {
  EXPECT_THROW(syncWait([] { return digestOfFile<SHA256Digest>(URL::fileURLWithPath("/none")); }), POSIXError);
}

TEST(DigestHasher, PiecesGiveTheDigestOfTheWhole) {
  const Data data{std::string_view("abc")};
  DigestHasher<SHA512Digest> hasher;
  for (int round = 0; round < 2; ++round) {
    hasher.update(data.bytes().subspan(0, 1));
    hasher.update(data.bytes().subspan(1));
    EXPECT_EQ(stringEncoded(hasher.finalize()),
              "ddaf35a193617abacc417349ae20413112e6fa4e89a97ea20a9eeee64b55d39a"
              "2192992a274fc1a836ba3c23a3feebbd454d4423643ce80e2a9ac94fa54ca49f");
  }
}

}  // namespace
}  // namespace Tessaly
