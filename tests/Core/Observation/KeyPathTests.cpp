// SPDX-License-Identifier: MIT
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <sstream>
#include <string>
#include <type_traits>
#include <unordered_map>
#include <vector>

#include "KeyPathPlugin.hpp"
#include "Tessaly/Core/Observation/KeyPath.hpp"
#include "Tessaly/Core/Observation/NSKeyValueObservation.hpp"

namespace Tessaly {

struct Album {
  std::string title;
};

struct Track {
  std::string title;
  int seconds = 0;
  [[nodiscard]] int minutes() const { return seconds / 60; }
  [[nodiscard]] const std::string& sortTitle() const noexcept { return title; }
};

struct Single : Track {
  const int year = 1999;
};

template <typename T>
struct Box {
  T content{};
};

namespace {

struct Hidden {
  int title = 0;
};

static_assert(std::is_same_v<decltype(keyPath<&Track::title>), const KeyPath<Track, std::string>>);
static_assert(std::is_same_v<decltype(keyPath<&Single::year>), const KeyPath<Single, int>>);
static_assert(std::is_same_v<decltype(keyPath<&Track::minutes>), const KeyPath<Track, int>>);
static_assert(std::is_same_v<decltype(keyPath<&Track::sortTitle>), const KeyPath<Track, std::string>>);
static_assert(std::is_same_v<decltype(keyPath<&Single::title>), const KeyPath<Track, std::string>>);

TEST(KeyPath, ReadsDataMembersAndMemberFunctions) {
  const Track track{"Blue", 185};
  EXPECT_EQ(keyPath<&Track::title>.read(track), "Blue");
  EXPECT_EQ(keyPath<&Track::seconds>.read(track), 185);
  EXPECT_EQ(keyPath<&Single::year>.read(Single()), 1999);
  EXPECT_EQ(keyPath<&Track::minutes>.read(track), 3);
  EXPECT_EQ(keyPath<&Track::sortTitle>.read(track), "Blue");
}

TEST(KeyPath, EqualsOnlyThatOfTheSameMember) {
  const AnyKeyPath title = keyPath<&Track::title>;
  EXPECT_EQ(title, keyPath<&Track::title>);
  EXPECT_EQ(title, keyPath<&Single::title>);
  EXPECT_NE(title, keyPath<&Track::sortTitle>);
  EXPECT_NE(title, keyPath<&Track::seconds>);
  EXPECT_NE(title, keyPath<&Album::title>);
  EXPECT_NE(title, keyPath<&Hidden::title>);
  EXPECT_NE(keyPath<&Track::seconds>, keyPath<&Single::year>);
}

TEST(KeyPath, DistinguishesMembersOfTemplateInstances) {
  EXPECT_NE(AnyKeyPath(keyPath<&Box<int>::content>), AnyKeyPath(keyPath<&Box<long>::content>));
  EXPECT_EQ(AnyKeyPath(keyPath<&Box<int>::content>), AnyKeyPath(keyPath<&Box<int>::content>));
}

// A privately loaded library brings another record with the same tag.
TEST(KeyPath, EqualsAnotherCopyOfItsRecord) {
  const auto copy = detail::KeyPathOf<&Track::title>::record;
  const KeyPath<Track, std::string> other(copy);
  EXPECT_EQ(other, keyPath<&Track::title>);
  EXPECT_EQ(std::hash<AnyKeyPath>()(other), std::hash<AnyKeyPath>()(keyPath<&Track::title>));
}

/// The key paths of a plug-in. The plug-in is opened with symbols of its own, and stays open.
const Tests::PluginKeyPaths* keyPathsOf(const char* plugin) {
  void* const handle = ::dlopen(plugin, RTLD_NOW | RTLD_LOCAL);
  if (handle == nullptr) {
    ADD_FAILURE() << ::dlerror();
    return nullptr;
  }
  return reinterpret_cast<const Tests::PluginKeyPaths* (*)()>(::dlsym(handle, "pluginKeyPaths"))();
}

TEST(KeyPath, IsEqualInAHostAndTwoPlugIns) {
  const Tests::PluginKeyPaths* const first = keyPathsOf(TESSALY_FIRST_KEY_PATH_PLUGIN);
  const Tests::PluginKeyPaths* const second = keyPathsOf(TESSALY_SECOND_KEY_PATH_PLUGIN);
  ASSERT_TRUE(first != nullptr && second != nullptr && first != second);
  for (const auto* plugin : {first, second}) {
    EXPECT_NE(plugin->title.name().data(), keyPath<&Tests::Tune::title>.name().data()) << "a record of its own";
    EXPECT_EQ(plugin->title, keyPath<&Tests::Tune::title>);
    EXPECT_EQ(plugin->seconds, keyPath<&Tests::Tune::seconds>);
    EXPECT_EQ(plugin->minutes, keyPath<&Tests::Tune::minutes>);
    EXPECT_EQ(plugin->content, keyPath<&Tests::Shelf<Tests::Tune>::content>);
    EXPECT_EQ(plugin->seconds.hash(), keyPath<&Tests::Tune::seconds>.hash());
    EXPECT_NE(AnyKeyPath(plugin->seconds), plugin->minutes);
    EXPECT_NE(plugin->title, keyPath<&Track::title>);
  }
  EXPECT_EQ(first->title, second->title);
  EXPECT_EQ(first->minutes, second->minutes);
  EXPECT_NE(first->hidden, second->hidden);

  std::unordered_map<AnyKeyPath, int> counts;
  for (const auto* plugin : {first, second}) ++counts[plugin->minutes];
  ++counts[keyPath<&Tests::Tune::minutes>];
  EXPECT_EQ(counts.size(), 1U);
}

TEST(KeyPath, KeyPathOfAPlugInObservesAHostsObject) {
  const Tests::PluginKeyPaths* const plugin = keyPathsOf(TESSALY_FIRST_KEY_PATH_PLUGIN);
  ASSERT_NE(plugin, nullptr);
  const auto tune = std::make_shared<Tests::Tune>();
  tune->seconds = 180;
  EXPECT_EQ(plugin->minutes.read(*tune), 3);
  std::vector<int> minutes;
  const auto observation = observe(tune, plugin->minutes, NSKeyValueObservingOptions::new_,
                                   [&](const auto& change) { minutes.push_back(*change.newValue); });
  tune->seconds = 240;
  // With static libraries a plug-in has observers of its own.
  EXPECT_EQ(minutes, TESSALY_PLUGINS_SHARE_THE_LIBRARY ? std::vector<int>{4} : std::vector<int>());
}

TEST(KeyPath, LocalClassesOfTwoFilesDiffer) {
  const auto copy = detail::KeyPathOf<&Hidden::title>::record;
  EXPECT_EQ((KeyPath<Hidden, int>(copy) == keyPath<&Hidden::title>), false);
  EXPECT_EQ(keyPath<&Hidden::title>, keyPath<&Hidden::title>);
}

TEST(KeyPath, CanBeAKeyOfATable) {
  std::unordered_map<AnyKeyPath, int> counts;
  ++counts[keyPath<&Track::title>];
  ++counts[keyPath<&Track::title>];
  ++counts[keyPath<&Album::title>];
  EXPECT_EQ(counts.size(), 2U);
  EXPECT_EQ(counts.at(keyPath<&Track::title>), 2);
}

TEST(KeyPath, CanBeAProjection) {
  std::vector<Track> tracks{{"c", 1}, {"a", 3}, {"b", 2}};
  std::ranges::sort(tracks, {}, keyPath<&Track::title>);
  EXPECT_EQ(tracks[0].title, "a");
  std::ranges::sort(tracks, {}, keyPath<&Track::seconds>);
  EXPECT_EQ(tracks[0].title, "c");
}

TEST(KeyPath, GivesItsNames) {
  std::ostringstream stream;
  stream << keyPath<&Track::minutes>;
  EXPECT_EQ(stream.str(), "Track.minutes");
  EXPECT_EQ(keyPath<&Single::title>.description(), "Track.title");
  EXPECT_EQ(keyPath<&Box<int>::content>.description(), "Box<int>.content");
  EXPECT_EQ(keyPath<&Hidden::title>.name(), "title");
}

TEST(KeyPath, KnowsWhetherItsPropertyIsComputed) {
  EXPECT_FALSE(keyPath<&Track::title>.isComputed());
  EXPECT_TRUE(keyPath<&Track::minutes>.isComputed());
  EXPECT_TRUE(keyPath<&Track::sortTitle>.isComputed());
}

}  // namespace
}  // namespace Tessaly
