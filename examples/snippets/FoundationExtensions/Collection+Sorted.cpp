// SPDX-License-Identifier: MIT
#include <string>

#include "Tessaly/FoundationExtensions/Collection+Sorted.hpp"

namespace {

using namespace Tessaly;

struct Song {
  std::string title;
};

void show(const std::vector<Song>& album) {
  std::vector<Song> songs = Collection::sorted(album, &Song::title, std::less());
}

}  // namespace
