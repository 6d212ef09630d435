// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "Tessaly/Core/Foundation/detail/MIMEDatabase.hpp"
#include "Tessaly/Core/Foundation/detail/MIMEText.hpp"
#include "tests/Support/TemporaryFolder.hpp"

namespace Tessaly::detail {
namespace {

using namespace std::string_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using Types = MIMEDatabase::Types;

class MIMEDatabaseTest : public testing::Test {
 protected:
  std::string typeOf(std::string_view name, const std::optional<std::string>& contents = std::nullopt) {
    return database.typeOf(name, [&](std::size_t) { return contents; });
  }
  static std::string magicRule(std::string_view type, char value) {
    return "MIME-Magic\0\n[50:"s + std::string(type) + "]\n>0=\0\1"s + value + "\n";
  }

  MIMEDatabase database{{}};
};

TEST_F(MIMEDatabaseTest, ExtensionGivesTheType) {
  database.addGlobs("# A comment\n50:text/x-c++src:*.C:cs\n50:text/x-csrc:*.c\n50:image/gif:*.gif\n");
  EXPECT_THAT(database.typesOfName("main.C"), ElementsAre("text/x-c++src"));
  EXPECT_THAT(database.typesOfName("main.c"), ElementsAre("text/x-csrc"));
  EXPECT_THAT(database.typesOfName("IMAGE.GIF"), ElementsAre("image/gif"));
  EXPECT_THAT(database.typesOfName("gif"), IsEmpty());
  EXPECT_THAT(database.typesOfName("a.gif.b"), IsEmpty());
  EXPECT_THAT(database.typesOfName(""), IsEmpty());
}

TEST_F(MIMEDatabaseTest, FinalFullStopBeginsNoExtension) {
  database.addGlobs("50:a/ended:*.\n50:a/ended:*.e\n");
  EXPECT_THAT(database.typesOfName("name."), ElementsAre("a/ended"));
  EXPECT_THAT(database.typesOfName("name"), IsEmpty());
  EXPECT_THAT(database.extensions("a/ended"), ElementsAre("e"));
}

TEST_F(MIMEDatabaseTest, GreatestWeightThenLongestPatternWins) {
  database.addGlobs(
      "50:application/gzip:*.gz\n50:application/x-compressed-tar:*.tar.gz\n10:a/readme:readme*\n"
      "60:a/heavy:*.heavy\n50:a/light:*.very.heavy\n");
  EXPECT_THAT(database.typesOfName("data.tar.gz"), ElementsAre("application/x-compressed-tar"));
  EXPECT_THAT(database.typesOfName("README.gz"), ElementsAre("application/gzip"));
  EXPECT_THAT(database.typesOfName("README"), ElementsAre("a/readme"));
  EXPECT_THAT(database.typesOfName("a.very.heavy"), ElementsAre("a/heavy"));
}

TEST_F(MIMEDatabaseTest, WholeNamesThenExtensionsThenPatternsCount) {
  database.addGlobs(
      "50:text/x-cmake:cmakelists.txt\n80:text/plain:*.txt\n60:application/x-sharedlib:*.so.[0-9]*\n"
      "50:application/gzip:*.gz\n");
  EXPECT_THAT(database.typesOfName("ld.so.8.GZ"), ElementsAre("application/gzip"));
  EXPECT_THAT(database.typesOfName("libc.so.6"), ElementsAre("application/x-sharedlib"));
  EXPECT_THAT(database.typesOfName("CMakeLists.txt"), ElementsAre("text/x-cmake"));
  EXPECT_THAT(database.typesOfName("a CMakeLists.txt"), ElementsAre("text/plain"));
}

TEST_F(MIMEDatabaseTest, FileOfHigherPrecedenceCanDiscardPatterns) {
  database.addGlobs("50:a/old:*.x\n50:a/old:*.y\n50:a/other:*.y\n50:a/old:old\n50:a/old:[o]ld\n");
  database.addGlobs("50:a/new:*.x\n");
  EXPECT_THAT(database.typesOfName("f.x"), ElementsAre("a/new", "a/old"));
  database.addGlobs("0:a/old:__NOGLOBS__\n50:a/old:*.z\n");
  EXPECT_THAT(database.typesOfName("f.x"), ElementsAre("a/new"));
  EXPECT_THAT(database.typesOfName("f.y"), ElementsAre("a/other"));
  EXPECT_THAT(database.typesOfName("old"), IsEmpty());
  EXPECT_THAT(database.typesOfName("f.z"), ElementsAre("a/old"));
}

TEST_F(MIMEDatabaseTest, MalformedLinesAreIgnored) {
  database.addGlobs(
      "\n:\n50\n50:\n50:a/b\n50:a/b:\nx:a/b:*.x\n-1:a/b:*.x\n50:ab:*.x\n50:a/b/c:*.x\n50:../b:*.x\n"
      "99999999999:a/b:*.x\n50:a/b:*.y:later:and more\n50:a/b:*.z:flag,cs,other");
  EXPECT_THAT(database.typesOfName("f.x"), IsEmpty());
  EXPECT_THAT(database.typesOfName("f.Y"), ElementsAre("a/b"));
  EXPECT_THAT(database.typesOfName("f.z"), ElementsAre("a/b"));
  EXPECT_THAT(database.typesOfName("f.Z"), IsEmpty());
  database.addAliases("a/b\nx y\n");
  database.addSubclasses("a/b\nx y\na/b a/\n");
  database.addTypes("a\n");
  EXPECT_EQ(database.canonical("a/b"), "a/b");
  EXPECT_FALSE(database.knows("a"));
}

TEST_F(MIMEDatabaseTest, GeneralTypeOfAnExtensionPrecedesItsSubtypes) {
  database.addGlobs("50:audio/x-vorbis+ogg:*.ogg\n50:audio/ogg:*.ogg\n50:video/ogg:*.ogg\n10:a/b:*.ogg\n");
  database.addSubclasses("audio/x-vorbis+ogg audio/ogg\n");
  EXPECT_THAT(database.typesOfExtension("OGG"), ElementsAre("audio/ogg", "video/ogg", "a/b", "audio/x-vorbis+ogg"));
  EXPECT_THAT(database.typesOfExtension(".ogg"), IsEmpty());
  EXPECT_THAT(database.typesOfExtension(""), IsEmpty());
}

TEST_F(MIMEDatabaseTest, AliasesAreResolvedInAnyCase) {
  database.addAliases("text/x-csv text/csv\n");
  EXPECT_EQ(database.canonical("Text/X-CSV"), "text/csv");
  EXPECT_EQ(database.canonical("text/csv"), "text/csv");
}

TEST_F(MIMEDatabaseTest, NamesOfTypesAreComparedWithoutCase) {
  database.addTypes("audio/AMR\n");
  database.addAliases("image/x-MS-bmp image/BMP\n");
  database.addSubclasses("audio/AMR Audio/Base\n");
  database.addGlobs("50:audio/Amr:*.amr\n50:A/Old:*.old\n");
  database.addGlobs("0:a/oLD:__NOGLOBS__\n");
  database.addMagic(magicRule("A/B", 'x'));
  EXPECT_TRUE(database.knows("Audio/amr"));
  EXPECT_EQ(database.canonical("IMAGE/x-ms-BMP"), "image/bmp");
  EXPECT_EQ(database.canonical("image/x-MS-bmp"), "image/bmp");
  EXPECT_THAT(database.parents("AUDIO/amr"), ElementsAre("audio/base"));
  EXPECT_TRUE(database.isKindOf("audio/amr", "AUDIO/base"));
  EXPECT_THAT(database.typesOfName("f.amr"), ElementsAre("audio/amr"));
  EXPECT_THAT(database.extensions("audio/AMR"), ElementsAre("amr"));
  EXPECT_THAT(database.typesOfName("f.old"), IsEmpty());
  EXPECT_EQ(typeOf("f", "x"), "a/b");
}

TEST_F(MIMEDatabaseTest, SubtypesOfSubtypesAreSubtypes) {
  database.addSubclasses("a/c a/b\na/b a/a\na/a a/c\nimage/svg+xml application/xml\napplication/xml text/plain\n");
  EXPECT_TRUE(database.isKindOf("image/svg+xml", "text/plain"));
  EXPECT_TRUE(database.isKindOf("a/c", "a/c"));
  EXPECT_TRUE(database.isKindOf("a/c", "a/a"));
  EXPECT_FALSE(database.isKindOf("a/c", "a/d"));  // They go round in a circle.
  EXPECT_FALSE(database.isKindOf("text/plain", "image/svg+xml"));
  EXPECT_TRUE(database.isKindOf("text/unheard-of", "text/plain"));
  EXPECT_TRUE(database.isKindOf("image/unheard-of", "application/octet-stream"));
  EXPECT_FALSE(database.isKindOf("inode/directory", "application/octet-stream"));
}

TEST_F(MIMEDatabaseTest, ContentsAreReadOnlyIfTheNameDoesNotDecide) {
  database.addGlobs("50:a/one:*.one\n50:a/x:*.two\n50:a/y:*.two\n");
  EXPECT_EQ(database.typeOf("f.one",
                            [](std::size_t) -> std::optional<std::string> {
                              ADD_FAILURE();
                              return std::nullopt;
                            }),
            "a/one");
  EXPECT_EQ(typeOf("f.two"), "a/x");
  EXPECT_EQ(typeOf("f"), "application/octet-stream");
  EXPECT_EQ(typeOf("f", "text \xC3\xA9\n"), "text/plain");
  EXPECT_EQ(typeOf("f", std::string(128, 'a') + '\0'), "text/plain");
  EXPECT_EQ(typeOf("f", std::string(127, 'a') + '\0'), "application/octet-stream");
  EXPECT_EQ(typeOf("f", ""), "text/plain");
  database.addTypes("application/x-zerosize\n");
  EXPECT_EQ(typeOf("f", ""), "application/x-zerosize");
}

TEST_F(MIMEDatabaseTest, ContentsDecideBetweenTypesOfOneName) {
  database.addGlobs("50:text/x-doc:*.doc\n50:application/msword:*.doc\n");
  database.addSubclasses("application/msword application/x-ole-storage\n");
  database.addMagic(magicRule("application/x-ole-storage", 'O'));
  EXPECT_EQ(typeOf("f.doc", "O"), "application/msword");
  EXPECT_EQ(typeOf("f.doc", "text"), "text/x-doc");
  EXPECT_EQ(typeOf("f.doc", "\x01"), "text/x-doc");
  EXPECT_EQ(typeOf("f", "O"), "application/x-ole-storage");
  database.addMagic(magicRule("a/b", 'X'));
  EXPECT_EQ(typeOf("f.doc", "X"), "text/x-doc");
}

TEST_F(MIMEDatabaseTest, DescriptionsListPatterns) {
  EXPECT_THAT(MIMEDatabase::patterns(R"(<?xml version="1.0"?><mime-type type="a/b"><!-- <glob pattern="*.no"/> -->
      <comment>a > b</comment><glob pattern="*.one"/><glob weight='80' pattern='*.two' /><globe pattern="*.no"/>
      <glob
        pattern="&amp;&lt;&gt;&quot;&apos;&nbsp;*"></glob><glob:deleteall pattern="*.no"/><glob/><glob x pattern="*.no"/>
      <glob pattern="*.three"</mime-type><glob pattern="*.no)"),
              ElementsAre("*.one", "*.two", "&<>\"'&nbsp;*", "*.three"));
  EXPECT_THAT(MIMEDatabase::patterns("<!-- <glob pattern='*.no'/>"), IsEmpty());
  EXPECT_THAT(MIMEDatabase::patterns("<glob pattern=*.no>"), IsEmpty());
}

TEST_F(MIMEDatabaseTest, NamesOfTypesAreTwoNamesWithASlash) {
  for (const std::string& right :
       {"text/x-c++src"s, "image/svg+xml"s, "x/y"s, "application/vnd.oasis.opendocument.text"s,
        std::string(127, 'a') + "/" + std::string(127, 'b')}) {
    EXPECT_TRUE(detail::isMIMEType(right)) << right;
  }
  for (const std::string& wrong : {""s, "/"s, "a"s, "a/"s, "/b"s, "a/b/c"s, "a b/c"s, "../b"s, "a/.b"s, "a/b;c"s,
                                   "a/b\0"s, "\xC3\xA9/b"s, "a/" + std::string(128, 'b')}) {
    EXPECT_FALSE(detail::isMIMEType(wrong)) << wrong;
  }
}

TEST_F(MIMEDatabaseTest, EnvironmentGivesTheDirectories) {
  using Environment = std::map<std::string, std::string>;
  const auto folders = [](const Environment& environment) {
    return MIMEDatabase::folders(ProcessInfo({.environment = environment}));
  };
  EXPECT_THAT(folders({{"HOME", "/h"}}),
              ElementsAre("/h/.local/share/mime", "/usr/local/share/mime", "/usr/share/mime"));
  EXPECT_THAT(folders({{"HOME", "/h"}, {"XDG_DATA_HOME", "/d"}, {"XDG_DATA_DIRS", "/a:relative::/b:/a"}}),
              ElementsAre("/d/mime", "/a/mime", "/b/mime"));
  EXPECT_THAT(folders({{"XDG_DATA_HOME", "relative"}, {"XDG_DATA_DIRS", ""}}),
              ElementsAre("/usr/local/share/mime", "/usr/share/mime"));
}

class MIMEFolders : public testing::Test {
 protected:
  void put(const std::string& name, std::string_view text) const {
    const std::filesystem::path path(folder.path() + "/" + name);
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << text;
  }

