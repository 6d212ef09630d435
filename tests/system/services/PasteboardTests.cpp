// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "Tessaly/Platform/Linux/DisplayPasteboard.hpp"
#include "Tessaly/SystemServices/PasteboardService.hpp"
#include "tests/Support/ContentsOf.hpp"
#include "tests/Support/Process.hpp"
#include "tests/Support/TemporaryFolder.hpp"
#include "tests/Support/WaitUntil.hpp"
#include "tests/Support/WakeUps.hpp"
#include "tests/Support/XClipboard.hpp"

// The pasteboard of a real X server, read by another program.

namespace {

using namespace Tessaly;
using Tests::waitUntil;

class X11Pasteboard : public testing::Test {
 protected:
  void SetUp() override {
    if (!clipboard_.reason().empty()) GTEST_SKIP() << clipboard_.reason();
  }
  std::string paste(const std::string& form = "UTF8_STRING") { return clipboard_.paste(form); }

  Tests::XClipboard clipboard_;
  DisplayPasteboard pasteboard_;
};

TEST_F(X11Pasteboard, AnotherProgramPastesTheText) {
  PasteboardService::write("Grüße, 世界");
  EXPECT_EQ(paste(), "Grüße, 世界");
  EXPECT_EQ(paste("text/plain;charset=utf-8"), "Grüße, 世界");
  EXPECT_EQ(paste("text/plain"), "Grüße, 世界");
  EXPECT_EQ(paste("TEXT"), "Grüße, 世界");
  EXPECT_EQ(paste("STRING"),
            "Gr\xfc\xdf"
            "e, ??");
  EXPECT_EQ(PasteboardBackend::current().status(),
            (PasteboardStatus{PasteboardServer::x11, PasteboardProblem::none, true}));
}

TEST_F(X11Pasteboard, AnotherProgramPastesAURLInBothForms) {
  PasteboardService::write("earlier");
  PasteboardService::write(URL::from("https://example.com/a").value());
  EXPECT_EQ(paste("text/uri-list"), "https://example.com/a\r\n");
  EXPECT_EQ(paste(), "https://example.com/a");
  EXPECT_EQ(paste("TARGETS"),
            "TARGETS\nTIMESTAMP\nMULTIPLE\ntext/uri-list\ntext/plain;charset=utf-8\nUTF8_STRING\ntext/plain\nTEXT\n"
            "STRING\n");
}

TEST_F(X11Pasteboard, UnofferedFormIsRefused) {
  PasteboardService::write("text");
  EXPECT_EQ(paste("image/png"), "failed");
  EXPECT_EQ(paste("text/uri-list"), "failed");
  EXPECT_EQ(paste(), "text");
}

TEST_F(X11Pasteboard, EmptyTextIsPastedAsEmpty) {
  PasteboardService::write("");
  EXPECT_EQ(paste(), "");
}

TEST_F(X11Pasteboard, LargeContentsArriveWhole) {
  std::string large;
  while (large.size() < 5'000'000) large += std::to_string(large.size()) + ' ';
  PasteboardService::write(large);
  EXPECT_EQ(paste(), large);
  for (const std::size_t size : {262'143u, 262'144u, 262'145u, 524'288u}) {
    PasteboardService::write(std::string_view(large).substr(0, size));
    EXPECT_TRUE(paste() == large.substr(0, size)) << size;
  }
}

TEST_F(X11Pasteboard, SeveralProgramsPasteLargeContentsAtOnce) {
  const std::string large(3'000'000, 'x');
  PasteboardService::write(large);
  std::vector<Tests::Process> readers;
  for (int i = 0; i < 4; ++i) {
    readers.emplace_back(std::vector<std::string>{"timeout", "8", "xclip", "-selection", "clipboard", "-o"},
                         clipboard_.folder() + "/pasted" + std::to_string(i));
  }
  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ(readers[static_cast<std::size_t>(i)].wait(), 0);
    EXPECT_TRUE(Tests::contentsOf(clipboard_.folder() + "/pasted" + std::to_string(i)) == large);
  }
}

TEST_F(X11Pasteboard, ReaderKilledMidwayHarmsNoOtherReader) {
  const std::string large(20'000'000, 'x');
  PasteboardService::write(large);
  for (int i = 0; i < 5; ++i) {
    Tests::Process reader({"xclip", "-selection", "clipboard", "-o"}, clipboard_.folder() + "/cut");
    waitUntil([&] { return std::filesystem::exists(clipboard_.folder() + "/cut"); });
    reader.end();
  }
  PasteboardService::write("small");
  EXPECT_EQ(paste(), "small");
}

