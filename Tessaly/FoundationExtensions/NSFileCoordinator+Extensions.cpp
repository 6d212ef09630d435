// SPDX-License-Identifier: MIT
#include <exception>
#include <string>
#include <utility>

#include "Tessaly/FoundationExtensions/NSFileCoordinator+Extensions.hpp"
#include "Tessaly/FoundationExtensions/ProcessInfo+Extensions.hpp"
#include "Tessaly/Platform/Files/FileManager.hpp"
#include "Tessaly/Platform/Foundation/UUID.hpp"
#include "Tessaly/Platform/Tasks/BlockingWork.hpp"

namespace Tessaly::inline v1 {
namespace {

/// Removed at the end, if it is there.
struct Temporary {
  FileManager& files;
  URL url;

  Temporary(FileManager& manager, URL place) : files(manager), url(std::move(place)) {}
  Temporary(const Temporary&) = delete;
  Temporary& operator=(const Temporary&) = delete;
  ~Temporary() {
    try {
      files.removeItem(url);
    } catch (const std::exception&) {
      // Whoever empties the folder for temporary files will find it.
    }
  }
};

Data zip(const NSFileCoordinator& coordinator, const std::vector<URL>& urls) {
  FileManager& files = FileManager::default_();
  const std::string unique = UUID::random().uuidString();
  const std::string base = isSandboxed(ProcessInfo::processInfo()) ? "tmp/" : files.temporaryDirectory().path() + "/";
  const Temporary folder(files, URL::fileURLWithPath(base + unique));
  const Temporary archive(files, URL::fileURLWithPath(base + "zip-" + unique));
  files.createDirectory(folder.url, IntermediateDirectories::created);
  for (const URL& url : urls) files.copyItem(url, folder.url.appendingPathComponent(url.lastPathComponent()));
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
