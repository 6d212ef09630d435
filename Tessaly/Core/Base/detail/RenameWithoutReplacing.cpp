// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Base/detail/RenameWithoutReplacing.hpp"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>

namespace Tessaly::inline v1::detail {

int renameWithoutReplacing(const char* from, const char* to) noexcept {
  const int result = ::renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE);
  if (result == 0 || (errno != EINVAL && errno != ENOSYS)) return result;
  struct stat status{};
  if (::lstat(to, &status) == 0) errno = EEXIST;
  return errno == ENOENT ? ::rename(from, to) : -1;
}

}  // namespace Tessaly::inline v1::detail
