// SPDX-License-Identifier: MIT
#include <algorithm>
#include <charconv>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Tessaly/Platform/Settings/UserDefaults.hpp"
#include "Tessaly/SettingsAndObservation/Default.hpp"
#include "Tessaly/SettingsAndObservation/ObservationToken.hpp"

namespace {
namespace Toolkit {

class Color {
 public:
  static std::optional<Color> named(const std::string& name) { return Color(name); }
  [[nodiscard]] const std::string& name() const { return name_; }

 private:
  explicit Color(std::string name) : name_(std::move(name)) {}
  std::string name_;
};

}  // namespace Toolkit

struct WindowSize {
  using StoredValue = std::vector<double>;
  static std::optional<WindowSize> from(StoredValue stored) {
    if (stored.size() != 2) return std::nullopt;
    return WindowSize{stored[0], stored[1]};
  }
  StoredValue transformToUserDefaultValue() const { return {width, height}; }

  double width;
  double height;
};

struct Tea {
  using StoredValue = std::vector<std::string>;
  static std::optional<Tea> from(const StoredValue& stored) {
    Tea tea;
    if (stored.size() != 2) return std::nullopt;
    const auto [end, error] = std::from_chars(stored[1].data(), stored[1].data() + stored[1].size(), tea.minutes);
    if (error != std::errc() || *end != '\0') return std::nullopt;
    tea.name = stored[0];
    return tea;
  }
  StoredValue transformToUserDefaultValue() const { return {name, std::to_string(minutes)}; }

  std::string name;
  int minutes = 0;
};

}  // namespace

template <>
struct Tessaly::UserDefaultsValueTransformableTraits<Toolkit::Color> {
  using StoredValue = std::string;
  static std::optional<Toolkit::Color> from(const StoredValue& stored) { return Toolkit::Color::named(stored); }
  static StoredValue transformToUserDefaultValue(const Toolkit::Color& color) { return color.name(); }
};

enum class Theme { light, dark };
template <>
inline constexpr auto Tessaly::rawValues<Theme> =
    Tessaly::textRawValues<Theme>({{Theme::light, "light"}, {Theme::dark, "dark"}});

namespace {

using namespace Tessaly;

constexpr Default<int>::Key volumeKey{"volume", 50};
constexpr Default<std::optional<std::string>>::Key lastFileKey = "last-file";

void open(const std::string& file) {
  Default<std::optional<std::string>>::setValue(lastFileKey, file);
  int volume = Default<int>::value(volumeKey);
  Default<int>::modifyValue(volumeKey, [](int& value) { value = std::min(value + 10, 100); });
}

constexpr Default<Theme>::Key themeKey{"theme", Theme::light};
constexpr Default<WindowSize>::Key windowSizeKey{"window-size", WindowSize{640, 480}};
const Default<std::optional<Toolkit::Color>>::Key accentKey("accent");
const Default<std::vector<WindowSize>>::Key windowSizesKey("window-sizes", {});
const Default<std::vector<Tea>>::Key teasKey("teas", {});

struct Window {
  void repaint(Theme) {}
  void showVolume(int) {}

  std::optional<ObservationToken> repainting;
  std::shared_ptr<Default<int>::ValueObserver> volume;
};

void follow(Window& window) {
  window.repainting = withContinuousObservation([theme = Default<Theme>(themeKey)] { return theme.value(); },
                                                [&](Theme now) { window.repaint(now); });
  window.volume = Default<int>::observe(volumeKey, [&](int stored, ChangeOrigin origin) {
    if (origin == ChangeOrigin::otherProcess) window.showVolume(stored);
  });
}

constexpr auto intervalKey = Default<int>::Key("interval", 60).within(1, 3600);
constexpr auto columnsKey = Default<int>::Key("columns", 80).within(20, 200, InvalidSetting::readsAsDefault);
constexpr auto pageSizeKey = Default<int>::Key("page-size", 4096).where([](int size) { return size % 512 == 0; });

bool acceptInterval(int entered) {
  if (!intervalKey.allows(entered)) return false;
  Default<int>::setValue(intervalKey, entered);
  return true;
}

void publishSettings() {
  UserDefaults::standard()->publishKeys({volumeKey.described("The loudness in percent"),
                                         intervalKey.described("The time between two looks at the server in seconds"),
                                         themeKey.described("The colors of the windows")});
}

void applyProfile(int volume, const std::string& theme) {
  UserDefaults::standard()->setValuesForKeys({{"volume", volume}, {"theme", theme}, {"last-file", std::nullopt}});
}

void storeTheVolume() {
  const std::shared_ptr<UserDefaults>& settings = UserDefaults::standard();
  settings->set(50, "volume");
  std::optional<PropertyList> volume = settings->value("volume");
}

}  // namespace
