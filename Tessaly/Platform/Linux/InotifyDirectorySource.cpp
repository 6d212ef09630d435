// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Linux/InotifyDirectorySource.hpp"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/inotify.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <expected>
#include <limits>
#include <utility>

#include "Tessaly/Core/Foundation/POSIXError.hpp"

namespace Tessaly::inline v1::detail {
namespace {

constexpr std::uint32_t directoryEvents =
    IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_MODIFY | IN_CLOSE_WRITE | IN_ATTRIB | IN_ONLYDIR;

/// Whether FUSE gives this error for an open directory that was removed or replaced, or whose volume has ended.
bool isGone(std::int64_t error) noexcept {
  return error == ENOENT || error == ENOTDIR || error == ESTALE || error == EIO || error == ENOTCONN;
}

/// Calls a function that examines an open directory. Fails with the error code if the directory is gone, or if this
/// process may not search it.
template <typename Examine>
auto whileReadable(Examine examine) -> std::expected<decltype(examine()), std::int64_t> {
  try {
    return examine();
  } catch (const POSIXError& error) {
    if (!isGone(error.code()) && error.code() != EACCES) throw;
    return std::unexpected(error.code());
  }
}

using Listing = std::expected<std::vector<std::pair<std::string, FoundFile>>, std::int64_t>;

/// The entries of an open directory. Fails like `whileReadable`.
///
/// If the type of a remote file changes and changes back, FUSE gives `EIO` for its name while a watch keeps the file's
/// inode. So an unreadable entry counts as missing: then its watch ends, and a later listing finds the file again.
Listing listed(int directory) {
  return whileReadable([&] { return listDirectory(directory, UnreadableEntry::isOmitted); });
}

}  // namespace

InotifyDirectorySource::InotifyDirectorySource(std::string path, DirectoryDepth depth,
                                               std::function<void()> onPossibleChange)
    : path_(std::move(path)),
      depth_(depth),
      listener_(std::make_shared<DirectoryListener>(onPossibleChange)),
      pathSource_(path_, std::move(onPossibleChange)) {}

InotifyDirectorySource::~InotifyDirectorySource() { forget(root_); }

bool InotifyDirectorySource::needsPolling() const noexcept {
  return pathSource_.needsPolling() || polledDirectories_ > 0 || needsAnotherLook();
}

std::vector<DirectoryChange> InotifyDirectorySource::takeChanges() {
  InotifyHub::shared().drain();
  if (listener_->isHalfAMove()) InotifyHub::shared().drain();
  const bool hadPostponed = !postponed_.empty();
  const DirectoryListener::Heard heard = listener_->take();
  looksAtEverything_ |= heard.isEverything || polledDirectories_ > 0;
  for (const auto& [watch, names] : heard.names) {
    const auto found = watched_.find(watch);
    if (found == watched_.end()) continue;
    for (Directory* const directory : found->second) {
      for (const auto& [name, wasWritten] : names) postponed_[directory][name] |= wasWritten;
    }
  }
  findRoot();
  try {
    // The loop repeats while it finds changes, because a moved directory gets its new path only at the end of a round.
    constexpr auto never = std::numeric_limits<std::size_t>::max();
    for (std::size_t reported = never; needsAnotherLook() && reported != changes_.size();) {
      reported = changes_.size();
      look_ = std::exchange(looksAtEverything_, false) ? Look::everything : Look::events;
      if (look_ == Look::everything) {
        postponed_.clear();
        lookAtEverything(root_);
      } else {
        lookAtPostponed();
      }
      settle();
      look_ = Look::otherNames;
      lookAtOtherNames();
    }
  } catch (...) {
    looksAtEverything_ = true;  // The model is out of date.
    found_.clear();
    gone_.clear();
    throw;
  }
  // A directory that cannot be opened since the last call was replaced without an event in its parent, as overlayfs
  // does when it copies a directory before the first write.
  if (hadPostponed && !postponed_.empty()) looksAtEverything_ = true;
  removed_.clear();
  return std::exchange(changes_, {});
}

void InotifyDirectorySource::findRoot() {
  const auto change = pathSource_.takeChange();
  isLost_ |= change.has_value() && change != FileChange::contents;
  if (!isLost_) return;
  unwatch(root_);  // A watch keeps the old inode, for which FUSE may give `EIO`.
  const OwnedDescriptor root(::open(path_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!root.isOpen()) throw POSIXError::last();
  const auto found = lookAt(root.get(), "");
  if (found) root_.identity = found->identity;
  if (!found || !watch(root_, root.get())) throw POSIXError(ENOENT);
  isLost_ = false;
  looksAtEverything_ = true;
}

bool InotifyDirectorySource::watch(Directory& directory, int descriptor) {
  const std::string path = fmt::format("/proc/self/fd/{}", descriptor);
  const int number = InotifyHub::shared().add(path.c_str(), directoryEvents, listener_);
  if (number < 0 && isGone(-number)) return false;
  const bool isRefused = number == -EACCES || number == -EPERM;
  if (number < 0 && !isRefused) throw POSIXError(-number);
  directory.watch = number;
  // Without a time of creation, a new directory with the inode number of a removed one looks like the removed one. The
  // events of the new directory are not received.
  directory.isPolled = isRefused || directory.identity.born == 0 || isOnRemoteVolume(path.c_str());
  if (directory.isPolled) ++polledDirectories_;
  if (number >= 0) watched_[number].push_back(&directory);
  return true;
}

void InotifyDirectorySource::unwatch(Directory& directory) noexcept {
  if (std::exchange(directory.isPolled, false)) --polledDirectories_;
  const int number = std::exchange(directory.watch, -1);
  const auto found = watched_.find(number);
  if (found == watched_.end()) return;
  std::erase(found->second, &directory);
  if (found->second.empty()) watched_.erase(found);
  InotifyHub::shared().remove(number, *listener_);
}

void InotifyDirectorySource::forget(Directory& directory) noexcept {
  unwatch(directory);
  postponed_.erase(&directory);
  for (auto& [name, entry] : directory.entries) {
    if (entry.directory != nullptr) forget(*entry.directory);
  }
}

OwnedDescriptor InotifyDirectorySource::open(const Directory& directory) const {
  const bool isRoot = &directory == &root_;
  const std::string path = isRoot ? path_ : path_ + '/' + pathOf(*directory.parent, directory.name);
  OwnedDescriptor opened(
      ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NONBLOCK | (isRoot ? 0 : O_NOFOLLOW)));
  if (!opened.isOpen()) return opened;
  const auto found = whileReadable([&] { return lookAt(opened.get(), ""); }).value_or(std::nullopt);
  if (found && found->identity == directory.identity) return opened;
  errno = ESTALE;
  return {};
}

void InotifyDirectorySource::lookAtEverything(Directory& directory) {
  OwnedDescriptor opened = open(directory);
  auto listing = opened.isOpen() ? listed(opened.get()) : Listing(std::unexpect, errno);
  if (!listing) {
    const bool isForbidden = listing.error() == EACCES;
    if (isForbidden && directory.parent != nullptr) return removeContents(directory);
    if (isForbidden && opened.isOpen()) throw POSIXError(EACCES);
    looksAtEverything_ = true;  // The model will move or remove the directory.
    return;
  }
  opened = {};  // A tree may have more levels than this process may have descriptors.
  std::set<std::string, std::less<>> names;
  for (auto& [name, found] : *listing) {
    compare(directory, name, found, false);
    names.insert(std::move(name));
  }
  std::vector<std::string> missing;
  std::vector<Directory*> below;
  for (const auto& [name, entry] : directory.entries) {
    if (!names.contains(name)) missing.push_back(name);
    if (entry.directory != nullptr) below.push_back(entry.directory.get());
  }
  for (const std::string& name : missing) compare(directory, name, std::nullopt, false);
  // A directory that left this place is listed when it is found at its new place.
  std::erase_if(below, [&](const Directory* one) { return gone_.contains(one->identity); });
  for (Directory* const one : below) lookAtEverything(*one);
}

void InotifyDirectorySource::lookAtPostponed() {
  const auto postponed = std::exchange(postponed_, {});
  for (const auto& [directory, names] : postponed) lookAtNames(*directory, names);
}

void InotifyDirectorySource::lookAtOtherNames() {
  // The names may lead to new directories, and to further names in them.
  while (!linked_.empty()) {
    std::unordered_map<Directory*, Names> others;
    collectLinked(root_, std::exchange(linked_, {}), others);
    for (const auto& [directory, names] : others) lookAtNames(*directory, names);
    settle();
  }
}

void InotifyDirectorySource::collectLinked(Directory& directory, const std::set<EntryIdentity>& linked,
                                           std::unordered_map<Directory*, Names>& others) {
  for (const auto& [name, entry] : directory.entries) {
    if (entry.directory != nullptr) collectLinked(*entry.directory, linked, others);
    if (linked.contains(entry.file.identity)) others[&directory].emplace(name, false);
  }
}

void InotifyDirectorySource::lookAtNames(Directory& directory, const Names& names) {
  const OwnedDescriptor opened = open(directory);
  for (const auto& [name, wasWritten] : names) {
    const auto look = [&] { return whileReadable([&] { return lookAt(opened.get(), name.c_str()); }); };
    if (const auto found = opened.isOpen() ? look() : std::unexpected(ESTALE)) {
      compare(directory, name, *found, wasWritten);
    } else {
      postponed_[&directory][name] |= wasWritten;
      // The directory may be removed before the name can be examined. The file's other names can be examined now.
      const auto known = directory.entries.find(name);
      const bool isLinked = known != directory.entries.end() && known->second.file.isLinked;
      if (isLinked && look_ == Look::events) linked_.insert(known->second.file.identity);
    }
  }
}

void InotifyDirectorySource::compare(Directory& directory, const std::string& name,
                                     const std::optional<FoundFile>& found, bool wasWritten) {
  const auto known = directory.entries.find(name);
  if (known == directory.entries.end()) {
    if (found) found_.push_back({&directory, name, *found});
    return;
  }
  Entry& entry = known->second;
  const bool isSame = found && found->identity == entry.file.identity;
  if (look_ == Look::events && (entry.file.isLinked || (isSame && found->isLinked))) {
    linked_.insert(entry.file.identity);
  }
  entry.file.isLinked = isSame && found->isLinked;
  if (!isSame) {
    gone_[entry.file.identity].emplace_back(&directory, name);
    if (found) found_.push_back({&directory, name, *found});
    return;
  }
  if (wasWritten || found->attributes != entry.file.attributes) {
    entry.file = *found;
    report(DirectoryChange::Kind::changed, directory, name, entry.file.attributes);
  }
  descend(directory, entry, name);
}

void InotifyDirectorySource::descend(Directory& parent, Entry& entry, const std::string& name) {
  if (depth_ != DirectoryDepth::tree || entry.file.attributes.type != FileType::directory ||
      entry.directory != nullptr) {
    return;
  }
  // A bind mount may place a directory below itself.
  for (const Directory* up = &parent; up != nullptr; up = up->parent) {
    if (up->identity == entry.file.identity) return;
  }
  auto directory = std::make_unique<Directory>();
  directory->parent = &parent;
  directory->name = name;
  directory->identity = entry.file.identity;
  const OwnedDescriptor opened = open(*directory);
  if (!opened.isOpen() && (errno == EACCES || errno == ENAMETOOLONG)) return;
  const bool isWatched = opened.isOpen() && watch(*directory, opened.get());
  auto listing = isWatched ? listed(opened.get()) : Listing(std::unexpect, ESTALE);
  if (!listing) {
    unwatch(*directory);
    if (listing.error() != EACCES) postponed_[&parent][name] |= false;
    return;
  }
  entry.directory = std::move(directory);
  for (auto& [below, file] : *listing) {
    found_.push_back({entry.directory.get(), std::move(below), file});
  }
}

}  // namespace Tessaly::inline v1::detail
