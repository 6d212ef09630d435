// SPDX-License-Identifier: MIT
#pragma once

#include <cerrno>
#include <string>

#include "Tessaly/Core/Foundation/POSIXError.hpp"
#include "Tessaly/Core/Foundation/URL.hpp"
#include "Tessaly/Core/Foundation/URLError.hpp"

namespace Tessaly::inline v1::detail {

/// The path of a file URL, for a system call. Throws `URLError` (`unsupportedURL`) for other URLs, and `POSIXError` if
/// the path contains a NUL.
inline std::string filePath(const URL& file) {
  if (!file.isFileURL()) throw URLError(URLError::Code::unsupportedURL);
  std::string path = file.path();
  if (path.find('\0') != std::string::npos) throw POSIXError(EINVAL);
  return path;
}

}  // namespace Tessaly::inline v1::detail
