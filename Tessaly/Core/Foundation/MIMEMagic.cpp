// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Foundation/detail/MIMEMagic.hpp"

#include <algorithm>
#include <bit>
#include <charconv>
#include <functional>
#include <optional>
#include <utility>

#include "Tessaly/Core/Foundation/detail/MIMEText.hpp"

namespace Tessaly::inline v1::detail {
namespace {

constexpr std::string_view signature{"MIME-Magic\0\n", 12};
/// This text as the value of a plain rule at the beginning discards the type's rules from files of lower precedence.
/// `update-mime-database` writes its length before it, as before every value.
constexpr std::string_view deleteAll = "__NOMAGIC__";
constexpr std::size_t greatestExtent = std::size_t{64} << 10;

/// Converts words from the file's big-endian order to that of this machine. Rules with a word size of 1 need no
/// conversion.
void swapWords(std::string& bytes, std::size_t wordSize) {
  if (std::endian::native != std::endian::little || wordSize < 2) return;
  for (std::size_t start = 0; start + wordSize <= bytes.size(); start += wordSize) {
    std::reverse(bytes.begin() + static_cast<std::ptrdiff_t>(start),
                 bytes.begin() + static_cast<std::ptrdiff_t>(start + wordSize));
  }
}

}  // namespace

/// Parses a magic file. Each `take` function fails if its part is not at the current position.
class MIMEMagic::Reader {
 public:
  explicit Reader(std::string_view text) noexcept : text_(text) {}

  [[nodiscard]] bool isAtEnd() const noexcept { return text_.empty(); }
  bool take(std::string_view expected) noexcept {
    if (!text_.starts_with(expected)) return false;
    text_.remove_prefix(expected.size());
    return true;
  }
  std::optional<std::uint32_t> takeNumber() noexcept {
    std::uint32_t number = 0;
    const auto [end, error] = std::from_chars(text_.data(), text_.data() + text_.size(), number);
    if (error != std::errc()) return std::nullopt;
    text_.remove_prefix(static_cast<std::size_t>(end - text_.data()));
    return number;
  }
  std::optional<std::string_view> takeBytes(std::size_t count) noexcept {
    if (count > text_.size()) return std::nullopt;
    const std::string_view bytes = text_.substr(0, count);
    text_.remove_prefix(count);
    return bytes;
  }
  std::string_view takeLine() noexcept {
    const std::size_t end = std::min(text_.find('\n'), text_.size());
    const std::string_view line = text_.substr(0, end);
    text_.remove_prefix(std::min(end + 1, text_.size()));
    return line;
  }

  /// Parses the line with the head of a section, "[priority:type]". Returns nothing for a malformed head.
  std::optional<Section> takeHead() {
    Reader line(takeLine());
    if (!line.take("[")) return std::nullopt;
    const auto priority = line.takeNumber();
    if (!priority || !line.take(":") || !line.text_.ends_with(']')) return std::nullopt;
    line.text_.remove_suffix(1);
    return Section{.priority = *priority, .type = lowercased(line.text_)};
  }

  /// Parses a rule with the end of its line. A malformed or unknown rule has no value, so that it matches nothing but
  /// keeps its place among the other rules. Returns nothing for a line that is not a rule.
  std::optional<Rule> takeRule() {
    Rule rule;
    if (!text_.starts_with('>')) {
      const auto indent = takeNumber();
      if (!indent) return skipLine();
      rule.indent = *indent;
    }
    if (!take(">")) return skipLine();
    const bool isKnown = takePlaceAndValue(rule) && takeOptions(rule);
    const bool isComplete = takeLine().empty();  // Otherwise the line has a part of a later version of the format.
    return isKnown && isComplete ? std::move(rule) : Rule{.indent = rule.indent};
  }

