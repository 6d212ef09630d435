// SPDX-License-Identifier: MIT

// The examples of docs/widgets.md, which only need to compile.

#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QSlider>
#include <QSpinBox>
#include <QTreeView>
#include <memory>
#include <string>
#include <vector>

#include "Tessaly/Adapters/Qt/Binding.hpp"
#include "Tessaly/Adapters/Qt/ListModel.hpp"
#include "Tessaly/Adapters/QtWidgets/FormatterValidator.hpp"
#include "Tessaly/Adapters/QtWidgets/SettingBinding.hpp"
#include "Tessaly/Core/Observation/Property.hpp"
#include "Tessaly/Formatting/Formatters+RangeNumber.hpp"

namespace Tessaly {

struct Player {
  Property<std::string> title;
  Property<int> volume = 50;

  std::string label() const { return title.value() + " (" + std::to_string(volume.value()) + " %)"; }
};

struct Song {
  int id;
  std::string title;
  bool operator==(const Song&) const = default;
};

struct Jukebox {
  Property<std::vector<Song>> queue;
};

namespace {

constexpr Default<bool>::Key showsHiddenFilesKey{"shows-hidden-files", false};
constexpr auto volumeKey = Default<int>::Key("volume", 50).within(0, 100);
constexpr auto copiesKey = Default<int>::Key("copies", 1).within(1, 99);
constexpr auto intervalKey = Default<int>::Key("interval", 60).within(1, 3600);
const Default<std::string>::Key themeKey{"theme", "System"};

}  // namespace

void showWidgets(QLabel* label, const std::shared_ptr<Player>& player) {
  Qt6::bind(label, &QLabel::setText, player, &Player::label);
}

void showSongs(QTreeView* view, const std::shared_ptr<Jukebox>& player) {
  auto* songs = new Qt6::ListModel([player] { return player->queue.value(); }, &Song::id, view);
  songs->addColumn("Title", [](const Song& song) { return song.title; });
  view->setModel(songs);
}

void showSettings(QCheckBox* checkBox, QSlider* slider, QSpinBox* spinBox, QComboBox* comboBox, QLineEdit* lineEdit) {
  auto interval = Formatters::RangeNumber<int>::make(ClosedRange(1, 3600));
  interval->setSuffix(" s");
  Qt6::bind(checkBox, Default<bool>(showsHiddenFilesKey));
  Qt6::bind(slider, Default<int>(volumeKey));
  Qt6::bind(spinBox, Default<int>(copiesKey));
  Qt6::bind(comboBox, Default<std::string>(themeKey));
  Qt6::bind(lineEdit, interval, Default<int>(intervalKey));
}

}  // namespace Tessaly
