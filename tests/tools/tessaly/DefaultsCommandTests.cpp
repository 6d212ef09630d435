// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#include "Tessaly/Core/Base/detail/OwnedDescriptor.hpp"
#include "Tessaly/Core/Base/detail/Sanitizers.hpp"
#include "Tessaly/Core/Foundation/PropertyListSerialization.hpp"
#include "Tessaly/Core/Foundation/URL.hpp"
#include "Tessaly/Platform/Linux/JournaledUserDefaults.hpp"
#include "Tessaly/Platform/Settings/detail/SettingsJournal.hpp"
#include "tests/Support/ContentsOf.hpp"
#include "tests/Support/MemoryVolume.hpp"
#include "tests/Support/OutputOf.hpp"
#include "tests/Support/TemporaryFolder.hpp"
#include "tests/Support/WaitUntil.hpp"

namespace Tessaly::inline v1 {
namespace {

using Tests::outputOf;
using Tests::waitUntil;

class Listener final : public KeyValueObserver {
 public:
  explicit Listener(std::function<void()> changed) : changed_(std::move(changed)) {}
  void observeValue(std::optional<std::string_view>, const Object*, const std::optional<KeyValueChange>&,
                    void*) override {
    changed_();
  }

 private:
  std::function<void()> changed_;
};

class DefaultsCommand : public ::testing::Test {
 protected:
  void SetUp() override { ::setenv("XDG_CONFIG_HOME", folder_.path().c_str(), 1); }

  /// Runs the command. Returns standard output, standard error and the exit code.
  static std::string run(const std::string& arguments) {
    return outputOf(std::string(std::getenv("TESSALY_TEST_PROGRAMS")) + "/tessaly " + arguments +
                    " 2>&1; echo \"($?)\"");
  }
  void publish() {
    JournaledUserDefaults::open({.folder = path("app")})
        ->publishKeys(
            {{.name = "interval",
              .kind = PropertyList::Kind::integer,
              .defaultValue = 60,
              .minimum = 1,
              .maximum = 3600,
              .documentation = "The time between two looks"},
             {.name = "theme", .kind = PropertyList::Kind::text, .defaultValue = "light", .cases = {"light", "dark"}}});
  }
  [[nodiscard]] std::string path(const std::string& name) const { return folder_.path() + "/" + name; }

