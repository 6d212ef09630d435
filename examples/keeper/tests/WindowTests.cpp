// SPDX-License-Identifier: MIT

// Drives the windows of Keeper by real keys and clicks, on a display of their own. The clipboard, the saved files and
// the settings tell what the windows did.

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "tests/Support/ContentsOf.hpp"
#include "tests/Support/PrivateDisplay.hpp"
#include "tests/Support/Process.hpp"
#include "tests/Support/TemporaryFolder.hpp"
#include "tests/Support/WaitUntil.hpp"

namespace keeper {
namespace {

using Tessaly::Tests::contentsOf;
using Tessaly::Tests::PrivateDisplay;
using Tessaly::Tests::Process;
using Tessaly::Tests::TemporaryFolder;
using Tessaly::Tests::waitUntil;

/// The parameter is the program of a toolkit.
class KeeperWindow : public testing::TestWithParam<const char*> {
 protected:
  void SetUp() override {
    if (!display_.reason().empty()) GTEST_SKIP() << display_.reason();
    if (Process({"xclip", "-version"}).wait() != 0) GTEST_SKIP() << "xclip is not installed";
    for (const char* name : {"HOME", "XDG_CONFIG_HOME", "XDG_STATE_HOME", "XDG_RUNTIME_DIR", "XDG_CACHE_HOME"}) {
      const std::string path = folder_.path() + "/" + name;
      std::filesystem::create_directory(path);
      std::filesystem::permissions(path, std::filesystem::perms::owner_all);
      ::setenv(name, path.c_str(), 1);
    }
    for (const char* name : {"DBUS_SESSION_BUS_ADDRESS", "LANGUAGE", "LANG", "LC_MESSAGES"}) ::unsetenv(name);
    ::setenv("LC_ALL", "C.UTF-8", 1);
    ::setenv("GDK_BACKEND", "x11", 1);
    ::setenv("GSK_RENDERER", "cairo", 1);
    ::setenv("GTK_A11Y", "none", 1);
    ::setenv("GTK_IM_MODULE", "gtk-im-context-simple", 1);
    ::setenv("GSETTINGS_BACKEND", "memory", 1);
    ::setenv("QT_QPA_PLATFORM", "xcb", 1);
    ::setenv("KEEPER_HEARTBEAT", "1", 1);
    std::filesystem::create_directory(directory_);
  }

  void open() {
    program_ = Process({std::string(std::getenv("KEEPER_PROGRAMS")) + "/" + GetParam(), directory_}, output_);
    ASSERT_TRUE(waitUntil([&] { return display_.focus("shelf — Keeper"); })) << contentsOf(output_);
  }
  /// Ends the application by its own action. Returns what it wrote.
  std::string quit() {
    EXPECT_TRUE(display_.focus("shelf — Keeper"));
    display_.press({"Control_L", "q"});
    EXPECT_EQ(program_.wait(), 0);
    return contentsOf(output_);
  }

  void write(const std::string& name, const std::string& contents = "") const {
    std::ofstream(directory_ + "/" + name) << contents;
  }
  [[nodiscard]] std::string path(const std::string& name) const { return directory_ + "/" + name; }

  /// The setting of Keeper as the command of the library writes it. Empty if the setting is absent.
  [[nodiscard]] std::string setting(const char* name) const {
    const std::string file = folder_.path() + "/setting";
    Process reader({std::getenv("KEEPER_COMMAND"), "defaults", "read", "org.example.keeper", name}, file);
    return reader.wait() == 0 ? contentsOf(file) : "";
  }
  [[nodiscard]] std::string clipboard() const {
    const std::string file = folder_.path() + "/pasted";
    Process reader({"timeout", "2", "xclip", "-selection", "clipboard", "-o"}, file);
    return reader.wait() == 0 ? contentsOf(file) : "";
  }
  /// Whether the copied paths become the expected ones, after keys that may be pressed often. The list follows the keys
  /// and the directory in later turns.
  bool copies(const std::string& expected, const std::vector<std::string>& keys = {}) {
    const bool isCopied = waitUntil([&] {
      if (!keys.empty()) display_.press(keys);
      display_.press({"Control_L", "Shift_L", "c"});
      return clipboard() == expected;
    });
    EXPECT_EQ(clipboard(), expected);
    return isCopied;
  }
  /// Writes a file by the dialog that the keys open.
  void save(const std::vector<std::string>& keys, const std::string& title, const std::string& file) {
    display_.press(keys);
    ASSERT_TRUE(waitUntil([&] { return display_.focus(title); }));
    display_.press({"Control_L", "a"});
    display_.type(file);
    display_.press({"Return"});
    ASSERT_TRUE(waitUntil([&] { return !contentsOf(file).empty(); })) << contentsOf(output_);
    ASSERT_TRUE(waitUntil([&] { return display_.focus("shelf — Keeper"); }));
  }

