// SPDX-License-Identifier: MIT
#include "Window.hpp"

#include <cstdint>
#include <exception>
#include <utility>

#include "Sharing.hpp"
#include "Tessaly/Core/Formatters/NumberFormatStyle.hpp"
#include "Tessaly/Formatting/FormattingService.hpp"
#include "Tessaly/SystemServices/PasteboardService.hpp"
#include "Tessaly/SystemServices/ReachabilityService.hpp"

namespace keeper {
namespace {

using namespace Tessaly;

std::string nameOf(const File& file) { return file.name; }
std::string sizeOf(const File& file) {
  return file.attributes.type == FileType::directory ? "—" : FormattingService::Bytes::string(file.attributes.size);
}
std::string dateOf(const File& file) {
  return FormattingService::Date::relative(file.attributes.modified, DateFormatter::Style::medium, true, true);
}

/// "1 file", "1,234 files": the numbers follow the user's language, the words are English as in the whole window.
std::string counted(std::size_t count, const std::string& noun) {
  return NumberFormatStyle().format(static_cast<std::int64_t>(count)) + " " + noun + (count == 1 ? "" : "s");
}

/// A factory of labels whose text is a function of the file.
template <std::string (*text)(const File&)>
GtkListItemFactory* labels() {
  GtkListItemFactory* factory = gtk_signal_list_item_factory_new();
  g_signal_connect(factory, "setup", G_CALLBACK(+[](GtkListItemFactory*, GtkListItem* item) {
                     GtkWidget* label = gtk_label_new(nullptr);
                     gtk_label_set_xalign(GTK_LABEL(label), text == sizeOf ? 1 : 0);
                     if (text == nameOf) gtk_label_set_ellipsize(GTK_LABEL(label), PANGO_ELLIPSIZE_MIDDLE);
                     gtk_list_item_set_child(item, label);
                   }),
                   nullptr);
  g_signal_connect(factory, "bind", G_CALLBACK(+[](GtkListItemFactory*, GtkListItem* item) {
                     const std::string shown = text(*FileListModel::file(gtk_list_item_get_item(item)));
                     gtk_label_set_text(GTK_LABEL(gtk_list_item_get_child(item)), shown.c_str());
                   }),
                   nullptr);
  return factory;
}

}  // namespace

Window::Window(Shelf& shelf, GMainLoop* loop) : shelf_(shelf), window_(gtk_window_new()) {
  const std::string title = shelf.directory().lastPathComponent() + " — Keeper";
  gtk_window_set_title(GTK_WINDOW(window_), title.c_str());
  gtk_window_set_default_size(GTK_WINDOW(window_), 760, 520);
  g_signal_connect_swapped(window_, "close-request", G_CALLBACK(g_main_loop_quit), loop);
  GtkWidget* column = gtk_box_new(GTK_ORIENTATION_VERTICAL, 0);
  gtk_box_append(GTK_BOX(column), makeBar());
  gtk_box_append(GTK_BOX(column), makeList());
  gtk_box_append(GTK_BOX(column), makeBottom());
  gtk_window_set_child(GTK_WINDOW(window_), column);
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
  gtk_accessible_update_property(GTK_ACCESSIBLE(search), GTK_ACCESSIBLE_PROPERTY_LABEL, "Search", -1);
  g_signal_connect_swapped(
      search, "changed",
      G_CALLBACK(+[](Shelf* shelf, GtkEditable* search) { shelf->search = gtk_editable_get_text(search); }), &shelf_);
  gtk_box_append(GTK_BOX(bar), search);
  addButton(bar, "Copy Path", &Window::copyPath);
  addButton(bar, "Save as CSV", &Window::saveTable);
  compare_ = addButton(bar, "Find Duplicates", &Window::compare);
  onlyDuplicates_ = gtk_toggle_button_new_with_label("Only Duplicates");
  const auto toggled = +[](Window* window, GtkToggleButton* button) {
    window->showsOnlyDuplicates_ = gtk_toggle_button_get_active(button);
  };
  g_signal_connect_swapped(onlyDuplicates_, "toggled", G_CALLBACK(toggled), this);
  gtk_box_append(GTK_BOX(bar), onlyDuplicates_);
  return bar;
}

GtkWidget* Window::makeList() {
  GtkWidget* row = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 0);
  selection_ = gtk_single_selection_new(G_LIST_MODEL(g_object_ref(files_.model())));
  columns_ = gtk_column_view_new(GTK_SELECTION_MODEL(selection_));
  gtk_widget_add_css_class(columns_, "data-table");
  addColumn("Name", labels<nameOf>(), TRUE);
  addColumn("Size", labels<sizeOf>(), FALSE);
  addColumn("Modified", labels<dateOf>(), FALSE);
  scroller_ = gtk_scrolled_window_new();
  gtk_scrolled_window_set_child(GTK_SCROLLED_WINDOW(scroller_), columns_);
  gtk_widget_set_hexpand(scroller_, TRUE);
  gtk_widget_set_vexpand(scroller_, TRUE);
  gtk_box_append(GTK_BOX(row), scroller_);
  GtkWidget* index = gtk_scrolled_window_new();
  gtk_scrolled_window_set_policy(GTK_SCROLLED_WINDOW(index), GTK_POLICY_NEVER, GTK_POLICY_EXTERNAL);
  sections_ = gtk_box_new(GTK_ORIENTATION_VERTICAL, 0);
  gtk_scrolled_window_set_child(GTK_SCROLLED_WINDOW(index), sections_);
  gtk_box_append(GTK_BOX(row), index);
  return row;
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
  gtk_box_append(GTK_BOX(bottom), progress_);
  pause_ = addButton(bottom, "Pause", &Window::pauseOrResume);
  stop_ = addButton(bottom, "Stop", &Window::stop);
  return bottom;
}

