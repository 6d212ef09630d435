// SPDX-License-Identifier: MIT
#include "Tessaly/Adapters/Gtk/ReusingSelection.hpp"

#include <string>
#include <vector>

#include "Tessaly/Adapters/Gtk/ListModel.hpp"
#include "Tessaly/Core/Observation/Property.hpp"

namespace Tessaly {

struct Song {
  int id;
  std::string title;
  bool operator==(const Song&) const = default;
};

struct Jukebox {
  Property<std::vector<Song>> found;
};

GtkWidget* viewOfSongs(const Jukebox& player) {
  GListModel* songs = Gtk4::listModel([&] { return player.found.value(); }, &Song::id);
  GtkMultiSelection* selection = gtk_multi_selection_new(songs);
  GtkWidget* view = gtk_column_view_new(Gtk4::reusingSelection(GTK_SELECTION_MODEL(selection)));
  return view;
}

}  // namespace Tessaly
