// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>

namespace Tessaly::inline v1::detail {

/// What a locale calls the days from three before today to three after it; empty where it has no word.
[[nodiscard]] std::array<std::string, 7> wordsForDays(const std::string& locale);

enum class WordPlace : std::uint8_t { list = 0, standalone = 1 };

/// Whether a locale begins its words for days with a capital letter in such a place.
[[nodiscard]] bool capitalisesWordsForDays(const std::string& locale, WordPlace place);

/// The pattern that joins a date {1} of a style, numbered as ICU's, and a time {0}: the plain one, without a word such
/// as "at". A locale that does not say inherits it.
[[nodiscard]] std::u16string glueOfDateAndTime(const std::string& locale, int style);

/// Gives texts a capital letter as ICU does it at the beginning of a sentence.
void capitalise(std::span<std::string> texts, const std::string& locale);

}  // namespace Tessaly::inline v1::detail
