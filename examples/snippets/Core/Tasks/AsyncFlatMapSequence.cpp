// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Tasks/AsyncFlatMapSequence.hpp"

#include <string>

#include "Tessaly/Core/Tasks/AsyncStream.hpp"
#include "Tessaly/Core/Tasks/AsyncThrowingStream.hpp"

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
