// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <cstddef>
#include <initializer_list>
#include <ranges>
#include <string>
#include <string_view>
#include <vector>

#include "Command.hpp"

namespace TessalyTool {

/// The error of an option that a command does not have.
inline UsageError unknownOption(std::string_view option) {
  return UsageError("There is no option " + std::string(option));
}

/// A parsed command line: its options and its words. An argument that begins with '-' is an option, except "-" itself
/// and all arguments after "--". An option with a value is `--option value` or `--option=value`. Throws `UsageError`
/// for an unknown option and for a missing value.
class CommandLine {
 public:
  using Names = std::initializer_list<std::string_view>;

  CommandLine(Arguments arguments, Names flags, Names optionsWithValues = {}) {
    bool takesOptions = true;
    for (std::size_t index = 0; index < arguments.size(); ++index) {
      const std::string_view argument = arguments[index];
      const std::string_view name = argument.substr(0, argument.find('='));
      if (takesOptions && argument == "--") {
        takesOptions = false;
      } else if (!takesOptions || !argument.starts_with('-') || argument == "-") {
        words_.emplace_back(argument);
      } else if (std::ranges::find(flags, argument) != flags.end()) {
        options_.push_back({argument, {}});
      } else if (std::ranges::find(optionsWithValues, name) == optionsWithValues.end()) {
        throw unknownOption(argument);
      } else if (name != argument) {
        options_.push_back({name, argument.substr(name.size() + 1)});
      } else if (++index < arguments.size()) {
        options_.push_back({name, arguments[index]});
      } else {
        throw UsageError(std::string(name) + " wants a value");
      }
    }
  }

  [[nodiscard]] bool has(std::string_view option) const {
    return std::ranges::find(options_, option, &Option::name) != options_.end();
  }
  /// The last value of an option.
  [[nodiscard]] std::string_view value(std::string_view option, std::string_view defaultValue) const {
    for (const Option& given : options_ | std::views::reverse) {
      if (given.name == option) return given.value;
    }
    return defaultValue;
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
  struct Option {
    std::string_view name;
    std::string_view value;
  };

  std::vector<Option> options_;
  std::vector<std::string> words_;
};

}  // namespace TessalyTool
