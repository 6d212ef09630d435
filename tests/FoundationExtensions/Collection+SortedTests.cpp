// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <random>
#include <ranges>
#include <string>
#include <utility>
#include <vector>

#include "Tessaly/FoundationExtensions/Collection+Sorted.hpp"

namespace {

using namespace Tessaly;
using ::testing::ElementsAre;

struct Song {
  std::string title;
  int year = 0;
  [[nodiscard]] std::size_t length() const { return title.size(); }
  friend bool operator==(const Song&, const Song&) = default;
};

const Song help{"Help!", 1965};
const Song girl{"Girl", 1965};
const Song yesterday{"Yesterday", 1965};
const Song because{"Because", 1969};

TEST(Sorted, ComparesTheValuesAtTheKeyPath) {
  const std::vector<Song> album{yesterday, because, girl, help};
  EXPECT_THAT(Collection::sorted(album, &Song::title, std::less()), ElementsAre(because, girl, help, yesterday));
  EXPECT_THAT(Collection::sorted(album, &Song::title, std::greater()), ElementsAre(yesterday, help, girl, because));
  EXPECT_THAT(Collection::sorted(album, &Song::length, std::less()), ElementsAre(girl, help, because, yesterday));
  EXPECT_THAT(Collection::sorted(
                  album, [](const Song& song) { return -song.year; }, std::less()),
              ElementsAre(because, yesterday, girl, help));
}

TEST(Sorted, KeepsTheOrderOfEqualValuesAndTheCollectionItself) {
  const std::list<Song> album{yesterday, because, girl, help};
  EXPECT_THAT(Collection::sorted(album, &Song::year, std::less()), ElementsAre(yesterday, girl, help, because));
  EXPECT_THAT(album, ElementsAre(yesterday, because, girl, help));
  EXPECT_TRUE(Collection::sorted(std::vector<Song>{}, &Song::year, std::less()).empty());
}

TEST(Sorted, TakesMapsAndViews) {
  const std::map<std::string, int> years{{"Because", 1969}, {"Girl", 1965}};
  using Entry = std::pair<const std::string, int>;
  EXPECT_THAT(Collection::sorted(years, &Entry::second, std::less()),
              ElementsAre(testing::Pair("Girl", 1965), testing::Pair("Because", 1969)));
  EXPECT_THAT(Collection::sorted(std::views::iota(std::int64_t{0}, std::int64_t{3}), std::identity(), std::greater()),
              ElementsAre(2, 1, 0));
}

TEST(Sorted, SurvivesAnInconsistentOrder) {
  std::mt19937 random(7);
  std::vector<int> numbers(2000);
  for (int& number : numbers) number = static_cast<int>(random() % 10);
  const auto sorted = Collection::sorted(numbers, std::identity(), std::less_equal());
  EXPECT_TRUE(std::ranges::is_sorted(sorted));
  EXPECT_EQ(sorted.size(), numbers.size());
}

}  // namespace
