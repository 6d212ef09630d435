// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <ranges>
#include <sstream>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

#include "Tessaly/Core/Observation/ObservationTracking.hpp"
#include "Tessaly/Core/Observation/Property.hpp"
#include "tests/Support/Allocations.hpp"

namespace Tessaly {
namespace {

using testing::ElementsAre;
using Tests::allocationsOf;

struct Song {
  Property<std::string> title = "Blue";
};

struct Player {
  Property<int> volume = 50;
  Property<std::string> name;
  Property<std::vector<std::string>> queue;
  Property<std::shared_ptr<Song>> song;
  Property<std::optional<std::string>> error;
  Property<bool> isPlaying = false;
  Property<std::unique_ptr<int>> owned;
  [[nodiscard]] bool isSilent() const { return volume == 0 || !isPlaying; }
};

struct Point {
  int x = 0;
  int y = 0;
};

static_assert(std::ranges::forward_range<const Property<std::vector<int>>>);
static_assert(std::is_convertible_v<const char*, Property<std::string>>);
static_assert(!std::is_convertible_v<std::size_t, Property<std::vector<int>>>, "explicit stays explicit");
static_assert(!std::is_copy_constructible_v<Property<std::unique_ptr<int>>>);
static_assert(sizeof(Property<void*>) == 2 * sizeof(void*));

TEST(Property, IsReadAndWrittenLikeItsValue) {
  Player player;
  player.volume = 20;
  player.volume += 30;
  player.volume -= 10;
  player.volume *= 3;
  player.volume /= 2;
  player.volume %= 50;
  EXPECT_EQ(player.volume, 10);
  player.volume |= 5;
  player.volume &= 14;
  player.volume ^= 1;
  EXPECT_EQ(player.volume, 15);
  EXPECT_EQ(player.volume++, 15);
  EXPECT_EQ(++player.volume, 17);
  EXPECT_EQ(player.volume--, 17);
  EXPECT_EQ(--player.volume, 15);
  const int doubled = player.volume * 2;
  EXPECT_EQ(doubled, 30);
  EXPECT_TRUE(player.volume > 14 && 14 < player.volume && player.volume != 3 && player.volume <= 15);
  player.name = "Radio";
  player.name += " One";
  const std::string name = player.name;
  EXPECT_EQ(name, "Radio One");
  EXPECT_EQ(player.name, name);
  EXPECT_TRUE(player.name < std::string("S"));
  EXPECT_EQ(player.name->size(), 9U);
  EXPECT_EQ(player.name + "!" + player.name, "Radio One!Radio One");
  EXPECT_EQ("<" + player.name + player.name, "<Radio OneRadio One");
  EXPECT_EQ(player.name + player.name, "Radio OneRadio One");
  player.isPlaying = true;
  EXPECT_TRUE(player.isPlaying);
  EXPECT_FALSE(!player.isPlaying);
  std::ostringstream stream;
  stream << player.name << ' ' << player.volume;
  EXPECT_EQ(stream.str(), "Radio One 15");
  EXPECT_EQ(1 << Property<int>(3), 8);
}

TEST(Property, ArrowReachesTheObjectOfAPointer) {
  Player player;
  EXPECT_FALSE(player.song);
  player.song = std::make_shared<Song>();
  EXPECT_TRUE(player.song);
  player.song->title = "Green";
  EXPECT_EQ(player.song->title, "Green");
  EXPECT_EQ((*player.song).title, "Green");
  EXPECT_FALSE(player.error);
  player.error = "offline";
  EXPECT_EQ(*player.error, "offline");
  EXPECT_EQ(player.error->size(), 7U);
  EXPECT_EQ(player.error, std::optional<std::string>("offline"));
  player.error = std::nullopt;
  EXPECT_FALSE(player.error);
  Song other;
  const Property<Song*> pointer(&other);
  EXPECT_EQ(pointer->title, "Blue");
}

TEST(Property, IsARangeIfItsValueIs) {
  Player player;
  player.queue = {"a", "b"};
  std::string all;
  for (const std::string& title : player.queue) all += title;
  EXPECT_EQ(all, "ab");
  EXPECT_EQ(player.queue[1], "b");
  EXPECT_EQ(player.queue->size(), 2U);
}

TEST(Property, TakesBracesAndMoves) {
  Property<Point> point = Point{1, 2};
  point = {3, 4};
  EXPECT_EQ(point->y, 4);
  point = {};
  EXPECT_EQ(point->y, 0);
  Player player;
  player.owned = std::make_unique<int>(3);
  EXPECT_EQ(*player.owned, 3);
  player.owned.setValue(nullptr);
  EXPECT_FALSE(player.owned);
}

TEST(Property, AnnouncesEveryWayOfWriting) {
  int changes = 0;
  Property<int> number = 1;
  const auto changesBy = [&](auto write) {
    changes = 0;
    withObservationTracking([&] { return number.value(); }, [&] { ++changes; });
    write();
    return changes;
  };
  EXPECT_EQ(changesBy([&] { number = 1; }), 1);
  EXPECT_EQ(changesBy([&] { number.setValue(1); }), 1);
  EXPECT_EQ(changesBy([&] { number = Property<int>(4); }), 1);
  EXPECT_EQ(changesBy([&] { number += 1; }), 1);
  EXPECT_EQ(changesBy([&] { number++; }), 1);
  EXPECT_EQ(changesBy([&] { --number; }), 1);
  EXPECT_EQ(changesBy([&] { number.modify([](int&) {}); }), 1);
  EXPECT_EQ(changesBy([&] { static_cast<void>(number + 1); }), 0);
}

TEST(Property, RecordsEveryWayOfReading) {
  int changes = 0;
  Player player;
  player.queue = {"a"};
  player.song = std::make_shared<Song>();
  player.error = "e";
  const auto changesAfter = [&](auto read, auto write) {
    changes = 0;
    withObservationTracking(read, [&] { ++changes; });
    write();
    return changes;
  };
  const auto setVolume = [&] { player.volume = 1; };
  const auto setQueue = [&] { player.queue = {"a"}; };
  EXPECT_EQ(changesAfter([&] { return player.volume.value(); }, setVolume), 1);
  EXPECT_EQ(changesAfter([&] { return player.volume + 1; }, setVolume), 1);
  EXPECT_EQ(changesAfter([&] { return player.volume == 3; }, setVolume), 1);
  EXPECT_EQ(changesAfter([&] { return Property<int>(player.volume) == player.volume; }, setVolume), 1);
  EXPECT_EQ(changesAfter([&] { return player.volume < 3; }, setVolume), 1);
  EXPECT_EQ(changesAfter([&] { return player.queue->size(); }, setQueue), 1);
  EXPECT_EQ(changesAfter([&] { return player.queue[0]; }, setQueue), 1);
  EXPECT_EQ(changesAfter([&] { return player.queue.begin() == player.queue.end(); }, setQueue), 1);
  EXPECT_EQ(changesAfter([&] { return *player.error; }, [&] { player.error = "f"; }), 1);
  EXPECT_EQ(changesAfter([&] { return player.error ? 1 : 0; }, [&] { player.error = "f"; }), 1);
  EXPECT_EQ(changesAfter([&] { return player.song->title.value(); }, [&] { player.song->title = "x"; }), 1);
  EXPECT_EQ(changesAfter([&] { return player.song->title.value(); }, [&] { player.song = nullptr; }), 1);
  player.song = std::make_shared<Song>();
  EXPECT_EQ(changesAfter([&] { return player.song->title.value(); }, [&] { player.volume = 3; }), 0);
}

TEST(Property, CallsTrackersBeforeTheValueChanges) {
  Property<int> number = 1;
  int seen = 0;
  withObservationTracking([&] { return number.value(); }, [&] { seen = number; });
  number = 2;
  EXPECT_EQ(seen, 1);
  EXPECT_EQ(number, 2);
}

TEST(Property, ComputedPropertyFollowsItsReads) {
  int changes = 0;
  Player player;
  const auto track = [&] { return withObservationTracking([&] { return player.isSilent(); }, [&] { ++changes; }); };
  EXPECT_TRUE(track());
  player.isPlaying = true;
  EXPECT_EQ(changes, 1);
  EXPECT_FALSE(track());
  player.volume = 0;
  EXPECT_EQ(changes, 2);
  EXPECT_TRUE(track());
  player.isPlaying = false;  // The function has not read it, because the volume decided.
  EXPECT_EQ(changes, 2);
}

TEST(Property, ModifyReturnsTheResultAndAnnouncesAThrow) {
  Property<std::vector<int>> numbers = std::vector<int>{1, 2};
  EXPECT_EQ(numbers.modify([](auto& all) {
    all.push_back(3);
    return all.size();
  }),
            3U);
  int late = 0;
  EXPECT_THROW(numbers.modify([&](auto& all) {
    all.clear();
    withObservationTracking([&] { return numbers->size(); }, [&] { ++late; });
    throw std::runtime_error("no");
  }),
               std::runtime_error);
  EXPECT_EQ(late, 1);
  EXPECT_TRUE(numbers->empty());
}

TEST(Property, CopyHasTheValueWithoutTheObservers) {
  Player player;
  int changes = 0;
  withObservationTracking([&] { return player.volume.value(); }, [&] { ++changes; });
  Property<int> copy = player.volume;
  copy = 7;
  EXPECT_EQ(changes, 0);
  EXPECT_EQ(player.volume, 50);
  player.volume = copy;
  EXPECT_EQ(changes, 1);
  EXPECT_EQ(player.volume, 7);
}

TEST(Property, EndCountsAsAChangeWithAReadableValue) {
  std::string seen;
  auto song = std::make_unique<Song>();
  Song* const address = song.get();
  withObservationTracking([&] { return song->title.value(); }, [&, address] { seen = address->title; });
  song.reset();
  EXPECT_EQ(seen, "Blue");
}

TEST(Property, IsNamedByAKeyPathOfItsValuesType) {
  static_assert(std::is_same_v<decltype(keyPath<&Player::volume>), const KeyPath<Player, int>>);
  Player player;
  EXPECT_EQ(keyPath<&Player::volume>.read(player), 50);
  EXPECT_FALSE(keyPath<&Player::volume>.isComputed());
  EXPECT_TRUE(keyPath<&Player::isSilent>.isComputed());
  int changes = 0;
  withObservationTracking([&] { keyPath<&Player::owned>.access(player); }, [&] { ++changes; });
  player.owned = nullptr;
  EXPECT_EQ(changes, 1);
  withObservationTracking([&] { keyPath<&Player::isSilent>.access(player); }, [&] { ++changes; });
  player.isPlaying = true;
  EXPECT_EQ(changes, 2);
}

TEST(Property, AllocatesNothingUntilItIsTracked) {
  Player player;
  EXPECT_EQ(allocationsOf([&] {
              player.volume = 1;
              player.volume += player.volume;
            }),
            0);
  withObservationTracking([&] { return player.volume.value(); }, [] {});
  EXPECT_EQ(allocationsOf([&] { player.volume = 1; }), 0);
}

}  // namespace
}  // namespace Tessaly
