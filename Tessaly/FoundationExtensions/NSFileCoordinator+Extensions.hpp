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

/// The bytes of a zip archive of copies of the files, each under the last component of its path. Two of one name are an
/// error (`EEXIST`), and so is a path that ends in no name, such as "/" or ".." (`EINVAL`). The copies are made in
/// "tmp/" below the current folder in a sandbox, elsewhere in the folder for temporary files; they are removed at the
/// end. Throws what making, copying, archiving or reading them throws.
///
/// Thread contract: thread-safe.
[[nodiscard]] TESSALY_EXPORT Async<Data> zipFiles(NSFileCoordinator coordinator, std::vector<URL> at);

}  // namespace Tessaly::inline v1
