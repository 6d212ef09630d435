// SPDX-License-Identifier: MIT
#pragma once

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>

#include "Tessaly/Core/Foundation/URL.hpp"

namespace Tessaly::Tests {

/// The relative path of a directory below as many others.
inline std::string pathOfDepth(int levels) {
  std::string path = "d";
  for (int level = 0; level < levels; ++level) path += "/d";
  return path;
}

/// A directory of the test, removed with its contents.
class TemporaryFolder {
 public:
  TemporaryFolder() : path_((std::filesystem::temp_directory_path() / "tessaly-XXXXXX").string()) {
    if (::mkdtemp(path_.data()) == nullptr) throw std::runtime_error("Cannot make a temporary folder");
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  [[nodiscard]] const std::string& path() const noexcept { return path_; }
  [[nodiscard]] Tessaly::URL url() const {
    return Tessaly::URL::fileURLWithPath(path_, Tessaly::URL::DirectoryHint::isDirectory);
  }

 private:
  std::string path_;
};

}  // namespace Tessaly::Tests