TEST_F(X11Pasteboard, CopiesOfAnotherProgramReplaceOursAndViceVersa) {
  PasteboardService::write("ours");
  ASSERT_TRUE(PasteboardBackend::current().status().isOwner);
  const auto other = clipboard_.copyElsewhere("theirs");
  EXPECT_TRUE(waitUntil([] { return !PasteboardBackend::current().status().isOwner; }));
  EXPECT_EQ(paste(), "theirs");
  PasteboardService::write("ours again");
  EXPECT_EQ(paste(), "ours again");
}

TEST_F(X11Pasteboard, TwoCompetingHostsEndWithOneOwner) {
  DisplayPasteboard other;
  const auto write = [](DisplayPasteboard& pasteboard, const std::string& name) {
    for (int i = 0; i < 200; ++i) {
      pasteboard.clearContents();
      pasteboard.setString(name, PasteboardType::string);
    }
  };
  std::thread first([&] { write(pasteboard_, "first"); });
  std::thread second([&] { write(other, "second"); });
  first.join();
  second.join();
  EXPECT_TRUE(waitUntil([&] { return pasteboard_.status().isOwner != other.status().isOwner; }));
  EXPECT_EQ(paste(), pasteboard_.status().isOwner ? "first" : "second");
}

TEST_F(X11Pasteboard, CompetingProgramsEndWithOneOwner) {
  const std::string theirs = clipboard_.folder() + "/theirs";
  std::ofstream(theirs) << "theirs";
  std::vector<Tests::Process> programs;
  std::thread other([&] {
    for (int i = 0; i < 20; ++i) {
      programs.emplace_back(std::vector<std::string>{"xclip", "-quiet", "-i", "-selection", "clipboard", theirs});
      if (i % 4 == 3) programs[static_cast<std::size_t>(i - 2)].end();  // Another program may own it at this moment.
    }
  });
  for (int i = 0; i < 200; ++i) PasteboardService::write("ours");
  other.join();
  for (Tests::Process& program : programs) program.end();
  // The display may still have to read the last requests.
  EXPECT_TRUE(waitUntil([this] {
    PasteboardService::write("ours again");
    return paste() == "ours again";
  }));
  for (int i = 0; i < 5; ++i) {
    PasteboardService::write("ours at last");
    EXPECT_EQ(paste(), "ours at last");
    EXPECT_TRUE(PasteboardBackend::current().status().isOwner);
    const auto next = clipboard_.copyElsewhere("theirs at last");
    EXPECT_TRUE(waitUntil([] { return !PasteboardBackend::current().status().isOwner; }));
    EXPECT_EQ(paste(), "theirs at last");
  }
}

TEST_F(X11Pasteboard, ServingThreadSleepsWithoutRequests) {
  PasteboardService::write("text");
  EXPECT_EQ(paste(), "text");
  EXPECT_TRUE(Tests::libraryStaysAsleep(std::chrono::seconds(2)));
  // The counter increases if a thread of the library wakes up.
  const std::int64_t before = Tests::sleepsOfLibrary();
  EXPECT_EQ(paste(), "text");
  EXPECT_TRUE(waitUntil([&] { return Tests::sleepsOfLibrary() > before; }));
}

TEST_F(X11Pasteboard, LostDisplayIsNoticedAndANewOneUsed) {
  PasteboardService::write("lost");
  clipboard_.server().process().end();
  EXPECT_TRUE(
      waitUntil([] { return PasteboardBackend::current().status().problem == PasteboardProblem::displayLost; }));
  PasteboardService::write("nowhere");
  EXPECT_EQ(PasteboardBackend::current().status(),
            (PasteboardStatus{PasteboardServer::none, PasteboardProblem::noDisplay, false}));
  clipboard_.server().start();
  ASSERT_EQ(clipboard_.reason(), "");
  PasteboardService::write("found");
  EXPECT_EQ(paste(), "found");
}

