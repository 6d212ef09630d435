// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <deque>
#include <initializer_list>
#include <list>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "Tessaly/SettingsAndObservation/Defaultable.hpp"

namespace Tessaly {
namespace {

struct OfAHost {
  static OfAHost defaultValue() { return {7}; }
  int number;
};

/// A type whose only constructor takes a list.
class Palette {
 public:
  Palette(std::initializer_list<int> colors) : colors_(colors) {}
  [[nodiscard]] auto begin() const { return colors_.begin(); }
  [[nodiscard]] auto end() const { return colors_.end(); }

 private:
  std::vector<int> colors_;
};

TEST(Defaultable, OptionalDefaultsToAbsent) { EXPECT_EQ(defaultValue<std::optional<int>>(), std::nullopt); }

TEST(Defaultable, CollectionDefaultsToEmpty) {
  EXPECT_EQ(defaultValue<std::string>(), "");
  EXPECT_EQ(defaultValue<std::vector<int>>(), std::vector<int>());
  EXPECT_EQ(defaultValue<std::deque<int>>(), std::deque<int>());
  EXPECT_EQ(defaultValue<std::list<int>>(), std::list<int>());
  EXPECT_EQ(defaultValue<Data>(), Data());
}

TEST(Defaultable, TypeMadeOfAListDefaultsToEmpty) {
  EXPECT_EQ(defaultValue<std::set<int>>(), std::set<int>());
  const Palette palette = defaultValue<Palette>();
  EXPECT_EQ(palette.begin(), palette.end());
}

TEST(Defaultable, HostsTypeGivesItsOwnDefault) { EXPECT_EQ(defaultValue<OfAHost>().number, 7); }

TEST(Defaultable, NumbersDoNotConform) {
  static_assert(!Defaultable<int>);
  static_assert(!Defaultable<bool>);
  static_assert(!Defaultable<double>);
}

}  // namespace
}  // namespace Tessaly
