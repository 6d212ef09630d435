// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <fstream>
#include <limits>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Tessaly/Core/Foundation/PropertyListSerialization.hpp"
#include "tests/Support/ContentsOf.hpp"
#include "tests/Support/OutputOf.hpp"
#include "tests/Support/TemporaryFolder.hpp"

namespace Tessaly::inline v1 {
namespace {

using namespace std::string_literals;
using namespace std::string_view_literals;
using ::testing::HasSubstr;
using Array = PropertyList::Array;
using Dictionary = PropertyList::Dictionary;
using Tests::outputOf;
using Tests::TemporaryFolder;

constexpr auto binary = PropertyListFormat::binary;
constexpr auto xml = PropertyListFormat::xml;

PropertyListSerialization::Result read(std::string_view bytes) {
  return PropertyListSerialization::read(Data(bytes).bytes());
}

PropertyList roundTrip(const PropertyList& value, PropertyListFormat format) {
  const Data data = PropertyListSerialization::data(value, format);
  const auto result = PropertyListSerialization::read(data.bytes());
  EXPECT_EQ(result.format, format);
  return result.value;
}

std::string failureOf(std::string_view bytes) {
  try {
    static_cast<void>(read(bytes));
  } catch (const PropertyListError& error) {
    return error.description();
  }
  return "";
}

Array nested(std::uint32_t depth) {
  PropertyList value = Array{};
  for (std::uint32_t i = 1; i < depth; ++i) {
    Array outer;
    outer.push_back(std::move(value));
    value = std::move(outer);
  }
  return *value.array();
}

/// Every kind with its extreme values, as far as both formats can represent them.
Dictionary extremes() {
  return {
      {"", "the empty key"},
      {"a.b", "dots"},
      {std::string(10'000, 'k'), "long"},
      {"ü€😀", "é\u0301 \U0010FFFF <&>\"' ]]> \r\n\r\t"},
      {"true", true},
      {"false", false},
      {"integers", Array{0, 1, -1, 127, 128, 255, 256, 32767, 65535, 65536, -128, -129, 2147483647, 4294967295,
                         4294967296, std::numeric_limits<std::int64_t>::max(), std::numeric_limits<std::int64_t>::min(),
                         std::uint64_t{1} << 63, std::numeric_limits<std::uint64_t>::max()}},
      {"reals", Array{0.0, -0.0, 0.1, 5.0, 1e-300, std::numeric_limits<double>::max(),
                      std::numeric_limits<double>::min(), std::numeric_limits<double>::denorm_min(), -1.5e16,
                      std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity()}},
      {"dates", Array{Date::since1970(0), Date::since1970(-1), Date::sinceReferenceDate(-63'113'904'000.0),
                      Date::sinceReferenceDate(252'423'993'599.0)}},
      {"data", Array{Data(), Data("\0\xFF\x80"sv), Data(std::string(1000, '\xA5'))}},
      {"many", Array(300, PropertyList("the same"))},
      {"empty", Array{Array{}, Dictionary{}, "", Dictionary{{"", Array{}}}}},
  };
}

TEST(PropertyListSerialization, KeepsEveryKindAndExtremeValueInBothFormats) {
  const PropertyList value(extremes());
  EXPECT_TRUE(roundTrip(value, binary).isIdentical(value));
  EXPECT_TRUE(roundTrip(value, xml).isIdentical(value));
  EXPECT_TRUE(PropertyListSerialization::isExact(value, xml));
}

TEST(PropertyListSerialization, KeepsASingleValueWithoutAContainer) {
  for (const PropertyList& value : {PropertyList(5), PropertyList("text"), PropertyList(""), PropertyList(true),
                                    PropertyList(Data("x")), PropertyList(Array{})}) {
    EXPECT_TRUE(roundTrip(value, binary).isIdentical(value));
    EXPECT_TRUE(roundTrip(value, xml).isIdentical(value));
  }
}

TEST(PropertyListSerialization, BinaryFormatKeepsValuesThatXMLCannotRepresent) {
  const auto nan = std::bit_cast<double>(std::uint64_t{0x7FF8'0000'0000'1234});
  const PropertyList value(Dictionary{{"n\0l"s, "\1\x1F"s},
                                      {"float", 0.1f},
                                      {"nan", nan},
                                      {"date", Date::sinceReferenceDate(0.123456)},
                                      {"far", Array{Date::sinceReferenceDate(1e300), Date::distantPast()}},
                                      {"noncharacter", "\uFFFE\uFFFF"}});
  EXPECT_TRUE(roundTrip(value, binary).isIdentical(value));
}

TEST(PropertyListSerialization, ErrorsNameValuesThatXMLCannotRepresent) {
  for (const PropertyList& value :
       {PropertyList("\1"), PropertyList("\0"s), PropertyList("\uFFFE"), PropertyList(Dictionary{{"\x1F", 1}}),
        PropertyList(Date::sinceReferenceDate(1e300)), PropertyList(Date::sinceReferenceDate(252'423'993'600.0)),
        PropertyList(Date::sinceReferenceDate(-63'113'904'000.5)),
        PropertyList(Date::sinceReferenceDate(std::numeric_limits<double>::quiet_NaN()))}) {
    EXPECT_FALSE(PropertyListSerialization::isExact(value, xml)) << value;
    EXPECT_TRUE(PropertyListSerialization::isExact(value, binary)) << value;
    EXPECT_THROW(static_cast<void>(PropertyListSerialization::data(value, xml)), PropertyListError) << value;
  }
  EXPECT_FALSE(PropertyListSerialization::isExact(Date::sinceReferenceDate(0.5), xml));
  EXPECT_EQ(roundTrip(Date::sinceReferenceDate(-0.5), xml), Date::sinceReferenceDate(-1));
}

TEST(PropertyListSerialization, XMLWritesSinglePrecisionWithDoublePrecisionDigits) {
  EXPECT_EQ(roundTrip(0.1f, xml), 0.1f);
  EXPECT_EQ(roundTrip(0.1f, xml).number()->exactly<float>(), 0.1f);
}

TEST(PropertyListSerialization, WritesSharedValuesOnce) {
  PropertyList value = "a text of some length";
  for (int i = 0; i < 40; ++i) value = Array{value, value};
  const Data data = PropertyListSerialization::data(value, binary);
  EXPECT_LT(data.count(), 400);
  EXPECT_EQ(failureOf(data.text()).find("The property list repeats itself without measure"), 0u);
}

TEST(PropertyListSerialization, RefusesTooDeepNesting) {
  EXPECT_TRUE(roundTrip(nested(PropertyList::maximumDepth), binary).isIdentical(nested(PropertyList::maximumDepth)));
  EXPECT_TRUE(roundTrip(nested(PropertyList::maximumDepth), xml).isIdentical(nested(PropertyList::maximumDepth)));
  const PropertyList deep(nested(PropertyList::maximumDepth + 1));
  EXPECT_THROW(static_cast<void>(PropertyListSerialization::data(deep, binary)), PropertyListError);
  EXPECT_THROW(static_cast<void>(PropertyListSerialization::data(deep, xml)), PropertyListError);
  EXPECT_FALSE(PropertyListSerialization::isExact(deep, binary));

  std::string text = "<plist>";
  for (int i = 0; i < 10'000; ++i) text += "<array>";
  EXPECT_EQ(failureOf(text), "The property list is nested too deep at byte 3591");

  // Ten thousand nested arrays of one element each.
  std::string bytes = "bplist00";
  std::string table;
  const auto put = [](std::string& out, std::uint64_t value, int size) {
    for (int i = size - 1; i >= 0; --i) out += static_cast<char>(value >> (8 * i));
  };
  constexpr std::uint64_t count = 10'000;
  for (std::uint64_t i = 0; i < count; ++i) {
    put(table, bytes.size(), 4);
    bytes += '\xA1';
    put(bytes, i + 1, 2);
  }
  put(table, bytes.size(), 4);
  bytes += '\x09';
  const std::size_t offset = bytes.size();
  bytes += table + std::string(6, '\0') + "\4\2";
  put(bytes, count + 1, 8);
  put(bytes, 0, 8);
  put(bytes, offset, 8);
  EXPECT_EQ(failureOf(bytes).find("The property list is nested too deep"), 0u);
}

/// A binary file of these objects in order. The first one is the root.
std::string binaryFile(const std::vector<std::string>& objects) {
  std::string bytes = "bplist00";
  std::string table;
  for (const std::string& object : objects) {
    table += static_cast<char>(bytes.size());
    bytes += object;
  }
  const auto offset = static_cast<char>(bytes.size());
  return bytes + table + std::string(6, '\0') + "\1\1" + std::string(7, '\0') + static_cast<char>(objects.size()) +
         std::string(15, '\0') + offset;
}

TEST(PropertyListSerialization, RefusesInconsistentBinaryFiles) {
  EXPECT_EQ(read(binaryFile({"\x10\x05"})).value, 5);
  const auto expect = [](std::string_view bytes, std::string_view beginning) {
    EXPECT_EQ(failureOf(bytes).substr(0, 18 + beginning.size()), "The property list " + std::string(beginning));
  };
  expect("bplist00", "ends too early");
  expect(binaryFile({"\xA1\0"s}), "contains itself");
  expect(binaryFile({"\xA1\1"s, "\xD1\2\0"s, "\x51k"s}), "contains itself");
  expect(binaryFile({"\xA1\7"s}), "refers to an object that is not there");
  expect(binaryFile({"\x5F\x13\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF"s}), "has an object that ends outside the file");
  expect(binaryFile({"\x6F\x13\x80\0\0\0\0\0\0\1"s}), "has an object that ends outside the file");
  expect(binaryFile({"\xAF\x13\x7F\xFF\xFF\xFF\xFF\xFF\xFF\xFF"s}), "has an object that ends outside the file");
  expect(binaryFile({"\xDF\x13\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF"s}), "has an object that ends outside the file");
  expect(binaryFile({"\x5F\x22zz"s}), "has a length that is no number");
  expect(binaryFile({"\x53zz"s}), "has an object that ends outside the file");
  expect(binaryFile({"\x13zz"s}), "has an object that ends outside the file");
  expect(binaryFile({"\x14" + std::string(8, '\1') + std::string(8, '\0')}), "has an integer that is too large");
  expect(binaryFile({"\x15" + std::string(32, '\0')}), "has an integer that is too large");
  expect(binaryFile({"\x51\xFF"s}), "has a text that is not of ASCII");
  expect(binaryFile({"\xD1\1\1"s, "\x10\1"s}), "has a key that is no text");
  expect(binaryFile({"\0"s}), "has an object of an unknown kind");
  expect(binaryFile({"\x80\1"s}), "has an object of an unknown kind");
  expect(binaryFile({"\x21\0"s}), "has a real of an unknown size");
  std::string file = binaryFile({"\x10\x05"});
  const std::size_t trailer = file.size() - 32;
  const auto with = [&](std::size_t offset, char byte) {
    std::string changed = file;
    changed[trailer + offset] = byte;
    return changed;
  };
  expect(with(6, '\0'), "has impossible sizes");
  expect(with(7, '\x9'), "has impossible sizes");
  expect(with(8, '\xFF'), "has fewer objects than it says");
  expect(with(15, '\0'), "has fewer objects than it says");
  expect(with(16, '\xFF'), "has no root");
  expect(with(24, '\xFF'), "has its table outside the file");
  expect(with(31, '\7'), "has its table outside the file");
  std::string outside = file;
  outside[trailer - 1] = '\x7F';
  expect(outside, "has an object outside the file");
}

TEST(PropertyListSerialization, ParsesSixteenByteIntegersAndLoneSurrogates) {
  EXPECT_EQ(read(binaryFile({"\x14" + std::string(16, '\xFF')})).value, -1);
  EXPECT_EQ(read(binaryFile({"\x63\xD8\x3D\xDE\0\xD8\0"s})).value, "\U0001F600\uFFFD");
}

TEST(PropertyListSerialization, ParsesEveryFormThatXMLAllows) {
  constexpr std::string_view text =
      "\xEF\xBB\xBF<?xml version='1.0' encoding='utf-8' standalone=\"yes\"?>\r\n"
      "<!-- a comment --><!DOCTYPE plist SYSTEM \"file.dtd\">\n<plist version=\"1.0\" >"
      "<dict a='>'><key>a&amp;b</key> <string>x\r\ny\rz<![CDATA[<&\r\n>]]><!-- c "
      "-->&#x20AC;&#10;&lt;&gt;&quot;&apos;</string>"
      "<!-- between --><key/><integer> +0x1F </integer><key>d</key><data>\n AAEC\t/w==\n</data>"
      "<key>e</key><array ><real>1e3</real><real>+5</real><real>nan</real><real>1e999</real><real>-1e-999</real>"
      "<date>2001-01-01T00:00:01Z</date><date>2001-02Z</date><true/><false></false><string/><array/><dict/><data/>"
      "</array></dict></plist>\n<!-- end -->\n";
  const PropertyList list = read(text).value;
  EXPECT_EQ(*list.find("a&b")->text(), "x\ny\nz<&\n>€\n<>\"'");
  EXPECT_EQ(*list.find(""), 31);
  EXPECT_EQ(*list.find("d"), Data("\0\1\2\xFF"sv));
  const Array& array = *list.find("e")->array();
  ASSERT_EQ(array.size(), 13u);
  EXPECT_EQ(array[0], 1000.0);
  EXPECT_EQ(array[1], 5.0);
  EXPECT_TRUE(std::isnan(array[2].number()->doubleValue()));
  EXPECT_EQ(array[3], std::numeric_limits<double>::infinity());
  EXPECT_TRUE(array[4].isIdentical(-0.0));
  EXPECT_EQ(array[5], Date::sinceReferenceDate(1));
  EXPECT_EQ(array[6], Date::sinceReferenceDate(31 * 86400));
  EXPECT_EQ(array[9], "");
  EXPECT_EQ(array[12], Data());
}

TEST(PropertyListSerialization, RealOutOfRangeBecomesTheNearest) {
  const auto real = [](const std::string& digits) {
    return read("<real>" + digits + "</real>").value.number().value().doubleValue();
  };
  constexpr double infinity = std::numeric_limits<double>::infinity();
  EXPECT_EQ(real("0.1e400"), infinity);
  EXPECT_EQ(real("-0.1E+400"), -infinity);
  EXPECT_EQ(real("1" + std::string(400, '0') + "e-10"), infinity);
  EXPECT_EQ(real("1" + std::string(400, '0') + ".5"), infinity);
  EXPECT_EQ(real("1" + std::string(400, '0') + "e-900"), 0.0);
  EXPECT_EQ(real("0." + std::string(400, '0') + "1"), 0.0);
  EXPECT_EQ(real("0." + std::string(400, '0') + "1e800"), infinity);
  EXPECT_TRUE(std::signbit(real("-1e-99999999999999999999")));
  EXPECT_EQ(real("1e99999999999999999999"), infinity);
  EXPECT_EQ(real("0e99999999999999999999"), 0.0);
}

TEST(PropertyListSerialization, LastEntryOfAKeyCounts) {
  EXPECT_EQ(*read("<dict><key>a</key><true/><key>a</key><false/></dict>").value.find("a"), false);
  EXPECT_EQ(*read(binaryFile({"\xD2\1\1\2\3"s,
                              "\x51"
                              "a",
                              "\x10\1"s, "\x10\2"s}))
                 .value.find("a"),
            2);
}

TEST(PropertyListSerialization, RefusesXMLThatIsNotAPropertyList) {
  for (const std::string_view text : {""sv,
                                      "hello"sv,
                                      "<"sv,
                                      "<plist>"sv,
                                      "<plist/>"sv,
                                      "<plist></plist>"sv,
                                      "<plist><dict></plist>"sv,
                                      "<true/><true/>"sv,
                                      "<plist><true/><true/></plist>"sv,
                                      "<true>x</true>"sv,
                                      "<set/>"sv,
                                      "<dict><true/></dict>"sv,
                                      "<dict><key>a</key></dict>"sv,
                                      "<dict>text</dict>"sv,
                                      "<string>x</strin>"sv,
                                      "<string>&nbsp;</string>"sv,
                                      "<string>&#0;</string>"sv,
                                      "<string>&#xD800;</string>"sv,
                                      "<string>&#99999999999;</string>"sv,
                                      "<string>&lt</string>"sv,
                                      "<string>\xFF</string>"sv,
                                      "<!DOCTYPE a [<!ENTITY b \"c\">]><string>&b;</string>"sv,
                                      "<?xml encoding='utf-16'?><true/>"sv,
                                      "<integer></integer>"sv,
                                      "<integer>1.5</integer>"sv,
                                      "<integer>18446744073709551616</integer>"sv,
                                      "<integer>-9223372036854775809</integer>"sv,
                                      "<real>x</real>"sv,
                                      "<real></real>"sv,
                                      "<date>2001-13-01T00:00:00Z</date>"sv,
                                      "<date>2001-02-30T00:00:00Z</date>"sv,
                                      "<date>2001-01-01T24:00:00Z</date>"sv,
                                      "<date>2001-01-01T00:00:00</date>"sv,
                                      "<data>A</data>"sv,
                                      "<data>A$==</data>"sv,
                                      "<string a>x</string>"sv,
                                      "<string a=x>x</string>"sv,
                                      "<string a='x>x</string>"sv}) {
    EXPECT_EQ(failureOf(text).find("The property list "), 0u) << text;
  }
}

TEST(PropertyListSerialization, RefusesEntitiesThatWouldExpand) {
  std::string laughs = "<!DOCTYPE plist [<!ENTITY l0 \"ha\">";
  for (int i = 1; i < 40; ++i) {
    const std::string inner = "&l" + std::to_string(i - 1) + ";";
    laughs += "<!ENTITY l" + std::to_string(i) + " \"" + inner + inner + "\">";
  }
  laughs += "]><string>&l39;</string>";
  EXPECT_THAT(failureOf(laughs), HasSubstr("declares entities"));
  EXPECT_THAT(failureOf("<!DOCTYPE plist [<!ENTITY f SYSTEM \"/etc/passwd\">]><string>&f;</string>"),
              HasSubstr("declares entities"));
  EXPECT_THAT(failureOf("<!DOCTYPE plist SYSTEM \"file:///etc/passwd\"><string>&f;</string>"),
              HasSubstr("entity that is not declared"));
}

TEST(PropertyListSerialization, RefusesDeepXMLAndElementsInsideText) {
  const auto arrays = [](std::size_t depth) {
    std::string text;
    for (std::size_t i = 0; i < depth; ++i) text += "<array>";
    for (std::size_t i = 0; i < depth; ++i) text += "</array>";
    return text;
  };
  EXPECT_EQ(failureOf(arrays(PropertyList::maximumDepth)), "");
  EXPECT_THAT(failureOf(arrays(1'000'000)), HasSubstr("is nested too deep"));
  std::string strings;
  for (int i = 0; i < 1'000'000; ++i) strings += "<string>";
  EXPECT_THAT(failureOf(strings), HasSubstr("has an element in an element \"string\""));
}

TEST(PropertyListSerialization, RefusesOtherEncodingsOfXML) {
  EXPECT_THAT(failureOf("<?xml version='1.0' encoding='ISO-8859-1'?><true/>"), HasSubstr("encoding that is not UTF-8"));
  EXPECT_THAT(failureOf("\xFF\xFE<\0t\0r\0u\0e\0/\0>\0"sv), HasSubstr("is not in UTF-8"));
  EXPECT_EQ(failureOf("<?xml version='1.0' encoding='US-ASCII'?><true/>"), "");
}

TEST(PropertyListSerialization, RefusesXMLWithMissingKeysAndValues) {
  EXPECT_THAT(failureOf("<dict><key>a</key><key>b</key></dict>"), HasSubstr("has a key without a value"));
  EXPECT_THAT(failureOf("<dict><key>a</key></dict>"), HasSubstr("has a key without a value"));
  EXPECT_THAT(failureOf("<dict><true/></dict>"), HasSubstr("has a value without a key"));
  EXPECT_THAT(failureOf("<plist><true/><true/></plist>"), HasSubstr("has more than one value"));
  EXPECT_THAT(failureOf("<plist> </plist>"), HasSubstr("holds no value"));
  EXPECT_THAT(failureOf("<array>x</array>"), HasSubstr("has text where a value should be"));
}

TEST(PropertyListSerialization, EveryTruncationAndChangedByteIsParsedOrRefused) {
  const PropertyList value(Dictionary{{"a", Array{1, "ü", 2.5, Data("xyz"), Date::since1970(1)}}, {"b", true}});
  std::mt19937 random(7);
  int refused = 0;
  for (const PropertyListFormat format : {binary, xml}) {
    const std::string bytes(PropertyListSerialization::data(value, format).text());
    for (std::size_t size = 0; size < bytes.size(); ++size) {
      std::string changed = bytes;
      changed[size] = static_cast<char>(random());
      refused += failureOf(bytes.substr(0, size)).empty() ? 0 : 1;
      refused += failureOf(changed).empty() ? 0 : 1;
    }
  }
  EXPECT_GT(refused, 400);
}

constexpr std::string_view python = R"(
import datetime, math, plistlib, sys
utc = datetime.datetime
expected = {
  "": "the empty key", "a.b": "dots", "k" * 10000: "long",
  "\u00fc\u20ac\U0001F600": "e\u0301 \U0010FFFF <&>\"' ]]> \r\n\r\t".replace("e\u0301", "\u00e9\u0301"),
  "true": True, "false": False,
  "integers": [0, 1, -1, 127, 128, 255, 256, 32767, 65535, 65536, -128, -129, 2147483647, 4294967295, 4294967296,
               2**63 - 1, -2**63, 2**63, 2**64 - 1],
  "reals": [0.0, -0.0, 0.1, 5.0, 1e-300, sys.float_info.max, sys.float_info.min, 5e-324, -1.5e16, math.inf, -math.inf],
  "dates": [utc(1970, 1, 1), utc(1969, 12, 31, 23, 59, 59), utc(1, 1, 1), utc(9999, 12, 31, 23, 59, 59)],
  "data": [b"", b"\x00\xff\x80", b"\xa5" * 1000],
  "many": ["the same"] * 300, "empty": [[], {}, "", {"": []}],
}
def same(a, b):
    if type(a) != type(b): return False
    if isinstance(a, dict): return a.keys() == b.keys() and all(same(a[k], b[k]) for k in a)
    if isinstance(a, list): return len(a) == len(b) and all(same(x, y) for x, y in zip(a, b))
    if isinstance(a, float): return a == b and math.copysign(1, a) == math.copysign(1, b)
    return a == b
command, path = sys.argv[1:]
if command == "check":
    with open(path, "rb") as file: found = plistlib.load(file)
    wrong = [k for k in expected if k not in found or not same(expected[k], found[k])]
    print("same" if same(expected, found) else f"different: {wrong}")
else:
    if command == "xml": expected["\u00fc\u20ac\U0001F600"] = "lines\nonly"
    with open(path, "wb") as file:
        plistlib.dump(expected, file, fmt=plistlib.FMT_XML if command == "xml" else plistlib.FMT_BINARY)
    print("written")
)";

class PropertyListSerializationWithPython : public ::testing::Test {
 protected:
  void SetUp() override { std::ofstream(folder_.path() + "/script.py") << python; }
  std::string run(const std::string& command) {
    return outputOf("python3 '" + folder_.path() + "/script.py' " + command + " '" + path() + "' 2>&1");
  }
  [[nodiscard]] std::string path() const { return folder_.path() + "/file.plist"; }
  [[nodiscard]] std::string contents() const { return Tests::contentsOf(path()); }

 private:
  TemporaryFolder folder_;
};

TEST_F(PropertyListSerializationWithPython, ReadsOurListsWithEqualValues) {
  for (const PropertyListFormat format : {binary, xml}) {
    std::ofstream(path(), std::ios::binary) << PropertyListSerialization::data(extremes(), format).text();
    EXPECT_EQ(run("check"), "same\n");
  }
}

TEST_F(PropertyListSerializationWithPython, WritesListsThatWeReadEqually) {
  EXPECT_EQ(run("binary"), "written\n");
  const auto fromBinary = read(contents());
  EXPECT_EQ(fromBinary.format, binary);
  Dictionary withoutSign = extremes();
  Array reals = *withoutSign.at("reals").array();
  reals[1] = 0.0;  // Python's writer confuses -0.0 with an earlier 0.0.
  withoutSign.insert_or_assign("reals", reals);
  EXPECT_TRUE(fromBinary.value.isIdentical(withoutSign));
  EXPECT_EQ(run("xml"), "written\n");
  const auto fromXML = read(contents());
  EXPECT_EQ(fromXML.format, xml);
  Dictionary expected = extremes();
  expected.insert_or_assign("ü€😀", "lines\nonly");  // That writer turns carriage returns into line feeds.
  EXPECT_TRUE(fromXML.value.isIdentical(expected));
}

}  // namespace
}  // namespace Tessaly::inline v1
