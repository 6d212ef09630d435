// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Linux/DirectoryCursor.hpp"

#include <sys/stat.h>

#include <cerrno>
#include <utility>

#include "Tessaly/Core/Foundation/POSIXError.hpp"
#include "Tessaly/Platform/Linux/DirectoryListing.hpp"

namespace Tessaly::inline v1::detail {
namespace {

OwnedDescriptor openDirectory(int above, const char* name) {
  OwnedDescriptor opened(::openat(above, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  if (!opened.isOpen()) throw POSIXError::last();
  return opened;
}

struct stat statusOf(const OwnedDescriptor& directory) {
  struct stat status{};
  if (::fstat(directory.get(), &status) != 0) throw POSIXError::last();
  return status;
}

}  // namespace

void DirectoryCursor::enter(const std::string& name) {
  OwnedDescriptor opened = openDirectory(descriptor(), name.c_str());
  const struct stat status = statusOf(opened);
  std::vector<std::string> names = namesInDirectory(opened.get());
  levels_.push_back({std::move(opened), status.st_dev, status.st_ino, std::move(names)});
  if (depth() > openLevels) levels_[depth() - 1 - openLevels].directory = {};
}

std::optional<std::string> DirectoryCursor::nextName() {
  std::vector<std::string>& names = levels_.back().names;
  if (names.empty()) return std::nullopt;
  std::string name = std::move(names.back());
  names.pop_back();
  return name;
}

void DirectoryCursor::leave() {
  const OwnedDescriptor left = std::move(levels_.back().directory);
  levels_.pop_back();
  if (levels_.empty() || levels_.back().directory.isOpen()) return;
  Level& above = levels_.back();
  above.directory = openDirectory(left.get(), "..");
  const struct stat status = statusOf(above.directory);
  if (status.st_dev != above.device || status.st_ino != above.inode) throw POSIXError(ESTALE);
}

}  // namespace Tessaly::inline v1::detail
