// SPDX-License-Identifier: MIT
// Component: Tessaly::SystemServices
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Foundation/Data.hpp"
#include "Tessaly/Core/Tasks/Async.hpp"
#include "Tessaly/SystemServices/ExportError.hpp"  // IWYU pragma: export

/// Tables as comma-separated values, and this application's own log.
namespace Tessaly::inline v1::ExportService {

/// Rows of cells. They may differ in length.
using Table = std::vector<std::vector<std::string>>;

/// A table as text: cells joined by the separator, rows by line feeds. A separator inside a cell gets a backslash in
/// front; nothing else is escaped, so cells with line feeds cannot be told from rows. For what other programs read, see
/// `rfc4180CSV`.
///
/// `onProgress` is called on this thread once for each cell, before it is written, with the part that is done: above 0,
/// 1 at the last one. An empty separator escapes nothing. Throws `ExportError` when a cell or the separator is not
/// UTF-8.
///
/// Thread contract: thread-safe. Needs the memory of the result; where the first separator inside a cell comes late,
/// for a moment up to twice as much.
///
///     Data table = ExportService::csv({{"Name", "Size"}, {"a;b", "3"}}, ";");  // Name;Size\na\;b;3
[[nodiscard]] TESSALY_EXPORT Data csv(const Table& from, std::string_view separator,
                                      const std::function<void(double)>& onProgress = nullptr);

/// A table in the form that spreadsheets read (RFC 4180): cells with a separator, a quotation mark or a line break are
/// quoted, quotation marks doubled, and every row ends with a carriage return and a line feed. A row of one empty cell
/// is quoted too, to be told from an empty row. Throws as `csv` does.
///
/// Thread contract: thread-safe. Needs the memory that `csv` needs.
[[nodiscard]] TESSALY_EXPORT Data rfc4180CSV(const Table& from, char separator = ',');

/// The messages that this process has written to logs whose subsystem begins with the main bundle's identifier, dated
/// later than so many seconds ago. They are collected by a task of background priority, which is cancelled with the
/// caller; then `CancellationError` is thrown. Throws `ExportError` where the bundle has no identifier, or the log
/// keeps no records. A message of more than 32 KiB was cut when it was written, and then ends with "…".
namespace Logs {

/// A line for each record: "[<date and time>][<category>] <message>". The date is as the user's locale writes it.
[[nodiscard]] TESSALY_EXPORT Async<std::vector<std::string>> extractLastLogsToStrings(double forSeconds);
/// A row for each record, as `csv` writes it with ";": date and time, level, category, message.
[[nodiscard]] TESSALY_EXPORT Async<Data> extractLastLogsToCSVData(double forSeconds);
/// The same for the last 3,600 seconds.
[[nodiscard]] TESSALY_EXPORT Async<Data> extractLastOneHourLogsToCSVData();

}  // namespace Logs

namespace detail {
/// What an export writes for a record's level, by its number.
[[nodiscard]] TESSALY_EXPORT std::string_view levelText(int level) noexcept;
}  // namespace detail

}  // namespace Tessaly::inline v1::ExportService
