// SPDX-License-Identifier: MIT

// The oldest GTK that Keeper serves. Newer ones have another dialog for files and call this one deprecated.
#define GDK_VERSION_MIN_REQUIRED GDK_VERSION_4_8

#include "Window.hpp"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "FileTexts.hpp"
#include "Tessaly/Adapters/Gtk/Binding.hpp"
#include "Tessaly/Adapters/Gtk/IncrementalModel.hpp"
#include "Tessaly/Adapters/Gtk/ListModel.hpp"
#include "Tessaly/Adapters/Gtk/ReusingSelection.hpp"
#include "Tessaly/Adapters/Gtk/SettingBinding.hpp"

namespace keeper {
namespace {

using namespace Tessaly;

using FilePointer = std::shared_ptr<const File>;

/// Names a widget without a text for screen readers.
void describe(GtkWidget* widget, Word name) {
  gtk_accessible_update_property(GTK_ACCESSIBLE(widget), GTK_ACCESSIBLE_PROPERTY_LABEL, text(name), -1);
}

void showTheme(Theme theme) {
  const char* property = "gtk-application-prefer-dark-theme";
  if (theme == Theme::system) {
    gtk_settings_reset_property(gtk_settings_get_default(), property);
  } else {
    g_object_set(gtk_settings_get_default(), property, theme == Theme::dark, nullptr);
  }
}

}  // namespace

Window::Window(Desk& desk, GMainLoop* loop) : desk_(desk), loop_(loop), window_(gtk_window_new()) {
  gtk_window_set_icon_name(GTK_WINDOW(window_), "org.example.keeper");
  gtk_window_set_default_size(GTK_WINDOW(window_), 960, 560);
  g_signal_connect_swapped(window_, "close-request", G_CALLBACK(g_main_loop_quit), loop);
  GtkWidget* column = gtk_box_new(GTK_ORIENTATION_VERTICAL, 0);
  gtk_box_append(GTK_BOX(column), makeBar());
  gtk_box_append(GTK_BOX(column), makeList());
  gtk_box_append(GTK_BOX(column), makeBottom());
  gtk_window_set_child(GTK_WINDOW(window_), column);
  addShortcut("<Control>q", &Window::quit);
  addShortcut("<Control>o", &Window::open);
  addShortcut("<Control>d", &Window::compare);
  addShortcut("F9", &Window::toggleDuplicates);
  addShortcut("<Control><Shift>c", &Window::copyPaths);
  addShortcut("<Control>s", &Window::saveTable);
  addShortcut("<Control><Shift>s", &Window::saveArchive);
  addShortcut("<Control>l", &Window::saveLog);
  follow();
  gtk_window_present(GTK_WINDOW(window_));
}

Window::~Window() { gtk_window_destroy(GTK_WINDOW(window_)); }

GtkWidget* Window::makeBar() {
  GtkWidget* bar = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 6);
  gtk_widget_add_css_class(bar, "toolbar");
  GtkWidget* search = gtk_search_entry_new();
  gtk_widget_set_hexpand(search, TRUE);
  gtk_search_entry_set_key_capture_widget(GTK_SEARCH_ENTRY(search), window_);
  describe(search, Word::search);
  describe(GTK_WIDGET(gtk_editable_get_delegate(GTK_EDITABLE(search))), Word::search);  // It has the focus.
  g_object_set(search, "placeholder-text", text(Word::search), nullptr);
  g_signal_connect_swapped(
      search, "changed",
      G_CALLBACK(+[](Desk* desk, GtkEditable* field) { desk->search(gtk_editable_get_text(field)); }), &desk_);
  gtk_box_append(GTK_BOX(bar), search);
  addButton(bar, Word::open, &Window::open);
  addButton(bar, Word::copyPath, &Window::copyPaths);
  addButton(bar, Word::saveTable, &Window::saveTable);
  addButton(bar, Word::saveArchive, &Window::saveArchive);
  addButton(bar, Word::saveLog, &Window::saveLog);
  gtk_box_append(GTK_BOX(bar), makeColumnsMenu());
  return bar;
}

