// SPDX-License-Identifier: MIT
#include <chrono>
#include <map>
#include <string>

#include "Tessaly/Core/Tasks/Async.hpp"
#include "Tessaly/SystemServices/FileManager+DirectoryChanges.hpp"

namespace Tessaly {

using namespace std::chrono_literals;

void followTree(FileManager& files, const URL& notes) {
  auto changes = directoryChanges(files, notes, {.depth = DirectoryDepth::tree, .debounce = 200ms});
}

Async<void> followEntries(URL notes) {
  std::map<std::string, FileAttributes> shown;
  auto changes = directoryChanges(FileManager::default_(), notes).makeAsyncIterator();
  while (auto some = co_await changes.next()) {
    for (const DirectoryChange& change : *some) {
      if (change.kind == DirectoryChange::Kind::renamed) shown.erase(change.formerPath);
      if (change.kind == DirectoryChange::Kind::disappeared) {
        shown.erase(change.entry.path);
      } else {
        shown[change.entry.path] = change.entry.attributes;
      }
    }
  }
}

}  // namespace Tessaly
