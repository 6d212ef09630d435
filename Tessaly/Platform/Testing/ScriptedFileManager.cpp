// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Testing/ScriptedFileManager.hpp"

#include <utility>

namespace Tessaly::inline v1 {

/// A source that calls its handlers one at a time, on the queue that it was made for.
class ScriptedFileManager::Source final : public FileSystemObjectSource, public std::enable_shared_from_this<Source> {
 public:
  explicit Source(OS_dispatch_queue queue) : queue_(queue) {}

  void setEventHandler(std::function<void()> handler) override { eventHandler_ = std::move(handler); }
  void setCancelHandler(std::function<void()> handler) override { cancelHandler_ = std::move(handler); }
  void resume() override { isResumed_ = true; }
  void cancel() noexcept override {
    if (isCancelled_.exchange(true)) return;
    queue_.async([self = shared_from_this()] {
      UnfairLock::Guard guard(self->delivery_);
      if (self->cancelHandler_) self->cancelHandler_();
      self->eventHandler_ = nullptr;
      self->cancelHandler_ = nullptr;
    });
  }
  FileSystemEvent data() const noexcept override { return fired_; }

  [[nodiscard]] bool isActive() const noexcept { return isResumed_ && !isCancelled_; }
  void fire(FileSystemEvent event) {
    queue_.async([self = shared_from_this(), event] {
      UnfairLock::Guard guard(self->delivery_);
      if (!self->isActive() || !self->eventHandler_) return;
      self->fired_ = event;
      self->eventHandler_();
    });
  }

 private:
  const OS_dispatch_queue queue_;
  UnfairLock delivery_;
  std::function<void()> eventHandler_;
  std::function<void()> cancelHandler_;
  FileSystemEvent fired_;
  std::atomic<bool> isResumed_{false};
  std::atomic<bool> isCancelled_{false};
};

ScriptedFileManager::ScriptedFileManager() : system_(FileManager::system()) {}

ScriptedFileManager::~ScriptedFileManager() = default;

int ScriptedFileManager::fire(FileSystemEvent event) {
  std::vector<std::shared_ptr<Source>> active;
  {
    UnfairLock::Guard guard(lock_);
    for (const auto& entry : sources_) {
      auto source = entry.lock();
      if (source != nullptr && source->isActive()) active.push_back(std::move(source));
    }
  }
  for (const auto& source : active) source->fire(event);
  return static_cast<int>(active.size());
}

int ScriptedFileManager::activeSources() const {
  UnfairLock::Guard guard(lock_);
  int count = 0;
  for (const auto& entry : sources_) {
    const auto source = entry.lock();
    if (source != nullptr && source->isActive()) ++count;
  }
  return count;
}

bool ScriptedFileManager::startAccessingSecurityScopedResource(const URL& url) {
  ++accessesBegun_;
  return grantsAccess ? grantsAccess(url) : system_.startAccessingSecurityScopedResource(url);
}

void ScriptedFileManager::stopAccessingSecurityScopedResource(const URL& url) {
  ++accessesEnded_;
  system_.stopAccessingSecurityScopedResource(url);
}

FileHandle ScriptedFileManager::openForReading(const URL& file) {
  return open ? open(file) : system_.openForReading(file);
}

std::shared_ptr<FileSystemObjectSource> ScriptedFileManager::makeFileSystemObjectSource(int /*descriptor*/,
                                                                                        FileSystemEvent /*mask*/,
                                                                                        OS_dispatch_queue queue) {
  auto source = std::make_shared<Source>(queue);
  UnfairLock::Guard guard(lock_);
  sources_.push_back(source);
  return source;
}

std::unique_ptr<FileChangeSource> ScriptedFileManager::makeFileChangeSource(const URL& file,
                                                                            std::function<void()> onPossibleChange) {
  return system_.makeFileChangeSource(file, std::move(onPossibleChange));
}

std::unique_ptr<DirectorySource> ScriptedFileManager::makeDirectorySource(const URL& directory, DirectoryDepth depth,
                                                                          std::function<void()> onPossibleChange) {
  return directorySource ? directorySource(directory, depth, std::move(onPossibleChange))
                         : system_.makeDirectorySource(directory, depth, std::move(onPossibleChange));
}

std::vector<DirectoryEntry> ScriptedFileManager::contentsOfDirectory(const URL& directory) const {
  return list ? list(directory) : system_.contentsOfDirectory(directory);
}

bool ScriptedFileManager::fileExists(const std::string& path) const noexcept {
  ++existenceChecks_;
  return exists ? exists(path) : system_.fileExists(path);
}

Data ScriptedFileManager::contents(const URL& file) const { return read ? read(file) : system_.contents(file); }

void ScriptedFileManager::write(const Data& data, const URL& file) {
  return writing ? writing(data, file) : system_.write(data, file);
}

void ScriptedFileManager::createDirectory(const URL& folder, IntermediateDirectories intermediate) {
  return directoryCreation ? directoryCreation(folder, intermediate) : system_.createDirectory(folder, intermediate);
}

void ScriptedFileManager::copyItem(const URL& source, const URL& destination) {
  return copy ? copy(source, destination) : system_.copyItem(source, destination);
}

void ScriptedFileManager::moveItem(const URL& source, const URL& destination) {
  return move ? move(source, destination) : system_.moveItem(source, destination);
}

void ScriptedFileManager::removeItem(const URL& url) { return remove ? remove(url) : system_.removeItem(url); }

void ScriptedFileManager::setIsExcludedFromBackup(bool isExcluded, const URL& url) {
  if (const auto& answer = isExcluded ? excludeFromBackup : includeInBackup) return answer(url);
  system_.setIsExcludedFromBackup(isExcluded, url);
}

bool ScriptedFileManager::isExcludedFromBackup(const URL& url) const { return system_.isExcludedFromBackup(url); }

std::optional<std::int64_t> ScriptedFileManager::volumeAvailableCapacityForImportantUsage(const URL& url) const {
  return capacity ? capacity(url) : system_.volumeAvailableCapacityForImportantUsage(url);
}

URL ScriptedFileManager::homeDirectoryForCurrentUser() const { return system_.homeDirectoryForCurrentUser(); }

URL ScriptedFileManager::temporaryDirectory() const { return system_.temporaryDirectory(); }

std::vector<URL> ScriptedFileManager::applicationSupportDirectories() const {
  return applicationSupport ? *applicationSupport : system_.applicationSupportDirectories();
}

std::optional<URL> ScriptedFileManager::urlForUbiquityContainer(
    const std::optional<std::string>& containerIdentifier) const {
  return ubiquityContainer ? ubiquityContainer(containerIdentifier)
                           : system_.urlForUbiquityContainer(containerIdentifier);
}

}  // namespace Tessaly::inline v1
