// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1::detail {

/// What the contents of a file tell of its type: the "magic" files of the Shared MIME-info Database specification 0.21.
///
/// Thread contract: thread-compatible.
class TESSALY_EXPORT MIMEMagic {
 public:
  /// Adds the rules of a file, which count for more than those that are there. Lines that nobody understands are left
  /// out, and so is what follows where the file ends too early.
  void add(std::string_view file);

  /// The type of the first rules that fit, those of the highest priority first; empty where none do.
  [[nodiscard]] std::string_view typeOf(std::string_view contents) const noexcept;
  /// As many bytes from a file's beginning as the rules look at, 64 KiB at most.
  [[nodiscard]] std::size_t extent() const noexcept { return extent_; }

 private:
  struct Rule {
    std::uint32_t indent = 0;
    std::size_t offset = 0;
    std::string value = {};
    /// Empty, or as long as the value, of which only these bits stand.
    std::string mask = {};
    /// At how many places from the offset on the value may begin.
    std::size_t range = 1;

    [[nodiscard]] bool fits(std::string_view contents) const noexcept;
  };
  /// The rules of one type, each followed by those that refine it.
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
