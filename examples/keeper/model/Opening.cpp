// SPDX-License-Identifier: MIT
#include "Opening.hpp"

#include <optional>

#include "Preferences.hpp"

namespace keeper {

using namespace Tessaly;

namespace {

using Last = Default<std::optional<URLBookmark>>;

}  // namespace

void remember(const URL& directory) { Last::setValue(directoryKey, URLBookmark::from(directory)); }

URL directoryToShow(const std::string& argument, const std::string& downloads) {
  const auto directory = [](const std::string& path) {
    return URL::fileURLWithPath(path, URL::DirectoryHint::isDirectory);
  };
  const auto last = Last::value(directoryKey);
  const URL shown = !argument.empty() ? directory(argument) : last ? last->url() : directory(downloads);
  remember(shown);
  return shown;
}

}  // namespace keeper
