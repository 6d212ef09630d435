// SPDX-License-Identifier: MIT
#pragma once

#include <gtk/gtk.h>

#include <optional>
#include <string>

namespace Tessaly::inline v1::detail {

/// The chosen text of a list of strings. Absent if no text is chosen.
inline std::optional<std::string> chosenText(GtkDropDown* list) {
  auto* item = static_cast<GtkStringObject*>(gtk_drop_down_get_selected_item(list));
  if (item == nullptr) return std::nullopt;
  return gtk_string_object_get_string(item);
}

/// The private selection of a drop-down list. Null if the list has no model, or if GTK no longer has such a selection.
///
/// GTK has no function for this selection. But the selection repeats each change of the model, and the list observes
/// the selection. So this function announces a change of no row, and an emission hook sees the objects that repeat it.
inline GtkSingleSelection* selectionOf(GtkDropDown* list) {
  GListModel* const model = gtk_drop_down_get_model(list);
  if (model == nullptr) return nullptr;
  struct Search {
    GtkDropDown* list;
    GListModel* model;
    GtkSingleSelection* found;
  };
  Search search{list, model, nullptr};
  constexpr GSignalEmissionHook look = [](GSignalInvocationHint*, guint, const GValue* values, gpointer data) {
    auto* search = static_cast<Search*>(data);
    const gpointer emitter = g_value_get_object(values);
    if (GTK_IS_SINGLE_SELECTION(emitter) &&
        gtk_single_selection_get_model(GTK_SINGLE_SELECTION(emitter)) == search->model &&
        g_signal_handler_find(emitter, G_SIGNAL_MATCH_DATA, 0, 0, nullptr, nullptr, search->list) != 0) {
      search->found = GTK_SINGLE_SELECTION(emitter);
    }
    return gboolean{TRUE};
  };
  const guint signal = g_signal_lookup("items-changed", G_TYPE_LIST_MODEL);
  const gulong hook = g_signal_add_emission_hook(signal, 0, look, &search, nullptr);
  g_list_model_items_changed(model, 0, 0, 0);
  g_signal_remove_emission_hook(signal, hook);
  return search.found;
}

/// Chooses no text. GTK 4.8 does so on demand. The selection of GTK 4.18 ignores the demand until it is told that it
/// may be empty.
inline void chooseNoText(GtkDropDown* list) {
  gtk_drop_down_set_selected(list, GTK_INVALID_LIST_POSITION);
  if (gtk_drop_down_get_selected(list) == GTK_INVALID_LIST_POSITION) return;
  GtkSingleSelection* const selection = selectionOf(list);
  if (selection == nullptr) return;
  gtk_single_selection_set_autoselect(selection, FALSE);
  gtk_single_selection_set_can_unselect(selection, TRUE);
  gtk_drop_down_set_selected(list, GTK_INVALID_LIST_POSITION);
}

/// Chooses a text of a list of strings. Chooses no text if the list does not contain it.
inline void chooseText(GtkDropDown* list, const std::string& text) {
  auto* strings = GTK_STRING_LIST(gtk_drop_down_get_model(list));
  const guint count = g_list_model_get_n_items(G_LIST_MODEL(strings));
  guint at = 0;
  while (at < count && text != gtk_string_list_get_string(strings, at)) ++at;
  if (at == count) return chooseNoText(list);
  gtk_drop_down_set_selected(list, at);
}

}  // namespace Tessaly::inline v1::detail
