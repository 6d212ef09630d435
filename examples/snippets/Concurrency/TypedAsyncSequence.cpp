// SPDX-License-Identifier: MIT
#include "Tessaly/Concurrency/TypedAsyncSequence.hpp"

namespace Tessaly {

struct Song {};

void follow(TypedAsyncSequence<Song, Never> auto songs);
void follow(TypedAsyncSequence<Song, Never> auto songs) {}

void showTypedAsyncSequence(AsyncStream<Song> songs) { follow(songs); }

}  // namespace Tessaly