GtkWidget* Window::makeColumnsMenu() {
  GtkWidget* choices = gtk_box_new(GTK_ORIENTATION_VERTICAL, 6);
  for (const Column& column : columns) {
    GtkWidget* choice = gtk_check_button_new_with_label(text(column.title));
    Gtk4::bind(GTK_CHECK_BUTTON(choice), Default<bool>(column.shown));
    gtk_box_append(GTK_BOX(choices), choice);
  }
  GtkWidget* popover = gtk_popover_new();
  gtk_popover_set_child(GTK_POPOVER(popover), choices);
  GtkWidget* button = gtk_menu_button_new();
  gtk_menu_button_set_label(GTK_MENU_BUTTON(button), text(Word::columns));
  gtk_menu_button_set_popover(GTK_MENU_BUTTON(button), popover);
  describe(button, Word::columns);
  gtk_menu_button_set_primary(GTK_MENU_BUTTON(button), TRUE);  // F10 opens it.
  return button;
}

GtkWidget* Window::makeList() {
  GtkWidget* row = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 0);
  GListModel* files = Gtk4::listModel([&desk = desk_] { return desk.files(); }, &File::name);
  selection_ = Gtk4::reusingSelection(GTK_SELECTION_MODEL(gtk_multi_selection_new(Gtk4::incrementalModel(files))));
  columns_ = gtk_column_view_new(selection_);
  gtk_widget_add_css_class(columns_, "data-table");
  describe(columns_, Word::files);
  addNames();
  for (const Column& column : columns) addColumn(column);
  GtkWidget* scroller = gtk_scrolled_window_new();
  gtk_scrolled_window_set_child(GTK_SCROLLED_WINDOW(scroller), columns_);
  gtk_widget_set_hexpand(scroller, TRUE);
  gtk_widget_set_vexpand(scroller, TRUE);
  gtk_box_append(GTK_BOX(row), scroller);
  gtk_box_append(GTK_BOX(row), makeSections());
  return row;
}

GtkWidget* Window::makeSections() {
  GtkWidget* index = gtk_scrolled_window_new();
  gtk_scrolled_window_set_policy(GTK_SCROLLED_WINDOW(index), GTK_POLICY_NEVER, GTK_POLICY_EXTERNAL);
  sections_ = gtk_box_new(GTK_ORIENTATION_VERTICAL, 0);
  describe(sections_, Word::sections);
  gtk_scrolled_window_set_child(GTK_SCROLLED_WINDOW(index), sections_);
  return index;
}

GtkWidget* Window::makeBottom() {
  GtkWidget* bottom = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 6);
  gtk_widget_add_css_class(bottom, "toolbar");
  status_ = gtk_label_new(nullptr);
  gtk_label_set_xalign(GTK_LABEL(status_), 0);
  gtk_label_set_ellipsize(GTK_LABEL(status_), PANGO_ELLIPSIZE_END);
  gtk_widget_set_hexpand(status_, TRUE);
  gtk_box_append(GTK_BOX(bottom), status_);
  progress_ = gtk_progress_bar_new();
  gtk_widget_set_valign(progress_, GTK_ALIGN_CENTER);
  describe(progress_, Word::progress);
  gtk_box_append(GTK_BOX(bottom), progress_);
  pause_ = addButton(bottom, Word::pause, &Window::pauseOrResume);
  stop_ = addButton(bottom, Word::stop, &Window::stop);
  GtkWidget* hidden = gtk_check_button_new_with_label(text(Word::hiddenFiles));
  Gtk4::bind(GTK_CHECK_BUTTON(hidden), Default<bool>(showsHiddenFilesKey));
  gtk_box_append(GTK_BOX(bottom), hidden);
  onlyDuplicates_ = gtk_check_button_new_with_label(text(Word::onlyDuplicates));
  const auto toggled =
      +[](Desk* desk, GtkCheckButton* button) { desk->showsOnlyDuplicates = gtk_check_button_get_active(button) != 0; };
  g_signal_connect_swapped(onlyDuplicates_, "toggled", G_CALLBACK(toggled), &desk_);
  gtk_box_append(GTK_BOX(bottom), onlyDuplicates_);
  compare_ = addButton(bottom, Word::findDuplicates, &Window::compare);
  return bottom;
}

