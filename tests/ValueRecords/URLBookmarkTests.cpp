// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <string>

#include "Tessaly/Core/Base/detail/Sanitizers.hpp"
#include "Tessaly/Core/Foundation/Bundle.hpp"
#include "Tessaly/Core/Foundation/POSIXError.hpp"
#include "Tessaly/Core/Logging/LogBackend.hpp"
#include "Tessaly/Platform/Bookmarks/Bookmarks.hpp"
#include "Tessaly/Platform/Testing/InMemoryUserDefaults.hpp"
#include "Tessaly/Platform/Testing/RecordingLogBackend.hpp"
#include "Tessaly/ValueRecords/URLBookmark.hpp"
#include "tests/Support/TemporaryFolder.hpp"

namespace Tessaly {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

/// Tokens that consist of their path.
struct ScriptedBookmarks : Bookmarks {
  Data bookmarkData(const URL& url, BookmarkCreationOptions options) override {
    EXPECT_EQ(static_cast<int>(options), 2048);
    if (refuses) throw POSIXError(EPERM);
    return Data("token of " + url.path() + padding);
  }
  ResolvedBookmark resolve(const Data& data, BookmarkResolutionOptions options) override {
    EXPECT_EQ(static_cast<int>(options), 1024);
    if (refuses) throw POSIXError(ENOENT);
    return {URL::fileURLWithPath(std::string(data.text().substr(9))), true};
  }
  bool refuses = false;
  std::string padding;
};

class URLBookmarkTest : public testing::Test {
 protected:
  URLBookmarkTest() { Bundle::setMain({.identifier = "org.example.files"}); }

