// SPDX-License-Identifier: MIT
// Component: Tessaly::FoundationExtensions
#pragma once

#include <vector>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Foundation/Data.hpp"
#include "Tessaly/Core/Foundation/URL.hpp"
#include "Tessaly/Core/Tasks/Async.hpp"
#include "Tessaly/Platform/Files/NSFileCoordinator.hpp"

namespace Tessaly::inline v1 {

/// The bytes of a zip archive that contains copies of the files. In the archive, the copies are in one directory with a
/// random name. The name of each copy is the last component of the file's path. Throws `POSIXError` (`EEXIST`) if two
/// files have the same name. Throws `POSIXError` (`EINVAL`) if a path, such as "/" or "..", does not end in a name.
/// Also throws the errors of copying, archiving and reading. The call makes temporary copies of the files on the disk.
/// In a sandbox these are in "tmp/" in the current directory, otherwise in the directory for temporary files. The call
/// removes them before it ends, even after an error.
///
/// Thread contract: thread-safe.
[[nodiscard]] TESSALY_EXPORT Async<Data> zipFiles(NSFileCoordinator coordinator, std::vector<URL> at);

}  // namespace Tessaly::inline v1