void Window::addColumn(const char* title, GtkListItemFactory* factory, gboolean expands) {
  GtkColumnViewColumn* column = gtk_column_view_column_new(title, factory);
  gtk_column_view_column_set_resizable(column, TRUE);
  gtk_column_view_column_set_expand(column, expands);
  gtk_column_view_append_column(GTK_COLUMN_VIEW(columns_), column);
  g_object_unref(column);
}

GtkWidget* Window::addButton(GtkWidget* box, const char* label, void (Window::*action)()) {
  struct Call {
    Window* window;
    void (Window::*action)();
  };
  GtkWidget* button = gtk_button_new_with_label(label);
  g_signal_connect_data(
      button, "clicked", G_CALLBACK(+[](GtkWidget*, Call* call) { (call->window->*call->action)(); }),
      new Call{this, action}, +[](gpointer call, GClosure*) { delete static_cast<Call*>(call); }, GConnectFlags());
  gtk_box_append(GTK_BOX(box), button);
  return button;
}

void Window::follow() {
  withContinuousObservation([this] { return shown(); },
                            [this](const auto& listing) {
                              if (listing != nullptr) show(listing);
                            })
      .store(tokens_);
  withContinuousObservation([this] { return status(); },
                            [this](const std::string& text) { gtk_label_set_text(GTK_LABEL(status_), text.c_str()); })
      .store(tokens_);
  // A pressed button stays usable, because a new search may find nothing.
  withContinuousObservation([this] { return showsOnlyDuplicates_.value() || !finder_.groups.value().empty(); },
                            [this](bool isUsable) { gtk_widget_set_sensitive(onlyDuplicates_, isUsable); })
      .store(tokens_);
  withContinuousObservation([this] { return finder_.state.value(); }, [this](auto state) { showSearch(state); })
      .store(tokens_);
  withContinuousObservation([this] { return finder_.progress.value(); },
                            [this](double part) { gtk_progress_bar_set_fraction(GTK_PROGRESS_BAR(progress_), part); })
      .store(tokens_);
  withContinuousObservation([this] { return theme_.value(); },
                            [](Theme theme) {
                              g_object_set(gtk_settings_get_default(), "gtk-application-prefer-dark-theme",
                                           theme == Theme::dark, nullptr);
                            })
      .store(tokens_);
}

std::shared_ptr<const Listing> Window::shown() const {
  if (!showsOnlyDuplicates_) return shelf_.listing;
  auto duplicates = std::make_shared<Listing>();
  for (const Files& group : finder_.groups.value()) {
    for (const auto& file : group) {
      duplicates->files.push_back(file);
      duplicates->bytes += file->attributes.size;
    }
  }
  return duplicates;
}

void Window::show(const std::shared_ptr<const Listing>& listing) {
  listing_ = listing;
  files_.show(listing);
  showSections();
}

