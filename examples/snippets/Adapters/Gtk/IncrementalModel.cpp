// SPDX-License-Identifier: MIT
#include "Tessaly/Adapters/Gtk/IncrementalModel.hpp"

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
  Property<std::vector<Song>> queue;
};

GtkSelectionModel* selectSongs(const Jukebox& player) {
  GListModel* songs = Gtk4::incrementalModel(Gtk4::listModel([&] { return player.queue.value(); }, &Song::id));
  return GTK_SELECTION_MODEL(gtk_multi_selection_new(songs));
}

}  // namespace Tessaly
