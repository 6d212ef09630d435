// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "Tessaly/Adapters/detail/ToolkitPasteboard.hpp"

namespace Tessaly::detail {
namespace {

/// A pasteboard of a toolkit that accepts or refuses contents as the test says.
class PasteboardOfTest final : public ToolkitPasteboard {
 public:
  explicit PasteboardOfTest(PasteboardServer server = PasteboardServer::x11) : ToolkitPasteboard(server) {}

  bool accepts = true;
  std::vector<std::string> offered;

 private:
  bool offer(const OfferedTexts& texts) override {
    offered.push_back(texts.plain());
    return accepts;
  }
  void disconnect() override {}
};

constexpr PasteboardStatus owned{PasteboardServer::x11, PasteboardProblem::none, true};
constexpr PasteboardStatus refused{PasteboardServer::x11, PasteboardProblem::refused, false};

TEST(ToolkitPasteboard, RefusedContentsAreFailure) {
  PasteboardOfTest pasteboard;
  pasteboard.accepts = false;
  EXPECT_FALSE(pasteboard.setString("text", PasteboardType::string));
  EXPECT_EQ(pasteboard.status(), refused);
  EXPECT_EQ(pasteboard.offered, std::vector<std::string>{"text"});
}

TEST(ToolkitPasteboard, RefusalEndsTheOwnership) {
  PasteboardOfTest pasteboard;
  EXPECT_TRUE(pasteboard.setString("first", PasteboardType::string));
  EXPECT_EQ(pasteboard.status(), owned);
  pasteboard.accepts = false;
  EXPECT_FALSE(pasteboard.setString("second", PasteboardType::string));
  EXPECT_EQ(pasteboard.status(), refused);
}

TEST(ToolkitPasteboard, AcceptedContentsEndTheProblem) {
  PasteboardOfTest pasteboard;
  pasteboard.accepts = false;
  EXPECT_FALSE(pasteboard.setString("first", PasteboardType::string));
  pasteboard.accepts = true;
  EXPECT_TRUE(pasteboard.setString("second", PasteboardType::string));
  EXPECT_EQ(pasteboard.status(), owned);
}

TEST(ToolkitPasteboard, StatusReportsTheRefusalOfAnotherThreadsWrite) {
  PasteboardOfTest pasteboard;
  pasteboard.accepts = false;
  std::thread([&] { EXPECT_TRUE(pasteboard.setString("text", PasteboardType::string)); }).join();
  EXPECT_TRUE(pasteboard.offered.empty());
  MainQueue::drain();
  EXPECT_EQ(pasteboard.offered.size(), 1U);
  EXPECT_EQ(pasteboard.status(), refused);
}

TEST(ToolkitPasteboard, AbsentServerIsFailure) {
  PasteboardOfTest pasteboard(PasteboardServer::none);
  EXPECT_FALSE(pasteboard.setString("text", PasteboardType::string));
  EXPECT_EQ(pasteboard.status(), (PasteboardStatus{.problem = PasteboardProblem::noDisplay}));
  EXPECT_TRUE(pasteboard.offered.empty());
}

TEST(ToolkitPasteboard, ClosedPasteboardHasLostItsDisplay) {
  PasteboardOfTest pasteboard;
  EXPECT_TRUE(pasteboard.setString("text", PasteboardType::string));
  pasteboard.close();
  EXPECT_FALSE(pasteboard.setString("later", PasteboardType::string));
  EXPECT_EQ(pasteboard.status(), (PasteboardStatus{PasteboardServer::x11, PasteboardProblem::displayLost, false}));
}

}  // namespace
}  // namespace Tessaly::detail
