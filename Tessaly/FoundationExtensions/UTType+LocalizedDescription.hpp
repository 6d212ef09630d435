// SPDX-License-Identifier: MIT
// Component: Tessaly::FoundationExtensions
#pragma once

#include <string>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Foundation/UTType.hpp"
#include "Tessaly/Core/Text/Locale.hpp"

namespace Tessaly::inline v1 {

/// The human-readable name of a type, such as "PNG image", in the language of the locale. The Shared MIME-info Database
/// has the names. In a language that the database lacks, the name is English.
///
/// A type without a name in the database has the name of its first supertype that has a name. If no supertype has a
/// name, the result is the database's name for files of unknown type. Without the database the name is the type's
/// identifier.
///
/// The first call for a type reads a file of some 10 KiB. A later call costs a search and a copy of the names.
///
/// Thread contract: thread-safe.
///
///     localizedDescription(UTType::folder(), Locale("de"));  // Ordner
[[nodiscard]] TESSALY_EXPORT std::string localizedDescription(const UTType& type,
                                                              const Locale& locale = Locale::current());

}  // namespace Tessaly::inline v1
