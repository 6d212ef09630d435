// SPDX-License-Identifier: MIT
//
// The operation of the first two facilities is one byte: 1,000 divided by its nanoseconds is the rate in MB/s.
#include <algorithm>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Harness.hpp"
#include "Tessaly/Core/Text/GraphemeClusters.hpp"
#include "Tessaly/FoundationExtensions/NSOrderedSet+Moves.hpp"
#include "Tessaly/FoundationExtensions/String+Characters.hpp"
#include "Tessaly/FoundationExtensions/String+HexColor.hpp"
#include "Tessaly/FoundationExtensions/String+Search.hpp"
#include "Tessaly/ValueRecords/Version.hpp"
#include "peers/QtPeers.hpp"
#include "peers/TextPeers.hpp"

namespace Tessaly::Benchmarks {
namespace {

struct Sample {
  std::string_view name;
  std::string_view text;
};

constexpr Sample samples[] = {
    {"ASCII", "The quick brown fox jumps over the lazy dog, and goes on to the next line of 42 others. "},
    {"Latin", "Zwölf Boxkämpfer jagen Viktor über den Sylter Deich; où êtes-vous, señor Łukasiewicz? "},
    {"CJK", "日本語の文章と中文的文字、ひらがなとカタカナも少しある。한국어 문장도 하나. "},
    {"emoji", "😀👍🏽🇫🇷👨‍👩‍👧‍👦❤️"},
};
// A prepended sign precedes each emoji and joins it, so no character counts as an emoji. A search therefore reads all
// of the text.
constexpr Sample emojiBehindSigns{"emoji behind signs",
                                  "\u0600😀\u0600👍🏽\u0600👨‍👩‍👧‍👦\u0600❤️"};

std::string repeated(std::string_view text, std::size_t size) {
  std::string result;
  while (result.size() < size) result += text;
  return result;
}

/// The result that both sides of a row must share.
template <typename Left, typename Right>
void require(const Left& left, const Right& right) {
  if (left != right) throw std::logic_error("The sides of a benchmark disagree");
}

const Facility characters("Characters", [](Facility& facility) {
  for (const Sample& sample : samples) {
    const auto text = std::make_shared<std::string>(repeated(sample.text, 64 * 1024));
    const auto byICU = TextPeers::charactersByICU(*text);
    require(Text::graphemeClusterCount(*text), byICU());
    facility.row("count, " + std::string(sample.name), static_cast<std::int64_t>(text->size()))
        .ours([text] { return Text::graphemeClusterCount(*text); })
        .peer("ICU", byICU)
        .peer("utf8proc", TextPeers::charactersByUtf8proc(*text))
        .notSlowerThan("ICU");
  }
});

const Facility emoji("Emoji", [](Facility& facility) {
  for (const Sample& sample : {samples[0], samples[1], samples[2], emojiBehindSigns}) {
    const auto text = std::make_shared<std::string>(repeated(sample.text, 64 * 1024));
    const auto byICU = TextPeers::emojiByICU(*text);
    require(std::int64_t{String::containsEmoji(*text)}, byICU());
    require(byICU(), 0);
    facility.row("containsEmoji, " + std::string(sample.name), static_cast<std::int64_t>(text->size()))
        .ours([text] { return String::containsEmoji(*text); })
        .peer("ICU", byICU)
        .peer("utf8proc", TextPeers::emojiByUtf8proc(*text))
        .notSlowerThan("utf8proc");
  }
});

/// Normalises several texts in turn, so that the result of one text is of no use for the next.
template <typename Normalize>
auto normalizeAll(std::vector<std::string> texts, Normalize normalize) {
  return [texts = std::move(texts), normalize] {
    std::size_t length = 0;
    for (const std::string& text : texts) length += normalize(text).size();
    return static_cast<std::int64_t>(length);
  };
}

const Facility search("Search", [](Facility& facility) {
  const std::vector<std::pair<std::string, std::vector<std::string>>> rows = {
      {"ASCII, 24 bytes", {"A Hard Day's Night, 1964"}},
      {"ASCII, 1 KB", {repeated(samples[0].text, 1024)}},
      {"Latin, 24 bytes", {"Naïve Café Straße Łódź…"}},
      {"Latin, 1 KB", {repeated(samples[1].text, 1024)}},
      {"decomposed Latin, 24 bytes",
       {"Cafe\u0301 cre\u0300me bru\u0302le\u0301e", "U\u0308ber A\u030Angstro\u0308m 2.txt"}},
      {"Cyrillic, 24 bytes", {"Привет, Мир!", "Мастер и Марг", "Доктор Живаг", "Тихий Дон, 2"}},
      {"Greek, 24 bytes", {"Οδύσσεια, αυ", "Αλέξης Ζορμπ", "Ευγενία, αύρ", "Άγγελος, ένα", "Ποιος είσαι;"}},
      {"decomposed Greek, 24 bytes", {"Οδυ\u0301σσεια, α", "Αλε\u0301ξης Ζορμ"}},
      {"Hebrew, 24 bytes", {"שלום עולם, טוב", "ירושלים של ז", "סיפור על אהב", "תל אביב, קיץ"}},
      {"Arabic, 24 bytes", {"ألف ليلة ولي", "مرحبا، العال", "القاهرة الجد", "موسم الهجرة "}},
      {"Hangul, 24 bytes", {"한국어 문장", "서울의 봄날은", "기생충, 영화", "안녕하세요 :"}},
      {"kana, 24 bytes", {"ひらがなっきゃん", "カタカナデータ", "となりのトトロ", "ちょっとまって"}},
      {"Han, 24 bytes", {"紅樓夢第一回上", "日本語の文章、", "东京物语，一九", "三国志演義、上"}},
      {"Han behind ASCII", {"A title that is long and then 日本"}},
  };
  for (const auto& [name, texts] : rows) {
    const auto byICU = TextPeers::transformedByICU();
    for (const std::string& text : texts) require(String::normalizedForSearch(text), byICU(text));
    facility.row("normalizedForSearch, " + name, static_cast<std::int64_t>(texts.size()))
        .ours(normalizeAll(texts, [](const std::string& text) { return String::normalizedForSearch(text); }))
        .peer("ICU", normalizeAll(texts, byICU))
        .notSlowerThan("ICU");
  }
});

const Facility parsing("Parsing", [](Facility& facility) {
  const std::vector<std::string> colors{"#ff8000", "#11223344", "#F80",    "#abcdef",
                                        "#12345",  "#FFFFFF",   "#00g000", "#123"};
  facility.row("hexadecimal colour", static_cast<std::int64_t>(colors.size()))
      .ours([colors] {
        std::int64_t count = 0;
        for (const std::string& text : colors) count += String::hexColorIntegerComponents(text) ? 1 : 0;
        return count;
      })
      .peer("QColor", QtPeers::parseColors(colors))
      .notSlowerThan("QColor");

  const std::vector<std::string> versions{"1.2", "1.2.3", "10.15.7", "2023.4.1.12345", "1.2.x", "a.1", "14.0", "0.0.1"};
  facility.row("version", static_cast<std::int64_t>(versions.size()))
      .ours([versions] {
        std::int64_t count = 0;
        for (const std::string& text : versions) count += Version::from(text) ? 1 : 0;
        return count;
      })
      .peer("QVersionNumber", QtPeers::parseVersions(versions))
      .notSlowerThan("QVersionNumber");
});

constexpr std::int64_t rowCount = 100'000;
constexpr std::int64_t movedCount = 1'000;
constexpr std::int64_t destination = 70'000;

std::vector<std::string> rows() {
  std::vector<std::string> items;
  for (std::int64_t i = 0; i < rowCount; ++i) items.push_back("The title of row " + std::to_string(i));
  return items;
}

std::set<std::int64_t> movedIndexes() {
  std::set<std::int64_t> indexes;
  for (std::int64_t i = 0; i < movedCount; ++i) indexes.insert(i * 60);
  return indexes;
}

/// A copy in which the items precede the one at the destination, as a user writes it without an ordered set.
std::vector<std::string> rebuilt(const std::vector<std::string>& items, const std::set<std::int64_t>& indexes) {
  std::vector<std::string> result;
  result.reserve(items.size());
  const auto appendOthers = [&](std::int64_t from, std::int64_t to) {
    auto moved = indexes.lower_bound(from);
    for (std::int64_t i = from; i < to; ++i) {
      if (moved != indexes.end() && *moved == i) {
        ++moved;
      } else {
        result.push_back(items[static_cast<std::size_t>(i)]);
      }
    }
  };
  appendOthers(0, destination);
  for (const std::int64_t index : indexes) result.push_back(items[static_cast<std::size_t>(index)]);
  appendOthers(destination, rowCount);
  return result;
}

const Facility orderedSet("NSOrderedSet", [](Facility& facility) {
  const auto items = std::make_shared<std::vector<std::string>>(rows());
  const auto set = std::make_shared<NSOrderedSet<std::string>>(*items);
  const auto indexes = std::make_shared<std::set<std::int64_t>>(movedIndexes());
  require(std::ranges::equal(movingItems(*set, *indexes, destination, false), rebuilt(*items, *indexes)), true);
  facility.row("a copy with 1,000 of 100,000 items moved")
      .ours([=] { return movingItems(*set, *indexes, destination, false); })
      .peer("std::vector", [=] { return rebuilt(*items, *indexes); })
      .notSlowerThan("std::vector");
});

}  // namespace
}  // namespace Tessaly::Benchmarks
