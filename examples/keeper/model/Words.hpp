// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

namespace keeper {

/// A text of the window.
enum class Word : std::uint8_t {
  search,
  clearSearch,
  name,
  size,
  kind,
  modified,
  files,
  open,
  copyPath,
  saveTable,
  saveArchive,
  saveLog,
  saveLogReason,
  findDuplicates,
  onlyDuplicates,
  hiddenFiles,
  columns,
  pause,
  resume,
  stop,
  progress,
  sections,
  reading,
  saving,
  saved,
  duplicates,
  unreadable,
  offline,
};

/// The text in the user's language: German, Arabic or else English.
[[nodiscard]] const char* text(Word word);

/// Whether the user's language is written from right to left.
[[nodiscard]] bool isRightToLeft();

}  // namespace keeper
