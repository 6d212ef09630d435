// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "tests/Support/ContentsOf.hpp"
#include "tests/Support/OutputOf.hpp"
#include "tests/Support/TemporaryFolder.hpp"

namespace {

using Tessaly::Tests::contentsOf;
using Tessaly::Tests::outputOf;

// The compiler that the printed commands choose: that of the program, unless it is the system's own.
#ifdef __clang__
const std::string clang = "clang++-" + std::to_string(__clang_major__);
const std::string forMake = " CXX=" + clang;
const std::string forCMake = " -DCMAKE_CXX_COMPILER=" + clang;
#else
const std::string forMake;
const std::string forCMake;
#endif

class NewCommand : public ::testing::Test {
 protected:
  [[nodiscard]] std::string path(const std::string& name) const { return folder_.path() + "/" + name; }
  [[nodiscard]] std::string in(const std::string& command) const {
    return outputOf("cd " + folder_.path() + " && " + command);
  }
  /// Runs the command. Returns standard output, standard error and the exit code.
  [[nodiscard]] std::string run(const std::string& arguments) const {
    return in(std::string(std::getenv("TESSALY_TEST_PROGRAMS")) + "/tessaly new " + arguments + " 2>&1; echo \"($?)\"");
  }

 private:
  Tessaly::Tests::TemporaryFolder folder_;
};

TEST_F(NewCommand, WritesTheTemplateUnderTheNewName) {
  EXPECT_EQ(run("my-app"), "make -C my-app" + forMake + " && my-app/my-app\ncmake -G Ninja -S my-app -B my-app/build" +
                               forCMake + " && cmake --build my-app/build && my-app/build/my-app\n(0)\n");
  EXPECT_EQ(in("ls my-app"), in("ls " TESSALY_TEMPLATE));
  EXPECT_EQ(in("grep -rl first-hour my-app"), "");
  EXPECT_EQ(in("sed s/first-hour/my-app/g " TESSALY_TEMPLATE "/CMakeLists.txt | diff - my-app/CMakeLists.txt"), "");
  EXPECT_EQ(in("sed s/first-hour/my-app/g " TESSALY_TEMPLATE "/none.cpp | diff - my-app/none.cpp"), "");
  EXPECT_EQ(in("diff " TESSALY_TEMPLATE "/Session.cpp my-app/Session.cpp"), "");
  EXPECT_EQ(in("stat -c %a my-app"), in("mkdir other; stat -c %a other"));
}

TEST_F(NewCommand, ChoosesTheToolkit) {
  for (const char* option : {"--toolkit gtk one", "one --toolkit=gtk", "--toolkit qt --toolkit gtk one"}) {
    EXPECT_EQ(run(option).substr(0, 8), "cmake -G") << option;
    EXPECT_EQ(in("grep -c 'set(TOOLKIT gtk CACHE' one/CMakeLists.txt; rm -r one"), "1\n") << option;
  }
}

TEST_F(NewCommand, NamesTheApplicationByTheLastNameOfThePath) {
  EXPECT_NE(run("./inner/").find("./inner/build/inner\n(0)"), std::string::npos);
  EXPECT_NE(run(path("a_2")).find("/a_2/build/a_2\n(0)"), std::string::npos);
}

TEST_F(NewCommand, PrintedCommandsQuoteThePath) {
  static_cast<void>(in("mkdir \"it's my directory\""));
  const std::string made = run("\"it's my directory/app\"");
  EXPECT_EQ(made.find("make -C 'it'\\''s my directory/app'" + forMake + " && 'it'\\''s my directory/app/app'\n"), 0u)
      << made;
  EXPECT_NE(made.find("\ncmake -G Ninja -S 'it'\\''s my directory/app' -B 'it'\\''s my directory/app/build'" +
                      forCMake + " &&"),
            std::string::npos)
      << made;
  const std::string word =
      made.substr(made.rfind("&& ") + 3, made.rfind('\n', made.size() - 2) - made.rfind("&& ") - 3);
  EXPECT_EQ(in("printf %s " + word), "it's my directory/app/build/app");
}

TEST_F(NewCommand, RefusesWrongUsage) {
  const std::string advice = "\n'tessaly new --help' tells how to use it.\n(2)\n";
  EXPECT_EQ(run(""), "tessaly new: A directory is missing" + advice);
  EXPECT_EQ(run("a b"), "tessaly new: \"b\" is too much" + advice);
  EXPECT_EQ(run("a --toolkit"), "tessaly new: --toolkit wants a value" + advice);
  EXPECT_EQ(run("a --toolkit=tk"), "tessaly new: \"tk\" is no toolkit: use gtk, qt or none" + advice);
  EXPECT_EQ(run("a --kit=gtk"), "tessaly new: There is no option --kit=gtk" + advice);
  for (const char* name : {"2a", "a.b", "-- -a", "ä", ".", "..", "/", "'a b'", "''"}) {
    EXPECT_NE(run(name).find("is no name of an application: use letters, digits, '-' and '_', and a letter in front" +
                             advice),
              std::string::npos)
        << name;
  }
  EXPECT_EQ(in("ls"), "");
}

TEST_F(NewCommand, LeavesExistingEntriesAlone) {
  std::filesystem::create_directories(path("directory"));
  std::ofstream(path("file")) << "mine";
  ASSERT_EQ(::symlink("nowhere", path("link").c_str()), 0);
  for (const char* name : {"directory", "file", "link"}) {
    EXPECT_EQ(run(name), std::string("tessaly new: ") + name + " is there already\n(1)\n");
  }
  EXPECT_EQ(contentsOf(path("file")), "mine");
  EXPECT_EQ(in("ls; ls directory"), "directory\nfile\nlink\n");
}

TEST_F(NewCommand, FailureLeavesNothing) {
  EXPECT_EQ(run("missing/a"), "tessaly new: missing/a: No such file or directory\n(1)\n");
  std::ofstream(path("file")) << "mine";
  EXPECT_EQ(run("file/a"), "tessaly new: file/a: Not a directory\n(1)\n");
  // A file of the template is larger than 512 bytes.
  const std::string limited = in("ulimit -f 1; trap '' XFSZ; " + std::string(std::getenv("TESSALY_TEST_PROGRAMS")) +
                                 "/tessaly new a 2>&1; echo \"($?)\"");
  EXPECT_NE(limited.find("cannot be written: File too large\n(1)\n"), std::string::npos) << limited;
  EXPECT_EQ(in("ls"), "file\n");
}

}  // namespace
