// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Foundation/detail/MIMEGlobs.hpp"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <system_error>
#include <utility>

#include "Tessaly/Core/Foundation/detail/GlobPattern.hpp"
#include "Tessaly/Core/Foundation/detail/MIMEText.hpp"

namespace Tessaly::inline v1::detail {
namespace {

/// This text instead of a pattern discards the type's patterns from files of lower precedence.
constexpr std::string_view deleteAll = "__NOGLOBS__";

}  // namespace

void MIMEGlobs::add(std::string_view globs2) {
  // The patterns of this file precede the earlier ones, in the order of the file.
  std::map<std::string, std::vector<Glob>, std::less<>> literals;
  std::map<std::string, std::vector<Glob>, std::less<>> suffixes;
  std::vector<Glob> others;
  forEachLine(globs2, [&](std::string_view line) {
    const std::string_view number = takeUntil(line, ':');
    const std::string type = lowercased(takeUntil(line, ':'));
    const std::string_view pattern = takeUntil(line, ':');
    std::string_view flags = takeUntil(line, ':');
    Glob glob{.type = type, .pattern = std::string(pattern), .weight = 0, .caseOfLetters = Case::ignored};
    const auto [end, error] = std::from_chars(number.data(), number.data() + number.size(), glob.weight);
    if (error != std::errc() || end != number.data() + number.size() || !isMIMEType(type) || pattern.empty()) return;
    if (pattern == deleteAll) {
      remove(type);
      return;
    }
    while (!flags.empty()) {
      if (takeUntil(flags, ',') == "cs") glob.caseOfLetters = Case::told;
    }
    if (!GlobPattern::hasWildcards(pattern)) {
      literals[glob.pattern].push_back(std::move(glob));
    } else if (pattern.size() > 2 && pattern.starts_with("*.") && !GlobPattern::hasWildcards(pattern.substr(1))) {
      suffixes[glob.pattern.substr(1)].push_back(std::move(glob));
    } else {
      others.push_back(std::move(glob));
    }
  });
  const auto prepend = [](std::vector<Glob>& there, std::vector<Glob>& added) {
    there.insert(there.begin(), std::move_iterator(added.begin()), std::move_iterator(added.end()));
  };
  for (auto& [name, globs] : literals) prepend(literals_[name], globs);
  for (auto& [suffix, globs] : suffixes) prepend(suffixes_[suffix], globs);
  prepend(others_, others);
}

void MIMEGlobs::remove(std::string_view type) {
  const auto removeFrom = [&](std::vector<Glob>& globs) {
    std::erase_if(globs, [&](const Glob& glob) { return glob.type == type; });
  };
  for (auto& [name, globs] : literals_) removeFrom(globs);
  for (auto& [suffix, globs] : suffixes_) removeFrom(globs);
  removeFrom(others_);
}

void MIMEGlobs::addCounting(const std::vector<Glob>& globs, Case caseOfLetters, Matches& matches) {
  for (const Glob& glob : globs) {
    if (glob.counts(caseOfLetters)) matches.push_back(&glob);
  }
}

MIMEGlobs::Matches MIMEGlobs::literalMatches(std::string_view name, Case caseOfLetters) const {
  Matches found;
  if (const auto globs = literals_.find(name); globs != literals_.end())
    addCounting(globs->second, caseOfLetters, found);
  return found;
}

MIMEGlobs::Matches MIMEGlobs::suffixMatches(std::string_view name, Case caseOfLetters) const {
  Matches found;
  for (std::size_t dot = name.find('.'); dot != std::string_view::npos; dot = name.find('.', dot + 1)) {
    const auto globs = suffixes_.find(name.substr(dot));
    if (globs != suffixes_.end()) addCounting(globs->second, caseOfLetters, found);
  }
  return found;
}

MIMEGlobs::Matches MIMEGlobs::otherMatches(std::string_view name, Case caseOfLetters) const {
  Matches found;
  const std::string text(name);
  for (const Glob& glob : others_) {
    if (glob.counts(caseOfLetters) && GlobPattern::fits(glob.pattern, text)) found.push_back(&glob);
  }
  return found;
}

MIMEGlobs::Matches MIMEGlobs::matches(std::string_view name) const {
  const std::string lower = lowercased(name);
  Matches found = literalMatches(name, Case::told);
  if (found.empty()) found = literalMatches(lower, Case::ignored);
  if (found.empty()) found = suffixMatches(name, Case::told);
  if (found.empty()) found = suffixMatches(lower, Case::ignored);
  if (found.empty()) found = otherMatches(name, Case::told);
  if (found.empty()) found = otherMatches(lower, Case::ignored);
  return found;
}

MIMEGlobs::Types MIMEGlobs::typesOfExtension(std::string_view extension) const {
  std::map<std::uint32_t, Types, std::greater<>> byWeight;
  const auto take = [&](std::string_view suffix, Case caseOfLetters) {
    const auto globs = suffixes_.find(suffix);
    if (globs == suffixes_.end()) return;
    for (const Glob& glob : globs->second) {
      if (glob.counts(caseOfLetters)) byWeight[glob.weight].push_back(glob.type);
    }
  };
  const std::string suffix = "." + std::string(extension);
  take(suffix, Case::told);
  if (byWeight.empty()) take(lowercased(suffix), Case::ignored);
  Types types;
  for (const auto& [weight, some] : byWeight) {
    for (const std::string& type : some) addOnce(types, type);
  }
  return types;
}

MIMEGlobs::Types MIMEGlobs::typesOfName(std::string_view name) const {
  const Matches found = matches(name);
  const auto rank = [](const Glob* glob) { return std::pair(glob->weight, glob->pattern.size()); };
  const auto greatest = std::ranges::max_element(found, {}, rank);
  Types types;
  for (const Glob* glob : found) {
    if (rank(glob) == rank(*greatest)) addOnce(types, glob->type);
  }
  return types;
}

std::vector<std::string> MIMEGlobs::extensionsOf(std::string_view type) const {
  std::map<std::uint32_t, std::vector<std::string>, std::greater<>> byWeight;
  for (const auto& [suffix, globs] : suffixes_) {
    const auto glob = std::ranges::find(globs, type, &Glob::type);
    if (glob != globs.end()) byWeight[glob->weight].push_back(suffix.substr(1));
  }
  std::vector<std::string> extensions;
  for (const auto& [weight, some] : byWeight) extensions.insert(extensions.end(), some.begin(), some.end());
  return extensions;
}

}  // namespace Tessaly::inline v1::detail
