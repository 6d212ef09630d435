// SPDX-License-Identifier: MIT
#include "Tessaly/Concurrency/AnyAsyncSequence.hpp"

#include "Tessaly/Core/Tasks/AsyncStream.hpp"

namespace Tessaly {

struct Song {};
struct Playlist {
  AsyncStream<Song> songs() const;
};

// clang-format off
void follow(AnyAsyncSequence<Song> auto songs);
// clang-format on
void follow(AnyAsyncSequence<Song> auto songs) {}

void showAnyAsyncSequence(Playlist playlist) {
  AnyAsyncSequence<Song> auto songs = eraseToAnyAsyncSequence(playlist.songs());
  follow(songs);
}

}  // namespace Tessaly
