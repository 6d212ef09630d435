// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Tessaly/Core/Text/AlphabeticIndex.hpp"
#include "Tessaly/Core/Text/Collator.hpp"
#include "Tessaly/Core/Text/Locale.hpp"
#include "Tessaly/Platform/Files/DirectorySource.hpp"

namespace keeper {

/// A file or directory as the list shows it, with what it is sorted and found by.
struct File {
  std::string name;
  Tessaly::FileAttributes attributes;
  std::string sortKey;
  std::string searchKey;
  std::size_t section;
};
using Files = std::vector<std::shared_ptr<const File>>;

/// The files that a list shows. It never changes, so threads may share it.
struct Listing {
  struct Section {
    std::string label;
    std::size_t first;
  };

  Files files;
  std::int64_t bytes = 0;
  std::vector<Section> sections;
};

enum class HiddenFiles : std::uint8_t { leftOut, shown };

/// All files of a directory in the order of the user's language. It is used in one isolation, beside the main thread.
class FileIndex {
 public:
  explicit FileIndex(const Tessaly::Locale& locale) : collator_(locale), alphabet_(locale) {}

  void clear() { sorted_.clear(); }
  void apply(const std::vector<Tessaly::DirectoryChange>& changes);

  /// The files whose names contain the text. Diacritics, scripts and case do not count.
  [[nodiscard]] std::shared_ptr<const Listing> matching(std::string_view text, HiddenFiles hidden) const;

 private:
  [[nodiscard]] std::shared_ptr<const File> file(const Tessaly::DirectoryEntry& entry) const;

  Tessaly::Collator collator_;
  Tessaly::AlphabeticIndex alphabet_;
  Files sorted_;
};

}  // namespace keeper
