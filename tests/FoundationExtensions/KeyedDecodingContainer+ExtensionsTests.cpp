// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Tessaly/Core/Foundation/Bundle.hpp"
#include "Tessaly/FoundationExtensions/KeyedDecodingContainer+Extensions.hpp"

namespace Tessaly {
namespace {

std::string decoded(std::string_view json, std::optional<std::string_view> fallbackKey = "plain") {
  return decodeLocalizedValue(JSONDecoder::decoder(Data(json)).container(), "localized", fallbackKey);
}

void prefer(std::vector<std::string> languages) { Bundle::setMain({.preferredLocalizations = std::move(languages)}); }

TEST(DecodeLocalizedValue, GivesTheTextOfThePreferredLanguage) {
  prefer({"de", "fr"});
  EXPECT_EQ(decoded(R"({"localized":{"en":"Hello","de":"Hallo"}})"), "Hallo");
}

TEST(DecodeLocalizedValue, GivesEnglishOrNothingWithoutThePreferredLanguage) {
  prefer({"fr", "de"});
  EXPECT_EQ(decoded(R"({"localized":{"en":"Hello","de":"Hallo"}})"), "Hello");
  EXPECT_EQ(decoded(R"({"localized":{"de":"Hallo"},"plain":"Hi"})"), "");
  EXPECT_EQ(decoded(R"({"localized":{}})"), "");
}

TEST(DecodeLocalizedValue, FallsBackToThePlainTextWithoutAValidMap) {
  prefer({"de"});
  EXPECT_EQ(decoded(R"({"plain":"Hi"})"), "Hi");
  EXPECT_EQ(decoded(R"({"localized":"text","plain":"Hi"})"), "Hi");
  EXPECT_EQ(decoded(R"({"localized":{"de":5},"plain":"Hi"})"), "Hi");
  EXPECT_EQ(decoded("{}", std::nullopt), "");
  EXPECT_THROW(decoded("{}"), DecodingError);
  EXPECT_THROW(decoded(R"({"plain":5})"), DecodingError);
}

TEST(DecodeLocalizedValueDeathTest, ABundleThatPrefersNoLanguageStopsTheProcess) {
  prefer({});
  EXPECT_DEATH(static_cast<void>(decoded("{}", std::nullopt)), "Tessaly/KeyedDecodingContainer\\+Extensions:[0-9]+: ");
}

}  // namespace
}  // namespace Tessaly
