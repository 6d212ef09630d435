// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <vector>

namespace Tour {

struct File {
  std::filesystem::path path;
  std::uint64_t size;
};

/// The directory that the tour reads: the headers of the system, or another one with many files.
std::filesystem::path systemFolder();

/// The regular files below a directory, in no order. Symbolic links are not followed.
std::vector<File> filesBelow(const std::filesystem::path& folder);

std::uint64_t totalSize(std::span<const File> files);

/// The first files that together have this size.
std::span<const File> firstBytes(std::span<const File> files, std::uint64_t size);

using Digest = std::array<std::uint8_t, 32>;

Digest sha256(std::span<const std::uint8_t> bytes);
/// The digest of digests.
Digest sha256(const std::vector<Digest>& digests);
/// The first digits, in hexadecimal.
std::string shortened(const Digest& digest);

}  // namespace Tour
