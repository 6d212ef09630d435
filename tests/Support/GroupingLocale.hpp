// SPDX-License-Identifier: MIT
#pragma once

#include <locale>
#include <string>

namespace Tessaly::Tests {

/// Makes a global locale that groups digits by threes and has words of its own for truth values, for the extent of a
/// block. Needs no locale of the system.
class GroupingLocale {
 public:
  GroupingLocale() : before_(std::locale::global(std::locale(std::locale::classic(), new Punctuation))) {}
  GroupingLocale(const GroupingLocale&) = delete;
  GroupingLocale& operator=(const GroupingLocale&) = delete;
  ~GroupingLocale() { std::locale::global(before_); }

 private:
  struct Punctuation : std::numpunct<char> {
    char do_thousands_sep() const override { return '.'; }
    char do_decimal_point() const override { return ','; }
    std::string do_grouping() const override { return "\3"; }
    std::string do_truename() const override { return "wahr"; }
    std::string do_falsename() const override { return "falsch"; }
  };

  const std::locale before_;
};

}  // namespace Tessaly::Tests