 private:
  Tests::TemporaryFolder folder_;
};

TEST_F(DefaultsCommand, ReadsWhatItWroteInEveryKind) {
  EXPECT_EQ(run("defaults write app text hello"), "(0)\n");
  EXPECT_EQ(run("defaults read app text"), "hello\n(0)\n");
  EXPECT_EQ(run("defaults write app a -string -5 && :"), "(0)\n");
  EXPECT_EQ(run("defaults write app b -int 18446744073709551615"), "(0)\n");
  EXPECT_EQ(run("defaults write app c -float 2.5"), "(0)\n");
  EXPECT_EQ(run("defaults write app d -bool yes"), "(0)\n");
  EXPECT_EQ(run("defaults write app e -date 2023-01-02T15:04:05Z"), "(0)\n");
  EXPECT_EQ(run("defaults write app f -data 00fF"), "(0)\n");
  EXPECT_EQ(run("defaults write app g -array x -int 1 -bool no"), "(0)\n");
  EXPECT_EQ(run("defaults write app h -dict k v n -float 1"), "(0)\n");
  EXPECT_EQ(run("defaults read app"),
            "a = \"-5\"\nb = 18446744073709551615\nc = 2.5\nd = true\ne = 2023-01-02 15:04:05 +0000\nf = <00ff>\n"
            "g = [\"x\", 1, false]\nh = {\"k\": \"v\", \"n\": 1}\ntext = \"hello\"\n(0)\n");
}

TEST_F(DefaultsCommand, TakesValuesAsTheyArePrinted) {
  run("defaults write app a -bool YES");
  run("defaults write app b -date '2023-01-02 15:04:05 +0000'");
  run("defaults write app c -data '<00ff>'");
  EXPECT_EQ(run("defaults read app"), "a = true\nb = 2023-01-02 15:04:05 +0000\nc = <00ff>\n(0)\n");
}

TEST_F(DefaultsCommand, SaysWhatKeepsSettingsFromBeingRead) {
  run("defaults write app a 1");
  std::ofstream(path("app/Settings.plist")) << "damaged";
  const std::string said = "tessaly defaults: The settings in " + path("app") +
                           " cannot be read: Settings.plist is damaged, or no property list\n(1)\n";
  EXPECT_EQ(run("defaults read app"), said);
  EXPECT_EQ(run("defaults read app a"), said);
  EXPECT_EQ(run("defaults delete app a"), said);
  EXPECT_EQ(run("defaults export app " + path("file")), said);
  EXPECT_FALSE(std::filesystem::exists(path("file")));
  std::ofstream(path("other")) << "no folder";
  const std::string noFolder = "tessaly defaults: The settings in " + path("other");
  EXPECT_EQ(run("defaults read other"), noFolder + " cannot be read: Not a directory\n(1)\n");
  EXPECT_TRUE(run("defaults watch other").ends_with(noFolder + " cannot be watched: Not a directory\n(1)\n"));
}

#if !TESSALY_IS_SANITIZED  // Under a sanitizer, a failed allocation stops the process.
TEST_F(DefaultsCommand, LosesNothingForWantOfMemory) {
  constexpr std::size_t size = 100'000'000;
  JournaledUserDefaults::openIdentifier("app")->set(Data(std::string(size, 'x')), "large");
  const std::string program = std::string(std::getenv("TESSALY_TEST_PROGRAMS")) + "/tessaly";
  // The limits begin below the size of the property list. Later ones suffice for its bytes, but not for its values. The
  // last ones suffice for both.
  for (const int megabytes : {90, 130, 150, 160, 170, 180, 190, 200, 250, 500}) {
    const std::string number = std::to_string(megabytes);
    outputOf("bash -c 'ulimit -v " + number + "000; " + program + " defaults write app a " + number + "' 2>&1");
    EXPECT_GT(std::filesystem::file_size(path("app/Settings.plist")), size) << megabytes;
  }
  EXPECT_EQ(run("defaults read app a"), "500\n(0)\n");
  EXPECT_EQ(JournaledUserDefaults::openIdentifier("app")->value("large")->data()->size(), size);
}
#endif

TEST_F(DefaultsCommand, TellsWhatIsMissingByItsExitCode) {
  EXPECT_EQ(run("defaults read app"), "tessaly defaults: There are no settings of \"app\"\n(1)\n");
  EXPECT_FALSE(std::filesystem::exists(path("app")));
  run("defaults write app a 1");
  EXPECT_EQ(run("defaults read app b"), "tessaly defaults: There is no \"b\" in the settings of \"app\"\n(1)\n");
  EXPECT_EQ(run("defaults delete app b"), "tessaly defaults: There is no \"b\" in the settings of \"app\"\n(1)\n");
  EXPECT_EQ(run("defaults read a/b c"), "tessaly defaults: There is no place for the settings of \"a/b\"\n(1)\n");
}

TEST_F(DefaultsCommand, WrongUsageHasItsExitCode) {
  for (const std::string arguments :
       {"",
        "nothing",
        "defaults",
        "defaults nothing",
        "defaults read",
        "defaults read a b c",
        "defaults write app",
        "defaults write app k",
        "defaults write app k -int x",
        "defaults write app k -int",
        "defaults write app k -bool 2",
        "defaults write app k -float x",
        "defaults write app k -date today",
        "defaults write app k -data 0",
        "defaults write app k -data zz",
        "defaults write app k -dict a",
        "defaults write app k -set a",
        "defaults write app k a b",
        "defaults watch",
        "defaults write app k -int 18446744073709551616",
        "defaults write app k -int -9223372036854775809",
        "defaults write app k -int +-5",
        "defaults write app k -int +",
        "defaults write app k -int ' 5'",
        "defaults write app k -int 5x",
        "defaults write app k -int ''",
        "defaults write app k -float 1e999",
        "defaults write app k -float ''",
        "defaults write app k -bool ''",
        "defaults write app k -bool TRUTH",
        "defaults write app k -date ''",
        "defaults write app k -date 2023-02-30T00:00:00Z",
        "defaults write app k -date '2023-01-02T15:04:05Z</date><date>2023-01-02T15:04:05Z'",
        "defaults write app k -date '<true/>'",
        "defaults write app k -date '&#50;023-01-02T15:04:05Z'",
        "defaults write app k -dict a 1 a 2",
        "defaults write --help a b",
        "defaults watch -x",
        "defaults write app k -data '0 1'",
        "defaults write app k -data +1",
        "defaults write app k -array -array a",
        "defaults write app k -array -dict a",
        "defaults write app k -array -int",
        "defaults write app k -dict a -int",
        "defaults write app k -",
        "defaults write app k -- -x",
        "defaults export",
        "defaults export app a b",
        "defaults export app -json",
        "defaults import",
        "defaults import app a b",
        "defaults import app -xml",
        "defaults delete",
        "defaults delete app a b"}) {
    EXPECT_TRUE(run(arguments).ends_with("(2)\n")) << arguments << run(arguments);
  }
  EXPECT_FALSE(std::filesystem::exists(path("app")));
}

TEST_F(DefaultsCommand, Helps) {
  EXPECT_TRUE(run("--help").starts_with("Usage: tessaly <command>"));
  EXPECT_TRUE(run("--help").ends_with("(0)\n"));
  EXPECT_TRUE(run("defaults --help").starts_with("Usage: tessaly defaults <operation>"));
  EXPECT_TRUE(run("defaults --help").ends_with("(0)\n"));
  for (const std::string operation : {"read", "write", "delete", "export", "import", "watch"}) {
    EXPECT_TRUE(run("defaults " + operation + " --help").starts_with("Usage: tessaly defaults <operation>"));
    EXPECT_TRUE(run("defaults " + operation + " -h").ends_with("(0)\n"));
  }
}

TEST_F(DefaultsCommand, SaysWhichFileItCouldNotUse) {
  run("defaults write app a 1");
  EXPECT_EQ(run("defaults import app /nowhere/file"),
            "tessaly defaults: Cannot read \"/nowhere/file\": No such file or directory\n(1)\n");
  EXPECT_EQ(run("defaults import app /"), "tessaly defaults: Cannot read \"/\": Is a directory\n(1)\n");
  EXPECT_EQ(run("defaults export app /nowhere/file"),
            "tessaly defaults: Cannot write \"/nowhere/file\": No such file or directory\n(1)\n");
}

TEST_F(DefaultsCommand, TakesOddKeysAndValues) {
  EXPECT_EQ(run("defaults write app '' empty"), "(0)\n");
  EXPECT_EQ(run("defaults write app a.b dots"), "(0)\n");
  EXPECT_EQ(run("defaults write app -x option"), "(0)\n");
  EXPECT_EQ(run("defaults write app \"$(printf 'line\\nbreak')\" \"$(printf '\\033[1m')\""), "(0)\n");
  EXPECT_EQ(run("defaults write app data -data ''"), "(0)\n");
  EXPECT_EQ(run("defaults write app list -array"), "(0)\n");
  EXPECT_EQ(run("defaults write app map -dict"), "(0)\n");
  EXPECT_EQ(run("defaults write app number -5"), "(0)\n");
  EXPECT_EQ(run("defaults read app"),
            " = \"empty\"\n-x = \"option\"\na.b = \"dots\"\ndata = <>\n\"line\\u000abreak\" = \"\\u001b[1m\"\n"
            "list = []\nmap = {}\nnumber = \"-5\"\n(0)\n");
  EXPECT_EQ(run("defaults write app long \"$(head -c 100000 /dev/zero | tr '\\0' x)\""), "(0)\n");
  EXPECT_EQ(run("defaults read app long | wc -c"), "100001\n(0)\n");
  EXPECT_EQ(run("defaults write app \"$(head -c 10000 /dev/zero | tr '\\0' k)\" v"), "(0)\n");
  EXPECT_EQ(run("defaults read app \"$(head -c 10000 /dev/zero | tr '\\0' k)\""), "v\n(0)\n");
}

TEST_F(DefaultsCommand, RefusesPropertyListsThatLieAndChangesNothing) {
  run("defaults write app a 1");
  std::string deep = "<plist><dict><key>k</key>";
  for (int i = 0; i < 10'000; ++i) deep += "<array>";
  for (const std::string& bytes : {std::string(), std::string("bplist00"), std::string("<plist><array/></plist>"), deep,
                                   std::string("<plist><dict><key>a</key></dict></plist>")}) {
    std::ofstream(path("file"), std::ios::trunc) << bytes;
    const std::string said = run("defaults import app - < " + path("file"));
    EXPECT_TRUE(said.starts_with("tessaly defaults: ") && said.ends_with("(1)\n")) << said;
  }
  EXPECT_EQ(run("defaults read app"), "a = \"1\"\n(0)\n");
}

TEST_F(DefaultsCommand, FailsWhenItsOutputCannotBeWritten) {
  run("defaults write app a 1");
  for (const std::string arguments : {"defaults read app", "defaults export app", "--help", "defaults --help"}) {
    for (const std::string output : {"/dev/full", "&-"}) {
      const std::string said =
          outputOf(std::string(std::getenv("TESSALY_TEST_PROGRAMS")) + "/tessaly " + arguments + " 2>" + path("said") +
                   " >" + output + "; cat " + path("said") + "; ls " + path("app"));
      EXPECT_TRUE(said.ends_with(": Cannot write to standard output\nSettings.plist\njournal\n")) << said;
    }
  }
}

TEST_F(DefaultsCommand, EndsWithItsReaderAndWithoutAWord) {
  std::string list = "<plist><dict>";
  for (int i = 0; i < 2000; ++i)
    list += "<key>k" + std::to_string(i) + "</key><string>" + std::string(500, 'x') + "</string>";
  std::ofstream(path("file")) << list << "</dict></plist>";
  EXPECT_EQ(run("defaults import app " + path("file")), "(0)\n");
  const std::string program = std::string(std::getenv("TESSALY_TEST_PROGRAMS")) + "/tessaly";
  EXPECT_EQ(outputOf("bash -c '" + program + " defaults read app 2>&1 | head -c 5; echo \"(${PIPESTATUS[0]})\"'"),
            "k0 = (141)\n");
  // If SIGPIPE is ignored, the command prints an error.
  EXPECT_EQ(outputOf("bash -c 'trap \"\" PIPE; { " + program + " defaults read app; echo \"($?)\" >&2; } 2>" +
                     path("said") + " | head -c 5'; cat " + path("said")),
            "k0 = tessaly defaults: Cannot write to standard output\n(1)\n");
}

TEST_F(DefaultsCommand, DeletesOneKeyOrAll) {
  run("defaults write app a 1");
  run("defaults write app b 2");
  run("defaults write app c 3");
  EXPECT_EQ(run("defaults delete app a"), "(0)\n");
  EXPECT_EQ(run("defaults read app"), "b = \"2\"\nc = \"3\"\n(0)\n");
  EXPECT_EQ(run("defaults delete app"), "(0)\n");
  EXPECT_TRUE(run("defaults read app").ends_with("(1)\n"));
}

TEST_F(DefaultsCommand, DeletesAKeyThatIsIllFormed) {
  EXPECT_EQ(run("defaults write app $(printf 'k\\377') 1"), "(0)\n");
  EXPECT_EQ(run("defaults read app $(printf 'k\\377')"), "1\n(0)\n");
  EXPECT_EQ(run("defaults delete app $(printf 'k\\377')"), "(0)\n");
  EXPECT_TRUE(run("defaults read app").ends_with("(1)\n"));
}

TEST_F(DefaultsCommand, ReplacesAnExportedFileAsAWhole) {
  run("defaults write app a -int 1");
  std::ofstream(path("file")) << "former";
  std::filesystem::permissions(path("file"), std::filesystem::perms::owner_read);
  const int former = ::open(path("file").c_str(), O_RDONLY | O_CLOEXEC);
  EXPECT_EQ(run("defaults export app " + path("file")), "(0)\n");
  std::string kept(10, '\0');
  EXPECT_EQ(::read(former, kept.data(), kept.size()), 6);
  ::close(former);
  EXPECT_TRUE(Tests::contentsOf(path("file")).starts_with("bplist00"));
  EXPECT_EQ(std::filesystem::status(path("file")).permissions(), std::filesystem::perms::owner_read);
  const std::filesystem::directory_iterator entries(path(""));
  EXPECT_EQ(std::distance(begin(entries), end(entries)), 2);  // The entries are the settings and the file.
}

TEST_F(DefaultsCommand, LeavesTheFormerFileWhenThereIsNoRoomForAnother) {
  const Tests::MemoryVolume disk("64k");
  if (!disk.reason().empty()) GTEST_SKIP() << disk.reason();
  run("defaults write app a -string " + std::string(100'000, 'x'));
  std::ofstream(disk.path("file")) << "former";
  EXPECT_EQ(run("defaults export app " + disk.path("file")),
            "tessaly defaults: Cannot write \"" + disk.path("file") + "\": No space left on device\n(1)\n");
  EXPECT_EQ(Tests::contentsOf(disk.path("file")), "former");
  const std::filesystem::directory_iterator entries(disk.path());
  EXPECT_EQ(std::distance(begin(entries), end(entries)), 1);
}

TEST_F(DefaultsCommand, SaysThatOfALaterVersionOnlyThePropertyListIsRead) {
  run("defaults write app a 1");
  std::ofstream(path("app/journal"), std::ios::trunc) << detail::JournalHeader{.version = 2}.encoded();
  EXPECT_EQ(run("defaults read app a"),
            "A later version has written the settings in " + path("app") + "; only Settings.plist is read\n1\n(0)\n");
  EXPECT_EQ(run("defaults write app a 2"),
            "tessaly defaults: The settings in " + path("app") + " were written by a later version\n(1)\n");
}

TEST_F(DefaultsCommand, ExportsAndImportsBothFormats) {
  run("defaults write app a -int 1");
  EXPECT_EQ(run("defaults export app - --xml"), run("defaults export app -xml"));
  EXPECT_EQ(run("defaults export app -xml - | head -1"), "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n(0)\n");
  EXPECT_EQ(run("defaults export app " + path("file")), "(0)\n");
  EXPECT_EQ(run("defaults import other " + path("file")), "(0)\n");
  EXPECT_EQ(run("defaults read other a"), "1\n(0)\n");
  EXPECT_EQ(run("defaults export app -xml " + path("file.xml")), "(0)\n");
  EXPECT_EQ(run("defaults import third < " + path("file.xml")), "(0)\n");
  EXPECT_EQ(run("defaults read third a"), "1\n(0)\n");
  std::ofstream(path("damaged")) << "damaged";
  EXPECT_TRUE(run("defaults import third " + path("damaged")).ends_with("(1)\n"));
}

TEST_F(DefaultsCommand, ImportIsOneBatch) {
  constexpr int keys = 200;
  const auto keyName = [](int i) { return "key" + std::to_string(i); };
  PropertyList::Dictionary values;
  for (int i = 0; i < keys; ++i) values.emplace(keyName(i), i);
  PropertyListSerialization::data(values, PropertyListFormat::binary).write(URL::fileURLWithPath(path("values.plist")));
  const auto host = JournaledUserDefaults::open({.folder = path("app")});
  std::atomic<int> calls{0};
  std::atomic<int> early{0};
  const auto listener = std::make_shared<Listener>([&] {
    for (int i = 0; i < keys; ++i) early += host->value(keyName(i)) == i ? 0 : 1;
    ++calls;
  });
  host->addObserverOfEveryKey(listener, KeyValueObservingOptions::none, nullptr);
  EXPECT_EQ(run("defaults import app " + path("values.plist")), "(0)\n");
  EXPECT_TRUE(waitUntil([&] { return calls == keys; }));
  EXPECT_EQ(early, 0);
}

TEST_F(DefaultsCommand, WritesWhatPlistlibReads) {
  run("defaults write app a -dict k -int 7");
  EXPECT_EQ(outputOf("python3 -c \"import plistlib; print(plistlib.load(open('" + path("app/Settings.plist") +
                     "', 'rb')))\""),
            "{'a': {'k': 7}}\n");
}

TEST_F(DefaultsCommand, DescribesThePublishedSettings) {
  EXPECT_EQ(run("defaults describe app"), "tessaly defaults: The application has published no settings\n(1)\n");
  publish();
  EXPECT_EQ(run("defaults describe app"),
            "interval: integer from 1 to 3600, default 60\n  The time between two looks\n"
            "theme: text, one of \"light\", \"dark\", default \"light\"\n(0)\n");
  EXPECT_EQ(run("defaults describe app theme"), "theme: text, one of \"light\", \"dark\", default \"light\"\n(0)\n");
  EXPECT_EQ(run("defaults describe app none"), "tessaly defaults: The application has published no \"none\"\n(1)\n");
  run("defaults write -force app theme pink");
  EXPECT_EQ(
      run("defaults describe app theme"),
      "theme: text, one of \"light\", \"dark\", default \"light\"\n  The stored value \"pink\" is not allowed.\n(0)\n");
}

TEST_F(DefaultsCommand, RefusesToWriteAForbiddenValue) {
  publish();
  const std::string rule = ": integer from 1 to 3600, default 60; --force stores it nevertheless\n(1)\n";
  EXPECT_EQ(run("defaults write app interval -int 0"), "tessaly defaults: \"interval\" does not allow 0" + rule);
  EXPECT_EQ(run("defaults write app interval 5"),
            "tessaly defaults: \"interval\" does not allow the text \"5\"" + rule);
  EXPECT_EQ(run("defaults read app interval"), "tessaly defaults: There are no settings of \"app\"\n(1)\n");
  EXPECT_EQ(run("defaults write app interval -int 5"), "(0)\n");
  EXPECT_EQ(run("defaults write --force app interval -int 0"), "(0)\n");
  EXPECT_EQ(run("defaults write -force app interval -int 0"), "(0)\n");
  EXPECT_EQ(run("defaults write app other -int 0"), "(0)\n");
  EXPECT_EQ(run("defaults read app"), "interval = 0\nother = 0\n(0)\n");
}

TEST_F(DefaultsCommand, ImportTellsForbiddenValuesAndStoresThem) {
  publish();
  PropertyListSerialization::data(PropertyList::Dictionary{{"interval", 0}, {"theme", "dark"}},
                                  PropertyListFormat::binary)
      .write(URL::fileURLWithPath(path("values.plist")));
  EXPECT_EQ(run("defaults import app " + path("values.plist")),
            "tessaly defaults: \"interval\" does not allow 0: integer from 1 to 3600, default 60\n(0)\n");
  EXPECT_EQ(run("defaults read app"), "interval = 0\ntheme = \"dark\"\n(0)\n");
}

TEST_F(DefaultsCommand, DoctorFindsNothingWrongWithASoundStore) {
  run("defaults write app a 1");
  EXPECT_EQ(run("defaults doctor app"), "Nothing is wrong with the settings in " + path("app") + "\n(0)\n");
  EXPECT_EQ(run("defaults doctor none"), "tessaly defaults: There are no settings of \"none\"\n(1)\n");
}

TEST_F(DefaultsCommand, DoctorNamesTheKeysOfDamagedRecordsAndKeepsTheFile) {
  run("defaults write app kept 1");
  {
    // A process that was killed: its journal is left.
    const auto store = JournaledUserDefaults::open({.folder = path("app")});
    store->set(1, "single");
    store->setValuesForKeys({{"first", 1}, {"second", 2}});
    store->set(2, "sound");
    std::filesystem::copy(path("app"), path("killed"));
  }
  std::string journal = Tests::contentsOf(path("killed/journal"));
  for (const std::string key : {"single", "second"}) {
    const std::size_t value = journal.find(key) + key.size();
    ASSERT_LT(value, journal.size());
    journal[value] = static_cast<char>(journal[value] ^ 1);
  }
  std::ofstream(path("killed/journal"), std::ios::binary) << journal;
  const std::string said = run("defaults doctor killed");
  EXPECT_NE(said.find("A journal of settings is damaged"), std::string::npos) << said;
  EXPECT_NE(said.find("Values may be lost. It is over."), std::string::npos) << said;
  for (const std::string key : {"single", "first", "second"}) {
    EXPECT_NE(said.find("  damaged record of " + key + "\n"), std::string::npos) << said;
  }
  EXPECT_EQ(said.find("sound"), std::string::npos) << said;
  EXPECT_TRUE(said.ends_with("(0)\n")) << said;
  EXPECT_EQ(run("defaults read killed"), "kept = \"1\"\nsound = 2\n(0)\n");
  EXPECT_EQ(Tests::contentsOf(path("killed/journal.damaged.old")), journal);
  EXPECT_TRUE(run("defaults doctor killed").starts_with("Nothing is wrong"));
}

TEST_F(DefaultsCommand, DoctorSetsADamagedPropertyListAside) {
  run("defaults write app a 1");
  std::ofstream(path("app/Settings.plist")) << "damaged";
  const std::string said = run("defaults doctor app");
  EXPECT_NE(said.find("was damaged, and was set aside (" + path("app/Settings.damaged.plist") + ")"), std::string::npos)
      << said;
  EXPECT_NE(said.find("Values may be lost."), std::string::npos) << said;
  EXPECT_EQ(Tests::contentsOf(path("app/Settings.damaged.plist")), "damaged");
  run("defaults write app b 2");
  EXPECT_TRUE(run("defaults doctor app").starts_with("Nothing is wrong"));
}

TEST_F(DefaultsCommand, DoctorFailsWhileSomethingIsWrong) {
  run("defaults write app a 1");
  const detail::OwnedDescriptor other(::open(path("app/journal").c_str(), O_RDONLY | O_CLOEXEC));
  ASSERT_EQ(::flock(other.get(), LOCK_EX), 0);
  const std::string said = run("defaults doctor app");
  EXPECT_NE(said.find("Another process holds the lock of the settings"), std::string::npos) << said;
  EXPECT_TRUE(said.ends_with("tessaly defaults: Something is still wrong\n(1)\n")) << said;
}

TEST_F(DefaultsCommand, IsHeardByARunningHost) {
  const auto store = JournaledUserDefaults::openIdentifier("app");
  EXPECT_EQ(run("defaults write app a -int 5"), "(0)\n");
  EXPECT_TRUE(waitUntil([&] { return store->value("a") == 5; }));
  store->set(6, "a");
  EXPECT_EQ(run("defaults read app a"), "6\n(0)\n");
}

TEST_F(DefaultsCommand, WatchesUntilItIsInterrupted) {
  const std::string output = path("output");
  const std::string program = std::string(std::getenv("TESSALY_TEST_PROGRAMS")) + "/tessaly";
  const pid_t child = ::fork();
  if (child == 0) {
    if (std::freopen(output.c_str(), "w", stdout) == nullptr || ::dup2(1, 2) < 0) ::_exit(127);
    ::execl(program.c_str(), program.c_str(), "defaults", "watch", "app", "a", "b", nullptr);
    ::_exit(127);
  }
  const auto contents = [&] { return Tests::contentsOf(output); };
  ASSERT_TRUE(waitUntil([&] { return contents() == "Watching the settings of \"app\"\n"; }));
  run("defaults write app a -int 1");
  run("defaults write app c -int 1");
  run("defaults write app b text");
  run("defaults delete app a");
  EXPECT_TRUE(waitUntil([&] { return contents().ends_with("a = 1\nb = \"text\"\na removed\n"); })) << contents();
  // The test sends the signal to the process and to its group, as `timeout` does.
  ::kill(child, SIGINT);
  ::usleep(100);
  ::kill(child, SIGINT);
  int status = -1;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
}

TEST_F(DefaultsCommand, EndsAtASecondInterruptionThoughItsOutputIsStuck) {
  int output[2];
  ASSERT_EQ(::pipe2(output, O_CLOEXEC), 0);
  const std::string program = std::string(std::getenv("TESSALY_TEST_PROGRAMS")) + "/tessaly";
  const pid_t child = ::fork();
  if (child == 0) {
    if (::dup2(output[1], 1) < 0 || ::dup2(output[1], 2) < 0) ::_exit(127);
    ::execl(program.c_str(), program.c_str(), "defaults", "watch", "app", nullptr);
    ::_exit(127);
  }
  char first = 0;
  ASSERT_EQ(::read(output[0], &first, 1), 1);
  const auto store = JournaledUserDefaults::openIdentifier("app");
  store->set(std::string(1'000'000, 'x'), "far more than a pipe holds");
  int waiting = 0;
  EXPECT_TRUE(waitUntil([&] { return ::ioctl(output[0], FIONREAD, &waiting) == 0 && waiting > 10'000; }));
  int status = -1;
  EXPECT_TRUE(waitUntil([&] {
    ::kill(child, SIGINT);
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    return ::waitpid(child, &status, WNOHANG) == child;
  }));
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGINT) << status;
  ::close(output[0]);
  ::close(output[1]);
}

}  // namespace
}  // namespace Tessaly::inline v1
