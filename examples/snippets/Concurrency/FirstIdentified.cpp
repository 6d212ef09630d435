// SPDX-License-Identifier: MIT
#include "Tessaly/Concurrency/FirstIdentified.hpp"

#include "Tessaly/Core/Tasks/AsyncStream.hpp"

namespace Tessaly {

struct Song {};
void show(const Song& song, const char* when);

Async<void> showFirstIdentified(AsyncStream<Song> songs) {
  auto iterator = firstIdentified(songs).makeAsyncIterator();
  while (auto pair = co_await iterator.next()) show(pair->second, pair->first ? "now" : "next");
}

void showAsyncIterator(AsyncStream<Song> songs) {
  FirstIdentified<AsyncStream<Song>>::AsyncIterator iterator = firstIdentified(songs).makeAsyncIterator();
}

}  // namespace Tessaly
