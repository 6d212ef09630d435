// SPDX-License-Identifier: MIT
#pragma once

#include <QMainWindow>
#include <QPushButton>
#include <functional>
#include <memory>
#include <vector>

#include "Desk.hpp"
#include "Preferences.hpp"
#include "Tessaly/Adapters/Qt/ListModel.hpp"
#include "Tessaly/SettingsAndObservation/ObservationToken.hpp"
#include "Words.hpp"

class QBoxLayout;
class QCheckBox;
class QLabel;
class QLineEdit;
class QListWidget;
class QMenu;
class QProgressBar;
class QTreeView;

namespace keeper {

/// The window of a desk in Qt 6. What it shows follows the desk; what the user does calls the desk.
class Window : public QMainWindow {
 public:
  explicit Window(Desk& desk);

 private:
  using Action = void (Window::*)();

  void makeBar(QBoxLayout* column);
  void makeList(QBoxLayout* column);
  QMenu* makeColumnsMenu();
  void makeBottom(QBoxLayout* column);
  QPushButton* addButton(QBoxLayout* row, Word label, Action action);
  void follow();

  void showSections(const std::vector<Listing::Section>& sections);
  void showSearch(DuplicateFinder::State state);
  void showTheme(Theme theme);

  [[nodiscard]] Files selected() const;
  void open();
  void copyPaths() { desk_.copyPaths(selected()); }
  void saveTable() { choose(Word::saveTable, "files.csv", &Desk::saveTable); }
  void saveArchive() { choose(Word::saveArchive, "files.zip", &Desk::saveArchive); }
  void saveLog();
  void choose(Word title, const char* name, void (Desk::*save)(const Files&, const Tessaly::URL&));
  /// Asks for the name of a file to write, or for a directory if there is no name.
  void choose(Word title, const char* name, const std::function<void(const Tessaly::URL&)>& save);
  void compare() { desk_.compare(); }
  void pauseOrResume() { desk_.pauseOrResume(); }
  void stop() { desk_.stop(); }
  void toggleDuplicates();
  void showColumnsMenu() { columnsButton_->showMenu(); }
  void quit() { close(); }
  void addShortcut(const QKeySequence& keys, Action action);

  Desk& desk_;
  Tessaly::Default<Theme> theme_{themeKey};
  QTreeView* list_ = nullptr;
  Tessaly::Qt6::ListModel<std::shared_ptr<const File>>* files_ = nullptr;
  QPushButton* columnsButton_ = nullptr;
  QListWidget* sections_ = nullptr;
  QLabel* status_ = nullptr;
  QProgressBar* progress_ = nullptr;
  QPushButton* compare_ = nullptr;
  QCheckBox* onlyDuplicates_ = nullptr;
  QPushButton* pause_ = nullptr;
  QPushButton* stop_ = nullptr;
  std::vector<Tessaly::ObservationToken> tokens_;  // The last member, so the observations end first.
};

}  // namespace keeper
