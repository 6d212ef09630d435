// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <string>
#include <utility>

#include "Tessaly/Core/Base/detail/DescriptorIO.hpp"
#include "Tessaly/Core/Foundation/Data+AtomicWrite.hpp"
#include "Tessaly/Core/Foundation/POSIXError.hpp"
#include "Tessaly/Core/Foundation/URLError.hpp"
#include "Tessaly/Core/Foundation/UUID.hpp"

namespace Tessaly::inline v1 {
namespace {

namespace fs = std::filesystem;

/// The path that the symbolic links of the last component lead to. The file need not exist.
fs::path withoutLinks(fs::path path) {
  constexpr int maximumLinks = 40;
  for (int links = 0; links <= maximumLinks; ++links) {
    std::error_code code;
    const fs::path target = fs::read_symlink(path, code);
    if (code) return path;
    path = path.parent_path() / target;
  }
  throw POSIXError(ELOOP);
}

detail::OwnedDescriptor opened(const std::string& path, int flags) {
  detail::OwnedDescriptor descriptor = detail::openFile(path.c_str(), flags, 0666);
  if (!descriptor.isOpen()) throw POSIXError::last();
  return descriptor;
}

/// Writes a new file. A volume that cannot flush a file refuses with `EINVAL`, and volumes with fixed modes keep
/// theirs.
void writeFlushed(const Data& data, const std::string& path, std::optional<mode_t> mode) {
  detail::OwnedDescriptor file = opened(path, O_WRONLY | O_CREAT | O_EXCL);
  const auto bytes = data.bytes();
  if (const int error = detail::writeFull(file.get(), bytes.data(), bytes.size()).error) throw POSIXError(error);
  if (mode && ::fchmod(file.get(), *mode) != 0 && errno != EPERM && errno != ENOTSUP && errno != ENOSYS) {
    throw POSIXError::last();
  }
  if (::fsync(file.get()) != 0 && errno != EINVAL) throw POSIXError::last();
  if (const int error = detail::closeReporting(std::move(file))) throw POSIXError(error);
}

}  // namespace

void writeAtomically(const Data& data, const URL& file) {
  if (!file.isFileURL()) throw URLError(URLError::Code::unsupportedURL);
  if (file.path().find('\0') != std::string::npos) throw POSIXError(EINVAL);
  const fs::path target = withoutLinks(file.path());
  std::optional<mode_t> mode;
  if (struct stat status{}; ::stat(target.c_str(), &status) == 0) {
    if (!S_ISREG(status.st_mode)) return data.write(file);
    mode = status.st_mode & 07777;
    static_cast<void>(opened(target, O_WRONLY));  // A file that must not be written must not be replaced either.
  }
  const std::string part = target.parent_path() / ("." + UUID::random().uuidString() + ".part");
  try {
    writeFlushed(data, part, mode);
    if (::rename(part.c_str(), target.c_str()) != 0) throw POSIXError::last();
  } catch (const POSIXError&) {
    ::unlink(part.c_str());
    throw;
  }
}

}  // namespace Tessaly::inline v1
