// SPDX-License-Identifier: MIT
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Tessaly/Core/Text/Locale.hpp"
#include "Tessaly/Formatting/Formatters+RangeNumber.hpp"
#include "tests/Support/ContentsOf.hpp"

namespace Tessaly {

/// One situation of a person who edits a number.
struct EditingSituation {
  const char* name;
  double lowest;
  double highest;
  const char* suffix;
  int fractionDigits;
  const char* language;
  double initial;
  /// Letters, and names of keys in angle brackets. "<paste:text>" puts the text on the clipboard first. The input
  /// method does "<compose:text>" and "<commit:text>", and "<before:1>" deletes a character before the cursor.
  const char* keys;
  /// The text before the end of editing, and behind it.
  const char* typed;
  const char* ended;
  /// The number of the field at the end.
  double value;
};

// clang-format off
inline const std::vector<EditingSituation> editingSituations{
    // The number stands, and another one takes its place.
    {"select all and type 30", 10, 60, " s", 0, "en", 20, "<all>30", "30 s", "30 s", 30},
    {"select all and type 120", 20, 300, " bpm", 0, "en", 60, "<all>120", "120 bpm", "120 bpm", 120},
    {"delete all, type 30", 10, 60, " s", 0, "en", 20, "<all><del>30", "30 s", "30 s", 30},
    {"cut all, type 30", 10, 60, " s", 0, "en", 20, "<all><cut>30", "30 s", "30 s", 30},
    {"BackSpace at the end", 0, 100, " %", 0, "en", 50, "<back>", "5 %", "5 %", 5},
    {"BackSpace twice, type 7", 0, 100, " %", 0, "en", 50, "<back><back>7", "7 %", "7 %", 7},
    {"delete at the end of the digits", 0, 100, " %", 0, "en", 50, "<del>", "50 %", "50 %", 50},
    {"type behind the number", 0, 100, " %", 0, "en", 5, "1", "51 %", "51 %", 51},
    {"insert a digit in the middle", 0, 200, " %", 0, "en", 15, "<home><right>0", "105 %", "105 %", 105},
    {"delete all", 0, 100, " %", 0, "en", 50, "<all><del>", " %", "50 %", 50},
    {"first digit only", 20, 300, " bpm", 0, "en", 60, "<all>1", "1 bpm", "20 bpm", 20},
    {"a digit too many", 0, 100, " %", 0, "en", 50, "0", "500 %", "100 %", 100},
    {"a digit too many, then BackSpace", 0, 100, " %", 0, "en", 50, "0<back>", "50 %", "50 %", 50},
    {"eight digits, then six times BackSpace", 0, 100, " %", 0, "en", 50, "<all>12345678<back><back><back><back><back><back>", "12 %", "12 %", 12},
    {"leading zeros", 0, 100, " %", 0, "en", 50, "<all>007", "007 %", "7 %", 7},
    // The suffix.
    {"type the suffix again", 0, 100, " %", 0, "en", 50, "%", "50 %", "50 %", 50},
    {"type number and suffix", 10, 60, " s", 0, "en", 20, "<all>30 s", "30 s", "30 s", 30},
    // Pasting over everything.
    {"paste “42%”", 0, 100, " %", 0, "en", 50, "<all><paste:42%>", "42 %", "42 %", 42},
    {"paste “42 %”", 0, 100, " %", 0, "en", 50, "<all><paste:42 %>", "42 %", "42 %", 42},
    {"paste “ 42 ”", 0, 100, "", 0, "en", 50, "<all><paste: 42 >", " 42 ", "42", 42},
    {"paste “+42”", 0, 100, " %", 0, "en", 50, "<all><paste:+42>", "+42 %", "42 %", 42},
    {"paste “words”", 0, 100, " %", 0, "en", 50, "<all><paste:words>", "words %", "words %", 50},
    {"paste “1,234”", 0, 5000, "", 0, "en", 50, "<all><paste:1,234>", "1,234", "1234", 1234},
    // Letters.
    {"a letter between digits", 0, 100, " %", 0, "en", 50, "<all>4x2", "4x2 %", "4x2 %", 50},
    {"1e3", 0, 2000, "", 0, "en", 50, "<all>1e3", "1e3", "1e3", 50},
    {"a letter of two keys", 0, 100, " %", 0, "en", 50, "<all><acute>e", "é %", "é %", 50},
    {"a wrong letter, then BackSpace", 0, 100, " %", 0, "en", 50, "<all>42x<back>", "42 %", "42 %", 42},
    {"a dead key, then BackSpace", 0, 100, " %", 0, "en", 50, "<all><acute><back>", " %", "50 %", 50},
    // An input method.
    {"compose 30 over everything", 10, 60, " s", 0, "en", 20, "<all><compose:3><compose:30><commit:30>", "30 s", "30 s", 30},
    {"compose four digits over everything", 0, 5000, "", 0, "en", 50, "<all><compose:12><commit:1234>", "1234", "1234", 1234},
    {"compose a letter behind the number", 0, 100, " %", 0, "en", 50, "<compose:x><commit:x>", "50x %", "50x %", 50},
    {"give a composition up", 0, 100, " %", 0, "en", 50, "<compose:7><compose:>", "50 %", "50 %", 50},
    {"give a composition over everything up", 0, 100, " %", 0, "en", 50, "<all><compose:7><compose:>", " %", "50 %", 50},
    {"the input method deletes a digit", 0, 100, " %", 0, "en", 50, "<before:1>", "5 %", "5 %", 5},
    {"the input method replaces a digit", 0, 100, " %", 0, "en", 50, "<before:1><commit:7>", "57 %", "57 %", 57},
    // Separators.
    {"decimal comma in English", -12, 12, " dB", 1, "en", 0, "<all>2,5", "2,5 dB", "+2.5 dB", 2.5},
    {"decimal point in English", -12, 12, " dB", 1, "en", 0, "<all>2.5", "2.5 dB", "+2.5 dB", 2.5},
    {"decimal comma in German", -12, 12, " dB", 1, "de", 0, "<all>2,5", "2,5 dB", "+2,5 dB", 2.5},
    {"decimal point in German", -12, 12, " dB", 1, "de", 0, "<all>2.5", "2.5 dB", "+2,5 dB", 2.5},
    {"fraction in a field of whole numbers", 0, 100, " %", 0, "en", 50, "<all>99.7", "99.7 %", "100 %", 100},
    {"fraction beyond the bound", 0, 100, " %", 0, "en", 10, "0.9", "100.9 %", "100 %", 100},
    {"a fraction digit too many", -12, 12, " dB", 1, "en", 0, "<all>5.25", "5.25 dB", "+5.2 dB", 5.2},
    // Signs.
    {"hyphen in English", -12, 12, " dB", 0, "en", 0, "<all>-5", "-5 dB", "-5 dB", -5},
    {"hyphen in Swedish", -12, 12, " dB", 0, "sv", 0, "<all>-5", "-5 dB", "−5 dB", -5},
    {"hyphen in Arabic", -12, 12, " dB", 0, "ar_EG", 0, "<all>-5", "-5 dB", "؜-٥ dB", -5},
    {"hyphen in Hebrew", -12, 12, " dB", 0, "he", 0, "<all>-5", "-5 dB", "‎-5 dB", -5},
    {"hyphen in Persian", -12, 12, " dB", 0, "fa", 0, "<all>-5", "-5 dB", "‎−۵ dB", -5},
    {"minus (U+2212) in English", -12, 12, " dB", 0, "en", 0, "<all>−5", "−5 dB", "-5 dB", -5},
    {"minus before the number", -12, 12, " dB", 0, "en", 3, "<home>-", "-+3 dB", "-3 dB", -3},
    {"minus without a negative range", 0, 100, " %", 0, "en", 50, "<all>-5", "-5 %", "0 %", 0},
    {"sign alone", -12, 12, " dB", 0, "en", 3, "<all>+", "+ dB", "0 dB", 0},
    {"Arabic digits in English", 0, 100, " %", 0, "en", 50, "<all>٤٢", "٤٢ %", "42 %", 42},
    // Without typing, and backwards.
    {"pass through 5.25 with one fraction digit", -12, 12, " dB", 1, "en", 5.25, "", "+5.2 dB", "+5.2 dB", 5.25},
    {"undo of typing", 0, 100, " %", 0, "en", 50, "<all>7<undo>", "50 %", "50 %", 50},
    {"undo of a correction", 0, 100, " %", 0, "en", 50, "<all>500<return><undo>", "500 %", "100 %", 100},
    {"redo of a correction", 0, 100, " %", 0, "en", 50, "<all>500<return><undo><redo>", "100 %", "100 %", 100},
};
// clang-format on

/// A field beside ours, or ours.
struct DrivenField {
  std::string name;
  std::function<void()> focus;
  std::function<std::string()> text;
};

/// Drives fields of any toolkit by the same keys. `Field` is a fixture as that of `PolicedField`, which also has
/// `paste`, `focus`, `neighbours`, `dismissNeighbours`, `compose`, `commit` and `deleteBefore`.
template <typename Field>
class EditedNumber : public Field {
 protected:
  void perform(std::string_view keys) {
    while (!keys.empty()) {
      const std::size_t open = keys.find('<');
      this->typeIfAny(keys.substr(0, open));
      if (open == std::string_view::npos) return;
      const std::size_t close = keys.find('>', open);
      strike(std::string(keys.substr(open + 1, close - open - 1)));
      keys.remove_prefix(close + 1);
    }
  }

