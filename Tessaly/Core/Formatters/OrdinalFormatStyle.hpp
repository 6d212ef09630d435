// SPDX-License-Identifier: MIT
// Component: Tessaly::Formatters
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Text/Locale.hpp"

namespace Tessaly::inline v1 {

/// Writes a rank in digits: "1st", "2.", "1er".
///
/// The form is the default form of the locale data, for example the masculine form in French. If the rank decides which
/// text of the host is shown, use `PluralRules` with `PluralRules::Kind::ordinal`. The standard library has no
/// counterpart. A thread prepares a locale in about 300 µs and keeps the four locales that it used last.
///
/// Thread contract: thread-compatible. Threads may share a style that no thread changes.
///
///     std::cout << OrdinalFormatStyle().locale(Locale("en")).format(22);  // 22nd
class OrdinalFormatStyle {
 public:
  /// A copy of this style with the given locale. By default, the locale is absent, which means the current locale at
  /// every use.
  [[nodiscard]] OrdinalFormatStyle locale(const std::optional<Locale>& locale) const {
    OrdinalFormatStyle changed = *this;
    changed.locale_ = locale;
    return changed;
  }

  [[nodiscard]] TESSALY_EXPORT std::string format(std::int64_t rank) const;

  friend bool operator==(const OrdinalFormatStyle&, const OrdinalFormatStyle&) noexcept = default;

 private:
  std::optional<Locale> locale_;
};

}  // namespace Tessaly::inline v1
