// SPDX-License-Identifier: MIT
#include "Tessaly/Adapters/Qt/Binding.hpp"

#include <QLabel>

#include "Tessaly/Core/Observation/Property.hpp"

namespace Tessaly {

struct Player {
  Property<std::string> title;
  std::string label() const { return title.value(); }
};

void showBinding(QLabel* label, const Player& player) {
  Qt6::bind(label, &QLabel::setText, [&] { return player.label(); });
}

void showBindingOfModel(QLabel* title, const std::shared_ptr<Player>& player) {
  Qt6::bind(title, &QLabel::setText, player, &Player::label);
}

}  // namespace Tessaly
