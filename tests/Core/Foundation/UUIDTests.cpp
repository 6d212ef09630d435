// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <random>
#include <sstream>
#include <string>
#include <thread>
#include <unordered_set>
#include <vector>

#include "Tessaly/Core/Foundation/UUID.hpp"

namespace Tessaly::inline v1 {
namespace {

using ::testing::ElementsAre;
using ::testing::MatchesRegex;

TEST(UUID, RandomIdentifiersHaveVersionFour) {
  for (int round = 0; round < 1000; ++round) {
    EXPECT_THAT(UUID::random().uuidString(),
                MatchesRegex("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}"));
  }
}

TEST(UUID, RandomIdentifiersUseAllOtherBits) {
  UUID::Bytes set{};
  UUID::Bytes clear{};
  for (int round = 0; round < 200; ++round) {
    const UUID::Bytes bytes = UUID::random().bytes();
    for (std::size_t i = 0; i < bytes.size(); ++i) {
      set[i] |= bytes[i];
      clear[i] |= static_cast<std::uint8_t>(~bytes[i]);
    }
  }
  for (std::size_t i = 0; i < set.size(); ++i) {
    EXPECT_EQ(set[i], i == 6 ? 0x4F : i == 8 ? 0xBF : 0xFF) << i;
    EXPECT_EQ(clear[i], i == 6 ? 0xBF : i == 8 ? 0x7F : 0xFF) << i;
  }
}

TEST(UUID, ThreadsMakeDifferentIdentifiers) {
  constexpr int perThread = 20'000;
  std::vector<std::vector<UUID>> made(4);
  std::vector<std::thread> threads;
  for (auto& uuids : made) {
    threads.emplace_back([&uuids] {
      for (int i = 0; i < perThread; ++i) uuids.push_back(UUID::random());
    });
  }
  for (auto& thread : threads) thread.join();
  std::unordered_set<UUID> all;
  for (const auto& uuids : made) all.insert(uuids.begin(), uuids.end());
  EXPECT_EQ(all.size(), made.size() * perThread);
}

/// The next identifiers of a forked child, as the child reports them.
std::vector<UUID> uuidsOfForkedChild() {
  int ends[2];
  EXPECT_EQ(::pipe(ends), 0);
  const pid_t child = ::fork();
  if (child == 0) {
    std::string text;
    for (int i = 0; i < 8; ++i) text += UUID::random().uuidString();
    const bool isWritten = ::write(ends[1], text.data(), text.size()) == static_cast<ssize_t>(text.size());
    ::_exit(isWritten ? 0 : 1);
  }
  ::close(ends[1]);
  std::string text(8 * 36, '\0');
  EXPECT_EQ(::read(ends[0], text.data(), text.size()), static_cast<ssize_t>(text.size()));
  ::close(ends[0]);
  int status = 0;
  EXPECT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  std::vector<UUID> uuids;
  for (std::size_t i = 0; i < 8; ++i) uuids.push_back(UUID::from(text.substr(i * 36, 36)).value());
  return uuids;
}

TEST(UUID, ForkedChildrenMakeDifferentIdentifiers) {
  // One identifier is taken before the fork, so that parent and child have the same rest of a supply.
  std::unordered_set<UUID> all{UUID::random()};
  std::size_t count = 1;
  for (int round = 0; round < 3; ++round) {
    for (const UUID& uuid : uuidsOfForkedChild()) all.insert(uuid);
    for (int i = 0; i < 8; ++i) all.insert(UUID::random());
    count += 16;
  }
  EXPECT_EQ(all.size(), count);
}

TEST(UUID, ForkBeforeFirstUseGivesDifferentIdentifiers) {
  std::unordered_set<UUID> all;
  for (int round = 0; round < 2; ++round) {
    for (const UUID& uuid : uuidsOfForkedChild()) all.insert(uuid);
  }
  EXPECT_EQ(all.size(), 16u);
}

TEST(UUID, ParsesEitherCase) {
  const auto upper = UUID::from("E621E1F8-C36C-495A-93FC-0C247A3E6E5F");
  ASSERT_TRUE(upper.has_value());
  EXPECT_THAT(upper->bytes(), ElementsAre(0xE6, 0x21, 0xE1, 0xF8, 0xC3, 0x6C, 0x49, 0x5A, 0x93, 0xFC, 0x0C, 0x24, 0x7A,
                                          0x3E, 0x6E, 0x5F));
  EXPECT_EQ(UUID::from("e621e1f8-c36c-495a-93fc-0c247a3e6e5f"), upper);
  EXPECT_EQ(upper->uuidString(), "E621E1F8-C36C-495A-93FC-0C247A3E6E5F");
  EXPECT_EQ(upper->description(), upper->uuidString());
  std::ostringstream stream;
  stream << *upper;
  EXPECT_EQ(stream.str(), upper->uuidString());
}

TEST(UUID, AnyOtherTextIsRefused) {
  const std::string good = "E621E1F8-C36C-495A-93FC-0C247A3E6E5F";
  for (std::size_t i = 0; i < good.size(); ++i) {
    for (const char wrong : {'g', '/', ':', '@', '`', '\0', ' ', '\xE9', good[i] == '-' ? '0' : '-'}) {
      std::string text = good;
      text[i] = wrong;
      EXPECT_EQ(UUID::from(text), std::nullopt) << text;
    }
    EXPECT_EQ(UUID::from(good.substr(0, i)), std::nullopt);
  }
  for (const std::string& text : {good + "0", " " + good, "{" + good + "}", std::string(36, '-')}) {
    EXPECT_EQ(UUID::from(text), std::nullopt) << text;
  }
  EXPECT_EQ(UUID::from("E621E1F8C36C495A93FC0C247A3E6E5F"), std::nullopt);
}

TEST(UUID, EveryIdentifierParsesFromItsText) {
  std::mt19937 random(9562);
  for (int round = 0; round < 10'000; ++round) {
    UUID::Bytes bytes;
    for (auto& byte : bytes) byte = static_cast<std::uint8_t>(random());
    EXPECT_EQ(UUID::from(UUID(bytes).uuidString()), UUID(bytes));
  }
}

TEST(UUID, TheOrderIsThatOfTheTexts) {
  std::vector<UUID> uuids;
  for (int i = 0; i < 100; ++i) uuids.push_back(UUID::random());
  for (const UUID& left : uuids) {
    for (const UUID& right : uuids) EXPECT_EQ(left < right, left.uuidString() < right.uuidString());
  }
}

TEST(UUID, IdentifiersThatDifferInOneByteHashDifferently) {
  std::unordered_set<std::size_t> hashes;
  for (std::size_t i = 0; i < 16; ++i) {
    for (int value = 1; value < 256; ++value) {
      UUID::Bytes bytes{};
      bytes[i] = static_cast<std::uint8_t>(value);
      hashes.insert(std::hash<UUID>()(UUID(bytes)));
    }
  }
  EXPECT_EQ(hashes.size(), 16u * 255);
}

}  // namespace
}  // namespace Tessaly::inline v1
