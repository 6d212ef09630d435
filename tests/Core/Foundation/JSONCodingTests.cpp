// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "Tessaly/Core/Foundation/JSONCoding.hpp"

namespace Tessaly {
namespace {

Data data(std::string_view text) { return Data(text); }

std::string failureOf(const std::function<void()>& body) {
  try {
    body();
  } catch (const DecodingError& error) {
    return error.debugDescription;
  }
  return "none";
}

KeyedDecodingContainer members(std::string_view text) { return JSONDecoder::decoder(data(text)).container(); }

struct Everything {
  void encode(Encoder& encoder) const {
    encoder.encode(URL::fileURLWithPath("/tmp/a b.txt"), "url");
    encoder.encode(Data(Data::Bytes{0, 1, 2, 0xFF}), "data");
    encoder.encode("\"\\\b\f\n\r\t\x01\x1F\x7F é\u2028", "te/xt");
  }
};

TEST(JSONEncoder, WritesWithoutBlanksAndEscapesSlashes) {
  EXPECT_EQ(JSONEncoder::encode(Everything()).text(),
            R"({"url":"file:\/\/\/tmp\/a%20b.txt","data":"AAEC\/w==","te\/xt":"\"\\\b\f\n\r\t\u0001\u001f)"
            "\x7F é\u2028\"}");
}

TEST(JSONEncoder, ReplacesIllFormedTexts) {
  struct Broken {
    void encode(Encoder& encoder) const { encoder.encode("a\xFFz", "k"); }
  };
  EXPECT_EQ(JSONEncoder::encode(Broken()).text(), "{\"k\":\"a\uFFFDz\"}");
}

TEST(JSONDecoder, DecodesTextDataURLsAndMaps) {
  const auto object = members(R"({"a":"\u00e9\/","d":"AAEC\/w==","u":"file:///x","m":{"en":"Hello","de":"Hallo"}})");
  EXPECT_EQ(object.decodeString("a"), "é/");
  EXPECT_EQ(object.decodeData("d"), Data(Data::Bytes{0, 1, 2, 0xFF}));
  EXPECT_EQ(object.decodeURL("u").path(), "/x");
  EXPECT_EQ(object.decodeStringMap("m"), (std::map<std::string, std::string>{{"en", "Hello"}, {"de", "Hallo"}}));
  EXPECT_TRUE(object.contains("a"));
  EXPECT_FALSE(object.contains("b"));
}

TEST(JSONDecoder, ErrorsExplainTheMistake) {
  EXPECT_EQ(failureOf([] { static_cast<void>(members("{}").decodeData("data")); }),
            "No value associated with key CodingKeys(stringValue: \"data\", intValue: nil) (\"data\").");
  EXPECT_EQ(failureOf([] { static_cast<void>(members("{\"data\":\"!\"}").decodeData("data")); }),
            "Encountered Data is not valid Base64.");
  EXPECT_EQ(failureOf([] { static_cast<void>(members("{\"data\":5}").decodeString("data")); }),
            "Expected to decode String but found number instead.");
  EXPECT_EQ(failureOf([] { static_cast<void>(members("{\"m\":{\"a\":[]}}").decodeStringMap("m")); }),
            "Expected to decode String but found an array instead.");
  EXPECT_EQ(failureOf([] { static_cast<void>(members("[]")); }),
            "Expected to decode Dictionary<String, Any> but found an array instead.");
  for (const char* text : {"", "{", "{\"a\":}", "nul", "{\"a\":\"\xFF\"}", "{} x"}) {
    EXPECT_EQ(failureOf([&] { static_cast<void>(members(text)); }), "The given data was not valid JSON.") << text;
  }
}

TEST(JSONDecoder, AcceptsNumbersOutsideTheRangeOfDouble) {
  const std::string huge(400, '9');
  for (const std::string& number :
       std::vector<std::string>{"1e999", "-1E+999", huge, "-" + huge + ".5e7", "[1e999,{\"b\":1e999}]"}) {
    EXPECT_EQ(members("{\"a\":\"1e999\\\"\",\"b\":" + number + "}").decodeString("a"), "1e999\"") << number;
  }
  for (const char* number : {"1e999.5", "1e999e9", "01e999", "1e", "1e999 1", "-", "1.e999", ".1e999", "+1e999"}) {
    EXPECT_THROW(static_cast<void>(members("{\"b\":" + std::string(number) + "}")), DecodingError) << number;
  }
}

TEST(JSONDecoder, DistinguishesMissingFromMalformed) {
  using Kind = DecodingError::Kind;
  EXPECT_EQ(DecodingError(Kind::keyNotFound, "x").localizedDescription(),
            "The data couldn’t be read because it is missing.");
  EXPECT_EQ(DecodingError(Kind::valueNotFound, "x").localizedDescription(),
            "The data couldn’t be read because it is missing.");
  EXPECT_EQ(DecodingError(Kind::dataCorrupted, "x").localizedDescription(),
            "The data couldn’t be read because it isn’t in the correct format.");
  EXPECT_EQ(DecodingError(Kind::typeMismatch, "x").description(), "typeMismatch(\"x\")");
}

TEST(JSONDecoder, ParsesTenThousandLevels) {
  const std::string deep = "{\"a\":\"b\",\"c\":" + std::string(10'000, '[') + std::string(10'000, ']') + "}";
  EXPECT_EQ(members(deep).decodeString("a"), "b");
  EXPECT_EQ(failureOf([] { static_cast<void>(members(std::string(1'000'000, '['))); }),
            "The given data was not valid JSON.");
}

}  // namespace
}  // namespace Tessaly
