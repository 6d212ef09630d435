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

/// The bytes of a zip archive that contains copies of the files. The name of each copy is the last component of the
/// file's path. Throws `POSIXError` (`EEXIST`) if two files have the same name. Throws `POSIXError` (`EINVAL`) if a
/// path, such as "/" or "..", does not end in a name. Also throws the errors of copying, archiving and reading. In a
/// sandbox the copies are in "tmp/" in the current directory, otherwise in the directory for temporary files. The
/// copies are removed at the end.
///
/// Thread contract: thread-safe.
[[nodiscard]] TESSALY_EXPORT Async<Data> zipFiles(NSFileCoordinator coordinator, std::vector<URL> at);

}  // namespace Tessaly::inline v1
