// SPDX-License-Identifier: MIT
// Component: Tessaly::SystemServices
#pragma once

#include <string>

#include "Tessaly/Core/Base/Error.hpp"
#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1 {

/// A failed export, with its reason.
///
/// Thread contract: thread-compatible.
///
///     try {
///       Data table = ExportService::csv(rows, ";");
///     } catch (const ExportError& error) {
///       std::cerr << error.localizedDescription() << '\n';
///     }
class TESSALY_EXPORT ExportError final : public Error {
 public:
  std::string errorDescription;

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
