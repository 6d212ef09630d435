// SPDX-License-Identifier: MIT
#include <cerrno>
#include <exception>
#include <filesystem>
#include <string>
#include <system_error>
#include <utility>

#include "Tessaly/Core/Foundation/POSIXError.hpp"
#include "Tessaly/Core/Foundation/UUID.hpp"
#include "Tessaly/Core/Tasks/BlockingWork.hpp"
#include "Tessaly/FoundationExtensions/NSFileCoordinator+Extensions.hpp"
#include "Tessaly/FoundationExtensions/ProcessInfo+Extensions.hpp"
#include "Tessaly/Platform/Files/FileManager.hpp"

namespace Tessaly::inline v1 {
namespace {

/// A temporary file or directory. The destructor removes it if it exists.
struct Temporary {
  FileManager& files;
  URL url;

  Temporary(FileManager& manager, URL place) : files(manager), url(std::move(place)) {}
  Temporary(const Temporary&) = delete;
  Temporary& operator=(const Temporary&) = delete;
  ~Temporary() {
    if (remove()) return;
    // Entries of a read-only copy of a directory cannot be removed until the copy is writable.
    std::error_code code;
    for (std::filesystem::recursive_directory_iterator entry(url.path(), code), end; !code && entry != end;
         entry.increment(code)) {
      if (!entry->is_directory(code) || entry->is_symlink(code)) continue;
      std::filesystem::permissions(entry->path(), std::filesystem::perms::owner_all, std::filesystem::perm_options::add,
                                   code);
    }
    remove();
  }

 private:
  /// Removes the file or directory, and returns whether it is gone. A failure is tolerable, because the system empties
  /// the directory for temporary files.
  bool remove() const noexcept {
    try {
      files.removeItem(url);
      return true;
    } catch (const std::exception&) {
      return !files.fileExists(url.path());
    }
  }
};

/// The name of the copy of a file. Throws `POSIXError` (`EINVAL`) if the path has no last name, as for "/" and "..".
std::string nameOf(const URL& url) {
  std::string name = url.lastPathComponent();
  if (name.empty() || name == "/" || name == "." || name == "..") throw POSIXError(EINVAL);
  return name;
}

/// Makes the directory of the copies accessible only to its owner. The copies keep the modes of their originals, and
/// the mode of an original's directory may have been the only protection from other users.
void hideFromOtherUsers(const URL& directory) {
  std::error_code code;
  std::filesystem::permissions(directory.path(), std::filesystem::perms::owner_all, code);
  if (code) throw POSIXError(code.value());
}

Data zip(const NSFileCoordinator& coordinator, const std::vector<URL>& urls) {
  FileManager& files = FileManager::default_();
  const std::string unique = UUID::random().uuidString();
  const std::string base = isSandboxed(ProcessInfo::processInfo()) ? "tmp/" : files.temporaryDirectory().path() + "/";
  const Temporary folder(files, URL::fileURLWithPath(base + unique));
  const Temporary archive(files, URL::fileURLWithPath(base + "zip-" + unique));
  files.createDirectory(folder.url, IntermediateDirectories::created);
  hideFromOtherUsers(folder.url);
  for (const URL& url : urls) files.copyItem(url, folder.url.appendingPathComponent(nameOf(url)));
  Data data;
  coordinator.coordinateReading(folder.url, NSFileCoordinator::ReadingOptions::forUploading, [&](const URL& zipped) {
    files.moveItem(zipped, archive.url);
    data = files.contents(archive.url);
  });
  return data;
}

}  // namespace

Async<Data> zipFiles(NSFileCoordinator coordinator, std::vector<URL> at) {
  return runBlocking([coordinator, at = std::move(at)] { return zip(coordinator, at); });
}

}  // namespace Tessaly::inline v1
