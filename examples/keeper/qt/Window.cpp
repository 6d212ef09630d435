// SPDX-License-Identifier: MIT
#include "Window.hpp"

#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QFileDialog>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QIcon>
#include <QKeySequence>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QPalette>
#include <QProgressBar>
#include <QShortcut>
#include <QStyle>
#include <QStyledItemDelegate>
#include <QToolButton>
#include <QTreeView>
#include <QVBoxLayout>
#include <string>

#include "Columns.hpp"
#include "FileTexts.hpp"
#include "Tessaly/Adapters/Qt/Binding.hpp"
#include "Tessaly/Adapters/QtWidgets/SettingBinding.hpp"

namespace keeper {
namespace {

using namespace Tessaly;

using FilePointer = std::shared_ptr<const File>;

QString label(Word word) { return QString::fromUtf8(text(word)); }

/// The values of a column for a view.
auto values(std::string (*text)(const File&), bool isNumber) {
  return [text, isNumber](const FilePointer& file, int role) -> QVariant {
    if (role == Qt::DisplayRole) return QString::fromStdString(text(*file));
    if (role == Qt::TextAlignmentRole && isNumber) return QVariant(Qt::AlignRight | Qt::AlignVCenter);
    return {};
  };
}

/// Names in their own direction. Otherwise an Arabic window would move the number of "2 things" behind the word.
class NameDelegate : public QStyledItemDelegate {
 public:
  using QStyledItemDelegate::QStyledItemDelegate;

 protected:
  void initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const override {
    QStyledItemDelegate::initStyleOption(option, index);
    option->displayAlignment = QStyle::visualAlignment(option->direction, option->displayAlignment) | Qt::AlignAbsolute;
    option->direction = option->text.isRightToLeft() ? Qt::RightToLeft : Qt::LeftToRight;
  }
};

/// The colours around a colour of the window. Those that Qt would make leave disabled texts black on a dark window.
QPalette colours(int window, int base, int weak) {
  const auto grey = [](int lightness) { return QColor(lightness, lightness, lightness); };
  QPalette colours(grey(window));
  colours.setColor(QPalette::Base, grey(base));
  colours.setColor(QPalette::AlternateBase, grey(base < window ? base + 8 : base - 8));
  colours.setColor(QPalette::Highlight, QColor(38, 105, 168));
  colours.setColor(QPalette::HighlightedText, Qt::white);
  colours.setColor(QPalette::PlaceholderText, grey(weak));
  for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText}) {
    colours.setColor(QPalette::Disabled, role, grey(weak));
  }
  return colours;
}

}  // namespace

Window::Window(Desk& desk) : desk_(desk) {
  setWindowIcon(QIcon::fromTheme("org.example.keeper"));
  resize(960, 560);
  auto* content = new QWidget;
  auto* layout = new QVBoxLayout(content);
  makeBar(layout);
  makeList(layout);
  makeBottom(layout);
  setCentralWidget(content);
  addShortcut(Qt::CTRL | Qt::Key_Q, &Window::quit);
  addShortcut(Qt::CTRL | Qt::Key_O, &Window::open);
  addShortcut(Qt::CTRL | Qt::Key_D, &Window::compare);
  addShortcut(Qt::Key_F9, &Window::toggleDuplicates);
  addShortcut(Qt::Key_F10, &Window::showColumnsMenu);
  addShortcut(Qt::CTRL | Qt::SHIFT | Qt::Key_C, &Window::copyPaths);
  addShortcut(Qt::CTRL | Qt::Key_S, &Window::saveTable);
  addShortcut(Qt::CTRL | Qt::SHIFT | Qt::Key_S, &Window::saveArchive);
  addShortcut(Qt::CTRL | Qt::Key_L, &Window::saveLog);
  follow();
}

