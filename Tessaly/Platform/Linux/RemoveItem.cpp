// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Files/detail/RemoveItem.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <utility>
#include <vector>

#include "Tessaly/Core/Foundation/POSIXError.hpp"
#include "Tessaly/Platform/Linux/DirectoryCursor.hpp"

namespace Tessaly::inline v1::detail {
namespace {

/// Removes a name. Returns false, and removes nothing, if the name is that of a directory with contents.
bool removeUnlessFilled(int directory, const std::string& name) {
  if (::unlinkat(directory, name.c_str(), 0) == 0) return true;
  const POSIXError refused = POSIXError::last();
  // POSIX lets unlinking a directory fail with `EPERM`.
  if (refused.code() != EISDIR && refused.code() != EPERM) throw refused;
  if (::unlinkat(directory, name.c_str(), AT_REMOVEDIR) == 0) return true;
  if (errno == ENOTEMPTY || errno == EEXIST) return false;
  if (errno == ENOTDIR) throw refused;
  throw POSIXError::last();
}

/// Like `removeUnlessFilled`. A name that another program has removed meanwhile counts as removed.
bool removeBelow(int directory, const std::string& name) {
  try {
    return removeUnlessFilled(directory, name);
  } catch (const POSIXError& error) {
    if (error.code() != ENOENT) throw;
    return true;
  }
}

}  // namespace

void removeItem(const std::string& path) {
  DirectoryCursor cursor;
  if (removeUnlessFilled(cursor.descriptor(), path)) return;
  cursor.enter(path);
  std::vector<std::string> entered{path};
  while (!entered.empty()) {
    if (auto name = cursor.nextName()) {
      if (removeBelow(cursor.descriptor(), *name)) continue;
      cursor.enter(*name);
      entered.push_back(std::move(*name));
    } else {
      cursor.leave();
      if (!removeBelow(cursor.descriptor(), entered.back())) throw POSIXError(ENOTEMPTY);
      entered.pop_back();
    }
  }
}

}  // namespace Tessaly::inline v1::detail