void Window::addNames() {
  GtkColumnViewColumn* column =
      addColumn(Word::name, Gtk4::rowFactory<FilePointer>(
                                [] {
                                  GtkWidget* label = gtk_label_new(nullptr);
                                  gtk_label_set_xalign(GTK_LABEL(label), 0);
                                  gtk_label_set_ellipsize(GTK_LABEL(label), PANGO_ELLIPSIZE_MIDDLE);
                                  return label;
                                },
                                [](GtkWidget* label, const FilePointer& file) {
                                  gtk_label_set_text(GTK_LABEL(label), nameOf(*file).c_str());
                                }));
  gtk_column_view_column_set_expand(column, TRUE);
}

void Window::addColumn(const Column& column) {
  // An inscription has a size that does not depend on its text. A label would be measured for each new text.
  GtkColumnViewColumn* shown = addColumn(
      column.title, Gtk4::rowFactory<FilePointer>(
                        [&column] {
                          GtkWidget* cell = gtk_inscription_new(nullptr);
                          auto* inscription = GTK_INSCRIPTION(cell);
                          gtk_inscription_set_min_chars(inscription, static_cast<unsigned>(column.characters));
                          gtk_inscription_set_xalign(inscription, column.isNumber ? 1 : 0);
                          gtk_inscription_set_text_overflow(inscription, GTK_INSCRIPTION_OVERFLOW_ELLIPSIZE_MIDDLE);
                          return cell;
                        },
                        [&column](GtkWidget* cell, const FilePointer& file) {
                          // An inscription follows its first letter, and a kind may have no translation.
                          const char* mark = isRightToLeft() ? "\u200F" : "";
                          gtk_inscription_set_text(GTK_INSCRIPTION(cell), (mark + column.text(*file)).c_str());
                        }));
  Gtk4::bind(shown, gtk_column_view_column_set_visible,
             [setting = Default<bool>(column.shown)] { return setting.value(); });
}

GtkColumnViewColumn* Window::addColumn(Word title, GtkListItemFactory* cells) {
  GtkColumnViewColumn* column = gtk_column_view_column_new(text(title), cells);
  gtk_column_view_column_set_resizable(column, TRUE);
  gtk_column_view_append_column(GTK_COLUMN_VIEW(columns_), column);
  g_object_unref(column);  // The view holds it.
  return column;
}

GtkWidget* Window::addButton(GtkWidget* box, Word label, Action action) {
  struct Call {
    Window* window;
    Action action;
  };
  GtkWidget* button = gtk_button_new_with_label(text(label));
  g_signal_connect_data(
      button, "clicked", G_CALLBACK(+[](GtkWidget*, Call* call) { (call->window->*call->action)(); }),
      new Call{this, action}, +[](gpointer call, GClosure*) { delete static_cast<Call*>(call); }, GConnectFlags());
  gtk_box_append(GTK_BOX(box), button);
  return button;
}

void Window::addShortcut(const char* trigger, Action action) {
  struct Call {
    Window* window;
    Action action;
  };
  const GtkShortcutFunc run = [](GtkWidget*, GVariant*, gpointer data) -> gboolean {
    const auto* call = static_cast<Call*>(data);
    (call->window->*call->action)();
    return TRUE;
  };
  GtkEventController* shortcuts = gtk_shortcut_controller_new();
  gtk_shortcut_controller_set_scope(GTK_SHORTCUT_CONTROLLER(shortcuts), GTK_SHORTCUT_SCOPE_GLOBAL);
  GtkShortcutAction* call =
      gtk_callback_action_new(run, new Call{this, action}, [](gpointer data) { delete static_cast<Call*>(data); });
  gtk_shortcut_controller_add_shortcut(GTK_SHORTCUT_CONTROLLER(shortcuts),
                                       gtk_shortcut_new(gtk_shortcut_trigger_parse_string(trigger), call));
  gtk_widget_add_controller(window_, shortcuts);
}

void Window::toggleDuplicates() {
  auto* button = GTK_CHECK_BUTTON(onlyDuplicates_);
  if (gtk_widget_is_sensitive(onlyDuplicates_))
    gtk_check_button_set_active(button, !gtk_check_button_get_active(button));
}

