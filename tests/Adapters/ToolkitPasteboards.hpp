// SPDX-License-Identifier: MIT
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "Tessaly/Core/Foundation/URL.hpp"
#include "Tessaly/Platform/Pasteboard/PasteboardBackend.hpp"
#include "Tessaly/SystemServices/PasteboardService.hpp"
#include "tests/Support/ContentsOf.hpp"
#include "tests/Support/Process.hpp"
#include "tests/Support/TemporaryFolder.hpp"

namespace Tessaly {

/// The pasteboard through a toolkit, and another program. `Toolkit` is a fixture with a display and the adapter, and
/// with `comesTrue`, `end`, which ends the adapter, and `turn`.
template <typename Toolkit>
class ToolkitPasteboards : public Toolkit {
 protected:
  /// Whether the other program pastes the text. The loop runs meanwhile, because it answers the other program.
  bool isPasted(const std::string& text, const std::string& form = "UTF8_STRING") {
    const std::string file = folder_.path() + "/pasted";
    const Tests::Process reader({"timeout", "8", "xclip", "-selection", "clipboard", "-o", "-t", form}, file);
    const bool isPasted = Toolkit::comesTrue([&] { return Tests::contentsOf(file) == text; });
    EXPECT_EQ(Tests::contentsOf(file), text);
    return isPasted;
  }
  static PasteboardStatus status() { return PasteboardBackend::current().status(); }

  Tests::TemporaryFolder folder_;
};

TYPED_TEST_SUITE_P(ToolkitPasteboards);

TYPED_TEST_P(ToolkitPasteboards, TextReachesOtherPrograms) {
  PasteboardService::write("Grüße");
  EXPECT_EQ(this->status(), (PasteboardStatus{PasteboardServer::x11, PasteboardProblem::none, true}));
  EXPECT_TRUE(this->isPasted("Grüße"));
}

TYPED_TEST_P(ToolkitPasteboards, URLReachesOtherProgramsAsListAndAsText) {
  PasteboardService::write(URL::from("https://example.com/a%20b").value());
  EXPECT_TRUE(this->isPasted("https://example.com/a%20b\r\n", "text/uri-list"));
  EXPECT_TRUE(this->isPasted("https://example.com/a%20b"));
}

TYPED_TEST_P(ToolkitPasteboards, WriteOnAnotherThreadArrives) {
  std::thread([] { PasteboardService::write("from elsewhere"); }).join();
  EXPECT_FALSE(this->status().isOwner);
  EXPECT_TRUE(this->comesTrue([&] { return this->status().isOwner; }));
  EXPECT_TRUE(this->isPasted("from elsewhere"));
}

TYPED_TEST_P(ToolkitPasteboards, ContentsOfAnotherProgramEndTheOwnership) {
  PasteboardService::write("ours");
  const Tests::Process other({"sh", "-c", "printf theirs | exec xclip -quiet -selection clipboard"});
  EXPECT_TRUE(this->comesTrue([&] { return !this->status().isOwner; }));
}

TYPED_TEST_P(ToolkitPasteboards, SystemBackendReturnsAtTheEnd) {
  PasteboardBackend& adapted = PasteboardBackend::current();
  EXPECT_NE(&adapted, &PasteboardBackend::system());
  std::thread([] { PasteboardService::write("too late"); }).join();
  this->end();
  this->turn();
  EXPECT_EQ(&PasteboardBackend::current(), &PasteboardBackend::system());
  EXPECT_FALSE(adapted.setString("later", PasteboardType::string));
  EXPECT_FALSE(adapted.status().isOwner);
}

REGISTER_TYPED_TEST_SUITE_P(ToolkitPasteboards, TextReachesOtherPrograms, URLReachesOtherProgramsAsListAndAsText,
                            WriteOnAnotherThreadArrives, ContentsOfAnotherProgramEndTheOwnership,
                            SystemBackendReturnsAtTheEnd);

}  // namespace Tessaly
