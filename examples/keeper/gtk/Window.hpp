// SPDX-License-Identifier: MIT
#pragma once

#include <gtk/gtk.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "Columns.hpp"
#include "Desk.hpp"
#include "Preferences.hpp"
#include "Tessaly/SettingsAndObservation/ObservationToken.hpp"
#include "Words.hpp"

namespace keeper {

/// The window of a desk in GTK 4. What it shows follows the desk; what the user does calls the desk.
class Window {
 public:
  /// The window's actions end the application through `loop`.
  Window(Desk& desk, GMainLoop* loop);
  Window(const Window&) = delete;
  Window& operator=(const Window&) = delete;
  ~Window();

 private:
  using Action = void (Window::*)();

  GtkWidget* makeBar();
  GtkWidget* makeList();
  GtkWidget* makeColumnsMenu();
  GtkWidget* makeSections();
  GtkWidget* makeBottom();
  void addNames();
  void addColumn(const Column& column);
  GtkColumnViewColumn* addColumn(Word title, GtkListItemFactory* cells);
  GtkWidget* addButton(GtkWidget* box, Word label, Action action);
  void addShortcut(const char* trigger, Action action);
  void follow();

  void showSections(const std::vector<Listing::Section>& sections);
  void showSearch(DuplicateFinder::State state);
  void scrollTo(std::size_t row);

  [[nodiscard]] Files selected() const;
  void open();
  void copyPaths() { desk_.copyPaths(selected()); }
  void saveTable() { choose(Word::saveTable, "files.csv", &Desk::saveTable); }
  void saveArchive() { choose(Word::saveArchive, "files.zip", &Desk::saveArchive); }
  void saveLog();
  void choose(Word title, const char* name, void (Desk::*save)(const Files&, const Tessaly::URL&));
  /// Asks for the name of a file to write, or for a directory if there is no name.
  void choose(Word title, const char* name, std::function<void(const Tessaly::URL&)> save);
  void compare() { desk_.compare(); }
  void pauseOrResume() { desk_.pauseOrResume(); }
  void stop() { desk_.stop(); }
  void toggleDuplicates();
  void quit() { g_main_loop_quit(loop_); }

  Desk& desk_;
  GMainLoop* loop_;
  Tessaly::Default<Theme> theme_{themeKey};
  GtkWidget* window_;
  GtkSelectionModel* selection_ = nullptr;
  GtkWidget* columns_ = nullptr;
  GtkWidget* sections_ = nullptr;
  GtkWidget* status_ = nullptr;
  GtkWidget* progress_ = nullptr;
  GtkWidget* compare_ = nullptr;
  GtkWidget* onlyDuplicates_ = nullptr;
  GtkWidget* pause_ = nullptr;
  GtkWidget* stop_ = nullptr;
  std::vector<std::string> labels_;
  std::vector<Tessaly::ObservationToken> tokens_;  // The last member, so the observations end first.
};

}  // namespace keeper
