// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <thread>
#include <vector>

#include "Tessaly/Core/Foundation/ProcessInfo.hpp"
#include "Tessaly/FoundationExtensions/UTType+Extensions.hpp"
#include "Tessaly/FoundationExtensions/detail/RequiredType.hpp"

namespace Tessaly {
namespace {

TEST(UTTypeExtensions, TablesAreText) {
  EXPECT_EQ(UTType::csv().identifier(), "public.comma-separated-values-text");
  EXPECT_TRUE(UTType::csv().conformsTo(UTType::text()));
  EXPECT_TRUE(UTType::csv().conformsTo(UTType::plainText()));
  EXPECT_EQ(fileExtension(UTType::csv()), "csv");
  EXPECT_EQ(mimeType(UTType::csv()), "text/csv");
}

TEST(UTTypeExtensions, SungWordsUseTheirIdentifierAsMIMEType) {
  EXPECT_TRUE(UTType::cdg().conformsTo(UTType::data()));
  EXPECT_EQ(fileExtension(UTType::cdg()), "cdg");
  EXPECT_EQ(mimeType(UTType::cdg()), UTType::cdg().identifier());
  EXPECT_EQ(UTType::cdg().identifier(), "dyn.ah62d4rv4ge80g3dh");
}

TEST(UTTypeExtensions, OggIsSound) {
  EXPECT_TRUE(UTType::ogg().conformsTo(UTType::data()));
  EXPECT_EQ(fileExtension(UTType::ogg()), "ogg");
  EXPECT_EQ(mimeType(UTType::ogg()), "audio/ogg");
}

TEST(UTTypeExtensions, ExistWithoutADatabase) {
  const ProcessInfo process(
      {.environment = std::map<std::string, std::string>{{"XDG_DATA_DIRS", "/nowhere"}, {"HOME", "/nowhere"}}});
  const ProcessInfo::Replacement replacement(process);
  EXPECT_EQ(mimeType(UTType::csv()), "text/csv");
  EXPECT_EQ(mimeType(UTType::ogg()), "audio/ogg");
  EXPECT_EQ(mimeType(UTType::cdg()), UTType::cdg().identifier());
}

TEST(UTTypeExtensions, MissingExtensionGivesTheIdentifier) {
  EXPECT_EQ(fileExtension(UTType::data()), "public.data");
  EXPECT_EQ(mimeType(UTType::text()), "public.text");
  EXPECT_EQ(mimeType(UTType::data()), "application/octet-stream");
}

TEST(UTTypeExtensions, AreMadeOnceForAllThreads) {
  std::vector<const UTType*> seen(8);
  std::vector<std::thread> threads;
  for (auto& place : seen) threads.emplace_back([&place] { place = &UTType::csv(); });
  for (auto& thread : threads) thread.join();
  for (const UTType* type : seen) EXPECT_EQ(type, &UTType::csv());
}

TEST(UTTypeExtensionsDeathTest, AnExtensionWithoutATypeStopsTheProcess) {
  EXPECT_DEATH(static_cast<void>(detail::requiredType("a/b", UTType::data())),
               "Tessaly/UTType\\+Extensions:[0-9]+: Fatal error: There is no type of the extension \"a/b\"");
}

}  // namespace
}  // namespace Tessaly
