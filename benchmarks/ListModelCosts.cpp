// SPDX-License-Identifier: MIT

// Prints how long list models of 100,000 rows, with a view and a selected row, take for an update, in milliseconds: the
// minimum of 20. "Difference" is the part without a toolkit. Needs an X display for GTK.

#include <fmt/format.h>
#include <gtk/gtk.h>

#include <QApplication>
#include <QItemSelectionModel>
#include <QTreeView>
#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <limits>
#include <memory>
#include <random>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "Tessaly/Adapters/GLib/MainLoop.hpp"
#include "Tessaly/Adapters/Gtk/ListModel.hpp"
#include "Tessaly/Adapters/Gtk/ReusingSelection.hpp"
#include "Tessaly/Adapters/Qt/ListModel.hpp"
#include "Tessaly/Adapters/Qt/MainLoop.hpp"
#include "Tessaly/Core/Observation/Property.hpp"

namespace Tessaly {
namespace {

struct Named {
  std::string name;
};
using Rows = std::vector<std::shared_ptr<const Named>>;
using Shared = std::shared_ptr<const Rows>;

Shared named(const std::string& prefix, int count) {
  Rows rows;
  for (int i = 0; i < count; ++i) {
    rows.push_back(std::make_shared<const Named>(Named{prefix + fmt::format("{:08}.jpeg", i)}));
  }
  return std::make_shared<const Rows>(std::move(rows));
}

struct Change {
  std::string name;
  Shared before;
  Shared after;
};

std::vector<Change> changes() {
  const Shared all = named("picture ", 100'000);
  const auto with = [&](const auto& edit) {
    Rows rows = *all;
    edit(rows);
    return std::make_shared<const Rows>(std::move(rows));
  };
  return {{"one inserted", all, with([](Rows& rows) { rows.insert(rows.begin() + 500, named("x", 1)->front()); })},
          {"one moved", all, with([](Rows& rows) { std::rotate(rows.begin() + 10, rows.begin() + 11, rows.end()); })},
          {"every third removed", all,
           with([](Rows& rows) { std::erase_if(rows, [n = 0](const auto&) mutable { return n++ % 3 == 0; }); })},
          {"every third inserted",
           with([](Rows& rows) { std::erase_if(rows, [n = 0](const auto&) mutable { return n++ % 3 == 0; }); }), all},
          {"shuffled", all, with([](Rows& rows) { std::shuffle(rows.begin(), rows.end(), std::mt19937(7)); })},
          {"all replaced", all, named("photo ", 100'000)}};
}

/// Sets the rows to `before` and measures the way to `after`.
double cost(const Change& change, const std::function<void(const Shared&)>& show) {
  double best = std::numeric_limits<double>::max();
  for (int round = 0; round < 20; ++round) {
    show(change.before);
    const auto begin = std::chrono::steady_clock::now();
    show(change.after);
    best = std::min(best, std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begin).count());
  }
  return best;
}

double difference(const Change& change) {
  return cost(change, [&](const Shared& rows) {
    if (rows == change.after) {
      (void)detail::stepsBetween(std::span(std::as_const(*change.before)), std::span(*rows), &Named::name);
    }
  });
}

double qt(const Change& change) {
  Property<Shared> shown = change.before;
  QTreeView view;
  view.setUniformRowHeights(true);
  view.setRootIsDecorated(false);
  auto* const model = new Qt6::ListModel([&] { return shown.value(); }, &Named::name, &view);
  model->addColumn("Name", [](const std::shared_ptr<const Named>& row) { return row->name; });
  view.setModel(model);
  view.show();
  view.setCurrentIndex(model->index(1'000, 0));
  return cost(change, [&](const Shared& rows) {
    shown = rows;
    for (int i = 0; i < 5; ++i) QCoreApplication::processEvents();
  });
}

double gtk(const Change& change, bool isReusing) {
  Property<Shared> shown = change.before;
  using Row = std::shared_ptr<const Named>;
  GListModel* list = Gtk4::listModel([&] { return shown.value(); }, &Named::name);
  auto* selection = GTK_SELECTION_MODEL(gtk_multi_selection_new(list));
  if (isReusing) selection = Gtk4::reusingSelection(selection);
  GtkListItemFactory* factory = Gtk4::rowFactory<Row>(
      [] { return gtk_label_new(nullptr); },
      [](GtkWidget* label, const Row& row) { gtk_label_set_text(GTK_LABEL(label), row->name.c_str()); });
  GtkWidget* window = gtk_window_new();
  GtkWidget* scroller = gtk_scrolled_window_new();
  gtk_scrolled_window_set_child(GTK_SCROLLED_WINDOW(scroller), gtk_list_view_new(selection, factory));
  gtk_window_set_child(GTK_WINDOW(window), scroller);
  gtk_window_present(GTK_WINDOW(window));
  gtk_selection_model_select_item(selection, 1'000, TRUE);
  const double best = cost(change, [&](const Shared& rows) {
    shown = rows;
    while (g_main_context_pending(nullptr)) g_main_context_iteration(nullptr, FALSE);
  });
  gtk_window_destroy(GTK_WINDOW(window));
  return best;
}

}  // namespace
}  // namespace Tessaly

int main(int count, char** arguments) {
  ::setenv("QT_QPA_PLATFORM", "offscreen", 1);
  ::setenv("QT_NO_GLIB", "1", 1);
  const QApplication application(count, arguments);
  gtk_init();
  fmt::print("| change | difference | Qt | GTK | GTK, reused rows |\n|---|---|---|---|---|\n");
  for (const Tessaly::Change& change : Tessaly::changes()) {
    if (count > 1 && change.name != arguments[1]) continue;
    const double difference = Tessaly::difference(change);
    double qt = 0;
    {
      const Tessaly::Qt6::MainLoopAdapter adapter;
      qt = Tessaly::qt(change);
    }
    const Tessaly::GLib::MainLoopAdapter adapter;
    fmt::print("| {} | {:.2f} | {:.2f} | {:.2f} | {:.2f} |\n", change.name, difference, qt, Tessaly::gtk(change, false),
               Tessaly::gtk(change, true));
  }
}
