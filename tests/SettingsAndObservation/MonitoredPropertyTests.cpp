// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <string>
#include <type_traits>

#include "Tessaly/SettingsAndObservation/MonitoredProperty.hpp"

namespace Tessaly {
namespace {

struct Song {
  std::string title = "Blue";
  [[nodiscard]] std::size_t length() const { return title.size(); }
};

TEST(MonitoredProperty, NamesAPropertyAndSaysWhetherItIsComputed) {
  const MonitoredProperty<Song, std::string> title(keyPath<&Song::title>, false);
  const MonitoredProperty length(keyPath<&Song::length>, true);
  static_assert(std::is_same_v<decltype(length), const MonitoredProperty<Song, std::size_t>>);
  EXPECT_EQ(title.keyPath(), keyPath<&Song::title>);
  EXPECT_EQ(title.keyPath().read(Song()), "Blue");
  EXPECT_FALSE(title.isComputed());
  EXPECT_TRUE(length.isComputed());
}

}  // namespace
}  // namespace Tessaly
