// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>

#include "Tessaly/SettingsAndObservation/Default.hpp"
#include "Tessaly/SettingsAndObservation/RawValues.hpp"
#include "Tessaly/ValueRecords/URLBookmark.hpp"

namespace keeper {

enum class Theme : std::uint8_t { system, light, dark };

}  // namespace keeper

template <>
inline constexpr auto Tessaly::rawValues<keeper::Theme> = Tessaly::textRawValues<keeper::Theme>(
    {{keeper::Theme::system, "system"}, {keeper::Theme::light, "light"}, {keeper::Theme::dark, "dark"}});

namespace keeper {

constexpr Tessaly::Default<Theme>::Key themeKey{"theme", Theme::system};
constexpr Tessaly::Default<bool>::Key showsHiddenFilesKey{"shows-hidden-files", false};
constexpr Tessaly::Default<bool>::Key showsSizeKey{"shows-size", true};
constexpr Tessaly::Default<bool>::Key showsKindKey{"shows-kind", true};
constexpr Tessaly::Default<bool>::Key showsDateKey{"shows-date", true};
/// The milliseconds in which changes of the directory are collected. Fewer updates take less power.
constexpr auto updateDelayKey = Tessaly::Default<int>::Key("update-delay", 30).within(0, 600'000);
/// The directory that was shown last. It is found again after it was renamed.
constexpr Tessaly::Default<std::optional<Tessaly::URLBookmark>>::Key directoryKey{"directory"};

/// Makes the keys known to `tessaly defaults describe`.
void publishPreferences();

}  // namespace keeper
