// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Settings/detail/StoreProblem.hpp"

#include <cerrno>

namespace Tessaly::inline v1::detail {

StoreProblem StoreProblem::of(int errorCode) noexcept {
  switch (errorCode) {
    case ENOENT:
    case ENOTDIR:
      return {StoreFault::missing, errorCode};
    case EISDIR:
    case ELOOP:
    case ENXIO:
      return {StoreFault::notAFile, errorCode};
    case EACCES:
    case EPERM:
    case EROFS:
      return {StoreFault::readOnly, errorCode};
    case ENOSPC:
    case EDQUOT:
    case EFBIG:
      return {StoreFault::diskFull, errorCode};
    case ENOMEM:
      return {StoreFault::outOfMemory, errorCode};
    case EWOULDBLOCK:
      return {StoreFault::lockHeld, errorCode};
    default:
      return {StoreFault::system, errorCode};
  }
}

}  // namespace Tessaly::inline v1::detail
