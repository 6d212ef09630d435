// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Foundation/Bundle.hpp"

#include <algorithm>
#include <atomic>
#include <ranges>
#include <utility>

#include "Tessaly/Core/Base/FatalError.hpp"
#include "Tessaly/Core/Foundation/ProcessInfo.hpp"
#include "Tessaly/Core/Foundation/detail/BundleNote.hpp"
#include "Tessaly/Core/Locks/UnfairLock.hpp"

namespace Tessaly::inline v1 {
namespace {

constinit UnfairLock lock;
constinit const BundleInformation* givenFacts TESSALY_GUARDED_BY(lock) = nullptr;
constinit std::atomic<const Bundle*> mainBundle{nullptr};

/// A language in the form for comparisons: "de_at" for "de-AT.UTF-8@euro".
std::string normalized(std::string_view language) {
  language = language.substr(0, language.find_first_of(".@"));
  std::string result(language);
  std::ranges::transform(result, result.begin(), [](char c) {
    if (c == '-') return '_';
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : c;
  });
  return result;
}

/// The languages that the environment requests, best first, normalized.
std::vector<std::string> wantedLanguages(const ProcessInfo& process) {
  std::string locale;
  for (const char* variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
    locale = normalized(process.environmentValue(variable).value_or(""));
    if (!locale.empty()) break;
  }
  // As in other programs, the locales "C" and "POSIX" have no languages, even if LANGUAGE is set.
  if (locale.empty() || locale == "c" || locale == "posix") return {};
  std::vector<std::string> languages;
  for (const auto part : std::views::split(process.environmentValue("LANGUAGE").value_or(""), ':')) {
    if (!part.empty()) languages.push_back(normalized(std::string_view(part.begin(), part.end())));
  }
  if (languages.empty()) languages.push_back(std::move(locale));
  return languages;
}

std::string_view languageOnly(std::string_view language) { return language.substr(0, language.find('_')); }

/// The localization for a language: the same one, else the language without the region, else the language with any
/// region.
std::optional<std::string> bestLocalization(const std::vector<std::string>& localizations, std::string_view wanted) {
  const auto find = [&](auto&& matches) -> std::optional<std::string> {
    const auto found = std::ranges::find_if(localizations, matches);
    if (found == localizations.end()) return std::nullopt;
    return *found;
  };
  if (auto same = find([&](const auto& one) { return normalized(one) == wanted; })) return same;
  if (auto general = find([&](const auto& one) { return normalized(one) == languageOnly(wanted); })) return general;
  return find([&](const auto& one) { return languageOnly(normalized(one)) == languageOnly(wanted); });
}

}  // namespace

Bundle::Bundle(BundleInformation facts) noexcept : facts_(std::move(facts)) {
  const auto take = [this](const char* key, std::optional<std::string>& fact) {
    auto entry = facts_.information.extract(key);
    if (!entry.empty() && !fact) fact = std::move(entry.mapped());
  };
  take("CFBundleIdentifier", facts_.identifier);
  take("CFBundleShortVersionString", facts_.shortVersion);
  take("CFBundleVersion", facts_.build);
}

const Bundle& Bundle::main() {
  if (const auto* bundle = mainBundle.load(std::memory_order_acquire)) return *bundle;
  const UnfairLock::Guard guard(lock);
  if (const auto* bundle = mainBundle.load(std::memory_order_acquire)) return *bundle;
  const auto* bundle =
      new Bundle(givenFacts != nullptr ? *givenFacts : detail::readMainBundleNote().value_or(BundleInformation{}));
  mainBundle.store(bundle, std::memory_order_release);
  return *bundle;
}

void Bundle::setMain(BundleInformation information) {
  const char* refusal = nullptr;
  {
    const UnfairLock::Guard guard(lock);
    if (mainBundle.load(std::memory_order_acquire) != nullptr) {
      refusal = "Bundle::setMain was called after the main bundle had been used";
    } else if (givenFacts != nullptr) {
      refusal = "Bundle::setMain was called twice";
    } else {
      givenFacts = new BundleInformation(std::move(information));
    }
  }
  if (refusal != nullptr) fatalError(refusal, "Tessaly/Bundle", __LINE__);
}

std::vector<std::string> Bundle::preferredLocalizations() const {
  if (facts_.preferredLocalizations) return *facts_.preferredLocalizations;
  if (facts_.localizations.empty()) return {"en"};
  std::vector<std::string> preferred;
  for (const std::string& language : wantedLanguages(ProcessInfo::processInfo())) {
    auto best = bestLocalization(facts_.localizations, language);
    if (best && std::ranges::find(preferred, *best) == preferred.end()) preferred.push_back(*std::move(best));
  }
  if (preferred.empty()) preferred.push_back(facts_.localizations.front());
  return preferred;
}

std::optional<std::string> Bundle::infoValue(std::string_view key) const {
  if (key == "CFBundleIdentifier") return facts_.identifier;
  if (key == "CFBundleShortVersionString") return facts_.shortVersion;
  if (key == "CFBundleVersion") return facts_.build;
  const auto found = facts_.information.find(std::string(key));
  if (found == facts_.information.end()) return std::nullopt;
  return found->second;
}

URL Bundle::executableURL() const {
  return URL::fileURLWithPath(ProcessInfo::processInfo().executablePath(), URL::DirectoryHint::notDirectory);
}

}  // namespace Tessaly::inline v1
