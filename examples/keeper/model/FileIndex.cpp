// SPDX-License-Identifier: MIT
#include "FileIndex.hpp"

#include <algorithm>
#include <iterator>
#include <unordered_map>
#include <utility>

#include "Tessaly/FoundationExtensions/String+Search.hpp"

namespace keeper {
namespace {

using namespace Tessaly;

bool isBefore(const std::shared_ptr<const File>& left, const std::shared_ptr<const File>& right) {
  return left->sortKey != right->sortKey ? left->sortKey < right->sortKey : left->name < right->name;
}

}  // namespace

std::shared_ptr<const File> FileIndex::file(const DirectoryEntry& entry) const {
  return std::make_shared<const File>(File{.name = entry.path,
                                           .attributes = entry.attributes,
                                           .sortKey = collator_.sortKey(entry.path),
                                           .searchKey = String::normalizedForSearch(entry.path),
                                           .section = alphabet_.section(entry.path)});
}

void FileIndex::apply(const std::vector<DirectoryChange>& changes) {
  // The last state of each name that changed; nothing for a name that is gone.
  std::unordered_map<std::string_view, const DirectoryEntry*> latest;
  for (const DirectoryChange& change : changes) {
    if (change.kind == DirectoryChange::Kind::renamed) latest[change.formerPath] = nullptr;
    latest[change.entry.path] = change.kind == DirectoryChange::Kind::disappeared ? nullptr : &change.entry;
  }
  std::erase_if(sorted_, [&](const auto& file) { return latest.contains(file->name); });
  Files added;
  for (const auto& [name, entry] : latest) {
    if (entry != nullptr) added.push_back(file(*entry));
  }
  std::ranges::sort(added, isBefore);
  Files all;
  all.reserve(sorted_.size() + added.size());
  std::ranges::merge(sorted_, added, std::back_inserter(all), isBefore);
  sorted_ = std::move(all);
}

std::shared_ptr<const Listing> FileIndex::matching(std::string_view text, HiddenFiles hidden) const {
  auto listing = std::make_shared<Listing>();
  const std::string sought = String::normalizedForSearch(text);
  std::ranges::copy_if(sorted_, std::back_inserter(listing->files), [&](const auto& file) {
    return file->searchKey.contains(sought) && (hidden == HiddenFiles::shown || !file->name.starts_with('.'));
  });
  for (std::size_t row = 0; row < listing->files.size(); ++row) {
    const File& file = *listing->files[row];
    listing->bytes += file.attributes.size;
    if (row == 0 || listing->files[row - 1]->section != file.section) {
      listing->sections.push_back({.label = alphabet_.labels()[file.section], .first = row});
    }
  }
  return listing;
}

}  // namespace keeper