TEST_F(X11Pasteboard, HangingDisplayTimesOut) {
  PasteboardService::write("text");
  clipboard_.server().process().signal(SIGSTOP);
  EXPECT_FALSE(PasteboardBackend::current().setString("late", PasteboardType::string));
  EXPECT_EQ(PasteboardBackend::current().status().problem, PasteboardProblem::notAnswering);
  DisplayPasteboard other;
  EXPECT_FALSE(other.setString("late", PasteboardType::string));
  EXPECT_EQ(other.status().problem, PasteboardProblem::notAnswering);
  clipboard_.server().process().signal(SIGCONT);
  PasteboardService::write("again");
  EXPECT_EQ(paste(), "again");
}

TEST_F(X11Pasteboard, ServesUntilReplacedOrDisconnected) {
  pasteboard_.waitWhileServing();  // The clipboard is still empty.
  PasteboardService::write("unrelated");
  for (const bool isReplaced : {true, false}) {
    pasteboard_.setString("ours", PasteboardType::string);
    ASSERT_TRUE(pasteboard_.status().isOwner);
    std::atomic<bool> hasReturned{false};
    std::thread waiting([&] {
      pasteboard_.waitWhileServing();
      hasReturned = true;
    });
    EXPECT_EQ(paste(), "ours");
    EXPECT_FALSE(hasReturned);
    if (isReplaced) {
      PasteboardService::write("other");
    } else {
      clipboard_.server().process().end();
    }
    waiting.join();
    EXPECT_FALSE(pasteboard_.status().isOwner);
  }
}

class WaylandPasteboard : public testing::Test {
 protected:
  void SetUp() override {
    ::chmod(folder_.path().c_str(), 0700);
    ::setenv("XDG_RUNTIME_DIR", folder_.path().c_str(), 1);
    for (const char* name : {"WAYLAND_DISPLAY", "DISPLAY", "WAYLAND_SOCKET"}) ::unsetenv(name);
    std::ofstream(folder_.path() + "/config") << "xwayland disable\n";
    for (const auto& [name, value] : {std::pair("WLR_BACKENDS", "headless"), std::pair("WLR_RENDERER", "pixman"),
                                      std::pair("WLR_LIBINPUT_NO_DEVICES", "1")})
      ::setenv(name, value, 1);
    const std::string log = folder_.path() + "/sway.log";
    // The compositor refuses to run as root.
    constexpr uid_t nobody = 65534;
    const uid_t user = ::getuid() == 0 ? nobody : 0;
    if (user != 0) ASSERT_EQ(::chown(folder_.path().c_str(), user, user), 0);
    compositor_ = Tests::Process({"sway", "-c", folder_.path() + "/config"}, log, user);
    if (!waitUntil([this] { return accepts(folder_.path() + "/wayland-1"); }))
      GTEST_SKIP() << "sway does not run here: " << Tests::contentsOf(log);
    ::setenv("WAYLAND_DISPLAY", "wayland-1", 1);
    if (Tests::Process({"wl-paste", "--version"}).wait() != 0) GTEST_SKIP() << "wl-clipboard is not installed";
  }

