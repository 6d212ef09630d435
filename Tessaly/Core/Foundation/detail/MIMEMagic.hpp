// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1::detail {

/// The rules that derive a type from a file's contents: the "magic" files of the Shared MIME-info Database
/// specification 0.21.
///
/// Thread contract: thread-compatible.
class TESSALY_EXPORT MIMEMagic {
 public:
  /// Adds the rules of a file. The new rules take precedence over earlier rules of the same priority. Skips unknown
  /// lines. An unknown, malformed or truncated rule matches nothing, and neither do its children. Ignores a file that
  /// does not begin with the signature of magic files.
  void add(std::string_view file);

  /// The type of the first matching rule, in descending order of priority. Empty if no rule matches.
  [[nodiscard]] std::string_view typeOf(std::string_view contents) const noexcept;
  /// The number of bytes from a file's beginning that the rules examine, at most 64 KiB.
  [[nodiscard]] std::size_t extent() const noexcept { return extent_; }

 private:
  struct Rule {
    std::uint32_t indent = 0;
    std::size_t offset = 0;
    /// Empty in a rule that matches nothing.
    std::string value = {};
    /// Selects the bits that are compared. Empty if all bits are compared. Otherwise the mask is as long as the value.
    std::string mask = {};
    /// The number of positions, from the offset on, at which the value may begin.
    std::size_t range = 1;

    [[nodiscard]] bool fits(std::string_view contents) const noexcept;
    friend bool operator==(const Rule&, const Rule&) = default;
  };
  /// The rules of one type. The rules that refine another rule follow that rule.
  struct Section {
    std::uint32_t priority = 0;
    std::string type = {};
    std::vector<Rule> rules = {};

    void add(Rule rule);
    [[nodiscard]] bool fits(std::string_view contents) const noexcept;
  };
  class Reader;

  std::vector<Section> sections_;
  std::size_t extent_ = 0;
};

}  // namespace Tessaly::inline v1::detail
