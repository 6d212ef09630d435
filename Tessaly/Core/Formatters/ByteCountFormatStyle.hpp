// SPDX-License-Identifier: MIT
// Component: Tessaly::Formatters
#pragma once

#include <cstdint>
#include <iosfwd>
#include <memory>
#include <optional>
#include <string>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Text/Locale.hpp"

namespace Tessaly::inline v1 {

/// How a size is written: in the largest decimal unit that suits it, as files are, "1.5 MB". Up to one fraction digit
/// from megabytes on, up to two from gigabytes on, rounded half to even.
///
/// The standard library has nothing like it. A locale is prepared once for each thread, in about 100 us for each unit
/// that is used; the last eight locales stay prepared.
///
/// Thread contract: thread-compatible. Formatting with a style that nobody changes is thread-safe.
///
///     ByteCountFormatStyle style;
///     style.setLocale(Locale("fr"));
///     std::cout << style.format(1'500'000);  // 1,5 Mo
class ByteCountFormatStyle {
 public:
  /// Absent, as at first: the current locale at every use.
  [[nodiscard]] const std::optional<Locale>& locale() const noexcept { return locale_; }
  void setLocale(const std::optional<Locale>& locale) { locale_ = locale; }

  /// Whether no bytes at all are written by a word, in the languages that do so: "Zero kB". At first true.
  [[nodiscard]] bool spellsOutZero() const noexcept { return spellsOutZero_; }
  void setSpellsOutZero(bool spells) noexcept { spellsOutZero_ = spells; }

  [[nodiscard]] TESSALY_EXPORT std::string format(std::int64_t byteCount) const;

  friend bool operator==(const ByteCountFormatStyle&, const ByteCountFormatStyle&) noexcept = default;

 private:
  std::optional<Locale> locale_;
  bool spellsOutZero_ = true;
};

}  // namespace Tessaly::inline v1
