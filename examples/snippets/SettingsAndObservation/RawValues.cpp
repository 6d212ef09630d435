// SPDX-License-Identifier: MIT
#include "Tessaly/SettingsAndObservation/RawValues.hpp"

enum class Theme { light, dark };
template <>
inline constexpr auto Tessaly::rawValues<Theme> =
    Tessaly::textRawValues<Theme>({{Theme::light, "light"}, {Theme::dark, "dark"}});

namespace {

using namespace Tessaly;

enum class Quality { draft, best };

void texts() {
  constexpr auto table = textRawValues<Theme>({{Theme::light, "light"}, {Theme::dark, "dark"}});
  std::optional<Theme> dark = table.value("dark");
}

void integers() {
  constexpr auto table = integerRawValues(Quality::draft, Quality::best);
  std::optional<Quality> none = table.value(7);
}

}  // namespace
