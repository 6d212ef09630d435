// SPDX-License-Identifier: MIT
// Component: Tessaly::GtkAdapter
#pragma once

#include <gtk/gtk.h>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <unordered_map>
#include <utility>
#include <vector>

#include "Tessaly/Adapters/Gtk/detail/KeepForThisTurn.hpp"
#include "Tessaly/Adapters/Gtk/detail/ListObjects.hpp"
#include "Tessaly/Core/Base/FatalError.hpp"

namespace Tessaly::inline v1 {

namespace detail {

/// An item that stands for an item of a `listModel`, and later perhaps for another one.
class StandInItem final : public ListItemBody {
 public:
  /// The existing stand-ins. The key is the item that a stand-in stands for.
  using All = std::unordered_map<GObject*, StandInItem*>;

  /// Takes over the reference to `shown`.
  StandInItem(GObject* shown, guint shownRow, std::shared_ptr<All> all)
      : object(ListItemObject::make(listItemType(), this)), row(shownRow), all_(std::move(all)) {
    begin(shown);
  }
  StandInItem(const StandInItem&) = delete;
  StandInItem& operator=(const StandInItem&) = delete;
  ~StandInItem() override { end(); }

  [[nodiscard]] const ListItemBody& shown() const override { return ListItemObject::bodyOf(shown_); }
  /// Takes over the reference to `shown`.
  void standFor(GObject* shown) {
    end();
    begin(shown);
  }

  GObject* const object;
  /// The row of the item, or `absent` after the row was removed.
  guint row;
  static constexpr guint absent = GTK_INVALID_LIST_POSITION;

 private:
  void begin(GObject* shown) {
    shown_ = shown;
    all_->emplace(shown, this);
    constexpr auto tell = +[](GObject* changed) { g_signal_emit_by_name(changed, "changed"); };
    g_signal_connect_swapped(shown, "changed", G_CALLBACK(tell), object);
  }
  void end() {
    g_signal_handlers_disconnect_by_data(shown_, object);
    all_->erase(shown_);
    g_object_unref(shown_);
  }

  GObject* shown_ = nullptr;
  std::shared_ptr<All> all_;
};

/// The contents of a selection model that gives the items of removed rows to new rows.
class ReusingSelection final : public ListModelBody {
 public:
  /// Makes the selection model, which owns this object. Takes over the reference to `selection`.
  static GtkSelectionModel* object(GtkSelectionModel* selection) {
    auto* const body = new ReusingSelection(selection);
    body->object_ = ListModelObject::make(type(), body);
    return GTK_SELECTION_MODEL(body->object_);
  }
  ReusingSelection(const ReusingSelection&) = delete;
  ReusingSelection& operator=(const ReusingSelection&) = delete;
  ~ReusingSelection() override {
    g_signal_handlers_disconnect_by_data(selection_, this);
    g_object_unref(selection_);
  }

  [[nodiscard]] GType itemType() const override { return listItemType(); }
  [[nodiscard]] guint count() const override { return g_list_model_get_n_items(G_LIST_MODEL(selection_)); }
  [[nodiscard]] GObject* item(guint row) override {
    GObject* const shown = shownItem(row);
    if (StandInItem* const known = find(shown, row)) {
      g_object_unref(shown);
      return G_OBJECT(g_object_ref(known->object));
    }
    const bool isSearch = isTelling_ && ++made_ > enough;
    return isSearch ? shown : (new StandInItem(shown, row, all_))->object;
  }

 private:
  using Items = std::vector<StandInItem*>;

  explicit ReusingSelection(GtkSelectionModel* selection) : selection_(selection) {
    g_signal_connect_swapped(selection, "items-changed", G_CALLBACK(&ReusingSelection::follow), this);
    constexpr auto select = +[](ReusingSelection* self, guint row, guint count) {
      keepForThisTurn(G_OBJECT(self->selection_));
      gtk_selection_model_selection_changed(GTK_SELECTION_MODEL(self->object_), row, count);
    };
    g_signal_connect_swapped(selection, "selection-changed", G_CALLBACK(select), this);
  }

