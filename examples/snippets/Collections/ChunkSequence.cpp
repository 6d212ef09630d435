// SPDX-License-Identifier: MIT
#include "Tessaly/Collections/ChunkSequence.hpp"

#include <algorithm>
#include <vector>

namespace Tessaly {

struct Song {};
std::vector<Song> allSongs();
inline constexpr auto upload = [](auto&& chunk) {};

void showChunkSequence() {
  std::vector<Song> songs = allSongs();
  for (auto chunk : chunked(songs, 100)) upload(chunk);
}

void showIterator(std::vector<Song> songs) {
  auto chunks = chunked(songs, 100).makeIterator();
  while (auto chunk = chunks.next()) upload(*chunk);
}

void showStandardIterator(const std::vector<Song>& songs) {
  if (songs.empty()) return;
  std::ranges::for_each(chunked(songs, 100), upload);
}

}  // namespace Tessaly