void Window::showSections() {
  std::vector<std::string> labels;
  for (const Listing::Section& section : listing_->sections) labels.push_back(section.label);
  if (labels == labels_) return;
  labels_ = std::move(labels);
  while (GtkWidget* child = gtk_widget_get_first_child(sections_)) gtk_box_remove(GTK_BOX(sections_), child);
  for (std::size_t index = 0; index < labels_.size(); ++index) {
    GtkWidget* button = gtk_button_new_with_label(labels_[index].c_str());
    gtk_widget_add_css_class(button, "flat");
    g_object_set_data(G_OBJECT(button), "section", GSIZE_TO_POINTER(index));
    g_signal_connect(button, "clicked", G_CALLBACK(+[](GtkWidget* button, Window* window) {
                       const auto index = GPOINTER_TO_SIZE(g_object_get_data(G_OBJECT(button), "section"));
                       window->scrollTo(window->listing_->sections.at(index).first);
                     }),
                     this);
    gtk_box_append(GTK_BOX(sections_), button);
  }
}

void Window::showSearch(DuplicateFinder::State state) {
  const bool isIdle = state == DuplicateFinder::State::idle;
  for (GtkWidget* widget : {progress_, pause_, stop_}) gtk_widget_set_visible(widget, !isIdle);
  gtk_widget_set_sensitive(compare_, isIdle);
  gtk_button_set_label(GTK_BUTTON(pause_), state == DuplicateFinder::State::paused ? "Resume" : "Pause");
}

std::string Window::status() const {
  if (!shelf_.problem.value().empty()) return shelf_.problem;
  if (!notice_.value().empty()) return notice_;
  const auto listing = shown();
  if (listing == nullptr) return "Reading…";
  std::string text = counted(listing->files.size(), "file") + ", " + FormattingService::Bytes::string(listing->bytes);
  const std::size_t groups = finder_.groups.value().size();
  if (groups > 0) text += ", " + counted(groups, "set") + " of duplicates";
  const int unreadable = finder_.unreadable;
  if (unreadable > 0) text += ", " + counted(static_cast<std::size_t>(unreadable), "unreadable file");
  if (!ReachabilityService::observableIsOnline()) text += ", offline";
  return text;
}

void Window::scrollTo(std::size_t row) {
  GtkAdjustment* place = gtk_scrolled_window_get_vadjustment(GTK_SCROLLED_WINDOW(scroller_));
  const double rows = g_list_model_get_n_items(files_.model());
  gtk_adjustment_set_value(place, gtk_adjustment_get_upper(place) * static_cast<double>(row) / rows);
}

void Window::copyPath() {
  const gpointer item = gtk_single_selection_get_selected_item(selection_);
  if (item != nullptr) PasteboardService::write(shelf_.url(*FileListModel::file(item)).path());
}

void Window::saveTable() {
  if (listing_ == nullptr) return;
  GtkFileChooserNative* dialog =
      gtk_file_chooser_native_new("Save", GTK_WINDOW(window_), GTK_FILE_CHOOSER_ACTION_SAVE, nullptr, nullptr);
  gtk_file_chooser_set_current_name(GTK_FILE_CHOOSER(dialog), "files.csv");
  g_signal_connect(dialog, "response", G_CALLBACK(+[](GtkNativeDialog* dialog, int response, Window* window) {
                     GFile* file = gtk_file_chooser_get_file(GTK_FILE_CHOOSER(dialog));
                     if (response == GTK_RESPONSE_ACCEPT && file != nullptr) window->saveTable(file);
                     g_clear_object(&file);
                     g_object_unref(dialog);
                   }),
                   this);
  gtk_native_dialog_show(GTK_NATIVE_DIALOG(dialog));
}

void Window::saveTable(GFile* file) {
  char* uri = g_file_get_uri(file);
  try {
    FileManager::default_().write(table(listing_->files), URL::from(uri).value());
    notice_ = "";
  } catch (const std::exception& error) {
    notice_ = error.what();  // Such as a full disk, or a file on a server.
  }
  g_free(uri);
}

void Window::compare() {
  if (const auto listing = shelf_.listing.value()) finder_.start(shelf_.directory(), listing->files);
}

void Window::pauseOrResume() {
  if (finder_.state == DuplicateFinder::State::paused) {
    finder_.resume();
  } else {
    finder_.pause();
  }
}

}  // namespace keeper
