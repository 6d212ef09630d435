// SPDX-License-Identifier: MIT
// How the source changes its model and reports the changes, after it has examined names.
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Tessaly/Platform/Linux/InotifyDirectorySource.hpp"

namespace Tessaly::inline v1::detail {

void InotifyDirectorySource::settle() {
  while (!found_.empty()) {
    std::vector<Place> blocked;
    bool isAnySettled = false;
    // Adding a directory finds further entries.
    while (!found_.empty()) {
      Place place = std::move(found_.back());
      found_.pop_back();
      if (settleOne(place)) {
        isAnySettled = true;
      } else {
        blocked.push_back(std::move(place));
      }
    }
    if (!isAnySettled) makeRoom(blocked);
    found_ = std::move(blocked);
  }
  for (const auto& [identity, places] : std::exchange(gone_, {})) {
    for (const auto& [directory, name] : places) {
      if (!isAttached(*directory)) continue;
      const auto entry = directory->entries.find(name);
      if (entry != directory->entries.end() && entry->second.file.identity == identity) remove(*directory, name);
    }
  }
}

bool InotifyDirectorySource::settleOne(const Place& place) {
  if (!isAttached(*place.directory)) return true;
  const auto occupant = place.directory->entries.find(place.name);
  if (occupant != place.directory->entries.end()) return occupant->second.file.identity == place.file.identity;
  if (!moveHere(place)) add(place);
  return true;
}

void InotifyDirectorySource::makeRoom(const std::vector<Place>& blocked) {
  std::set<EntryIdentity> wanted;
  for (const Place& place : blocked) wanted.insert(place.file.identity);
  bool isAnyRemoved = false;
  const auto removeOccupants = [&](bool alsoWanted) {
    for (const Place& place : blocked) {
      if (isAnyRemoved && alsoWanted) return;
      if (!isAttached(*place.directory)) continue;
      const auto occupant = place.directory->entries.find(place.name);
      if (occupant == place.directory->entries.end()) continue;
      if (!alsoWanted && wanted.contains(occupant->second.file.identity)) continue;
      remove(*place.directory, place.name);
      isAnyRemoved = true;
    }
  };
  removeOccupants(false);
  // Files that exchanged their names: one of them disappears and appears again.
  removeOccupants(true);
}

bool InotifyDirectorySource::moveHere(const Place& place) {
  const auto former = gone_.find(place.file.identity);
  if (former == gone_.end()) return false;
  for (const auto& [directory, name] : former->second) {
    if (!isAttached(*directory)) continue;
    const auto found = directory->entries.find(name);
    if (found == directory->entries.end() || found->second.file.identity != place.file.identity) continue;
    Directory* const moved = found->second.directory.get();
    bool isIntoItself = false;
    for (const Directory* up = place.directory; up != nullptr; up = up->parent) isIntoItself |= up == moved;
    if (isIntoItself) continue;
    std::string formerPath = pathOf(*directory, name);
    auto node = directory->entries.extract(found);
    node.key() = place.name;
    node.mapped().file = place.file;
    if (place.file.isLinked) linked_.insert(place.file.identity);
    if (moved != nullptr) {
      moved->parent = place.directory;
      moved->name = place.name;
    }
    Entry& entry = place.directory->entries.insert(std::move(node)).position->second;
    report(DirectoryChange::Kind::renamed, *place.directory, place.name, place.file.attributes, std::move(formerPath));
    if (moved != nullptr && look_ == Look::everything) lookAtEverything(*moved);
    descend(*place.directory, entry, place.name);  // Opening it may have failed at its former place.
    return true;
  }
  return false;
}

void InotifyDirectorySource::add(const Place& place) {
  if (place.file.isLinked) linked_.insert(place.file.identity);
  Entry& entry = place.directory->entries[place.name];
  entry.file = place.file;
  report(DirectoryChange::Kind::appeared, *place.directory, place.name, place.file.attributes);
  descend(*place.directory, entry, place.name);
}

void InotifyDirectorySource::remove(Directory& directory, const std::string& name) {
  const auto found = directory.entries.find(name);
  report(DirectoryChange::Kind::disappeared, directory, name, found->second.file.attributes);
  if (auto& below = found->second.directory; below != nullptr) detach(below);
  directory.entries.erase(found);
}

void InotifyDirectorySource::removeContents(Directory& directory) {
  while (!directory.entries.empty()) remove(directory, directory.entries.begin()->first);
  detach(directory.parent->entries.at(directory.name).directory);
}

void InotifyDirectorySource::detach(std::unique_ptr<Directory>& directory) {
  forget(*directory);
  directory->parent = nullptr;
  removed_.push_back(std::move(directory));  // Places may still point to the directory.
}

void InotifyDirectorySource::report(DirectoryChange::Kind kind, const Directory& directory, const std::string& name,
                                    const FileAttributes& attributes, std::string formerPath) {
  changes_.push_back({kind, {pathOf(directory, name), attributes}, std::move(formerPath)});
}

bool InotifyDirectorySource::isAttached(const Directory& directory) const noexcept {
  const Directory* top = &directory;
  while (top->parent != nullptr) top = top->parent;
  return top == &root_;
}

std::string InotifyDirectorySource::pathOf(const Directory& directory, std::string_view name) {
  std::string path(name);
  for (const Directory* up = &directory; up->parent != nullptr; up = up->parent) {
    path.insert(0, 1, '/').insert(0, up->name);
  }
  return path;
}

}  // namespace Tessaly::inline v1::detail
