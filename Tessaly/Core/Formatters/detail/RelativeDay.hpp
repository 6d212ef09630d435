// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>

namespace Tessaly::inline v1::detail {

/// The words of a locale for the days from three days before today to three days after today. A day without a word has
/// an empty text.
[[nodiscard]] std::array<std::string, 7> wordsForDays(const std::string& locale);

enum class WordPlace : std::uint8_t { list = 0, standalone = 1 };

/// Whether a locale begins words such as "today" with a capital letter in this place. `list` is a list or menu of a
/// user interface. `standalone` is a place without a sentence around the word.
[[nodiscard]] bool capitalisesWordsForDays(const std::string& locale, WordPlace place);

/// The pattern that joins a date and a time. `style` is ICU's style of the date. {1} stands for the date, and {0}
/// stands for the time. The result is the plain pattern, without a word such as "at". A locale without a plain pattern
/// inherits that of its parent.
[[nodiscard]] std::u16string glueOfDateAndTime(const std::string& locale, int style);

/// Capitalises the beginning of each text, as ICU does at the beginning of a sentence.
void capitalise(std::span<std::string> texts, const std::string& locale);

}  // namespace Tessaly::inline v1::detail
