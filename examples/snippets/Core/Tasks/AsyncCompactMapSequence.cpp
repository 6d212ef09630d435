// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Tasks/AsyncCompactMapSequence.hpp"

#include <cstdint>
#include <optional>
#include <string>

#include "Tessaly/Core/Tasks/AsyncStream.hpp"

namespace Tessaly {

using Path = std::string;
struct Song {
  std::optional<std::string> cover;
};
Async<std::optional<std::int64_t>> sizeOfFile(Path path);

void showAsyncCompactMapSequence(AsyncStream<Song> songs, AsyncStream<Path> paths) {
  auto covers = compactMap(songs, [](Song song) { return song.cover; });
  auto sizes = throwingCompactMap(paths, [](Path path) { return sizeOfFile(path); });
}

}  // namespace Tessaly
