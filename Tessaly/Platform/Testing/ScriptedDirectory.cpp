// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Testing/ScriptedDirectory.hpp"

#include <algorithm>
#include <functional>
#include <map>
#include <utility>
#include <vector>

#include "Tessaly/Core/Base/FatalError.hpp"
#include "Tessaly/Core/Foundation/POSIXError.hpp"
#include "Tessaly/Core/Locks/UnfairLock.hpp"
#include "Tessaly/Platform/Files/DirectorySource.hpp"

namespace Tessaly::inline v1 {

using Changes = std::vector<DirectoryChange>;

/// The entries, and what each follower has not taken yet.
class ScriptedDirectory::State {
 public:
  struct Follower {
    std::function<void()> wake;
    Changes pending;
  };

  void add(Follower& follower) {
    UnfairLock::Guard guard(lock_);
    for (const auto& [path, attributes] : entries_)
      follower.pending.push_back(
          {.kind = DirectoryChange::Kind::appeared, .entry = {path, attributes}, .formerPath = ""});
    followers_.push_back(&follower);
  }
  void remove(const Follower& follower) {
    UnfairLock::Guard guard(lock_);
    std::erase(followers_, &follower);
  }
  Changes take(Follower& follower) {
    UnfairLock::Guard guard(lock_);
    if (error_) throw POSIXError(*error_);
    return std::exchange(follower.pending, {});
  }
  std::vector<DirectoryEntry> list() {
    UnfairLock::Guard guard(lock_);
    if (error_) throw POSIXError(*error_);
    std::vector<DirectoryEntry> listed;
    listed.reserve(entries_.size());
    for (const auto& [path, attributes] : entries_) listed.push_back({path, attributes});
    return listed;
  }

  /// Calls `edit` with the entries and the changes of the edit, and wakes the followers afterwards.
  template <typename Edit>
  void change(Edit&& edit) {
    std::vector<std::function<void()>> wakes;
    {
      UnfairLock::Guard guard(lock_);
      Changes changes;
      edit(entries_, changes);
      for (Follower* follower : followers_) {
        follower->pending.insert(follower->pending.end(), changes.begin(), changes.end());
        wakes.push_back(follower->wake);
      }
    }
    for (const auto& wake : wakes) wake();
  }
  void setError(std::optional<int> code) {
    change([&](auto&, auto&) { error_ = code; });
  }

 private:
  UnfairLock lock_;
  std::map<std::string, FileAttributes> entries_;
  std::optional<int> error_;
  std::vector<Follower*> followers_;
};

class ScriptedDirectory::Source final : public DirectorySource {
 public:
  Source(std::shared_ptr<State> state, std::function<void()> wake)
      : state_(std::move(state)), follower_{.wake = std::move(wake), .pending = {}} {
    state_->add(follower_);
  }
  ~Source() override { state_->remove(follower_); }
  Changes takeChanges() override { return state_->take(follower_); }
  bool needsPolling() const noexcept override { return false; }

 private:
  std::shared_ptr<State> state_;
  State::Follower follower_;
};

namespace {

using Entries = std::map<std::string, FileAttributes>;

/// Takes an entry out of the map, with all below it. The result has the entry itself first.
std::vector<DirectoryEntry> taken(Entries& entries, const std::string& path) {
  const auto entry = entries.find(path);
  if (entry == entries.end()) fatalError("There is no entry '" + path + "'", "Tessaly/ScriptedDirectory", __LINE__);
  std::vector<DirectoryEntry> all{{path, entry->second}};
  entries.erase(entry);
  std::erase_if(entries, [&](const auto& other) {
    const bool isBelow = other.first.starts_with(path + "/");
    if (isBelow) all.push_back({other.first, other.second});
    return isBelow;
  });
  return all;
}

void disappear(Entries& entries, const std::string& path, Changes& changes) {
  changes.push_back(
      {.kind = DirectoryChange::Kind::disappeared, .entry = taken(entries, path).front(), .formerPath = ""});
}

}  // namespace

ScriptedDirectory::ScriptedDirectory() : state_(std::make_shared<State>()) {}
ScriptedDirectory::~ScriptedDirectory() = default;

void ScriptedDirectory::put(const std::string& path, const FileAttributes& attributes) {
  state_->change([&](Entries& entries, Changes& changes) {
    const bool isNew = entries.insert_or_assign(path, attributes).second;
    changes.push_back({.kind = isNew ? DirectoryChange::Kind::appeared : DirectoryChange::Kind::changed,
                       .entry = {path, attributes},
                       .formerPath = ""});
  });
}

void ScriptedDirectory::rename(const std::string& from, const std::string& to) {
  state_->change([&](Entries& entries, Changes& changes) {
    const std::vector<DirectoryEntry> moved = taken(entries, from);
    if (entries.contains(to)) disappear(entries, to, changes);
    for (const DirectoryEntry& entry : moved) entries[to + entry.path.substr(from.size())] = entry.attributes;
    changes.push_back({.kind = DirectoryChange::Kind::renamed,
                       .entry = {.path = to, .attributes = moved.front().attributes},
                       .formerPath = from});
  });
}

void ScriptedDirectory::remove(const std::string& path) {
  state_->change([&](Entries& entries, Changes& changes) { disappear(entries, path, changes); });
}

void ScriptedDirectory::setError(std::optional<int> code) { state_->setError(code); }

void ScriptedDirectory::answer(ScriptedFileManager& files) const {
  files.directorySource = [state = state_](const URL&, DirectoryDepth, std::function<void()> wake) {
    return std::make_unique<Source>(state, std::move(wake));
  };
  files.list = [state = state_](const URL&) { return state->list(); };
}

}  // namespace Tessaly::inline v1
