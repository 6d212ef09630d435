// SPDX-License-Identifier: MIT
#pragma once

#include <archive.h>
#include <archive_entry.h>

#include "Tessaly/Core/Base/detail/LateLibrary.hpp"

/// The functions of libarchive that this library calls.
namespace Tessaly::inline v1::detail {

inline constinit const LateLibrary archiveLibrary{"libarchive.so.13"};

TESSALY_LATE_FUNCTION(archiveLibrary, archive_entry_copy_pathname);
TESSALY_LATE_FUNCTION(archiveLibrary, archive_entry_copy_stat);
TESSALY_LATE_FUNCTION(archiveLibrary, archive_entry_copy_symlink);
TESSALY_LATE_FUNCTION(archiveLibrary, archive_entry_free);
TESSALY_LATE_FUNCTION(archiveLibrary, archive_entry_new);
TESSALY_LATE_FUNCTION(archiveLibrary, archive_entry_set_size);
TESSALY_LATE_FUNCTION(archiveLibrary, archive_entry_size);
TESSALY_LATE_FUNCTION(archiveLibrary, archive_entry_size_is_set);
TESSALY_LATE_FUNCTION(archiveLibrary, archive_entry_unset_size);
TESSALY_LATE_FUNCTION(archiveLibrary, archive_errno);
TESSALY_LATE_FUNCTION(archiveLibrary, archive_write_close);
TESSALY_LATE_FUNCTION(archiveLibrary, archive_write_data);
TESSALY_LATE_FUNCTION(archiveLibrary, archive_write_free);
TESSALY_LATE_FUNCTION(archiveLibrary, archive_write_header);
TESSALY_LATE_FUNCTION(archiveLibrary, archive_write_new);
TESSALY_LATE_FUNCTION(archiveLibrary, archive_write_open);
TESSALY_LATE_FUNCTION(archiveLibrary, archive_write_set_bytes_in_last_block);
TESSALY_LATE_FUNCTION(archiveLibrary, archive_write_set_bytes_per_block);
TESSALY_LATE_FUNCTION(archiveLibrary, archive_write_set_format_zip);

}  // namespace Tessaly::inline v1::detail
