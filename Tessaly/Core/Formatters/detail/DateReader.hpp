// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Tessaly/Core/Formatters/Parsing.hpp"

namespace Tessaly::inline v1::detail {

/// Parses dates that are written in the formats of a locale.
///
/// With `Parsing::strict`, `read` accepts the forms that a formatter of the given shape writes. `read` then ignores
/// differences in white space. So the caller must format each returned date and check that the result equals the parsed
/// text.
///
/// Thread contract: thread-compatible.
class DateReader {
 public:
  /// The properties of a formatter. Both styles are values of ICU's `DateFormat::EStyle`.
  struct Shape {
    std::string locale;
    std::string zone;
    int dateStyle;
    int timeStyle;
    bool isRelative;
  };

  explicit DateReader(Shape shape);
  ~DateReader();

  /// The dates that a text may mean, in milliseconds since 1970. `now` has the same unit. With `Parsing::lenient`, the
  /// most probable date comes first.
  [[nodiscard]] std::vector<double> read(std::string_view text, Parsing parsing, double now);

 private:
  class Forms;

  std::unique_ptr<Forms> forms_;
};

}  // namespace Tessaly::inline v1::detail