void Window::makeBar(QBoxLayout* column) {
  auto* row = new QHBoxLayout;
  auto* search = new QLineEdit;
  search->setPlaceholderText(label(Word::search));
  search->setAccessibleName(label(Word::search));
  search->setClearButtonEnabled(true);
  search->findChild<QToolButton*>()->setAccessibleName(label(Word::clearSearch));
  QObject::connect(search, &QLineEdit::textChanged, this,
                   [this](const QString& text) { desk_.search(text.toStdString()); });
  row->addWidget(search, 1);
  addButton(row, Word::open, &Window::open);
  addButton(row, Word::copyPath, &Window::copyPaths);
  addButton(row, Word::saveTable, &Window::saveTable);
  addButton(row, Word::saveArchive, &Window::saveArchive);
  addButton(row, Word::saveLog, &Window::saveLog);
  columnsButton_ = new QPushButton(label(Word::columns));
  columnsButton_->setAutoDefault(false);
  columnsButton_->setMenu(makeColumnsMenu());
  row->addWidget(columnsButton_);
  column->addLayout(row);
  search->setFocus();
}

QMenu* Window::makeColumnsMenu() {
  auto* menu = new QMenu(this);
  for (const Column& column : columns) {
    QAction* choice = menu->addAction(label(column.title));
    choice->setCheckable(true);
    Qt6::bind(choice, &QAction::setChecked, [setting = Default<bool>(column.shown)] { return setting.value(); });
    QObject::connect(choice, &QAction::triggered, this,
                     [&column](bool isOn) { Default<bool>::setValue(column.shown, isOn); });
  }
  return menu;
}

void Window::makeList(QBoxLayout* column) {
  files_ = new Qt6::ListModel([&desk = desk_] { return desk.files(); }, &File::name, this);
  files_->addColumn(label(Word::name), values(nameOf, false));
  for (const Column& shown : columns) files_->addColumn(label(shown.title), values(shown.text, shown.isNumber));
  list_ = new QTreeView;
  list_->setModel(files_);
  list_->setItemDelegateForColumn(0, new NameDelegate(list_));
  list_->setAccessibleName(label(Word::files));
  list_->setRootIsDecorated(false);
  list_->setUniformRowHeights(true);  // Otherwise the view measures every row.
  list_->setAlternatingRowColors(true);
  list_->setTextElideMode(Qt::ElideMiddle);
  list_->setSelectionMode(QAbstractItemView::ExtendedSelection);
  list_->header()->setStretchLastSection(false);
  list_->header()->setSectionResizeMode(0, QHeaderView::Stretch);
  const int character = list_->fontMetrics().horizontalAdvance(QLatin1Char('0'));
  for (int section = 1; const Column& shown : columns) {
    list_->header()->resizeSection(section, shown.characters * character);
    Qt6::bind(
        list_, [section](QTreeView* list, bool isShown) { list->setColumnHidden(section, !isShown); },
        [setting = Default<bool>(shown.shown)] { return setting.value(); });
    ++section;
  }
  sections_ = new QListWidget;
  sections_->setAccessibleName(label(Word::sections));
  sections_->setFixedWidth(52);
  sections_->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  QObject::connect(sections_, &QListWidget::itemClicked, this, [this](const QListWidgetItem* item) {
    const auto row = static_cast<int>(item->data(Qt::UserRole).toLongLong());
    list_->scrollTo(files_->index(row, 0), QAbstractItemView::PositionAtTop);
  });
  auto* row = new QHBoxLayout;
  row->addWidget(list_, 1);
  row->addWidget(sections_);
  column->addLayout(row, 1);
}

void Window::makeBottom(QBoxLayout* column) {
  auto* row = new QHBoxLayout;
  status_ = new QLabel;
  status_->setMinimumWidth(1);  // A long status is cut instead of widening the window.
  row->addWidget(status_, 1);
  progress_ = new QProgressBar;
  progress_->setAccessibleName(label(Word::progress));
  progress_->setMaximumWidth(120);
  progress_->setTextVisible(false);
  row->addWidget(progress_);
  pause_ = addButton(row, Word::pause, &Window::pauseOrResume);
  stop_ = addButton(row, Word::stop, &Window::stop);
  auto* hidden = new QCheckBox(label(Word::hiddenFiles));
  Qt6::bind(hidden, Default<bool>(showsHiddenFilesKey));
  row->addWidget(hidden);
  onlyDuplicates_ = new QCheckBox(label(Word::onlyDuplicates));
  QObject::connect(onlyDuplicates_, &QCheckBox::toggled, this, [this](bool isOn) { desk_.showsOnlyDuplicates = isOn; });
  row->addWidget(onlyDuplicates_);
  compare_ = addButton(row, Word::findDuplicates, &Window::compare);
  column->addLayout(row);
}

