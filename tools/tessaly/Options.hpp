// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <cstddef>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "Command.hpp"

namespace TessalyTool {

/// The error of an option that a command does not have.
inline UsageError unknownOption(std::string_view option) {
  return UsageError("There is no option " + std::string(option));
}

/// A parsed command line: its options, which have no values, and its words. An argument that begins with '-' is an
/// option, except "-" itself and all arguments after "--". Throws `UsageError` for an unknown option.
class CommandLine {
 public:
  CommandLine(Arguments arguments, std::initializer_list<std::string_view> knownOptions) {
    bool takesOptions = true;
    for (const std::string_view argument : arguments) {
      if (takesOptions && argument == "--") {
        takesOptions = false;
      } else if (takesOptions && argument.starts_with('-') && argument != "-") {
        if (std::ranges::find(knownOptions, argument) == knownOptions.end()) throw unknownOption(argument);
        options_.push_back(argument);
      } else {
        words_.emplace_back(argument);
      }
    }
  }

  [[nodiscard]] bool has(std::string_view option) const {
    return std::ranges::find(options_, option) != options_.end();
  }
  [[nodiscard]] const std::vector<std::string>& words() const noexcept { return words_; }
  /// The only word. Throws `UsageError` if there is none, or more than one.
  [[nodiscard]] const std::string& onlyWord(std::string_view whatIsMissing) const {
    if (words_.empty()) throw UsageError(std::string(whatIsMissing) + " is missing");
    refuseMoreThan(1);
    return words_.front();
  }
  /// Throws `UsageError` if there are more words.
  void refuseMoreThan(std::size_t count) const {
    if (words_.size() > count) throw UsageError("\"" + words_[count] + "\" is too much");
  }

 private:
  std::vector<std::string_view> options_;
  std::vector<std::string> words_;
};

}  // namespace TessalyTool
