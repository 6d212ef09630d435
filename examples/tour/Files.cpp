// SPDX-License-Identifier: MIT
#include "Files.hpp"

#include <openssl/evp.h>

#include <stdexcept>

namespace Tour {

std::filesystem::path systemFolder() {
  for (const char* folder : {"/usr/include", "/usr/share", "/usr/lib"}) {
    if (std::filesystem::is_directory(folder) && !std::filesystem::is_empty(folder)) return folder;
  }
  return "/etc";
}

std::vector<File> filesBelow(const std::filesystem::path& folder) {
  std::vector<File> files;
  const auto options = std::filesystem::directory_options::skip_permission_denied;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder, options)) {
    if (entry.symlink_status().type() == std::filesystem::file_type::regular) {
      files.push_back({entry.path(), entry.file_size()});
    }
  }
  return files;
}

std::uint64_t totalSize(std::span<const File> files) {
  std::uint64_t size = 0;
  for (const File& file : files) size += file.size;
  return size;
}

std::span<const File> firstBytes(std::span<const File> files, std::uint64_t size) {
  std::size_t count = 0;
  for (std::uint64_t sum = 0; count < files.size() && sum < size; ++count) sum += files[count].size;
  return files.first(count);
}

Digest sha256(std::span<const std::uint8_t> bytes) {
  Digest digest;
  if (::EVP_Digest(bytes.data(), bytes.size(), digest.data(), nullptr, ::EVP_sha256(), nullptr) != 1) {
    throw std::runtime_error("libcrypto has no SHA-256");
  }
  return digest;
}

Digest sha256(const std::vector<Digest>& digests) {
  std::vector<std::uint8_t> bytes;
  for (const Digest& digest : digests) bytes.insert(bytes.end(), digest.begin(), digest.end());
  return sha256(bytes);
}

std::string shortened(const Digest& digest) {
  constexpr char digits[] = "0123456789abcdef";
  std::string text;
  for (const std::uint8_t byte : std::span(digest).first(8)) {
    text += digits[byte >> 4];
    text += digits[byte & 15];
  }
  return text + "…";
}

}  // namespace Tour