  /// Returns a new reference.
  [[nodiscard]] GObject* shownItem(guint row) const {
    auto* const shown = G_OBJECT(g_list_model_get_item(G_LIST_MODEL(selection_), row));
    if (G_TYPE_CHECK_INSTANCE_TYPE(shown, listItemType())) return shown;
    fatalError("A reusing selection shows only the items of a listModel", "Tessaly/ReusingSelection", __LINE__);
  }

  static void follow(ReusingSelection* self, guint first, guint removed, guint added) {
    // A handler of the host may release the model. GTK 4.18 uses its selection model after this function.
    keepForThisTurn(G_OBJECT(self->selection_));
    auto* const object = G_OBJECT(g_object_ref(self->object_));
    const Items reused = self->moveItems(first, removed, added);
    self->isTelling_ = true;
    self->made_ = 0;
    g_list_model_items_changed(G_LIST_MODEL(object), first, removed, added);
    self->isTelling_ = false;
    for (StandInItem* const item : reused) {
      g_signal_emit_by_name(item->object, "changed");
      g_object_unref(item->object);
    }
    g_object_unref(object);
  }

  /// Gives the items their new rows. Items of removed rows get new rows of the same numbers. So the view, which follows
  /// its items, stays where it is. Returns new references to the items that stand for other items now.
  Items moveItems(guint first, guint removed, guint added) {
    Items free;
    for (const auto& [shown, item] : *all_) {
      if (item->row == StandInItem::absent || item->row < first) continue;
      if (item->row - first < removed) {
        free.push_back(item);
      } else {
        item->row += added - removed;
      }
    }
    std::ranges::sort(free, {}, &StandInItem::row);
    std::vector<guint> rows = newRows(free, first, added);
    for (StandInItem* const item : free) item->row = StandInItem::absent;
    // A `listModel` reports a change of many rows as a replacement of kept rows and others. Kept rows keep their items.
    std::erase_if(rows, [&](guint row) {
      GObject* const shown = shownItem(row);
      const bool isKept = find(shown, row) != nullptr;
      g_object_unref(shown);
      return isKept;
    });
    std::erase_if(free, [](const StandInItem* item) { return item->row != StandInItem::absent; });
    return reuse(free, rows);
  }
  /// The rows of the items, moved towards the first row if there are too few new rows. If there are more items than
  /// new rows, the first items get none.
  static std::vector<guint> newRows(const Items& items, guint first, guint added) {
    std::vector<guint> rows;
    guint end = first + added;
    for (auto item = items.rbegin(); item != items.rend() && end > first; ++item) {
      end = std::min((*item)->row, end - 1);
      rows.push_back(end);
    }
    std::ranges::reverse(rows);
    return rows;
  }
  /// Lets the last items stand for the items of these rows.
  Items reuse(const Items& items, const std::vector<guint>& rows) {
    Items reused(items.end() - static_cast<std::ptrdiff_t>(std::min(items.size(), rows.size())), items.end());
    for (std::size_t i = 0; i < reused.size(); ++i) {
      g_object_ref(reused[i]->object);
      reused[i]->row = rows[i];
      reused[i]->standFor(shownItem(rows[i]));
    }
    return reused;
  }
  /// Returns the stand-in of an item that is in this row, or null if the item has none.
  StandInItem* find(GObject* shown, guint row) {
    const auto known = all_->find(shown);
    if (known == all_->end()) return nullptr;
    known->second->row = row;
    return known->second;
  }

