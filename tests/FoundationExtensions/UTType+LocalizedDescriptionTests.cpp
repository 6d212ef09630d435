// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "Tessaly/Core/Foundation/ProcessInfo.hpp"
#include "Tessaly/FoundationExtensions/UTType+LocalizedDescription.hpp"
#include "tests/Support/TemporaryFolder.hpp"

namespace Tessaly {
namespace {

class LocalizedDescriptionTest : public testing::Test {
 protected:
  void put(const std::string& name, const std::string& text) const {
    const std::filesystem::path path(folder.path() + "/share/mime/" + name);
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path) << text;
  }
  /// A database with pictures, directories and unknown files.
  void describe() const {
    put("types", "image/png\nimage/x-small\ninode/directory\n");
    put("globs2", "50:image/png:*.png\n50:image/x-small:*.small\n");
    put("subclasses", "image/x-small image/png\n");
    put("image/png.xml", R"(<mime-type><!-- <comment>no</comment> --><comment>PNG image</comment>
        <comment xml:lang="de">PNG-Bild</comment><comment xml:lang="pt_BR">Imagem PNG</comment>
        <comment xml:lang="pt">imagem &amp; PNG</comment><comments>no</comments>
        <comment xml:lang="zh_TW">PNG 影像</comment><comment xml:lang="zh_CN">PNG 图像</comment>
        <comment xml:lang="fr">without an end</mime-type>)");
    put("inode/directory.xml", R"(<comment>folder</comment><comment xml:lang="de">Ordner</comment>)");
    put("application/octet-stream.xml", R"(<comment>unknown</comment><comment xml:lang="de">unbekannt</comment>)");
  }
  static std::string description(const char* extension, const char* locale) {
    return localizedDescription(UTType::fromFilenameExtension(extension).value(), Locale(locale));
  }

  Tests::TemporaryFolder folder;
  ProcessInfo process{{.environment = std::map<std::string, std::string>{{"XDG_DATA_DIRS", folder.path() + "/share"},
                                                                         {"HOME", folder.path() + "/home"}}}};
  ProcessInfo::Replacement replacement{process};
};

TEST_F(LocalizedDescriptionTest, IsInTheLanguageOfTheLocale) {
  describe();
  EXPECT_EQ(description("png", "de"), "PNG-Bild");
  EXPECT_EQ(description("png", "de_AT"), "PNG-Bild");
  EXPECT_EQ(description("png", "en_GB"), "PNG image");
  EXPECT_EQ(description("png", "pt_BR"), "Imagem PNG");
  EXPECT_EQ(description("png", "pt-PT"), "imagem & PNG");
  EXPECT_EQ(description("png", "zh_Hant_TW"), "PNG 影像");
  EXPECT_EQ(description("png", "zh-Hans-CN"), "PNG 图像");
  EXPECT_EQ(localizedDescription(UTType::folder(), Locale("de@calendar=gregorian")), "Ordner");
}

TEST_F(LocalizedDescriptionTest, UnknownLanguageGivesEnglish) {
  describe();
  EXPECT_EQ(description("png", "xx"), "PNG image");
  EXPECT_EQ(description("png", "fr"), "PNG image");
  EXPECT_EQ(description("png", ""), "PNG image");
  EXPECT_EQ(description("png", "_"), "PNG image");
}

TEST_F(LocalizedDescriptionTest, TypeWithoutANameHasThatOfItsSupertype) {
  describe();
  EXPECT_EQ(description("small", "de"), "PNG-Bild");
  EXPECT_EQ(description("nobodys", "de"), "unbekannt");
  EXPECT_EQ(localizedDescription(UTType::item(), Locale("de")), "unbekannt");
}

TEST_F(LocalizedDescriptionTest, IdentifierStandsForANameWithoutADatabase) {
  EXPECT_EQ(description("png", "de"), "public.png");
  EXPECT_EQ(localizedDescription(UTType::folder(), Locale("de")), "public.folder");
}

TEST_F(LocalizedDescriptionTest, FirstCallOnManyThreadsIsSafe) {
  describe();
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([] { EXPECT_EQ(description("png", "de"), "PNG-Bild"); });
  }
  for (std::thread& thread : threads) thread.join();
}

}  // namespace
}  // namespace Tessaly