  ScriptedBookmarks scripted;
  BookmarksInstallation bookmarks{scripted};
  std::shared_ptr<RecordingLogBackend> log = std::make_shared<RecordingLogBackend>();
  LogBackendInstallation installation{log};
  URL url = URL::fileURLWithPath("/Users/x/Documents");
};

TEST_F(URLBookmarkTest, MissingURLGivesNoBookmarkAndNoLog) {
  EXPECT_EQ(URLBookmark::from(std::optional<URL>()), std::nullopt);
  EXPECT_TRUE(log->records().empty());
}

TEST_F(URLBookmarkTest, KeepsTheURLAndTheToken) {
  const auto bookmark = URLBookmark::from(url);
  ASSERT_TRUE(bookmark);
  EXPECT_EQ(bookmark->url(), url);
  EXPECT_EQ(bookmark->data().text(), "token of /Users/x/Documents");
  EXPECT_EQ(bookmark->description(), "url: '/Users/x/Documents' - data: '27'");
}

TEST_F(URLBookmarkTest, RefusalIsLoggedWithThePath) {
  scripted.refuses = true;
  EXPECT_EQ(URLBookmark::from(url), std::nullopt);
  ASSERT_EQ(log->records().size(), 1u);
  const RecordedLog record = log->records().front();
  EXPECT_EQ(record.type, OSLogType::error);
  EXPECT_EQ(record.subsystem, "org.example.files.Tessaly");
  EXPECT_EQ(record.category, "URLBookmark");
  EXPECT_EQ(record.format, "Failed creating a bookmark URL from '%{public}s'. %s");
  EXPECT_EQ(record.arguments[0].text, "/Users/x/Documents");
  EXPECT_EQ(record.arguments[1].privacy, LogPrivacy::private_);
  EXPECT_THAT(record.arguments[1].text, StartsWith("Error Domain=NSPOSIXErrorDomain Code=1"));
}

TEST_F(URLBookmarkTest, IsStoredAsJSONWithTwoMembers) {
  EXPECT_EQ(URLBookmark::from(url)->transformToUserDefaultValue().text(),
            R"({"url":"file:\/\/\/Users\/x\/Documents","data":"dG9rZW4gb2YgL1VzZXJzL3gvRG9jdW1lbnRz"})");
}

TEST_F(URLBookmarkTest, TokenDecidesTheURL) {
  for (const char* text :
       {R"({"data":"dG9rZW4gb2YgL2E="})", R"({"url":"wrong","data":"dG9rZW4gb2YgL2E="})",
        R"({"url":5,"data":"dG9rZW4gb2YgL2E=","more":[]})", R"({"data":"dG9rZW4gb2YgL2E=","more":1e999})"}) {
    const auto bookmark = URLBookmark::from(Data(std::string_view(text)));
    ASSERT_TRUE(bookmark) << text;
    EXPECT_EQ(bookmark->url().path(), "/a");
    EXPECT_EQ(bookmark->data().text(), "token of /a") << "stale data is kept as it was";
  }
  EXPECT_TRUE(log->records().empty());
}

TEST_F(URLBookmarkTest, UndecodableDataIsLoggedWithItsText) {
  EXPECT_EQ(URLBookmark::from(Data(std::string_view("{\"url\":\"file:///a\"}"))), std::nullopt);
  ASSERT_EQ(log->messages().size(), 1u);
  EXPECT_THAT(log->messages()[0],
              StartsWith("Failed to decode URL bookmark from {\"url\":\"file:///a\"}. keyNotFound("));
  EXPECT_THAT(log->messages()[0], HasSubstr(" | File: Tessaly/URLBookmark, line: 68"));
}

TEST_F(URLBookmarkTest, IllFormedBytesAreLoggedAsNil) {
  EXPECT_EQ(URLBookmark::from(Data(Data::Bytes{0xFF, 0xFE})), std::nullopt);
  EXPECT_THAT(log->messages()[0], StartsWith("Failed to decode URL bookmark from nil. dataCorrupted("));
  EXPECT_EQ(URLBookmark::from(Data()), std::nullopt);
  EXPECT_THAT(log->messages()[1], StartsWith("Failed to decode URL bookmark from . dataCorrupted("));
}

TEST_F(URLBookmarkTest, OtherStoredValuesGiveNoBookmark) {
  const std::string stored(URLBookmark::from(url)->transformToUserDefaultValue().text());
  for (std::size_t length = 0; length < stored.size(); ++length) {
    EXPECT_EQ(URLBookmark::from(Data(std::string_view(stored).substr(0, length))), std::nullopt) << length;
  }
  const std::string deep = std::string(10'000, '[') + std::string(10'000, ']');
  for (const std::string& text :
       {deep, "{\"data\":" + deep + "}", std::string(1'000'000, '['), std::string("null"), std::string("[]"),
        std::string(R"({"data":5})"), std::string(R"({"data":null})"), std::string(R"({"data":"*"})")}) {
    EXPECT_EQ(URLBookmark::from(Data(std::string_view(text))), std::nullopt) << text.substr(0, 20);
  }
  const auto nested = URLBookmark::from(Data("{\"more\":" + deep + R"(,"data":"dG9rZW4gb2YgL2E="})"));
  ASSERT_TRUE(nested) << "what else is in the record does not matter";
  EXPECT_EQ(nested->url().path(), "/a");
}

TEST_F(URLBookmarkTest, FailedResolutionIsAFailedDecoding) {
  const Data stored = URLBookmark::from(url)->transformToUserDefaultValue();
  scripted.refuses = true;
  EXPECT_EQ(URLBookmark::from(stored), std::nullopt);
  EXPECT_THAT(log->messages()[0], HasSubstr("Error Domain=NSPOSIXErrorDomain Code=2"));
  EXPECT_THROW(static_cast<void>(JSONDecoder::decode<URLBookmark>(stored)), POSIXError);
}

#if !TESSALY_IS_SANITIZED  // Under a sanitizer, a failed allocation stops the process.
TEST_F(URLBookmarkTest, UnencodableBookmarkIsLoggedAndEmpty) {
  constexpr std::size_t mebibyte = std::size_t{1} << 20;
  scripted.padding = std::string(64 * mebibyte, 'x');
  const auto bookmark = URLBookmark::from(url);
  ASSERT_TRUE(bookmark);
  // The memory suffices for the token, but not for its text.
  std::size_t pages = 0;
  std::ifstream("/proc/self/statm") >> pages;
  rlimit limit{};
  ASSERT_EQ(::getrlimit(RLIMIT_AS, &limit), 0);
  const rlimit small{.rlim_cur = pages * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE)) + 32 * mebibyte,
                     .rlim_max = limit.rlim_max};
  ASSERT_EQ(::setrlimit(RLIMIT_AS, &small), 0);
  EXPECT_TRUE(bookmark->transformToUserDefaultValue().isEmpty());
  ASSERT_EQ(::setrlimit(RLIMIT_AS, &limit), 0);
  ASSERT_EQ(log->messages().size(), 1u);
  EXPECT_THAT(log->messages()[0], StartsWith("Failed to encode URL bookmark: " + bookmark->description() + ". "));
  EXPECT_THAT(log->messages()[0], HasSubstr(" | File: Tessaly/URLBookmark, line: 77"));
}
#endif

TEST_F(URLBookmarkTest, CanBeASetting) {
  static_assert(UserDefaultsValueTransformable<URLBookmark>);
  static_assert(std::same_as<StoredValue<URLBookmark>, Data>);
  static_assert(UserDefaultsValueTransformable<std::vector<URLBookmark>>);
  const auto bookmark = URLBookmark::from(url);
  const auto again = UserDefaultsValueTransformableTraits<URLBookmark>::from(transformToUserDefaultValue(*bookmark));
  EXPECT_EQ(again->url(), url);
}

TEST(URLBookmarkOfARealFile, FindsItAfterARename) {
  Bundle::setMain({.identifier = "org.example.files"});
  const Tests::TemporaryFolder folder;
  std::ofstream(folder.path() + "/a") << "text";
  const auto bookmark = URLBookmark::from(URL::fileURLWithPath(folder.path() + "/a"));
  ASSERT_TRUE(bookmark);
  const Data stored = bookmark->transformToUserDefaultValue();
  std::filesystem::rename(folder.path() + "/a", folder.path() + "/b");
  EXPECT_EQ(URLBookmark::from(stored)->url().path(), folder.path() + "/b");
  EXPECT_EQ(URLBookmark::from(stored)->data(), bookmark->data());
}

}  // namespace
}  // namespace Tessaly
