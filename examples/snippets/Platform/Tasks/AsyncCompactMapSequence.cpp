// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Tasks/AsyncCompactMapSequence.hpp"

#include <optional>
#include <string>

#include "Tessaly/Platform/Tasks/AsyncStream.hpp"

namespace Tessaly {

using Path = std::string;
struct Song {
  std::optional<std::string> cover;
};

std::optional<long> sizeOfFile(const Path& path);

void snippet(const AsyncStream<Song>& songs, const AsyncStream<Path>& paths) {
  auto covers = compactMap(songs, [](Song song) { return song.cover; });
  auto sizes = throwingCompactMap(paths, [](Path path) { return sizeOfFile(path); });
}

}  // namespace Tessaly
