// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <unordered_set>

#include "Tessaly/Core/Foundation/Data.hpp"
#include "Tessaly/Core/Foundation/POSIXError.hpp"
#include "Tessaly/Core/Foundation/ProcessInfo.hpp"
#include "Tessaly/Core/Foundation/URLError.hpp"
#include "Tessaly/Core/Foundation/UTType.hpp"
#include "tests/Support/TemporaryFolder.hpp"

namespace Tessaly {
namespace {

using namespace std::string_literals;

using testing::ElementsAre;
using testing::IsEmpty;

/// The tests have their own database, or no database.
class UTTypeTest : public testing::Test {
 protected:
  void put(const std::string& name, std::string_view text) const {
    const std::filesystem::path path(folder.path() + "/" + name);
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << text;
  }
  [[nodiscard]] URL url(const std::string& name) const { return URL::fileURLWithPath(folder.path() + "/" + name); }
  static std::string identifierOf(std::string_view extension, const UTType& conformingTo = UTType::data()) {
    return UTType::fromFilenameExtension(extension, conformingTo)->identifier();
  }

  Tests::TemporaryFolder folder;
  ProcessInfo process{{.environment = std::map<std::string, std::string>{{"XDG_DATA_DIRS", folder.path() + "/share"},
                                                                         {"HOME", folder.path() + "/home"}}}};
  ProcessInfo::Replacement replacement{process};
};

TEST_F(UTTypeTest, CommonTypesAreThereWithoutADatabase) {
  EXPECT_EQ(identifierOf("csv", UTType::text()), "public.comma-separated-values-text");
  EXPECT_EQ(identifierOf("PNG"), "public.png");
  EXPECT_TRUE(UTType::from("public.svg-image")->conformsTo(UTType::image()));
  EXPECT_TRUE(UTType::from("public.svg-image")->conformsTo(UTType::text()));
  EXPECT_TRUE(UTType::plainText().conformsTo(UTType::text()));
  EXPECT_TRUE(UTType::plainText().conformsTo(UTType::data()));
  EXPECT_TRUE(UTType::plainText().conformsTo(UTType::item()));
  EXPECT_FALSE(UTType::text().conformsTo(UTType::plainText()));
  EXPECT_FALSE(UTType::folder().conformsTo(UTType::data()));
  EXPECT_TRUE(UTType::audio().conformsTo(UTType::data()));
  EXPECT_FALSE(UTType::audio().conformsTo(UTType::movie()));
  EXPECT_EQ(UTType::from("public.jpeg")->preferredFilenameExtension(), "jpeg");
  EXPECT_EQ(UTType::from("public.jpeg")->preferredMIMEType(), "image/jpeg");
  EXPECT_EQ(UTType::text().preferredFilenameExtension(), std::nullopt);
  EXPECT_EQ(UTType::text().preferredMIMEType(), std::nullopt);
  EXPECT_EQ(UTType::data().preferredMIMEType(), "application/octet-stream");
}

TEST_F(UTTypeTest, UndeclaredExtensionsGetDynamicTypes) {
  const UTType type = *UTType::fromFilenameExtension("cdg");
  EXPECT_EQ(type.identifier(), "dyn.ah62d4rv4ge80g3dh");
  EXPECT_TRUE(type.isDynamic());
  EXPECT_FALSE(UTType::data().isDynamic());
  EXPECT_EQ(type.preferredFilenameExtension(), "cdg");
  EXPECT_EQ(type.preferredMIMEType(), std::nullopt);
  EXPECT_THAT(type.supertypeIdentifiers(), ElementsAre("public.data"));
  EXPECT_TRUE(type.conformsTo(UTType::data()));
  EXPECT_TRUE(type.conformsTo(UTType::item()));
  EXPECT_FALSE(type.conformsTo(UTType::text()));
  EXPECT_EQ(UTType::from(type.identifier()), type);
  EXPECT_EQ(UTType::fromFilenameExtension("CDG"), type);
  const UTType text = *UTType::fromFilenameExtension("cdg", UTType::text());
  EXPECT_TRUE(text.conformsTo(UTType::text()));
  EXPECT_FALSE(text == type);
  // A table with commas is not an image.
  EXPECT_TRUE(UTType::fromFilenameExtension("csv", UTType::image())->isDynamic());
}

TEST_F(UTTypeTest, EveryPossibleExtensionHasAType) {
  for (const std::string& extension :
       {std::string("\xFF\xC3"), std::string(4096, 'x'), std::string(" "), std::string("tar.gz"), std::string("*")}) {
    const auto type = UTType::fromFilenameExtension(extension);
    ASSERT_TRUE(type);
    EXPECT_EQ(type->preferredFilenameExtension(), extension);
    EXPECT_EQ(UTType::from(type->identifier()), type);
  }
  for (const std::string& extension : {std::string(), std::string("a/b"), std::string("a\0b", 3)}) {
    EXPECT_EQ(UTType::fromFilenameExtension(extension), std::nullopt);
  }
}

TEST_F(UTTypeTest, TheDatabaseDeclaresFurtherTypes) {
  put("share/mime/globs2",
      "50:audio/flac:*.flac\n50:text/x-song:*.song\n50:application/x-song:*.song\n50:image/jpeg:*.jpg\n");
  put("share/mime/types", "audio/flac\ntext/x-song\napplication/x-song\n");
  put("share/mime/aliases", "audio/x-flac audio/flac\n");
  put("share/mime/subclasses", "application/x-song application/zip\n");
  const UTType flac = *UTType::fromFilenameExtension("flac");
  EXPECT_EQ(flac.identifier(), "audio/flac");
  EXPECT_EQ(flac.preferredMIMEType(), "audio/flac");
  EXPECT_TRUE(flac.conformsTo(UTType::audio()));
  EXPECT_TRUE(flac.conformsTo(UTType::data()));
  EXPECT_EQ(UTType::from("audio/flac"), flac);
  EXPECT_EQ(UTType::from("AUDIO/x-FLAC"), flac);
  EXPECT_EQ(identifierOf("song"), "text/x-song");
  EXPECT_EQ(identifierOf("song", UTType::text()), "text/x-song");
  const UTType zip = *UTType::from("public.zip-archive");
  EXPECT_EQ(identifierOf("song", zip), "application/x-song");
  EXPECT_TRUE(UTType::from("application/x-song")->conformsTo(*UTType::from("public.archive")));
  EXPECT_THAT(UTType::from("public.jpeg")->filenameExtensions(), ElementsAre("jpeg", "jpg"));
  EXPECT_EQ(identifierOf("jpg"), "public.jpeg");
}

TEST_F(UTTypeTest, TypeWithCapitalsIsFoundInAnyCase) {
  put("share/mime/globs2", "50:application/x-Sheet.macroEnabled:*.sheet\n50:Image/PNG:*.png\n");
  put("share/mime/types", "application/x-Sheet.macroEnabled\nImage/PNG\n");
  put("share/mime/aliases", "image/x-MS-png Image/PNG\n");
  put("share/mime/subclasses", "application/x-Sheet.macroEnabled Application/ZIP\n");
  put("share/mime/application/x-sheet.macroenabled.xml", "<glob pattern='*.sheet'/>");
  const UTType sheet = *UTType::fromFilenameExtension("sheet");
  EXPECT_EQ(sheet.identifier(), "application/x-Sheet.macroEnabled");
  EXPECT_EQ(sheet.preferredMIMEType(), "application/x-Sheet.macroEnabled");
  EXPECT_EQ(sheet.preferredFilenameExtension(), "sheet");
  EXPECT_EQ(UTType::from(sheet.identifier()), sheet);
  EXPECT_EQ(UTType::from("APPLICATION/x-sheet.macroenabled"), sheet);
  EXPECT_EQ(UTType::fromMIMEType("application/X-SHEET.macroEnabled"), sheet);
  EXPECT_TRUE(sheet.conformsTo(*UTType::from("public.zip-archive")));
  EXPECT_EQ(identifierOf("png"), "public.png");
  EXPECT_EQ(UTType::from("image/X-ms-PNG")->identifier(), "public.png");
  EXPECT_EQ(UTType::from("image/png")->preferredMIMEType(), "image/png");
}

TEST_F(UTTypeTest, TheDatabaseMayGiveACommonExtensionToAnotherType) {
  put("share/mime/globs2", "50:application/x-own:*.csv\n");
  EXPECT_EQ(identifierOf("csv"), "application/x-own");
  EXPECT_TRUE(UTType::fromFilenameExtension("csv", UTType::text())->isDynamic());
}

TEST_F(UTTypeTest, UnknownMIMETypesHaveTypesToo) {
  EXPECT_EQ(UTType::fromMIMEType("text/csv; charset=utf-8")->identifier(), "public.comma-separated-values-text");
  EXPECT_EQ(UTType::fromMIMEType("IMAGE/PNG")->identifier(), "public.png");
  const UTType unknown = *UTType::fromMIMEType("audio/x-unheard-of");
  EXPECT_EQ(unknown.preferredMIMEType(), "audio/x-unheard-of");
  EXPECT_EQ(unknown.preferredFilenameExtension(), std::nullopt);
  EXPECT_TRUE(unknown.conformsTo(UTType::audio()));
  EXPECT_EQ(UTType::from("audio/x-unheard-of"), std::nullopt);
  for (const char* const wrong : {"", "text", "text/", "a b/c", "../c"}) {
    EXPECT_EQ(UTType::fromMIMEType(wrong), std::nullopt) << wrong;
    EXPECT_EQ(UTType::from(wrong), std::nullopt) << wrong;
  }
}

TEST_F(UTTypeTest, FilesAreTypedByNameOrContents) {
  put("share/mime/globs2", "50:text/x-doc:*.doc\n50:application/x-doc:*.doc\n");
  put("share/mime/magic", "MIME-Magic\0\n[50:application/x-doc]\n>2=\0\1D\n"s);
  put("a.csv", "\x01");
  put("b.doc", "..D");
  put("c.doc", "...");
  put("d", "text");
  EXPECT_EQ(UTType::ofFile(url("b.doc")).identifier(), "application/x-doc");
  EXPECT_EQ(UTType::ofFile(url("c.doc")).identifier(), "text/x-doc");
  EXPECT_EQ(UTType::ofFile(url("d")), UTType::plainText());
  EXPECT_EQ(UTType::ofContents("x.doc", Data("..D").bytes()).identifier(), "application/x-doc");
  EXPECT_EQ(UTType::ofContents("\xFF", {}), UTType::plainText());
}

TEST_F(UTTypeTest, DirectoriesLinksAndDevicesHaveTheirOwnTypes) {
  std::filesystem::create_directories(folder.path() + "/inner.png");
  ASSERT_EQ(::mkfifo((folder.path() + "/fifo").c_str(), 0600), 0);
  std::filesystem::create_symlink("inner.png", folder.path() + "/link");
  std::filesystem::create_symlink("nowhere", folder.path() + "/dangling");
  EXPECT_EQ(UTType::ofFile(url("inner.png")), UTType::folder());
  EXPECT_EQ(UTType::ofFile(url("link")), UTType::folder());
  EXPECT_EQ(UTType::ofFile(url("fifo")).identifier(), "inode/fifo");
  EXPECT_TRUE(UTType::ofFile(url("fifo")).conformsTo(UTType::item()));
  EXPECT_FALSE(UTType::ofFile(url("fifo")).conformsTo(UTType::data()));
  EXPECT_EQ(UTType::ofFile(URL::fileURLWithPath("/dev/null")).identifier(), "inode/chardevice");
  for (const std::string& name : {std::string("missing"), std::string("dangling"), std::string(4096, 'x')}) {
    EXPECT_THROW(static_cast<void>(UTType::ofFile(url(name))), POSIXError) << name;
  }
  EXPECT_THROW(static_cast<void>(UTType::ofFile(*URL::from("https://example.org/a.png"))), URLError);
}

TEST_F(UTTypeTest, UnreadableFileIsTypedByItsName) {
  put("share/mime/globs2", "50:text/x-doc:*.doc\n50:application/x-doc:*.doc\n");
  put("a.doc", "");
  put("b", "text");
  std::filesystem::permissions(folder.path() + "/a.doc", std::filesystem::perms::none);
  std::filesystem::permissions(folder.path() + "/b", std::filesystem::perms::none);
  std::filesystem::permissions(folder.path(), std::filesystem::perms::all);
  // Root may read everything.
  if (::geteuid() == 0) ASSERT_EQ(::seteuid(65534), 0);
  EXPECT_EQ(UTType::ofFile(url("a.doc")).identifier(), "text/x-doc");
  EXPECT_EQ(UTType::ofFile(url("b")), UTType::data());
  if (::getuid() == 0) ASSERT_EQ(::seteuid(0), 0);
}

TEST_F(UTTypeTest, AreValues) {
  std::unordered_set<UTType> types{UTType::data(), UTType::text(), UTType::data()};
  EXPECT_EQ(types.size(), 2u);
  std::ostringstream stream;
  stream << UTType::plainText();
  EXPECT_EQ(stream.str(), "public.plain-text");
}

TEST(UTTypeOfTheSystem, KnowsCommonFiles) {
  const auto ofExtension = [](std::string_view extension) {
    return UTType::fromFilenameExtension(extension)->preferredMIMEType();
  };
  EXPECT_EQ(ofExtension("ogg"), "audio/ogg");
  EXPECT_EQ(ofExtension("csv"), "text/csv");
  EXPECT_EQ(ofExtension("odt"), "application/vnd.oasis.opendocument.text");
  EXPECT_EQ(ofExtension("tar.gz"), "application/x-compressed-tar");
  EXPECT_EQ(ofExtension("C"), "text/x-c++src");
  EXPECT_EQ(ofExtension("c"), "text/x-csrc");
  const UTType addIn = *UTType::fromFilenameExtension("xlam");
  EXPECT_EQ(addIn.identifier(), "application/vnd.ms-excel.addin.macroEnabled.12");
  EXPECT_EQ(UTType::from(addIn.identifier()), addIn);
  EXPECT_EQ(UTType::fromMIMEType("application/vnd.ms-excel.addin.macroEnabled.12"), addIn);
  EXPECT_EQ(UTType::from("image/x-MS-bmp"), UTType::fromFilenameExtension("bmp"));
  EXPECT_EQ(UTType::from("text/x-c++src")->preferredFilenameExtension(), "cpp");
  EXPECT_EQ(UTType::from("application/pdf")->preferredFilenameExtension(), "pdf");
  EXPECT_TRUE(UTType::fromFilenameExtension("odt")->conformsTo(*UTType::from("public.zip-archive")));
  EXPECT_EQ(UTType::ofContents("picture", Data("\x89PNG\r\n\x1A\n").bytes()).identifier(), "public.png");
  EXPECT_EQ(UTType::ofContents("README", Data("#!/bin/sh\n").bytes()).preferredMIMEType(), "text/x-readme");
  EXPECT_EQ(UTType::ofContents("script", Data("#!/bin/sh\n").bytes()).preferredMIMEType(), "application/x-shellscript");
  EXPECT_EQ(UTType::ofContents("", Data("%PDF-1.7").bytes()).preferredMIMEType(), "application/pdf");
  EXPECT_EQ(UTType::ofContents("empty", {}).preferredMIMEType(), "application/x-zerosize");
}

}  // namespace
}  // namespace Tessaly
