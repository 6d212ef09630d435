// SPDX-License-Identifier: MIT
#include "Tessaly/Adapters/Gtk/ListModel.hpp"

#include <memory>
#include <string>
#include <vector>

#include "Tessaly/Core/Observation/Property.hpp"

namespace Tessaly {

struct Song {
  int id;
  std::string title;
  bool operator==(const Song&) const = default;
};

struct Jukebox {
  Property<std::vector<Song>> queue;
  std::vector<Song> songs() const { return queue.value(); }
};

GtkWidget* showListModel(const Jukebox& player) {
  GListModel* songs = Gtk4::listModel([&] { return player.queue.value(); }, &Song::id);
  GtkListItemFactory* factory = Gtk4::rowFactory<Song>(
      [] { return gtk_label_new(nullptr); },
      [](GtkWidget* label, const Song& song) { gtk_label_set_text(GTK_LABEL(label), song.title.c_str()); });
  GtkWidget* view = gtk_list_view_new(GTK_SELECTION_MODEL(gtk_multi_selection_new(songs)), factory);
  return view;
}

GListModel* showListOfEndingModel(const std::shared_ptr<Jukebox>& player) {
  GListModel* songs = Gtk4::listModel(player, &Jukebox::songs, &Song::id);
  return songs;
}

}  // namespace Tessaly
