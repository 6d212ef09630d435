// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Tasks/AsyncMapSequence.hpp"

#include <string>

#include "Tessaly/Core/Tasks/AsyncStream.hpp"

namespace Tessaly {

using Path = std::string;
struct Song {
  std::string name;
};
Async<std::string> readWholeFile(Path path);

void showAsyncMapSequence(AsyncStream<Song> songs, AsyncStream<Path> paths) {
  auto names = map(songs, [](Song song) { return song.name; });
  auto contents = throwingMap(paths, [](Path path) { return readWholeFile(path); });
}

}  // namespace Tessaly
