// SPDX-License-Identifier: MIT
#include <exception>

#include "Tessaly/FoundationExtensions/Error+Extensions.hpp"
#include "Tessaly/FoundationExtensions/Logger+Extensions.hpp"
#include "Tessaly/FoundationExtensions/URL+Extensions.hpp"
#include "Tessaly/Platform/Files/FileManager.hpp"

namespace Tessaly::inline v1 {

std::optional<URL> detail::UbiquityContainer::find(const std::optional<std::string>& identifier,
                                                   const std::vector<std::string>& pathComponents) {
  FileManager& files = FileManager::default_();
  const Logger logger = Logger::make("Tessaly", Type<URL>());
  std::optional<URL> url = files.urlForUbiquityContainer(identifier);
  if (!url) {
    logger.error("Failed to find a valid ubiquity container");
    return std::nullopt;
  }
  for (const std::string& component : pathComponents) {
    url = url->appendingPathComponent(component, URL::DirectoryHint::isDirectory);
  }
  const std::string path = url->path();
  if (files.fileExists(path)) return url;
  logger.notice("No ubiquity directory found at '%{public}s'. Creating a new one.", path);
  try {
    files.createDirectory(*url, IntermediateDirectories::created);
  } catch (const std::exception& error) {
    logger.error("Ubiquity directory creation at '%{public}s' failed. %{public}s", path, logDescription(error));
    return std::nullopt;
  }
  return url;
}

}  // namespace Tessaly::inline v1
