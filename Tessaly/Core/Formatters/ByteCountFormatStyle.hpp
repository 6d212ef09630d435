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

/// Writes a size in the largest suitable decimal unit: "1.5 MB". Megabytes have up to one fraction digit, and gigabytes
/// and larger units up to two. Ties round to even. A size takes the next unit shortly before its number would round to
/// 1000: 999 bytes are already "1 kB".
///
/// The standard library has no counterpart. Each thread prepares a locale in about 100 µs for each unit that it uses,
/// and keeps the last eight locales.
///
/// Thread contract: thread-compatible. Formatting is thread-safe while no thread changes the style.
///
///     ByteCountFormatStyle style;
///     style.setLocale(Locale("fr"));
///     std::cout << style.format(1'500'000);  // 1,5 Mo
class ByteCountFormatStyle {
 public:
  /// The locale. Absent by default, which means the current locale at every use.
  [[nodiscard]] const std::optional<Locale>& locale() const noexcept TESSALY_LIFETIMEBOUND { return locale_; }
  void setLocale(const std::optional<Locale>& locale) { locale_ = locale; }

  /// Whether the text of zero bytes contains a word for zero: "Zero kB". True by default. Only 13 languages have such a
  /// word here, among them English and French. In other languages, such as German, the text always contains a digit.
  [[nodiscard]] bool spellsOutZero() const noexcept { return spellsOutZero_; }
  void setSpellsOutZero(bool spells) noexcept { spellsOutZero_ = spells; }

  [[nodiscard]] TESSALY_EXPORT std::string format(std::int64_t byteCount) const;

  friend bool operator==(const ByteCountFormatStyle&, const ByteCountFormatStyle&) noexcept = default;

 private:
  std::optional<Locale> locale_;
  bool spellsOutZero_ = true;
};

}  // namespace Tessaly::inline v1
