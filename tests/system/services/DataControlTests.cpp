// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <string>

#include "Tessaly/Platform/Linux/DisplayPasteboard.hpp"
#include "Tessaly/SystemServices/PasteboardService.hpp"
#include "tests/Support/FakeCompositor.hpp"
#include "tests/Support/Process.hpp"
#include "tests/Support/WaitUntil.hpp"

// The pasteboard of a compositor of the test, for a protocol that no packaged compositor supports.

namespace {

using namespace Tessaly;
using Tests::FakeCompositor;
using Tests::waitUntil;

class DataControl : public testing::TestWithParam<const char*> {};

TEST_P(DataControl, BothProtocolNamesWork) {
  FakeCompositor compositor(GetParam());
  PasteboardService::write("Grüße");
  EXPECT_EQ(PasteboardBackend::current().status(),
            (PasteboardStatus{PasteboardServer::wayland, PasteboardProblem::none, true}));
  EXPECT_EQ(compositor.forms(),
            (std::vector<std::string>{"text/plain;charset=utf-8", "UTF8_STRING", "text/plain", "TEXT", "STRING"}));
  EXPECT_EQ(compositor.paste("text/plain"), "Grüße");
  EXPECT_EQ(compositor.paste("image/png"), "");
  PasteboardService::write(URL::from("https://example.com/a").value());
  EXPECT_EQ(compositor.paste("text/uri-list"), "https://example.com/a\r\n");
  const std::string large(3'000'000, 'x');
  PasteboardService::write(large);
  EXPECT_TRUE(compositor.paste("text/plain") == large);
}

TEST_P(DataControl, SelectionTakenByAnotherProgramIsNoticed) {
  FakeCompositor compositor(GetParam());
  PasteboardService::write("ours");
  ASSERT_TRUE(PasteboardBackend::current().status().isOwner);
  compositor.replace();
  EXPECT_TRUE(waitUntil([] { return !PasteboardBackend::current().status().isOwner; }));
  PasteboardService::write("ours again");
  EXPECT_TRUE(PasteboardBackend::current().status().isOwner);
  EXPECT_EQ(compositor.paste("text/plain"), "ours again");
}

TEST_P(DataControl, LostCompositorIsNoticedAndTheNextOneUsed) {
  {
    FakeCompositor compositor(GetParam());
    PasteboardService::write("lost");
  }
  EXPECT_TRUE(
      waitUntil([] { return PasteboardBackend::current().status().problem == PasteboardProblem::displayLost; }));
  FakeCompositor compositor(GetParam());
  PasteboardService::write("found");
  EXPECT_EQ(compositor.paste("text/plain"), "found");
}

INSTANTIATE_TEST_SUITE_P(Names, DataControl, testing::Values("ext", "zwlr"),
                         [](const auto& info) { return std::string(info.param); });

TEST(DataControlMissing, CompositorWithoutTheProtocolIsNoDisplay) {
  FakeCompositor compositor("");
  DisplayPasteboard pasteboard;
  EXPECT_FALSE(pasteboard.setString("text", PasteboardType::string));
  EXPECT_EQ(pasteboard.status(), (PasteboardStatus{PasteboardServer::none, PasteboardProblem::noDisplay, false}));
}

}  // namespace
