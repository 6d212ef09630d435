// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "Tessaly/Core/Base/detail/OwnedDescriptor.hpp"
#include "Tessaly/Platform/Files/DirectorySource.hpp"
#include "Tessaly/Platform/Linux/DirectoryListener.hpp"
#include "Tessaly/Platform/Linux/DirectoryListing.hpp"
#include "Tessaly/Platform/Linux/InotifyChangeSource.hpp"

namespace Tessaly::inline v1::detail {

/// Follows the contents of a directory.
///
/// The source keeps a model of the contents. Events only say which names to examine again. The changes are the
/// difference between the model and the file system. So the order of events does not matter. After lost events, the
/// source lists everything once. A file that left one name and is found under another name counts as renamed.
///
/// Thread contract: thread-compatible.
class InotifyDirectorySource final : public DirectorySource {
 public:
  InotifyDirectorySource(std::string path, DirectoryDepth depth, std::function<void()> onPossibleChange);
  ~InotifyDirectorySource() override;

  [[nodiscard]] std::vector<DirectoryChange> takeChanges() override;
  [[nodiscard]] bool needsPolling() const noexcept override;

 private:
  using Names = DirectoryListener::Names;

  struct Directory;
  struct Entry {
    FoundFile file;
    /// Null unless the entry is a subdirectory whose contents belong to the model, too.
    std::unique_ptr<Directory> directory;
  };
  /// A directory of the model.
  struct Directory {
    Directory* parent = nullptr;
    std::string name;
    EntryIdentity identity;
    int watch = -1;
    bool isPolled = false;
    std::unordered_map<std::string, Entry> entries;
  };
  /// A name in a directory, and the file that has the name now.
  struct Place {
    Directory* directory = nullptr;
    std::string name;
    FoundFile file;
  };

  [[nodiscard]] bool needsAnotherLook() const noexcept { return looksAtEverything_ || !postponed_.empty(); }
  void findRoot();
  /// Returns false if the directory no longer exists.
  bool watch(Directory& directory, int descriptor);
  void unwatch(Directory& directory) noexcept;
  void forget(Directory& directory) noexcept;
  void lookAtEverything(Directory& directory);
  void lookAtPostponed();
  void lookAtOtherNames();
  static void collectLinked(Directory& directory, const std::set<EntryIdentity>& linked,
                            std::unordered_map<Directory*, Names>& others);
  void lookAtNames(Directory& directory, const Names& names);
  void compare(Directory& directory, const std::string& name, const std::optional<FoundFile>& found, bool wasWritten);
  [[nodiscard]] OwnedDescriptor open(const Directory& directory) const;

  void settle();
  bool settleOne(const Place& place);
  bool moveHere(const Place& place);
  void makeRoom(const std::vector<Place>& blocked);
  void add(const Place& place);
  void descend(Directory& parent, Entry& entry, const std::string& name);
  void remove(Directory& directory, const std::string& name);
  /// Removes everything below a subdirectory that this process may no longer read. `descend` finds it again later.
  void removeContents(Directory& directory);
  void detach(std::unique_ptr<Directory>& directory);
  void report(DirectoryChange::Kind kind, const Directory& directory, const std::string& name,
              const FileAttributes& attributes, std::string formerPath = {});
  [[nodiscard]] bool isAttached(const Directory& directory) const noexcept;
  [[nodiscard]] static std::string pathOf(const Directory& directory, std::string_view name);

  const std::string path_;
  const DirectoryDepth depth_;
  const std::shared_ptr<DirectoryListener> listener_;
  InotifyChangeSource pathSource_;
  /// Whether the directory must be opened, because no directory was found yet or the path now leads elsewhere.
  bool isLost_ = true;
  bool looksAtEverything_ = false;
  /// The reason why names are examined now.
  enum class Look : std::uint8_t { events, everything, otherNames } look_ = Look::events;
  Directory root_;
  std::unordered_map<int, std::vector<Directory*>> watched_;
  std::size_t polledDirectories_ = 0;
  /// Names to examine: those of the latest events, and those that could not be examined. If a name could not be
  /// examined, its directory may have moved before the event of the move arrived.
  std::unordered_map<Directory*, Names> postponed_;

  // The state of one call of takeChanges.
  std::vector<Place> found_;
  std::map<EntryIdentity, std::vector<std::pair<Directory*, std::string>>> gone_;
  /// Files with several names, if one of the names had an event or is new. The kernel sends no event for the other
  /// names. A file may also have been written through its new name before the directory of that name was watched.
  std::set<EntryIdentity> linked_;
  std::vector<DirectoryChange> changes_;
  std::vector<std::unique_ptr<Directory>> removed_;
};

}  // namespace Tessaly::inline v1::detail
