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

/// Functions that export tables as comma-separated values, and functions that export the log of this application.
namespace Tessaly::inline v1::ExportService {

/// A table: rows of cells. Rows may have different numbers of cells.
using Table = std::vector<std::vector<std::string>>;

/// A table as text. The separator joins cells, and line feeds join rows. A backslash precedes each separator inside a
/// cell. Nothing else is escaped, so a line feed in a cell looks like a new row. For the form that other programs
/// parse, see `rfc4180CSV`.
///
/// `onProgress` is called on this thread before each cell is written. Its argument is the fraction of the table up to
/// the end of that cell. The fraction is above 0, and is 1 for the last cell of the last row. With an empty separator,
/// nothing is escaped. Throws `ExportError` if the result is not UTF-8; its `illFormedCell` names the cell.
/// `Text::sanitized` makes any text, such as a file name, well-formed.
///
/// Thread contract: thread-safe. Needs as much memory as the result. If the first separator inside a cell comes late,
/// the call briefly needs up to twice this memory.
///
///     Data table = ExportService::csv({{"Name", "Size"}, {"a;b", "3"}}, ";");  // Name;Size\na\;b;3
[[nodiscard]] TESSALY_EXPORT Data csv(const Table& from, std::string_view separator,
                                      const std::function<void(double)>& onProgress = nullptr);

/// A table as text that spreadsheets read (RFC 4180). Cells with a separator, a quotation mark or a line break are
/// quoted, and quotation marks are doubled. Every row ends with a carriage return and a line feed. An empty cell is
/// quoted too if it is the only cell of its row, so that the row differs from an empty row. Throws `ExportError` if the
/// result is not UTF-8.
///
/// Thread contract: thread-safe. Needs as much memory as `csv`.
[[nodiscard]] TESSALY_EXPORT Data rfc4180CSV(const Table& from, char separator = ',');

/// Functions that export the messages of this process in the last `forSeconds` seconds. They export only logs whose
/// subsystem begins with the main bundle's identifier. They export only messages that the log's bounded store in memory
/// still contains. A task of background priority collects the messages. A cancellation of the caller cancels this task.
/// The cancelled task throws `CancellationError` at the next message that it examines. The functions throw
/// `ExportError` if the bundle has no identifier or the log keeps no records. A message longer than 32 KiB, or longer
/// than an eighth of that store, was truncated when it was written, and ends with "…".
namespace Logs {

/// One line for each of this application's log records of the last `forSeconds` seconds; see `Logs` for the limits and
/// the errors. A line is "[<date and time>][<category>] <message>". The date is in the form of the user's locale.
[[nodiscard]] TESSALY_EXPORT Async<std::vector<std::string>> extractLastLogsToStrings(double forSeconds);
/// The same records as those of `extractLastLogsToStrings`, as text in the form of `csv` with the separator ";". Each
/// record is a row with four cells: date and time, level, category, message.
[[nodiscard]] TESSALY_EXPORT Async<Data> extractLastLogsToCSVData(double forSeconds);
/// `extractLastLogsToCSVData` for the last 3,600 seconds.
[[nodiscard]] TESSALY_EXPORT Async<Data> extractLastOneHourLogsToCSVData();

}  // namespace Logs

namespace detail {
/// The exported text of a record's level.
[[nodiscard]] TESSALY_EXPORT std::string_view levelText(int level) noexcept;
}  // namespace detail

}  // namespace Tessaly::inline v1::ExportService