void Window::follow() {
  Gtk4::bind(GTK_WINDOW(window_), gtk_window_set_title, [&desk = desk_] { return desk.title(); });
  Gtk4::bind(GTK_LABEL(status_), gtk_label_set_text, [&desk = desk_] { return desk.status(); });
  Gtk4::bind(onlyDuplicates_, gtk_widget_set_sensitive, [&desk = desk_] { return desk.canShowOnlyDuplicates(); });
  Gtk4::bind(GTK_PROGRESS_BAR(progress_), gtk_progress_bar_set_fraction,
             [&desk = desk_] { return desk.finder.progress.value(); });
  withContinuousObservation([this] { return desk_.listing(); },
                            [this](const auto& listing) {
                              if (listing != nullptr) showSections(listing->sections);
                            })
      .store(tokens_);
  withContinuousObservation([this] { return desk_.finder.state.value(); }, [this](auto state) { showSearch(state); })
      .store(tokens_);
  withContinuousObservation([this] { return theme_.value(); }, showTheme).store(tokens_);
}

void Window::showSections(const std::vector<Listing::Section>& sections) {
  std::vector<std::string> labels;
  for (const Listing::Section& section : sections) labels.push_back(section.label);
  if (labels == labels_) return;
  labels_ = std::move(labels);
  while (GtkWidget* child = gtk_widget_get_first_child(sections_)) gtk_box_remove(GTK_BOX(sections_), child);
  for (std::size_t index = 0; index < labels_.size(); ++index) {
    GtkWidget* button = gtk_button_new_with_label(labels_[index].c_str());
    gtk_widget_add_css_class(button, "flat");
    g_object_set_data(G_OBJECT(button), "section", GSIZE_TO_POINTER(index));
    g_signal_connect(button, "clicked", G_CALLBACK(+[](GtkWidget* clicked, Window* window) {
                       const auto section = GPOINTER_TO_SIZE(g_object_get_data(G_OBJECT(clicked), "section"));
                       window->scrollTo(window->desk_.listing()->sections.at(section).first);
                     }),
                     this);
    gtk_box_append(GTK_BOX(sections_), button);
  }
}

void Window::showSearch(DuplicateFinder::State state) {
  const bool isIdle = state == DuplicateFinder::State::idle;
  for (GtkWidget* widget : {progress_, pause_, stop_}) gtk_widget_set_visible(widget, !isIdle);
  gtk_widget_set_sensitive(compare_, isIdle);
  const bool isPaused = state == DuplicateFinder::State::paused;
  gtk_button_set_label(GTK_BUTTON(pause_), text(isPaused ? Word::resume : Word::pause));
}

void Window::scrollTo(std::size_t row) {
  gtk_widget_activate_action(gtk_widget_get_last_child(columns_), "list.scroll-to-item", "u", static_cast<guint>(row));
}

Files Window::selected() const {
  Files files;
  GtkBitset* rows = gtk_selection_model_get_selection(selection_);
  GtkBitsetIter next;
  guint row = 0;
  for (bool isRow = gtk_bitset_iter_init_first(&next, rows, &row); isRow; isRow = gtk_bitset_iter_next(&next, &row)) {
    gpointer item = g_list_model_get_item(G_LIST_MODEL(selection_), row);
    files.push_back(Gtk4::element<FilePointer>(item));
    g_object_unref(item);
  }
  gtk_bitset_unref(rows);
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

void Window::choose(Word title, const char* name, std::function<void(const URL&)> save) {
  using Save = std::function<void(const URL&)>;
  const auto action = name == nullptr ? GTK_FILE_CHOOSER_ACTION_SELECT_FOLDER : GTK_FILE_CHOOSER_ACTION_SAVE;
  GtkFileChooserNative* dialog =
      gtk_file_chooser_native_new(text(title), GTK_WINDOW(window_), action, nullptr, nullptr);
  if (name != nullptr) gtk_file_chooser_set_current_name(GTK_FILE_CHOOSER(dialog), name);
  g_signal_connect_data(
      dialog, "response", G_CALLBACK(+[](GtkNativeDialog* closed, int response, Save* chosen) {
        GFile* file = gtk_file_chooser_get_file(GTK_FILE_CHOOSER(closed));
        if (response == GTK_RESPONSE_ACCEPT && file != nullptr) {
          char* uri = g_file_get_uri(file);
          if (const auto url = URL::from(uri)) (*chosen)(*url);
          g_free(uri);
        }
        g_clear_object(&file);
        g_object_unref(closed);
      }),
      new Save(std::move(save)), +[](gpointer owned, GClosure*) { delete static_cast<Save*>(owned); }, GConnectFlags());
  gtk_native_dialog_show(GTK_NATIVE_DIALOG(dialog));
}

}  // namespace keeper
