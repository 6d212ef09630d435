// SPDX-License-Identifier: MIT
#pragma once

#include <gtk/gtk.h>

#include <memory>
#include <string>
#include <vector>

#include "DuplicateFinder.hpp"
#include "FileListModel.hpp"
#include "Preferences.hpp"
#include "Shelf.hpp"
#include "Tessaly/SettingsAndObservation/ObservationToken.hpp"

namespace keeper {

/// The window of a shelf. What it shows follows the model; what the user does calls the model.
class Window {
 public:
  Window(Shelf& shelf, GMainLoop* loop);
  Window(const Window&) = delete;
  Window& operator=(const Window&) = delete;
  ~Window();

 private:
  GtkWidget* makeBar();
  GtkWidget* makeList();
  GtkWidget* makeBottom();
  void addColumn(const char* title, GtkListItemFactory* factory, gboolean expands);
  GtkWidget* addButton(GtkWidget* box, const char* label, void (Window::*action)());
  void follow();

  void show(const std::shared_ptr<const Listing>& listing);
  void showSections();
  void showSearch(DuplicateFinder::State state);
  [[nodiscard]] std::string status() const;
  void scrollTo(std::size_t row);

  void copyPath();
  void saveTable();
  void saveTable(GFile* file);
  void compare();
  [[nodiscard]] std::shared_ptr<const Listing> shown() const;
  void pauseOrResume();
  void stop() { finder_.cancel(); }

  Shelf& shelf_;
  DuplicateFinder finder_;
  Tessaly::Default<Theme> theme_{themeKey};
  Tessaly::Property<bool> showsOnlyDuplicates_ = false;
  /// The reason of the last failure of an action.
  Tessaly::Property<std::string> notice_;
  std::shared_ptr<const Listing> listing_;
  FileListModel files_;
  GtkWidget* window_;
  GtkSingleSelection* selection_;
  GtkWidget* columns_;
  GtkWidget* scroller_;
  GtkWidget* sections_;
  GtkWidget* status_;
  GtkWidget* progress_;
  GtkWidget* compare_;
  GtkWidget* onlyDuplicates_;
  GtkWidget* pause_;
  GtkWidget* stop_;
  std::vector<std::string> labels_;
  std::vector<Tessaly::ObservationToken> tokens_;  // The last member, so the observations end first.
};

}  // namespace keeper