  /// Whether a listener exists. The file of the socket exists a little earlier.
  static bool accepts(const std::string& path) {
    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
    path.copy(address.sun_path, sizeof(address.sun_path) - 1);
    const int connection = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const bool isAccepted = ::connect(connection, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
    ::close(connection);
    return isAccepted;
  }

  std::string paste(const std::string& form = "text/plain;charset=utf-8") {
    const std::string file = folder_.path() + "/pasted";
    Tests::Process reader({"timeout", "8", "wl-paste", "-n", "-t", form}, file);
    return reader.wait() == 0 ? Tests::contentsOf(file) : "failed";
  }

  Tests::TemporaryFolder folder_;
  Tests::Process compositor_;
};

TEST_F(WaylandPasteboard, AnotherProgramPastesTheText) {
  PasteboardService::write("Grüße, 世界");
  EXPECT_EQ(PasteboardBackend::current().status(),
            (PasteboardStatus{PasteboardServer::wayland, PasteboardProblem::none, true}));
  EXPECT_EQ(paste(), "Grüße, 世界");
  EXPECT_EQ(paste("text/plain"), "Grüße, 世界");
}

TEST_F(WaylandPasteboard, AnotherProgramPastesAURLInBothForms) {
  PasteboardService::write("earlier");
  PasteboardService::write(URL::from("https://example.com/a").value());
  EXPECT_EQ(paste("text/uri-list"), "https://example.com/a\r\n");
  EXPECT_EQ(paste(), "https://example.com/a");
}

TEST_F(WaylandPasteboard, LargeContentsArriveWhole) {
  std::string large;
  while (large.size() < 5'000'000) large += std::to_string(large.size()) + ' ';
  PasteboardService::write(large);
  EXPECT_TRUE(paste() == large);
}

TEST_F(WaylandPasteboard, CopiesOfAnotherProgramReplaceOursAndViceVersa) {
  PasteboardService::write("ours");
  ASSERT_EQ(paste(), "ours");
  const Tests::Process other({"wl-copy", "-f", "theirs"});
  EXPECT_TRUE(waitUntil([] { return !PasteboardBackend::current().status().isOwner; }));
  EXPECT_EQ(paste(), "theirs");
  PasteboardService::write("ours again");
  EXPECT_EQ(paste(), "ours again");
}

TEST_F(WaylandPasteboard, ServesUntilItIsReplaced) {
  DisplayPasteboard pasteboard;
  pasteboard.setString("ours", PasteboardType::string);
  std::thread waiting([&] { pasteboard.waitWhileServing(); });
  EXPECT_EQ(paste(), "ours");
  const Tests::Process other({"wl-copy", "-f", "theirs"});
  waiting.join();
  EXPECT_FALSE(pasteboard.status().isOwner);
}

TEST_F(WaylandPasteboard, TwoCompetingHostsEndWithOneOwner) {
  DisplayPasteboard pasteboards[2];
  const auto write = [](DisplayPasteboard& pasteboard, const std::string& name) {
    for (int i = 0; i < 200; ++i) {
      pasteboard.clearContents();
      pasteboard.setString(name, PasteboardType::string);
    }
  };
  std::thread first([&] { write(pasteboards[0], "first"); });
  std::thread second([&] { write(pasteboards[1], "second"); });
  first.join();
  second.join();
  EXPECT_TRUE(waitUntil([&] { return pasteboards[0].status().isOwner != pasteboards[1].status().isOwner; }));
  EXPECT_EQ(paste(), pasteboards[0].status().isOwner ? "first" : "second");
}

TEST_F(WaylandPasteboard, ServingThreadSleepsWithoutRequests) {
  PasteboardService::write("text");
  EXPECT_EQ(paste(), "text");
  EXPECT_TRUE(Tests::libraryStaysAsleep(std::chrono::seconds(2)));
  // The counter increases if a thread of the library wakes up.
  const std::int64_t before = Tests::sleepsOfLibrary();
  EXPECT_EQ(paste(), "text");
  EXPECT_TRUE(waitUntil([&] { return Tests::sleepsOfLibrary() > before; }));
}

TEST_F(WaylandPasteboard, HangingDisplayTimesOut) {
  PasteboardService::write("text");
  compositor_.signal(SIGSTOP);
  EXPECT_FALSE(PasteboardBackend::current().setString("late", PasteboardType::string));
  EXPECT_EQ(PasteboardBackend::current().status().problem, PasteboardProblem::notAnswering);
  compositor_.signal(SIGCONT);
  PasteboardService::write("again");
  EXPECT_EQ(paste(), "again");
}

TEST_F(WaylandPasteboard, LostDisplayIsNoticed) {
  PasteboardService::write("lost");
  ASSERT_TRUE(PasteboardBackend::current().status().isOwner);
  compositor_.end();
  EXPECT_TRUE(
      waitUntil([] { return PasteboardBackend::current().status().problem == PasteboardProblem::displayLost; }));
  PasteboardService::write("nowhere");
  EXPECT_EQ(PasteboardBackend::current().status().problem, PasteboardProblem::noDisplay);
}

TEST(NoDisplay, MissingDisplayIsAFailureWithItsReason) {
  ::unsetenv("WAYLAND_DISPLAY");
  ::unsetenv("DISPLAY");
  DisplayPasteboard pasteboard;
  EXPECT_FALSE(pasteboard.setString("text", PasteboardType::string));
  EXPECT_EQ(pasteboard.status(), (PasteboardStatus{PasteboardServer::none, PasteboardProblem::noDisplay, false}));
  ::setenv("DISPLAY", ":77777", 1);
  EXPECT_FALSE(pasteboard.setString("text", PasteboardType::string));
  EXPECT_EQ(pasteboard.status().problem, PasteboardProblem::noDisplay);
}

}  // namespace
