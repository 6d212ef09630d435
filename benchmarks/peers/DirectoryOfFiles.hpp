// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

#include "FilePeers.hpp"

namespace Tessaly::Benchmarks {

/// A directory in memory with empty files, one of which gets new names. Removed at the end.
class DirectoryOfFiles {
 public:
  explicit DirectoryOfFiles(int count) {
    if (::mkdtemp(path_.data()) == nullptr) throw std::runtime_error("There is no place for a directory");
    for (int i = 1; i < count; ++i) std::ofstream(path_ + "/file-" + std::to_string(i));
    const std::ofstream moving(name(number_));
  }
  ~DirectoryOfFiles() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  DirectoryOfFiles(const DirectoryOfFiles&) = delete;
  DirectoryOfFiles& operator=(const DirectoryOfFiles&) = delete;

  [[nodiscard]] const std::string& path() const { return path_; }
  /// Gives the file its next name. Returns the number in it.
  std::uint64_t rename() {
    const std::string former = name(number_);
    if (std::rename(former.c_str(), name(++number_).c_str()) != 0) throw std::runtime_error("Cannot rename a file");
    return number_;
  }

 private:
  [[nodiscard]] std::string name(std::uint64_t number) const {
    return path_ + "/" + std::string(FilePeers::Lister::prefix) + std::to_string(number);
  }

  std::string path_ = "/dev/shm/tessaly-bench-XXXXXX";
  std::uint64_t number_ = 0;
};

}  // namespace Tessaly::Benchmarks
