// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Tasks/AsyncFlatMapSequence.hpp"

#include <string>

#include "Tessaly/Platform/Tasks/AsyncStream.hpp"
#include "Tessaly/Platform/Tasks/AsyncThrowingStream.hpp"

namespace Tessaly {

using Path = std::string;
struct Song {
  std::string name;
};
struct Album {
  std::string name;
};
AsyncStream<Song> songsOf(Album album);
AsyncThrowingStream<std::string> linesOf(Path path);

void showAsyncFlatMapSequence(AsyncStream<Album> albums, AsyncStream<Path> paths) {
  auto songs = flatMap(albums, [](Album album) { return songsOf(album); });
  auto lines = throwingFlatMap(paths, [](Path path) { return linesOf(path); });
}

}  // namespace Tessaly
