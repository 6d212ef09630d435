// SPDX-License-Identifier: MIT
#include "Tessaly/SettingsAndObservation/UserDefaultsValueTransformable.hpp"

namespace {

using namespace Tessaly;

struct Size {
  using StoredValue = std::vector<double>;
  static std::optional<Size> from(StoredValue stored) {
    if (stored.size() != 2) return std::nullopt;
    return Size{stored[0], stored[1]};
  }
  StoredValue transformToUserDefaultValue() const { return {width, height}; }

  double width;
  double height;
};
static_assert(UserDefaultsValueTransformable<Size>);

void convert() {
  using URLs = UserDefaultsValueTransformableTraits<URL>;
  std::string stored = URLs::transformToUserDefaultValue(*URL::from("file:///tmp/a%20b.txt"));  // "/tmp/a b.txt"
  std::optional<URL> read = URLs::from(stored);
}

}  // namespace
