// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Tasks/AsyncFlatMapSequence.hpp"

#include <string>

#include "Tessaly/Platform/Tasks/AsyncStream.hpp"
#include "Tessaly/Platform/Tasks/AsyncThrowingStream.hpp"

namespace Tessaly {

using Path = std::string;
struct Song {};
struct Album {};

AsyncStream<Song> songsOf(const Album& album);
AsyncThrowingStream<std::string> linesOf(const Path& path);

void snippet(const AsyncStream<Album>& albums, const AsyncStream<Path>& paths) {
  auto songs = flatMap(albums, [](Album album) { return songsOf(album); });
  auto lines = throwingFlatMap(paths, [](Path path) { return linesOf(path); });
}

}  // namespace Tessaly
