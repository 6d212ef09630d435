// SPDX-License-Identifier: MIT
// Component: Tessaly::Testing
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Locks/UnfairLock.hpp"
#include "Tessaly/Platform/Files/FileManager.hpp"

namespace Tessaly::inline v1 {

/// The system's file manager with scripted answers. Each call goes to the system's file manager unless a test has set
/// the member for this call. A test must set these members before the first use. The `FileSystemObjectSource`s of
/// this file manager report events only when the test calls `fire`.
///
/// Thread contract: thread-safe, except that a test must set these members before the first use.
///
///     const auto files = std::make_shared<ScriptedFileManager>();
///     files->grantsAccess = [](const URL&) { return false; };
///     const FileManagerInstallation installation(files);
class TESSALY_EXPORT ScriptedFileManager final : public FileManager {
 public:
  ScriptedFileManager();
  ~ScriptedFileManager() override;

  std::function<bool(const URL&)> grantsAccess;
  std::function<FileHandle(const URL&)> open;
  std::function<bool(const std::string&)> exists;
  std::function<Data(const URL&)> read;
  std::function<std::vector<DirectoryEntry>(const URL&)> list;
  std::function<std::unique_ptr<DirectorySource>(const URL&, DirectoryDepth, std::function<void()> onPossibleChange)>
      directorySource;
  /// Answers `write`. To let it fail, throw a `POSIXError`.
  std::function<void(const Data&, const URL&)> writing;
  /// Answers `createDirectory`.
  std::function<void(const URL&, IntermediateDirectories)> directoryCreation;
  std::function<void(const URL& source, const URL& destination)> copy;
  std::function<void(const URL& source, const URL& destination)> move;
  std::function<void(const URL&)> remove;
  std::function<std::optional<std::int64_t>(const URL&)> capacity;
  std::function<std::optional<URL>(const std::optional<std::string>&)> ubiquityContainer;
  std::function<void(const URL&)> excludeFromBackup;
  std::function<void(const URL&)> includeInBackup;
  std::optional<std::vector<URL>> applicationSupport;

  /// Makes every active source report `event`, even if the source's mask lacks this event. A source is active if it is
  /// resumed and not cancelled. Each source calls its event handler asynchronously, on its queue. Returns the number of
  /// active sources.
  int fire(FileSystemEvent event);
  /// The number of sources that are resumed and not cancelled.
  [[nodiscard]] int activeSources() const;
  /// The number of calls of `startAccessingSecurityScopedResource`, including refused ones.
  [[nodiscard]] int accessesBegun() const noexcept { return accessesBegun_; }
  /// The number of calls of `stopAccessingSecurityScopedResource`.
  [[nodiscard]] int accessesEnded() const noexcept { return accessesEnded_; }
  /// The number of calls of `fileExists`.
  [[nodiscard]] int existenceChecks() const noexcept { return existenceChecks_; }

  bool startAccessingSecurityScopedResource(const URL& url) override;
  void stopAccessingSecurityScopedResource(const URL& url) override;
  FileHandle openForReading(const URL& file) override;
  std::shared_ptr<FileSystemObjectSource> makeFileSystemObjectSource(int descriptor, FileSystemEvent mask,
                                                                     OS_dispatch_queue queue) override;
  std::unique_ptr<FileChangeSource> makeFileChangeSource(const URL& file,
                                                         std::function<void()> onPossibleChange) override;
  std::unique_ptr<DirectorySource> makeDirectorySource(const URL& directory, DirectoryDepth depth,
                                                       std::function<void()> onPossibleChange) override;
  std::vector<DirectoryEntry> contentsOfDirectory(const URL& directory) const override;
  bool fileExists(const std::string& path) const noexcept override;
  Data contents(const URL& file) const override;
  void write(const Data& data, const URL& file) override;
  void createDirectory(const URL& folder, IntermediateDirectories intermediate) override;
  void copyItem(const URL& source, const URL& destination) override;
  void moveItem(const URL& source, const URL& destination) override;
  void removeItem(const URL& url) override;
  void setIsExcludedFromBackup(bool isExcluded, const URL& url) override;
  bool isExcludedFromBackup(const URL& url) const override;
  std::optional<std::int64_t> volumeAvailableCapacityForImportantUsage(const URL& url) const override;
  URL homeDirectoryForCurrentUser() const override;
  URL temporaryDirectory() const override;
  std::vector<URL> applicationSupportDirectories() const override;
  std::optional<URL> urlForUbiquityContainer(const std::optional<std::string>& containerIdentifier) const override;

 private:
  class Source;

  FileManager& system_;
  std::atomic<int> accessesBegun_{0};
  std::atomic<int> accessesEnded_{0};
  mutable std::atomic<int> existenceChecks_{0};
  mutable UnfairLock lock_;
  std::vector<std::weak_ptr<Source>> sources_ TESSALY_GUARDED_BY(lock_);
};

}  // namespace Tessaly::inline v1