  PrivateDisplay display_{"", 1'100, 700};
  TemporaryFolder folder_;
  std::string directory_ = folder_.path() + "/shelf";
  std::string output_ = folder_.path() + "/output";
  Process program_;
};

TEST_P(KeeperWindow, TypedSearchFindsFilesWithoutTheirMarks) {
  for (const char* name : {"a", "b", "Résumé.pdf"}) write(name);
  open();
  EXPECT_TRUE(copies(path("a") + "\n" + path("b") + "\n" + path("Résumé.pdf")));
  display_.type("resume");
  EXPECT_TRUE(copies(path("Résumé.pdf")));
}

TEST_P(KeeperWindow, ClickedRowIsCopiedAndStaysSelectedWhenFilesCome) {
  for (const char* name : {"k", "l", "m", "n"}) write(name);
  open();
  EXPECT_TRUE(copies(path("k") + "\n" + path("l") + "\n" + path("m") + "\n" + path("n")));
  display_.click(150, 90);
  EXPECT_TRUE(copies(path("n"), {"End"}));
  EXPECT_TRUE(copies(path("k"), {"Home"}));
  for (const char* name : {"a", "b", "z"}) write(name);
  std::filesystem::remove(path("n"));
  EXPECT_TRUE(copies(path("k") + "\n" + path("l") + "\n" + path("m") + "\n" + path("z"), {"Shift_L", "End"}));
}

TEST_P(KeeperWindow, DuplicatesAreFoundAndShownAlone) {
  write("a", "same");
  write("b", "diff");
  write("c", "same");
  open();
  EXPECT_TRUE(copies(path("a") + "\n" + path("b") + "\n" + path("c")));
  display_.press({"Control_L", "d"});
  // The keys of the check box do nothing until duplicates were found. Then each press changes it.
  EXPECT_TRUE(waitUntil([&] {
    display_.press({"F9"});
    for (int look = 0; look < 20; ++look) {
      display_.press({"Control_L", "Shift_L", "c"});
      if (clipboard() == path("a") + "\n" + path("c")) return true;
    }
    return false;
  }));
}

TEST_P(KeeperWindow, SelectionIsSavedAsTableAndArchive) {
  write("a", "12");
  write("b", "345");
  open();
  EXPECT_TRUE(copies(path("a") + "\n" + path("b")));
  display_.click(150, 76);
  EXPECT_TRUE(copies(path("a"), {"Home"}));
  const std::string table = folder_.path() + "/table.csv";
  save({"Control_L", "s"}, "Save as CSV", table);
  EXPECT_TRUE(contentsOf(table).starts_with("Name,Size,Modified\r\na,2,")) << contentsOf(table);
  EXPECT_EQ(contentsOf(table).find("b,3"), std::string::npos);
  const std::string archive = folder_.path() + "/files.zip";
  save({"Control_L", "Shift_L", "s"}, "Save as Zip", archive);
  EXPECT_TRUE(contentsOf(archive).starts_with("PK"));
  EXPECT_NE(contentsOf(archive).find("a"), std::string::npos);
}

TEST_P(KeeperWindow, OpenedDirectoryIsShownAndFollowed) {
  write("a");
  std::filesystem::create_directory(path("other"));
  write("other/b");
  open();
  EXPECT_TRUE(copies(path("a") + "\n" + path("other")));
  const std::string shown = setting("directory");
  // While a dialog of GTK reads a directory or looks a path up, it loses keys. Then Return opens the former directory.
  for (std::chrono::milliseconds patience{500}; setting("directory") == shown && patience.count() < 5'000;
       patience *= 2) {
    if (!display_.focus("Open")) display_.press({"Control_L", "o"});
    ASSERT_TRUE(waitUntil([&] { return display_.focus("Open"); }));
    std::this_thread::sleep_for(patience);
    display_.press({"Control_L", "a"});
    display_.type(path("other"));
    std::this_thread::sleep_for(patience);
    display_.press({"Return"});
    const auto end = std::chrono::steady_clock::now() + patience;
    while (setting("directory") == shown && std::chrono::steady_clock::now() < end) {
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  }
  ASSERT_NE(setting("directory"), shown) << contentsOf(output_);
  ASSERT_TRUE(waitUntil([&] { return display_.focus("other — Keeper"); }));
  EXPECT_TRUE(copies(path("other/b")));
  write("other/c");
  EXPECT_TRUE(copies(path("other/b") + "\n" + path("other/c")));
}

TEST_P(KeeperWindow, KeysHideAColumn) {
  open();
  EXPECT_EQ(setting("shows-size"), "");
  display_.press({"F10"});
  if (std::string(GetParam()) == "tessaly_keeper_qt") {
    display_.press({"Down"});  // A menu of Qt opens without a chosen row.
    display_.press({"Return"});
  } else {
    display_.press({"space"});
  }
  EXPECT_TRUE(waitUntil([&] { return setting("shows-size") == "false\n"; }));
  EXPECT_EQ(setting("shows-kind"), "");
}

TEST_P(KeeperWindow, EndsByItsActionAndReportsItsLongestPause) {
  for (int number = 0; number < 2'000; ++number) write("file " + std::to_string(number), std::to_string(number % 50));
  open();
  display_.type("file 1");
  EXPECT_TRUE(waitUntil([&] {
    display_.press({"Control_L", "Shift_L", "c"});
    return clipboard().starts_with(path("file 1"));
  }));
  display_.press({"Control_L", "d"});
  for (int number = 0; number < 200; ++number) write("new " + std::to_string(number));
  const std::string written = quit();
  const std::size_t at = written.find("longest pause: ");
  ASSERT_NE(at, std::string::npos) << written;
  const double pause = std::strtod(written.c_str() + at + 15, nullptr);
  EXPECT_GT(pause, 0);
  RecordProperty("longestPauseInMilliseconds", std::to_string(pause));
}

INSTANTIATE_TEST_SUITE_P(Toolkits, KeeperWindow, testing::ValuesIn(std::vector<const char*>{KEEPER_WINDOWS}),
                         [](const auto& name) { return std::string(name.param); });

}  // namespace
}  // namespace keeper
