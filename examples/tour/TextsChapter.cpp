// SPDX-License-Identifier: MIT
#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <optional>
#include <regex>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Chapters.hpp"
#include "Tessaly/Core/Text/GraphemeClusters.hpp"
#include "Tessaly/FoundationExtensions/AlphabetHelpers.hpp"
#include "Tessaly/FoundationExtensions/Collection+Sorted.hpp"
#include "Tessaly/FoundationExtensions/NSMutableAttributedString+Tags.hpp"
#include "Tessaly/FoundationExtensions/NSOrderedSet+Moves.hpp"
#include "Tessaly/FoundationExtensions/String+Characters.hpp"
#include "Tessaly/FoundationExtensions/String+HexColor.hpp"
#include "Tessaly/FoundationExtensions/String+Search.hpp"
#include "Tessaly/ValueRecords/Version.hpp"

namespace Tour {
namespace {

using namespace Tessaly;

struct Word {
  std::string text;
  std::string normalized;
};

std::vector<std::string> linesOf(const char* path) {
  std::vector<std::string> lines;
  std::ifstream file(path);
  for (std::string line; std::getline(file, line);) lines.push_back(std::move(line));
  return lines;
}

bool isASCII(std::string_view text) {
  return std::ranges::all_of(text, [](unsigned char byte) { return byte < 0x80; });
}

/// The letters of the Latin-1 block in this list, without their marks. A table gives the result, not a transform.
std::string withoutMarks(std::string_view text) {
  static const std::map<std::string, char> letters{
      {"á", 'a'}, {"â", 'a'}, {"ä", 'a'}, {"à", 'a'}, {"å", 'a'}, {"Å", 'a'}, {"ç", 'c'}, {"é", 'e'}, {"É", 'e'},
      {"è", 'e'}, {"ê", 'e'}, {"ë", 'e'}, {"í", 'i'}, {"î", 'i'}, {"ï", 'i'}, {"ñ", 'n'}, {"ó", 'o'}, {"ô", 'o'},
      {"ö", 'o'}, {"ò", 'o'}, {"ú", 'u'}, {"û", 'u'}, {"ü", 'u'}, {"ā", 'a'}, {"ō", 'o'}};
  std::string result;
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (static_cast<unsigned char>(text[at]) < 0x80) {
      result += static_cast<char>(std::tolower(static_cast<unsigned char>(text[at])));
    } else {
      const auto letter = letters.find(std::string(text.substr(at++, 2)));
      result += letter == letters.end() ? '?' : letter->second;
    }
  }
  return result;
}

std::vector<Word> tellOfWords(Narrator& narrator) {
  const std::vector<std::string> lines = linesOf("/usr/share/dict/words");
  if (lines.empty()) {
    narrator.say("This machine has no list of words");
    return {};
  }
  std::int64_t characters = 0;
  std::size_t scalars = 0;
  std::vector<Word> words;
  bool areAsByTable = true;
  for (const std::string& line : lines) {
    characters += Text::graphemeClusterCount(line);
    scalars += static_cast<std::size_t>(std::ranges::count_if(line, [](char byte) { return (byte & 0xC0) != 0x80; }));
    words.push_back({line, String::normalizedForSearch(line)});
    areAsByTable = areAsByTable && words.back().normalized == withoutMarks(line);
  }
  const auto accented = std::ranges::count_if(lines, [](const std::string& line) { return !isASCII(line); });
  narrator.say(text("The list of words has ", grouped(lines.size()), " lines, ",
                    grouped(static_cast<std::uint64_t>(accented)), " of them with accents"));
  narrator.check(characters == static_cast<std::int64_t>(scalars),
                 text(grouped(static_cast<std::uint64_t>(characters)), " characters, as many as bytes that begin one"));
  narrator.check(areAsByTable, "Normalised for a search, each of them is as a table of letters has it");

  const auto sorted = Collection::sorted(words, &Word::normalized, std::less());
  const auto index = AlphabetHelpers::generateAlphabetItems(sorted, AlphabetHelpers::alphabet, &Word::normalized);
  bool leadsRight = index.size() == 26;
  std::string line = "The index leads to";
  for (std::size_t letter = 0; leadsRight && letter < index.size(); ++letter) {
    const std::string key(1, static_cast<char>('a' + letter));
    const auto first = std::ranges::lower_bound(sorted, key, {}, &Word::normalized);
    leadsRight = first != sorted.end() && index[letter].item.text == first->text;
    if (letter % 6 == 1) line += text(' ', index[letter].letter, ": ", index[letter].item.text);
  }
  narrator.say(line);
  narrator.check(leadsRight, "Each letter leads to where a binary search finds it");
  return sorted;
}

void tellOfScripts(Narrator& narrator) {
  const std::pair<std::string_view, std::string_view> names[] = {
      {"Αθήνα", "athena"}, {"Москва", "moskva"}, {"東京", "dong jing"}, {"とうきょう", "toukyou"},
      {"서울", "seoul"},   {"Łódź", "lodz"},     {"दिल्ली", "dilli"},    {"Reykjavík 👍🏽", "reykjavik 👍🏽"}};
  bool areAll = true;
  std::string line = "Cities:";
  for (const auto& [name, expected] : names) {
    const std::string normalized = String::normalizedForSearch(name);
    areAll = areAll && normalized == expected;
    line += text(' ', name, " = ", normalized, ';');
  }
  line.back() = '.';
  narrator.say(line);
  narrator.check(areAll && String::containsEmoji(names[7].first) && !String::containsEmoji(names[5].first),
                 "They can be searched for by a keyboard with 26 letters, and one of them has an emoji");
}

void tellOfColors(Narrator& narrator) {
  int right = 0;
  for (long number = 0; number < 0x1000; ++number) {
    char digits[8];
    std::snprintf(digits, sizeof digits, "#%03lX", number);
    const std::string doubled{digits[1], digits[1], digits[2], digits[2], digits[3], digits[3]};
    const long wide = std::strtol(doubled.c_str(), nullptr, 16);
    const auto color = String::hexColorIntegerComponents(digits);
    if (color && color->red == wide >> 16 && color->green == (wide >> 8 & 0xFF) && color->blue == (wide & 0xFF) &&
        color->alpha == 255 && color == String::hexColorIntegerComponents(doubled)) {
      ++right;
    }
  }
  narrator.check(right == 0x1000, "The 4,096 colours of three digits are those of their digits doubled");
}

void tellOfVersions(Narrator& narrator) {
  static const std::regex twoNumbers("^\\.*([+-]?[0-9]{1,18})\\.+([+-]?[0-9]{1,18})(\\..*)?$");
  std::size_t packages = 0;
  std::size_t versions = 0;
  bool areAsByExpression = true;
  std::optional<Version> highest;
  for (const std::string& line : linesOf("/var/lib/dpkg/status")) {
    constexpr std::string_view field = "Version: ";
    if (!line.starts_with(field)) continue;
    ++packages;
    // Debian's own parts are before a colon and after the last hyphen.
    std::string upstream = line.substr(std::max(line.find(':', field.size()) + 1, field.size()));
    upstream = upstream.substr(0, upstream.rfind('-'));
    const auto version = Version::from(upstream);
    std::smatch parts;
    const bool matches = std::regex_match(upstream, parts, twoNumbers);
    areAsByExpression =
        areAsByExpression && matches == version.has_value() &&
        (!matches || (std::stoll(parts[1]) == version->major && std::stoll(parts[2]) == version->minor));
    if (!version) continue;
    ++versions;
    if (!highest || highest->major < version->major) highest = version;
  }
  if (packages == 0) {
    narrator.say("This machine has no list of packages");
    return;
  }
  narrator.say(text(grouped(packages), " packages are installed, ", grouped(versions),
                    " of them with a version in numbers, the highest ", highest ? highest->description() : "none"));
  narrator.check(versions > 0 && areAsByExpression, "A regular expression reads the same from each of them");
}

void tellOfOrder(Narrator& narrator, const std::vector<Word>& words) {
  if (words.size() < 2'000) return;
  std::vector<std::string> rows;
  for (std::size_t i = 0; i < 2'000; ++i) rows.push_back(words[words.size() / 2'000 * i].text);
  const NSOrderedSet<std::string> list(rows);
  std::set<std::int64_t> group;
  for (std::int64_t i = 100; i < 200; ++i) group.insert(i);
  const auto moved = movingItems(list, group, 1'500, false);
  std::vector<std::string> rotated(list.begin(), list.end());
  std::rotate(rotated.begin() + 100, rotated.begin() + 200, rotated.begin() + 1'500);
  narrator.check(
      std::ranges::equal(moved, rotated) && moved.index(list[150]) == 1'450 && list[150] == rows[150],
      text("100 rows moved down a list, \"", list[100], "\" to \"", list[199], "\", are where a rotation has them"));
  try {
    static_cast<void>(movingItems(list, group, list.count() + 1, false));
    narrator.check(false, "A move beyond the end is refused");
  } catch (const NSOrderedSet<>::MoveError& error) {
    narrator.check(error.errorDescription ==
                       text("The destination index ", list.count() + 1, " is out of bounds (", list.count() + 1, ")"),
                   text("A move beyond the end is refused: ", error.errorDescription));
  }
}

void tellOfTags(Narrator& narrator) {
  NSMutableAttributedString title("A <b>Hard</b> Day's Night");
  replace(title, "b", {{"weight", 700}});
  narrator.check(title.string() == "A Hard Day's Night" && title.effectiveRange(2) == NSRange{2, 4} &&
                     title.attributes(2).contains("weight"),
                 "Tags in a text become attributes of what stood between them");
}

}  // namespace

void tellOfTexts(Narrator& narrator) {
  const std::vector<Word> words = tellOfWords(narrator);
  tellOfScripts(narrator);
  tellOfColors(narrator);
  tellOfVersions(narrator);
  tellOfOrder(narrator, words);
  tellOfTags(narrator);
}

}  // namespace Tour