 private:
  bool takePlaceAndValue(Rule& rule) {
    const auto offset = takeNumber();
    if (!offset || !take("=")) return false;
    rule.offset = *offset;
    if (take(deleteAll)) {
      rule.value = deleteAll;
      return true;
    }
    const auto length = takeBytes(2);
    if (!length) return false;
    const auto size = static_cast<std::size_t>(static_cast<unsigned char>((*length)[0])) << 8 |
                      static_cast<unsigned char>((*length)[1]);
    const auto value = takeBytes(size);
    if (!value || value->empty()) return false;
    rule.value = *value;
    return true;
  }
  /// Parses the mask, the word size and the range, and applies the mask and the word size to the value.
  bool takeOptions(Rule& rule) {
    const std::size_t size = rule.value.size();
    if (take("&")) {
      const auto mask = takeBytes(size);
      if (!mask) return false;
      rule.mask = *mask;
    }
    std::size_t wordSize = 1;
    if (take("~")) {
      const auto number = takeNumber();
      if (!number || *number == 0 || size % *number != 0) return false;
      wordSize = *number;
    }
    if (take("+")) {
      const auto number = takeNumber();
      if (!number || *number == 0) return false;
      rule.range = *number;
    }
    swapWords(rule.value, wordSize);
    swapWords(rule.mask, wordSize);
    for (std::size_t i = 0; i < rule.mask.size(); ++i) {
      rule.value[i] = static_cast<char>(rule.value[i] & rule.mask[i]);
    }
    return true;
  }
  std::optional<Rule> skipLine() noexcept {
    takeLine();
    return std::nullopt;
  }

  friend class MIMEMagic;
  std::string_view text_;
};

bool MIMEMagic::Rule::fits(std::string_view contents) const noexcept {
  if (value.empty() || offset >= contents.size()) return false;
  contents.remove_prefix(offset);
  if (range - 1 < contents.size()) contents = contents.substr(0, range - 1 + value.size());
  if (mask.empty()) return contents.find(value) != std::string_view::npos;
  for (; contents.size() >= value.size(); contents.remove_prefix(1)) {
    std::size_t i = 0;
    while (i < value.size() && static_cast<char>(contents[i] & mask[i]) == value[i]) ++i;
    if (i == value.size()) return true;
  }
  return false;
}

void MIMEMagic::Section::add(Rule rule) {
  const std::uint32_t deepest = rules.empty() ? 0 : rules.back().indent + 1;
  if (rule.indent <= deepest) rules.push_back(std::move(rule));
}

bool MIMEMagic::Section::fits(std::string_view contents) const noexcept {
  // The maximum indent of a rule whose parents have matched.
  std::uint32_t allowed = 0;
  for (std::size_t i = 0; i < rules.size(); ++i) {
    const Rule& rule = rules[i];
    if (rule.indent > allowed) continue;
    allowed = rule.indent;
    if (!rule.fits(contents)) continue;
    const bool isRefined = i + 1 < rules.size() && rules[i + 1].indent > rule.indent;
    if (!isRefined) return true;
    ++allowed;
  }
  return false;
}

void MIMEMagic::add(std::string_view file) {
  Reader reader(file);
  if (!reader.take(signature)) return;
  std::vector<Section> added;
  bool isInSection = false;
  while (!reader.isAtEnd()) {
    if (reader.text_.starts_with('[')) {
      auto section = reader.takeHead();
      isInSection = section.has_value();
      if (section) added.push_back(*std::move(section));
      continue;
    }
    auto rule = reader.takeRule();
    if (!rule || !isInSection) continue;
    Section& section = added.back();
    if (*rule == Rule{.value = std::string(deleteAll)}) {
      std::erase_if(sections_, [&](const Section& other) { return other.type == section.type; });
      continue;
    }
    if (rule->offset < greatestExtent) {
      const std::size_t last = std::min(rule->offset + rule->range - 1 + rule->value.size(), greatestExtent);
      extent_ = std::max(extent_, last);
    }
    section.add(*std::move(rule));
  }
  for (; !added.empty(); added.pop_back()) {
    const auto place = std::ranges::lower_bound(sections_, added.back().priority, std::greater(), &Section::priority);
    sections_.insert(place, std::move(added.back()));
  }
}

std::string_view MIMEMagic::typeOf(std::string_view contents) const noexcept {
  const auto found = std::ranges::find_if(sections_, [&](const Section& section) { return section.fits(contents); });
  return found != sections_.end() ? std::string_view(found->type) : std::string_view();
}

}  // namespace Tessaly::inline v1::detail
