// SPDX-License-Identifier: MIT
#pragma once

#include <filesystem>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "Tessaly/Platform/Files/DirectorySource.hpp"
#include "Tessaly/Platform/Files/FileManager.hpp"

namespace Tessaly::Tests {

/// A host's model of a directory, made from its changes alone. Throws if a change contradicts the earlier ones.
class DirectoryModel {
 public:
  void apply(const DirectoryChange& change) {
    const std::string& path = change.entry.path;
    switch (change.kind) {
      case DirectoryChange::Kind::appeared:
        if (!entries_.emplace(path, change.entry.attributes).second) throw std::logic_error(path + " is there already");
        return;
      case DirectoryChange::Kind::changed:
        entries_.at(path) = change.entry.attributes;
        return;
      case DirectoryChange::Kind::renamed:
        if (entries_.contains(path)) throw std::logic_error(path + " is taken");
        move(change.formerPath, path);
        entries_.at(path) = change.entry.attributes;
        return;
      case DirectoryChange::Kind::disappeared:
        if (!entries_.contains(path)) throw std::logic_error(path + " is not there");
        for (const std::string& each : withAllBelow(path)) entries_.erase(each);
        return;
    }
  }
  void apply(const std::vector<DirectoryChange>& changes) {
    for (const DirectoryChange& change : changes) apply(change);
  }

  /// A line for each entry, sorted. A line has the path, the type, and for a file its size.
  [[nodiscard]] std::string listing() const {
    std::string text;
    for (const auto& [path, attributes] : entries_) append(text, path, attributes);
    return text;
  }
  [[nodiscard]] const std::map<std::string, FileAttributes>& entries() const noexcept { return entries_; }

  /// The expected `listing()`: that of the directory as it is.
  static std::string actualListing(const std::string& directory, DirectoryDepth depth) {
    DirectoryModel model;
    model.add(directory, "", depth);
    return model.listing();
  }

 private:
  static void append(std::string& text, const std::string& path, const FileAttributes& attributes) {
    text += path + " " + std::to_string(static_cast<int>(attributes.type));
    if (attributes.type == FileType::regular) text += " " + std::to_string(attributes.size);
    text += '\n';
  }
  void add(const std::string& directory, const std::string& prefix, DirectoryDepth depth) {
    for (const auto& entry : FileManager::default_().contentsOfDirectory(URL::fileURLWithPath(directory))) {
      entries_[prefix + entry.path] = entry.attributes;
      if (depth == DirectoryDepth::tree && entry.attributes.type == FileType::directory) {
        add(directory + "/" + entry.path, prefix + entry.path + "/", depth);
      }
    }
  }
  [[nodiscard]] std::vector<std::string> withAllBelow(const std::string& path) const {
    std::vector<std::string> paths{path};
    for (auto each = entries_.lower_bound(path + "/"); each != entries_.end(); ++each) {
      if (!each->first.starts_with(path + "/")) break;
      paths.push_back(each->first);
    }
    return paths;
  }
  void move(const std::string& from, const std::string& to) {
    for (const std::string& each : withAllBelow(from)) {
      auto node = entries_.extract(each);
      if (node.empty()) throw std::logic_error(each + " is not there");
      node.key() = to + each.substr(from.size());
      entries_.insert(std::move(node));
    }
  }

  std::map<std::string, FileAttributes> entries_;
};

}  // namespace Tessaly::Tests
