// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Observation/KeyPath.hpp"

#include <algorithm>
#include <string>
#include <unordered_map>
#include <vector>

namespace Tessaly {

namespace {

struct Song {
  std::string title;
};

}  // namespace

void showAnyKeyPath() {
  std::unordered_map<AnyKeyPath, int> changes;
  ++changes[keyPath<&Song::title>];
}

void showKeyPath(Song song, std::vector<Song> songs) {
  KeyPath<Song, std::string> title = keyPath<&Song::title>;
  std::string text = title.read(song);
  std::ranges::sort(songs, {}, title);
}

}  // namespace Tessaly
