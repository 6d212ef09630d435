// SPDX-License-Identifier: MIT
// Component: Tessaly::SystemServices
#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "Tessaly/Core/Base/Error.hpp"
#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1 {

/// A failed export, with its reason. After a failed `csv` or `rfc4180CSV`, `errorDescription` contains the whole table:
/// show and log `illFormedCell` instead.
///
/// Thread contract: thread-compatible.
///
///     try {
///       Data table = ExportService::csv(rows, ";");
///     } catch (const ExportError& error) {
///       if (error.illFormedCell) std::cerr << "Row " << error.illFormedCell->row << " is not UTF-8\n";
///     }
class TESSALY_EXPORT ExportError final : public Error {
 public:
  /// A place in a table. Both numbers begin at 0.
  struct Cell {
    std::size_t row = 0;
    std::size_t column = 0;
    friend bool operator==(const Cell&, const Cell&) = default;
  };

  std::string errorDescription;
  /// The first cell whose text is not UTF-8. Absent if the export failed for another reason.
  std::optional<Cell> illFormedCell;

  explicit ExportError(std::string description);
  ~ExportError() override;

  /// The text `ExportError(errorDescription: "…")`, with the escaped `errorDescription` in place of the `…`.
  [[nodiscard]] std::string description() const override;
  /// `errorDescription`.
  [[nodiscard]] std::string localizedDescription() const override;

  friend bool operator==(const ExportError& left, const ExportError& right) noexcept {
    return left.errorDescription == right.errorDescription;
  }
};

}  // namespace Tessaly::inline v1