  /// The texts before and behind the end of editing.
  std::pair<std::string, std::string> edit(const DrivenField& field, const EditingSituation& situation) {
    field.focus();
    this->press({"End"});
    perform(situation.keys);
    const std::string typed = field.text();
    this->press({"Return"});
    return {typed, field.text()};
  }

  /// Adds a row to a file that a maintainer asks for.
  static void note(const EditingSituation& situation, const std::string& field,
                   const std::pair<std::string, std::string>& texts) {
    const char* const path = std::getenv("TESSALY_EDITING_TABLE");
    if (path == nullptr) return;
    std::ofstream(path, std::ios::app) << situation.name << '\t' << situation.keys << '\t' << field << '\t'
                                       << texts.first << '\t' << texts.second << '\n';
  }

 private:
  void typeIfAny(std::string_view letters) {
    if (!letters.empty()) this->type(letters);
  }
  void strike(const std::string& name) {
    if (name.starts_with("paste:")) return this->paste(name.substr(6));
    if (name.starts_with("compose:")) return this->compose(name.substr(8));
    if (name.starts_with("commit:")) return this->commit(name.substr(7));
    if (name.starts_with("before:")) return this->deleteBefore(std::stoi(name.substr(7)));
    const std::map<std::string, std::vector<std::string>> keys{
        {"all", {"Control_L", "a"}},  {"cut", {"Control_L", "x"}},
        {"undo", {"Control_L", "z"}}, {"redo", {"Control_L", "Shift_L", "z"}},
        {"back", {"BackSpace"}},      {"del", {"Delete"}},
        {"home", {"Home"}},           {"right", {"Right"}},
        {"return", {"Return"}},       {"acute", {"dead_acute"}}};
    this->press(keys.at(name));
  }
};

TYPED_TEST_SUITE_P(EditedNumber);

TYPED_TEST_P(EditedNumber, EverySituationEndsAsThePersonMeans) {
  this->checking_ = FieldChecking::atTheEnd;
  for (const EditingSituation& situation : editingSituations) {
    SCOPED_TRACE(situation.name);
    const Locale locale(situation.language);
    const Locale::Replacement replacement(locale);
    const auto police = [&](auto formatter) {
      formatter->setSuffix(situation.suffix);
      formatter->setMaximumFractionDigits(situation.fractionDigits);
      this->police(formatter);
    };
    if (situation.fractionDigits == 0) {
      police(Formatters::RangeNumber<int>::make(
          ClosedRange(static_cast<int>(situation.lowest), static_cast<int>(situation.highest))));
    } else {
      police(Formatters::RangeNumber<double>::make(ClosedRange(situation.lowest, situation.highest)));
    }
    this->policy().setObjectValue(NSNumber(situation.initial));
    const auto texts = this->edit({"", [&] { this->focus(); }, [&] { return this->text(); }}, situation);
    EXPECT_EQ(texts.first, situation.typed);
    EXPECT_EQ(texts.second, situation.ended);
    EXPECT_EQ(std::any_cast<NSNumber>(this->policy().objectValue()), NSNumber(situation.value));
    const bool isCorrected = texts.first != texts.second;
    EXPECT_TRUE(!isCorrected || this->policy().state() == FieldState::acceptable);
    this->note(situation, "ours", texts);
    this->dismiss();
    for (const DrivenField& neighbour : this->neighbours(situation)) {
      this->note(situation, neighbour.name, this->edit(neighbour, situation));
    }
    this->dismissNeighbours();
  }
}

/// The page shows invisible marks of direction as nothing.
inline std::string publishedRow(const EditingSituation& situation) {
  const auto quoted = [](std::string text) {
    for (const std::string_view mark : {"\u061C", "\u200E", "\u200F"}) {
      for (std::size_t at = text.find(mark); at != std::string::npos; at = text.find(mark)) text.erase(at, mark.size());
    }
    return '"' + text + '"';
  };
  const std::string typed = quoted(situation.typed);
  const std::string ended = quoted(situation.ended);
  return "| " + std::string(situation.name) + " | " + (typed == ended ? typed : typed + " → " + ended) + " |";
}

TYPED_TEST_P(EditedNumber, EverySituationIsPublished) {
  const std::string page = Tests::contentsOf(TESSALY_FIELDS_PAGE);
  EXPECT_GE(editingSituations.size(), 40U);
  for (const EditingSituation& situation : editingSituations) {
    EXPECT_NE(page.find(publishedRow(situation)), std::string::npos) << publishedRow(situation);
  }
}

REGISTER_TYPED_TEST_SUITE_P(EditedNumber, EverySituationEndsAsThePersonMeans, EverySituationIsPublished);

}  // namespace Tessaly
