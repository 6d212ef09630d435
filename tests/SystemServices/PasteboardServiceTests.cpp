// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <memory>
#include <thread>

#include "Tessaly/Platform/Testing/RecordingPasteboard.hpp"
#include "Tessaly/SystemServices/PasteboardService.hpp"

namespace {

using namespace Tessaly;
using Contents = std::map<PasteboardType, std::string>;
using Calls = std::vector<std::string>;

class PasteboardServiceTest : public testing::Test {
 protected:
  const std::shared_ptr<RecordingPasteboard> pasteboard_ = std::make_shared<RecordingPasteboard>();
  const PasteboardBackendInstallation installation_{pasteboard_};
};

TEST_F(PasteboardServiceTest, ClearsThePasteboardAndThenSetsTheText) {
  PasteboardService::write("to paste");
  EXPECT_EQ(pasteboard_->calls, (Calls{"clear", "to paste"}));
  EXPECT_EQ(pasteboard_->contents, (Contents{{PasteboardType::string, "to paste"}}));
}

TEST_F(PasteboardServiceTest, URLReplacesContentsByItsAbsoluteText) {
  PasteboardService::write("earlier");
  PasteboardService::write(URL::from("https://example.com/a?b#c").value());
  EXPECT_EQ(pasteboard_->calls, (Calls{"clear", "earlier", "clear", "https://example.com/a?b#c"}));
  EXPECT_EQ(pasteboard_->contents, (Contents{{PasteboardType::url, "https://example.com/a?b#c"}}));
}

TEST_F(PasteboardServiceTest, TextReplacesAURL) {
  PasteboardService::write(URL::fileURLWithPath("/a b"));
  EXPECT_EQ(pasteboard_->contents, (Contents{{PasteboardType::url, "file:///a%20b"}}));
  PasteboardService::write("later");
  EXPECT_EQ(pasteboard_->contents, (Contents{{PasteboardType::string, "later"}}));
}

TEST_F(PasteboardServiceTest, EmptyTextIsAText) {
  PasteboardService::write("");
  EXPECT_EQ(pasteboard_->contents, (Contents{{PasteboardType::string, ""}}));
}

TEST_F(PasteboardServiceTest, FailureLeavesThePasteboardCleared) {
  PasteboardService::write("earlier");
  pasteboard_->accepts = false;
  PasteboardService::write("later");
  EXPECT_EQ(pasteboard_->contents, Contents());
}

TEST_F(PasteboardServiceTest, StandInIsReadWhileAnotherThreadCopies) {
  std::jthread other([] {
    for (int call = 0; call < 100; ++call) PasteboardService::write("again");
  });
  while (pasteboard_->snapshot().calls.size() < 200) std::this_thread::yield();
  EXPECT_EQ(pasteboard_->snapshot().contents, (Contents{{PasteboardType::string, "again"}}));
}

}  // namespace
