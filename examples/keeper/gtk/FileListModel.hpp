// SPDX-License-Identifier: MIT
#pragma once

#include <gtk/gtk.h>

#include <memory>

#include "FileIndex.hpp"

namespace keeper {

/// Shows a `Listing` to GTK's lists. GTK asks for the items that are visible, so a long list costs nothing.
class FileListModel {
 public:
  FileListModel();
  FileListModel(const FileListModel&) = delete;
  FileListModel& operator=(const FileListModel&) = delete;
  ~FileListModel();

  [[nodiscard]] GListModel* model() const noexcept { return model_; }
  /// Replaces the contents. Rows at both ends that stay are left alone, so that the list keeps its place.
  void show(std::shared_ptr<const Listing> listing);

  /// The file of an item of this model.
  [[nodiscard]] static const std::shared_ptr<const File>& file(gpointer item);

 private:
  GListModel* model_;
};

}  // namespace keeper
