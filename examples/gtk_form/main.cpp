// SPDX-License-Identifier: MIT

// A GTK application with a window: a form whose fields are checked by the library's formatters. Saving writes the
// contents to standard output and ends the program. LANG decides how numbers are written.

#include <gtk/gtk.h>

#include <any>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Tessaly/Adapters/Gtk/FormatterHook.hpp"
#include "Tessaly/Core/Formatters/CurrencyFormatStyle.hpp"
#include "Tessaly/Core/Formatters/DateFormatter.hpp"
#include "Tessaly/Core/Formatters/ValueFormatter.hpp"
#include "Tessaly/Formatting/Formatters+CharactersLimit.hpp"
#include "Tessaly/Formatting/Formatters+NoEmojis.hpp"
#include "Tessaly/Formatting/Formatters+RangeNumber.hpp"

namespace {

using namespace Tessaly;

/// A small form about a track of music, with a field for each kind of formatter. A line below the fields shows the
/// outcome of the last input.
class Form {
 public:
  explicit Form(GMainLoop* loop)
      : loop_(loop), window_(gtk_window_new()), grid_(gtk_grid_new()), status_(gtk_label_new(nullptr)) {
    gtk_window_set_title(GTK_WINDOW(window_), "Track (GTK)");
    gtk_window_set_resizable(GTK_WINDOW(window_), FALSE);
    g_signal_connect_swapped(window_, "close-request", G_CALLBACK(g_main_loop_quit), loop);
    GtkWidget* column = gtk_box_new(GTK_ORIENTATION_VERTICAL, 18);
    margins(column, 24);
    gtk_window_set_child(GTK_WINDOW(window_), column);

    GtkWidget* heading = gtk_label_new("Track");
    gtk_widget_add_css_class(heading, "title-1");
    gtk_widget_set_halign(heading, GTK_ALIGN_START);
    gtk_box_append(GTK_BOX(column), heading);
    gtk_grid_set_row_spacing(GTK_GRID(grid_), 10);
    gtk_grid_set_column_spacing(GTK_GRID(grid_), 14);
    gtk_box_append(GTK_BOX(column), grid_);
    addFields();

    GtkWidget* bottom = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 14);
    gtk_label_set_xalign(GTK_LABEL(status_), 0);
    gtk_label_set_ellipsize(GTK_LABEL(status_), PANGO_ELLIPSIZE_END);
    gtk_widget_set_hexpand(status_, TRUE);
    gtk_box_append(GTK_BOX(bottom), status_);
    GtkWidget* save = gtk_button_new_with_label("Save");
    gtk_widget_add_css_class(save, "suggested-action");
    g_signal_connect_swapped(save, "clicked", G_CALLBACK(+[](Form* form) { form->save(); }), this);
    gtk_box_append(GTK_BOX(bottom), save);
    gtk_box_append(GTK_BOX(column), bottom);
    say("Type into the fields.");
    gtk_window_present(GTK_WINDOW(window_));
  }
  Form(const Form&) = delete;
  Form& operator=(const Form&) = delete;
  ~Form() { gtk_window_destroy(GTK_WINDOW(window_)); }

 private:
  struct Row {
    const char* name;
    GtkEditable* field;
    std::unique_ptr<Gtk4::FormatterHook> hook;
  };

  static void margins(GtkWidget* widget, int size) {
    gtk_widget_set_margin_start(widget, size);
    gtk_widget_set_margin_end(widget, size);
    gtk_widget_set_margin_top(widget, size);
    gtk_widget_set_margin_bottom(widget, size);
  }

  void addFields() {
    add("Title", "up to 24 characters", Formatters::CharactersLimit::make(25), std::string());
    add("Artist", "no emoji", Formatters::NoEmojis::make(std::nullopt), std::string());
    auto volume = Formatters::RangeNumber<int>::make(ClosedRange(0, 100));
    volume->setSuffix(" %");
    add("Volume", "0 to 100", volume, 80);
    auto gain = Formatters::RangeNumber<double>::make(ClosedRange(-12.0, 12.0));
    gain->setMaximumFractionDigits(1);
    gain->setSuffix(" dB");
    add("Gain", "−12 to +12", gain, 0.0);
    auto fade = Formatters::RangeNumber<double>::make(ClosedRange(0.0, 10.0));
    fade->setMaximumFractionDigits(2);
    fade->setSuffix(" s");
    fade->setAcceptsEmptyString(true);
    add("Fade", "0 to 10, or nothing", fade, 1.5);
    auto dates = DateFormatter::make();
    dates->setDateStyle(DateFormatter::Style::long_);
    add("Released", "a date", dates, Date::since1970(1'688'558'400));
    add("Price", "euros", fieldFormatter(CurrencyFormatStyle("EUR")), 24.9);
    add("Weight", "grams, or another unit", fieldFormatter(MeasurementFormatStyle(), Quantity::Unit::gram),
        Quantity{180, Quantity::Unit::gram});
  }

  template <typename Kind>
  void add(const char* name, const char* hint, std::shared_ptr<Kind> formatter, std::any object) {
    const int row = static_cast<int>(rows_.size());
    GtkWidget* entry = gtk_entry_new();
    gtk_editable_set_width_chars(GTK_EDITABLE(entry), 26);
    GtkWidget* label = gtk_label_new(name);
    gtk_label_set_xalign(GTK_LABEL(label), 0);
    gtk_label_set_mnemonic_widget(GTK_LABEL(label), entry);
    GtkWidget* about = gtk_label_new(hint);
    gtk_label_set_xalign(GTK_LABEL(about), 0);
    gtk_widget_add_css_class(about, "dim-label");
    gtk_grid_attach(GTK_GRID(grid_), label, 0, row, 1, 1);
    gtk_grid_attach(GTK_GRID(grid_), entry, 1, row, 1, 1);
    gtk_grid_attach(GTK_GRID(grid_), about, 2, row, 1, 1);

    GtkEditable* field = GTK_EDITABLE(entry);
    auto hook = std::make_unique<Gtk4::FormatterHook>(std::move(formatter), field);
    hook->setObjectValue(std::move(object));
    const std::string named = name;
    hook->onEditingEnd(
        [this, named, field](const std::any&) { say(named + " is “" + gtk_editable_get_text(field) + "”."); });
    hook->onRefusal(
        [this, named](std::string_view, std::string_view reason) { say(named + ": " + std::string(reason)); });
    rows_.push_back({name, field, std::move(hook)});
  }

  void say(const std::string& text) { gtk_label_set_text(GTK_LABEL(status_), text.c_str()); }

  void save() {
    for (const Row& row : rows_) std::printf("%s: %s\n", row.name, gtk_editable_get_text(row.field));
    g_main_loop_quit(loop_);
  }

  GMainLoop* loop_;
  GtkWidget* window_;
  GtkWidget* grid_;
  GtkWidget* status_;
  std::vector<Row> rows_;
};

}  // namespace

int main() {
  gtk_init();
  GMainLoop* loop = g_main_loop_new(nullptr, FALSE);
  {
    const Form form(loop);
    g_main_loop_run(loop);
  }
  g_main_loop_unref(loop);
}