  Tests::TemporaryFolder folder;
};

TEST_F(MIMEFolders, UsersDirectoryPrecedesTheSystems) {
  put("system/globs2", "50:a/system:*.x\n50:a/system:*.y\n");
  put("user/globs2", "50:a/user:*.x\n");
  put("system/aliases", "a/alias a/system\n");
  put("user/aliases", "a/alias a/user\n");
  put("system/types", "a/system\n");
  put("system/magic", "MIME-Magic\0\n[50:a/magic]\n>0=\0\1M\n"s);
  put("user/subclasses", "a/user a/system\n");
  const MIMEDatabase database({folder.path() + "/user", folder.path() + "/system", folder.path() + "/missing"});
  EXPECT_THAT(database.typesOfName("f.x"), ElementsAre("a/user", "a/system"));
  EXPECT_THAT(database.typesOfName("f.y"), ElementsAre("a/system"));
  EXPECT_EQ(database.canonical("a/alias"), "a/user");
  EXPECT_TRUE(database.knows("a/system"));
  EXPECT_TRUE(database.isKindOf("a/user", "a/system"));
  EXPECT_EQ(database.typeOf("f",
                            [](std::size_t size) {
                              EXPECT_EQ(size, 128u);
                              return std::optional("M"s);
                            }),
            "a/magic");
}

TEST_F(MIMEFolders, DescriptionsGiveThePreferredExtension) {
  put("system/globs2", "50:image/jpeg:*.jpe\n50:image/jpeg:*.jpeg\n50:image/jpeg:*.jpg\n50:image/jpeg:picture\n");
  put("system/image/jpeg.xml",
      "<glob pattern='*.jpg'/><glob pattern='*.gone'/><glob pattern='picture'/><glob pattern='*.jpeg'/>");
  put("user/globs2", "60:image/jpeg:*.mine\n");
  const MIMEDatabase database({folder.path() + "/user", folder.path() + "/system"});
  EXPECT_THAT(database.extensions("image/jpeg"), ElementsAre("jpg", "jpeg", "mine", "jpe"));
  EXPECT_THAT(database.extensions("image/jpeg"), ElementsAre("jpg", "jpeg", "mine", "jpe"));
  EXPECT_THAT(database.extensions("image/unknown"), IsEmpty());
  EXPECT_THAT(database.extensions("../image/jpeg"), IsEmpty());
}

TEST_F(MIMEFolders, EntriesThatAreNotFilesAreIgnored) {
  std::filesystem::create_directories(folder.path() + "/system/globs2");
  ASSERT_EQ(::mkfifo((folder.path() + "/system/magic").c_str(), 0600), 0);
  std::filesystem::create_symlink("nowhere", folder.path() + "/system/types");
  put("system/aliases", "");
  std::filesystem::resize_file(folder.path() + "/system/aliases", std::uintmax_t{10} << 30);
  const MIMEDatabase database({folder.path() + "/system"});
  EXPECT_THAT(database.typesOfName("f.x"), IsEmpty());
}

}  // namespace
}  // namespace Tessaly::detail
