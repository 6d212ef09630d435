// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Files/DirectorySource.hpp"

#include "Tessaly/Platform/Files/FileManager.hpp"

namespace Tessaly {

struct List {
  void rename(const std::string& from, const std::string& to);
};
void apply(const DirectoryChange& change);

void applyRename(List& list, const DirectoryChange& change) {
  if (change.kind == DirectoryChange::Kind::renamed) list.rename(change.formerPath, change.entry.path);
}

void showSource(FileManager& files, const URL& notes, void (*wakeConsumer)()) {
  auto source = files.makeDirectorySource(notes, DirectoryDepth::tree, [wakeConsumer] { wakeConsumer(); });
  for (const DirectoryChange& change : source->takeChanges()) apply(change);
}

}  // namespace Tessaly