  static GtkSelectionModel* selectionOf(GtkSelectionModel* model) {
    return static_cast<ReusingSelection&>(ListModelObject::bodyOf(model)).selection_;
  }
  static void addInterfaces(GType type) {
    addListModelInterface(type);
    constexpr GInterfaceInitFunc prepare = [](gpointer interface, gpointer) {
      auto* model = static_cast<GtkSelectionModelInterface*>(interface);
      model->is_selected = [](GtkSelectionModel* self, guint row) {
        return gtk_selection_model_is_selected(selectionOf(self), row);
      };
      model->get_selection_in_range = [](GtkSelectionModel* self, guint row, guint count) {
        return gtk_selection_model_get_selection_in_range(selectionOf(self), row, count);
      };
      model->select_item = [](GtkSelectionModel* self, guint row, gboolean isOnly) {
        return gtk_selection_model_select_item(selectionOf(self), row, isOnly);
      };
      model->unselect_item = [](GtkSelectionModel* self, guint row) {
        return gtk_selection_model_unselect_item(selectionOf(self), row);
      };
      model->select_range = [](GtkSelectionModel* self, guint row, guint count, gboolean isOnly) {
        return gtk_selection_model_select_range(selectionOf(self), row, count, isOnly);
      };
      model->unselect_range = [](GtkSelectionModel* self, guint row, guint count) {
        return gtk_selection_model_unselect_range(selectionOf(self), row, count);
      };
      model->select_all = [](GtkSelectionModel* self) { return gtk_selection_model_select_all(selectionOf(self)); };
      model->unselect_all = [](GtkSelectionModel* self) { return gtk_selection_model_unselect_all(selectionOf(self)); };
      model->set_selection = [](GtkSelectionModel* self, GtkBitset* selected, GtkBitset* mask) {
        return gtk_selection_model_set_selection(selectionOf(self), selected, mask);
      };
    };
    const GInterfaceInfo info{prepare, nullptr, nullptr};
    g_type_add_interface_static(type, GTK_TYPE_SELECTION_MODEL, &info);
  }
  static GType type() {
    static const GType type = ListModelObject::type("TessalyReusingSelection", &addInterfaces, nullptr);
    return type;
  }

  GtkSelectionModel* const selection_;
  GObject* object_ = nullptr;
  std::shared_ptr<StandInItem::All> all_ = std::make_shared<StandInItem::All>();
  /// During an update, GTK searches new rows for the items that it showed. After `enough` new items it gets those of
  /// the list instead, which take half of the time.
  bool isTelling_ = false;
  guint made_ = 0;
  static constexpr guint enough = 1'024;
};

}  // namespace detail

namespace Gtk4 {

/// Makes a selection model for a view whose rows often change in large numbers, for example while the user types into a
/// search field. The selection is that of the given model. Its list must be a `listModel`, directly or behind an
/// `incrementalModel`.
///
/// A view of GTK makes the widgets of about 200 rows, and makes new ones for new items. With four columns and GTK 4.8
/// an update of all rows then takes 0.1 s. With this model the view keeps its widgets: in one update, an item of a
/// removed row becomes the item of a new row, and `rowFactory` shows the new element. The same update takes 10 to 20
/// ms.
///
/// Thus the element of an item may become another one when its row is removed. A host that keeps items asks the model
/// inside for them. Selected elements stay selected, as without this model. In a new order of the rows, the keyboard
/// focus stays at its place. The view stays there, too, or GTK 4.18 moves it after an element that the view shows
/// before and after the update. Such an element keeps its item.
///
/// Takes over the reference to `selection`, and returns a new reference, as the constructors of GTK's selection models
/// do. A handler of a signal may release the model. A list with other items stops the process.
///
/// Thread contract: main-isolated.
///
///     GListModel* songs = Gtk4::listModel([&] { return player.found.value(); }, &Song::id);
///     GtkMultiSelection* selection = gtk_multi_selection_new(songs);
///     GtkWidget* view = gtk_column_view_new(Gtk4::reusingSelection(GTK_SELECTION_MODEL(selection)));
[[nodiscard]] inline GtkSelectionModel* reusingSelection(GtkSelectionModel* selection) {
  return detail::ReusingSelection::object(selection);
}

}  // namespace Gtk4

}  // namespace Tessaly::inline v1
