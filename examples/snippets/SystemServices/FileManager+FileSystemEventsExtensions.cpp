// SPDX-License-Identifier: MIT
#include "Tessaly/SystemServices/FileManager+FileSystemEventsExtensions.hpp"

namespace Tessaly {

void reload();
void show(const Data& data);

Async<void> followWrites(URL file) {
  auto writes = writeFileSystemEvents(FileManager::default_(), file, 0.5).makeAsyncIterator();
  while (co_await writes.next()) reload();
}

Async<void> followContents(URL file) {
  auto contents = writeFileSystemEventsWithData(FileManager::default_(), file, 0.5).makeAsyncIterator();
  while (auto data = co_await contents.next()) show(*data);
}

Async<void> awaitUnlocking(URL lockFile) {
  // Another process holds it.
  co_await nextFileSystemDelete(FileManager::default_(), lockFile);
}

Async<void> followChanges(URL file) {
  auto changes = fileChanges(FileManager::default_(), file).makeAsyncIterator();
  reload();
  while (co_await changes.next()) reload();
}

}  // namespace Tessaly
