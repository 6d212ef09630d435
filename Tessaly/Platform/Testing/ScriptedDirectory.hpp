// SPDX-License-Identifier: MIT
// Component: Tessaly::Testing
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Platform/Files/DirectoryEntry.hpp"
#include "Tessaly/Platform/Testing/ScriptedFileManager.hpp"

namespace Tessaly::inline v1 {

/// A directory that exists only in a test. `directoryChanges` follows it without a file system, and delivers exactly
/// the changes that the test makes.
///
/// Paths are relative to the directory. A path with slashes is an entry of a subdirectory, which needs no entry of its
/// own. The depth of a follower is ignored.
///
/// Thread contract: thread-safe. A follower is told of each change before the call returns, on the caller's thread.
///
///     ScriptedFileManager files;
///     ScriptedDirectory notes;
///     notes.answer(files);
///     notes.put("a.txt");
///     auto changes = directoryChanges(files, URL::fileURLWithPath("/notes")).makeAsyncIterator();
class TESSALY_EXPORT ScriptedDirectory {
 public:
  /// The attributes of an empty file.
  static constexpr FileAttributes regularFile{
      .type = FileType::regular, .size = 0, .modified = Date::since1970(0), .created = std::nullopt};

  ScriptedDirectory();
  ~ScriptedDirectory();
  ScriptedDirectory(const ScriptedDirectory&) = delete;
  ScriptedDirectory& operator=(const ScriptedDirectory&) = delete;

  /// Makes an entry appear, or changes it.
  void put(const std::string& path, const FileAttributes& attributes = regularFile);
  /// Renames an entry with all below it. An entry with the new path disappears before. Stops the process if there is no
  /// entry with the former path.
  void rename(const std::string& from, const std::string& to);
  /// Makes an entry disappear with all below it. Stops the process if there is no such entry.
  void remove(const std::string& path);
  /// While a code is set, followers fail with this `POSIXError`, for example `ENOENT` for a directory that is gone.
  void setError(std::optional<int> code);

  /// Lets a file manager answer `makeDirectorySource` and `contentsOfDirectory` by this directory, for every URL. Call
  /// this before the first use of the file manager. The file manager may live longer than this object.
  void answer(ScriptedFileManager& files) const;

 private:
  class State;
  class Source;
  std::shared_ptr<State> state_;
};

}  // namespace Tessaly::inline v1
