// SPDX-License-Identifier: MIT
#include "Tessaly/Adapters/Gtk/Binding.hpp"

#include "Tessaly/Core/Observation/Property.hpp"

namespace Tessaly {

struct Player {
  Property<std::string> title;
  std::string label() const { return title.value(); }
};

void showBinding(GtkWidget* label, const Player& player) {
  Gtk4::bind(GTK_LABEL(label), gtk_label_set_text, [&] { return player.label(); });
}

void showBindingOfModel(GtkWidget* title, const std::shared_ptr<Player>& player) {
  Gtk4::bind(GTK_LABEL(title), gtk_label_set_text, player, &Player::label);
}

}  // namespace Tessaly
