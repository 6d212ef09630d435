// SPDX-License-Identifier: MIT
#include "Tessaly/Adapters/Qt/ListModel.hpp"

#include <QTreeView>
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

void showListModel(QTreeView* view, const Jukebox& player) {
  auto* songs = new Qt6::ListModel([&] { return player.queue.value(); }, &Song::id, view);
  songs->addColumn("Title", [](const Song& song) { return song.title; });
  view->setModel(songs);
}

void showListOfEndingModel(QTreeView* view, const std::shared_ptr<Jukebox>& player) {
  auto* songs = new Qt6::ListModel(player, &Jukebox::songs, &Song::id, view);
  view->setModel(songs);
}

}  // namespace Tessaly
