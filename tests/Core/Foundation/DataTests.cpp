// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <random>
#include <ranges>
#include <sstream>
#include <string>
#include <unordered_set>

#include "Tessaly/Core/Foundation/Data.hpp"
#include "Tessaly/Core/Foundation/POSIXError.hpp"
#include "Tessaly/Core/Foundation/URL.hpp"
#include "Tessaly/Core/Foundation/URLError.hpp"
#include "tests/Support/TemporaryFolder.hpp"

namespace Tessaly::inline v1 {
namespace {

using ::testing::ElementsAre;
using ::testing::KilledBySignal;
using ::testing::MatchesRegex;
using namespace std::string_literals;
using namespace std::string_view_literals;
using Tests::TemporaryFolder;

static_assert(std::ranges::contiguous_range<const Data>);

TEST(Data, HoldsItsInitialBytes) {
  EXPECT_TRUE(Data().isEmpty());
  EXPECT_EQ(Data().count(), 0);
  EXPECT_THAT(Data("a\0b"sv), ElementsAre('a', 0, 'b'));
  EXPECT_THAT(Data(Data::Bytes{1, 2}), ElementsAre(1, 2));
  const std::array<std::byte, 2> bytes{std::byte{3}, std::byte{4}};
  EXPECT_THAT(Data(std::span<const std::byte>(bytes)), ElementsAre(3, 4));
  const std::array<std::uint8_t, 1> octets{5};
  EXPECT_THAT(Data(std::span<const std::uint8_t>(octets)), ElementsAre(5));
  EXPECT_EQ(Data("text"sv).text(), "text");
  EXPECT_EQ(Data("text"sv)[3], 't');
}

TEST(Data, WriteDoesNotChangeACopy) {
  Data data("abc"sv);
  const Data before = data;
  data.set(0, 'x');
  data.append({'d'});
  data.modify([](Data::Bytes& bytes) { bytes.erase(bytes.begin() + 1); });
  EXPECT_EQ(data.text(), "xcd");
  EXPECT_EQ(before.text(), "abc");
  EXPECT_EQ(data.modify([](Data::Bytes& bytes) { return bytes.size(); }), 3u);
}

TEST(Data, MayBeAppendedToItself) {
  Data data("abc"sv);
  data.append(data);
  EXPECT_EQ(data.text(), "abcabc");
  data.append(data.bytes().subspan(4));
  EXPECT_EQ(data.text(), "abcabcbc");
  const Data& other = data;
  data.append(std::span<const std::uint8_t>());
  EXPECT_EQ(other.count(), 8);
}

TEST(Data, AMovedFromOneIsEmpty) {
  Data data("abc"sv);
  const Data moved = std::move(data);
  EXPECT_EQ(moved.text(), "abc");
  EXPECT_TRUE(data.isEmpty());  // NOLINT(bugprone-use-after-move)
}

TEST(Data, IndexOutOfRangeStopsTheProcess) {
  Data data("abc"sv);
  const auto report = [](int index) {
    return MatchesRegex("Tessaly/Data:[0-9]+: Fatal error: Index " + std::to_string(index) + " is out of range\n");
  };
  EXPECT_EXIT(static_cast<void>(data[3]), KilledBySignal(SIGABRT), report(3));
  EXPECT_EXIT(static_cast<void>(data[-1]), KilledBySignal(SIGABRT), report(-1));
  EXPECT_EXIT(data.set(3, 0), KilledBySignal(SIGABRT), report(3));
  EXPECT_EXIT(data.set(-1, 0), KilledBySignal(SIGABRT), report(-1));
}

TEST(Data, EqualBytesAreEqualAndHashAlike) {
  const Data data("abc"sv);
  const Data copy = data;
  EXPECT_EQ(data, copy);
  EXPECT_EQ(data, Data("abc"sv));
  EXPECT_EQ(Data(), Data(""sv));
  EXPECT_NE(data, Data("abd"sv));
  EXPECT_NE(data, Data("ab"sv));
  const std::unordered_set<Data> set{data, copy, Data("abc"sv), Data()};
  EXPECT_EQ(set.size(), 2u);
}

TEST(Data, IsDescribedByItsNumberOfBytes) {
  std::ostringstream stream;
  stream << Data() << ", " << Data("x"sv) << ", " << Data("abc"sv);
  EXPECT_EQ(stream.str(), "0 bytes, 1 bytes, 3 bytes");
}

TEST(Data, Base64FollowsTheStandard) {
  // RFC 4648, section 10.
  const std::pair<std::string_view, std::string_view> examples[]{{"", ""},
                                                                 {"f", "Zg=="},
                                                                 {"fo", "Zm8="},
                                                                 {"foo", "Zm9v"},
                                                                 {"foob", "Zm9vYg=="},
                                                                 {"fooba", "Zm9vYmE="},
                                                                 {"foobar", "Zm9vYmFy"}};
  for (const auto& [plain, encoded] : examples) {
    EXPECT_EQ(Data(plain).base64EncodedString(), encoded);
    EXPECT_EQ(Data::fromBase64(encoded), Data(plain));
  }
  EXPECT_EQ(Data(Data::Bytes{0, 1, 2, 255}).base64EncodedString(), "AAEC/w==");
}

TEST(Data, BytesSurviveBase64) {
  std::mt19937 random(4648);
  for (std::size_t size = 0; size < 300; ++size) {
    Data::Bytes bytes(size);
    for (auto& byte : bytes) byte = static_cast<std::uint8_t>(random());
    const Data data(bytes);
    EXPECT_EQ(Data::fromBase64(data.base64EncodedString()), data);
  }
}

TEST(Data, LargeBytesSurviveBase64) {
  std::string text(40'000'001, 'x');
  for (std::size_t i = 0; i < text.size(); i += 1001) text[i] = static_cast<char>(i % 251);
  const Data data(text);
  const std::string encoded = data.base64EncodedString();
  EXPECT_EQ(encoded.size(), (text.size() + 2) / 3 * 4);
  EXPECT_EQ(encoded.find('\0'), std::string::npos);
  EXPECT_EQ(Data::fromBase64(encoded), data);
}

TEST(Data, TextThatIsNotBase64IsRefused) {
  for (const std::string_view text : {"A"sv, "AA"sv, "AAA"sv, "AAAAA"sv, "===="sv, "A==="sv, "=AAA"sv, "AA=A"sv,
                                      "AAA="
                                      "AAAA"sv,
                                      "AA-_"sv, "AA A"sv, "AAAA\n"sv, " AAA"sv, "AA\0A"sv, "AAé"sv, "AAA=\n"sv}) {
    EXPECT_EQ(Data::fromBase64(text), std::nullopt) << text;
  }
}

TEST(Data, BytesSurviveARoundTripThroughAFile) {
  const TemporaryFolder folder;
  const URL file = folder.url().appendingPathComponent("a b%?#\xFF.bin");
  for (const std::size_t size : {0u, 1u, 4095u, 4096u, 4097u, 1'000'000u}) {
    Data::Bytes bytes(size);
    for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<std::uint8_t>(i * 7 + i / 251);
    const Data data(std::move(bytes));
    data.write(file);
    EXPECT_EQ(Data::contentsOf(file), data) << size;
  }
  struct stat status{};
  EXPECT_EQ(::stat((folder.path() + "/a b%?#\xFF.bin").c_str(), &status), 0);
}

TEST(Data, WritingReplacesTheContentsAndKeepsTheFile) {
  const TemporaryFolder folder;
  const URL file = folder.url().appendingPathComponent("file");
  Data("a longer text"sv).write(file);
  struct stat before{};
  ASSERT_EQ(::stat(file.path().c_str(), &before), 0);
  Data("short"sv).write(file);
  struct stat after{};
  ASSERT_EQ(::stat(file.path().c_str(), &after), 0);
  EXPECT_EQ(before.st_ino, after.st_ino);
  EXPECT_EQ(Data::contentsOf(file).text(), "short");
}

TEST(Data, FilesOfUnknownSizeAreReadWhole) {
  const Data limits = Data::contentsOf(URL::fileURLWithPath("/proc/self/limits"));
  EXPECT_TRUE(limits.text().starts_with("Limit "));
  EXPECT_TRUE(limits.text().ends_with("\n"));
}

template <typename Body>
std::int64_t posixCodeOf(Body&& body) {
  try {
    body();
  } catch (const POSIXError& error) {
    return error.code();
  }
  return 0;
}

TEST(Data, FailedSystemCallThrowsItsCode) {
  const TemporaryFolder folder;
  const URL missing = folder.url().appendingPathComponent("missing/file");
  EXPECT_EQ(posixCodeOf([&] { static_cast<void>(Data::contentsOf(missing)); }), ENOENT);
  EXPECT_EQ(posixCodeOf([&] { Data("x"sv).write(missing); }), ENOENT);
  EXPECT_EQ(posixCodeOf([&] { static_cast<void>(Data::contentsOf(folder.url())); }), EISDIR);
  EXPECT_EQ(posixCodeOf([&] { Data("x"sv).write(URL::fileURLWithPath("/dev/full")); }), ENOSPC);
}

TEST(Data, OnlyFilesAreReadAndWritten) {
  const URL site = URL::from("https://example.com/file").value();
  EXPECT_THROW(static_cast<void>(Data::contentsOf(site)), URLError);
  EXPECT_THROW(Data().write(site), URLError);
  EXPECT_THROW(Data().write(URL::from("/tmp/relative").value()), URLError);
}

}  // namespace
}  // namespace Tessaly::inline v1
