// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Tessaly/Core/Formatters/Parsing.hpp"

namespace Tessaly::inline v1::detail {

/// Parses dates as the formats of a locale write them.
///
/// A strict text has the form that a formatter of this shape writes. The caller must check that the formatter would
/// write exactly this text.
///
/// Thread contract: thread-compatible.
class DateReader {
 public:
  /// Both styles are numbers of ICU.
  struct Shape {
    std::string locale;
    std::string zone;
    int dateStyle;
    int timeStyle;
    bool isRelative;
  };

  explicit DateReader(Shape shape);
  ~DateReader();

  /// The dates that a text may mean, in milliseconds since 1970. Of a lenient text only the most probable one.
  [[nodiscard]] std::vector<double> read(std::string_view text, Parsing parsing, double now);

 private:
  class Forms;

  std::unique_ptr<Forms> forms_;
};

}  // namespace Tessaly::inline v1::detail