QPushButton* Window::addButton(QBoxLayout* row, Word word, Action action) {
  auto* button = new QPushButton(label(word));
  button->setAutoDefault(false);
  QObject::connect(button, &QPushButton::clicked, this, [this, action] { (this->*action)(); });
  row->addWidget(button);
  return button;
}

void Window::addShortcut(const QKeySequence& keys, Action action) {
  QObject::connect(new QShortcut(keys, this), &QShortcut::activated, this, [this, action] { (this->*action)(); });
}

void Window::toggleDuplicates() {
  if (onlyDuplicates_->isEnabled()) onlyDuplicates_->toggle();
}

void Window::follow() {
  Qt6::bind(static_cast<QWidget*>(this), &QWidget::setWindowTitle, [&desk = desk_] { return desk.title(); });
  Qt6::bind(status_, &QLabel::setText, [&desk = desk_] { return desk.status(); });
  Qt6::bind(onlyDuplicates_, &QWidget::setEnabled, [&desk = desk_] { return desk.canShowOnlyDuplicates(); });
  Qt6::bind(progress_, &QProgressBar::setValue,
            [&desk = desk_] { return static_cast<int>(100 * desk.finder.progress.value()); });
  withContinuousObservation([this] { return desk_.listing(); },
                            [this](const auto& listing) {
                              if (listing != nullptr) showSections(listing->sections);
                            })
      .store(tokens_);
  withContinuousObservation([this] { return desk_.finder.state.value(); }, [this](auto state) { showSearch(state); })
      .store(tokens_);
  withContinuousObservation([this] { return theme_.value(); }, [this](Theme theme) { showTheme(theme); })
      .store(tokens_);
}

void Window::showSections(const std::vector<Listing::Section>& sections) {
  sections_->clear();
  for (const Listing::Section& section : sections) {
    auto* item = new QListWidgetItem(QString::fromStdString(section.label), sections_);
    item->setTextAlignment(Qt::AlignCenter);
    item->setData(Qt::UserRole, QVariant::fromValue(static_cast<qlonglong>(section.first)));
  }
}

void Window::showSearch(DuplicateFinder::State state) {
  const bool isIdle = state == DuplicateFinder::State::idle;
  for (QWidget* widget :
       {static_cast<QWidget*>(progress_), static_cast<QWidget*>(pause_), static_cast<QWidget*>(stop_)}) {
    widget->setVisible(!isIdle);
  }
  compare_->setEnabled(isIdle);
  pause_->setText(label(state == DuplicateFinder::State::paused ? Word::resume : Word::pause));
}

void Window::showTheme(Theme theme) {
  QApplication::setPalette(theme == Theme::dark    ? colours(58, 30, 160)
                           : theme == Theme::light ? colours(239, 255, 105)
                                                   : QPalette());  // The desktop's.
}

Files Window::selected() const {
  Files files;
  for (const QModelIndex& index : list_->selectionModel()->selectedRows())
    files.push_back(files_->element(index.row()));
  return files;
}

void Window::open() {
  choose(Word::open, nullptr, [this](const URL& directory) { desk_.open(directory); });
}

void Window::saveLog() {
  choose(Word::saveLog, "keeper-log.csv", [this](const URL& file) { desk_.saveLog(file); });
}

void Window::choose(Word title, const char* name, void (Desk::*save)(const Files&, const URL&)) {
  choose(title, name, [this, save, files = selected()](const URL& file) { (desk_.*save)(files, file); });
}

void Window::choose(Word title, const char* name, const std::function<void(const URL&)>& save) {
  auto* dialog = new QFileDialog(this);
  dialog->setAttribute(Qt::WA_DeleteOnClose);
  if (name == nullptr) {
    dialog->setFileMode(QFileDialog::Directory);
  } else {
    dialog->setAcceptMode(QFileDialog::AcceptSave);
    dialog->selectFile(name);
  }
  dialog->setWindowTitle(label(title));  // The last, because a new mode sets a title of its own.
  QObject::connect(dialog, &QFileDialog::fileSelected, this,
                   [save](const QString& path) { save(URL::fileURLWithPath(path.toStdString())); });
  dialog->open();
}

}  // namespace keeper
