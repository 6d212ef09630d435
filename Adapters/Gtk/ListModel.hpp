// SPDX-License-Identifier: MIT
// Component: Tessaly::GtkAdapter
#pragma once

#include <gtk/gtk.h>

#include <algorithm>
#include <concepts>
#include <cstddef>
#include <functional>
#include <memory>
#include <span>
#include <unordered_map>
#include <utility>
#include <vector>

#include "Tessaly/Adapters/Gtk/detail/ListObjects.hpp"
#include "Tessaly/Adapters/detail/ObservedRows.hpp"
#include "Tessaly/Core/Base/CallNotification.hpp"
#include "Tessaly/Core/Base/FatalError.hpp"

namespace Tessaly::inline v1 {

namespace detail {

template <typename Element>
class ListItem;

/// The existing items. The key of an item is the element that the item shows. Most rows of a long list have no item.
template <typename Element>
using LivingItems = std::unordered_map<const Element*, ListItem<Element>*>;

/// The contents of an item: a copy of its element.
template <typename Element>
class ListItem final : public ListItemBody {
 public:
  ListItem(const Element* shown, std::shared_ptr<LivingItems<Element>> living)
      : element(*shown), object(ListItemObject::make(listItemType(), this)), shown_(shown), living_(std::move(living)) {
    living_->emplace(shown_, this);
  }
  ListItem(const ListItem&) = delete;
  ListItem& operator=(const ListItem&) = delete;
  ~ListItem() override {
    if (shown_ != nullptr) living_->erase(shown_);
  }

  /// Makes the item refer to its element in the new sequence. Null means that the element was removed.
  void follow(const Element* shown) { shown_ = shown; }

  Element element;
  GObject* const object;

 private:
  const Element* shown_;
  std::shared_ptr<LivingItems<Element>> living_;
};

/// The contents of a list model of GTK: the rows of a computed sequence.
template <typename Element>
class ListModelOfRows final : public ListModelBody, private RowsListener {
 public:
  template <typename Compute, typename Identity>
  ListModelOfRows(Compute compute, Identity identity) : rows_(*this) {
    rows_.follow(std::move(compute), std::move(identity));
  }

  /// Makes a list model that owns the rows. Before this call no observer is notified.
  static GListModel* object(std::unique_ptr<ListModelOfRows> rows) {
    ListModelOfRows* const body = rows.release();
    body->object_ = G_LIST_MODEL(ListModelObject::make(listModelType(), body));
    return body->object_;
  }

  [[nodiscard]] GType itemType() const override { return listItemType(); }
  [[nodiscard]] guint count() const override {
    const std::size_t former = former_.size() - formerGone_;
    return static_cast<guint>(isTelling_ ? newShown_ + former : rows_.size());
  }
  [[nodiscard]] GObject* item(guint row) override {
    const Element* const element = elementAt(row);
    const auto found = living_->find(element);
    if (found != living_->end()) return G_OBJECT(g_object_ref(found->second->object));
    return (new ListItem<Element>(element, living_))->object;  // The object owns the item.
  }

 private:
  /// Reports the steps as replacements if one of them is a rearrangement, or if there are several steps and none is a
  /// move. The reason is that the removals of several steps would destroy widgets which the insertions need. Otherwise
  /// each step is reported separately.
  void willTakeAll(std::span<const SequenceStep> steps) override {
    if (object_ != nullptr) g_object_ref(object_);  // A handler of the host may release the last reference.
    const auto has = [&](SequenceStep::Kind kind) {
      return std::ranges::find(steps, kind, &SequenceStep::kind) != steps.end();
    };
    isCoarse_ = has(SequenceStep::Kind::rearrangement) || (steps.size() > 1 && !has(SequenceStep::Kind::move));
    if (isCoarse_) former_ = rows_.elements();
  }
  void willTake(const SequenceStep& /*step*/) override {}
  void didTake(const SequenceStep& step) override {
    if (isCoarse_) return;
    const bool isMove = step.kind == SequenceStep::Kind::move;
    const std::size_t first = isMove ? std::min(step.first, step.to) : step.first;
    const std::size_t count = (isMove ? std::max(step.first, step.to) - first : 0) + step.count;
    tell(first, step.kind == SequenceStep::Kind::insertion ? 0 : count,
         step.kind == SequenceStep::Kind::removal ? 0 : count);
  }
  void didReplace(std::span<const void* const> before) override {
    if (std::exchange(isCoarse_, false)) tellCoarsely(before);
    for (GObject* const item : moveItems(before)) {
      g_signal_emit_by_name(item, "changed");
      g_object_unref(item);
    }
    if (object_ != nullptr) g_object_unref(object_);  // May destroy this object.
  }

  /// The element of a row, in the rows that GTK knows at this moment. During an update, the result for a kept row is
  /// its former element, because the items still have the former elements as keys.
  [[nodiscard]] const Element* elementAt(std::size_t row) const {
    if (!isTelling_) return &rows_[row];
    if (row >= newShown_) return former_[row - newShown_ + formerGone_];
    return before_[row] != nullptr ? static_cast<const Element*>(before_[row]) : &rows_[row];
  }

  /// The former and the new number of a row for which a `ListItem` exists.
  struct Anchor {
    std::size_t former;
    std::size_t now;
  };

  /// Reports the update to GTK as replacements of blocks. In a replaced block, GTK searches for the items that the
  /// view's widgets show and for the selected items. This search makes an item for each row that it examines. To limit
  /// the number of new items, each replaced block ends at most 256 rows after its last row with an item. The rows
  /// between two blocks are inserted separately, without items. If more than 1,000 rows have items, or if the order of
  /// these rows changed, one block replaces all rows.
  void tellCoarsely(std::span<const void* const> before) {
    constexpr std::size_t limit = 1'000;
    before_ = before;
    const std::vector<Anchor> anchors = rowsWithItems();
    formerGone_ = newShown_ = 0;
    isTelling_ = true;
    if (anchors.size() <= limit && std::ranges::is_sorted(anchors, {}, &Anchor::former)) {
      Anchor end{0, 0};  // Directly after the last row with an item so far.
      for (const Anchor& anchor : anchors) {
        if (anchor.former > end.former + reach || anchor.now > end.now + reach) replaceTo(anchor, end);
        end = {anchor.former + 1, anchor.now + 1};
        if (anchor.former != formerGone_ || anchor.now != newShown_) continue;
        formerGone_ = end.former;
        newShown_ = end.now;
      }
      replaceTo({former_.size(), rows_.size()}, end);
    } else {
      replace(former_.size(), rows_.size());
    }
    isTelling_ = false;
    former_.clear();
  }
  /// A replaced block ends at most this number of rows after its last row with an item.
  static constexpr std::size_t reach = 256;

  /// Reports to GTK that the remaining new rows before `next` replace the remaining former rows before `next`. The new
  /// rows from `end.now + reach` on are reported as a separate insertion.
  void replaceTo(const Anchor& next, const Anchor& end) {
    const std::size_t added = next.now - newShown_;
    const std::size_t near = std::min(added, end.now + reach - newShown_);
    replace(next.former - formerGone_, near);
    replace(0, added - near);
  }
  void replace(std::size_t removed, std::size_t added) {
    if (removed == 0 && added == 0) return;
    const std::size_t first = newShown_;
    formerGone_ += removed;
    newShown_ += added;
    tell(first, removed, added);
  }
  /// The rows with items, in the new order.
  [[nodiscard]] std::vector<Anchor> rowsWithItems() const {
    std::unordered_map<const void*, std::size_t> formerRows;
    for (std::size_t row = 0; row < former_.size() && formerRows.size() < living_->size(); ++row) {
      if (living_->contains(former_[row])) formerRows.emplace(former_[row], row);
    }
    std::vector<Anchor> anchors;
    for (std::size_t row = 0; row < before_.size() && anchors.size() < formerRows.size(); ++row) {
      const auto found = formerRows.find(before_[row]);
      if (found != formerRows.end()) anchors.push_back({found->second, row});
    }
    return anchors;
  }

  /// Makes each item refer to its element in the new sequence, or to null if the element is gone. Returns new
  /// references to the items whose elements changed.
  std::vector<GObject*> moveItems(std::span<const void* const> before) {
    std::vector<GObject*> changed;
    LivingItems<Element> former = std::exchange(*living_, {});
    for (std::size_t row = 0; row < before.size() && !former.empty(); ++row) {
      const Element* const element = &rows_[row];
      const auto found = former.extract(before[row] == nullptr ? element : static_cast<const Element*>(before[row]));
      if (found.empty()) continue;
      ListItem<Element>& item = *found.mapped();
      item.follow(element);
      living_->emplace(element, &item);
      if (ObservedRows<Element>::isEqual(item.element, *element)) continue;
      item.element = *element;
      changed.push_back(G_OBJECT(g_object_ref(item.object)));
    }
    for (const auto& [element, item] : former) item->follow(nullptr);
    return changed;
  }

  void tell(std::size_t first, std::size_t removed, std::size_t added) const {
    if (object_ == nullptr) return;
    g_list_model_items_changed(object_, static_cast<guint>(first), static_cast<guint>(removed),
                               static_cast<guint>(added));
  }

  GListModel* object_ = nullptr;
  std::shared_ptr<LivingItems<Element>> living_ = std::make_shared<LivingItems<Element>>();
  /// Whether the running update is reported as replacements of blocks, after all its steps. While `isTelling_` is true,
  /// GTK knows the first `newShown_` new rows. After them, GTK knows the former rows from `formerGone_` on.
  bool isCoarse_ = false;
  bool isTelling_ = false;
  std::vector<const Element*> former_;
  std::span<const void* const> before_;
  std::size_t formerGone_ = 0;
  std::size_t newShown_ = 0;
  ObservedRows<Element> rows_;
};

/// The element that an item of a list model shows.
template <typename Element>
const Element& elementOf(gpointer item) {
  const bool isItem = item != nullptr && G_TYPE_CHECK_INSTANCE_TYPE(item, listItemType());
  const auto* const body =
      isItem ? dynamic_cast<const ListItem<Element>*>(&ListItemObject::bodyOf(item).shown()) : nullptr;
  if (body == nullptr) fatalError("The item shows no element of this type", "Tessaly/ListModel", __LINE__);
  return body->element;
}

/// The functions for the widgets of a view's rows. The factory owns this object.
template <typename Element, typename Make, typename Show>
struct RowWidgets {
  Make make;
  Show show;
  GtkListItemFactory* factory = nullptr;

  static constexpr const char* key = "tessaly-row-widgets";

  static void setUp(GtkListItemFactory* /*factory*/, GtkListItem* row, RowWidgets* self) {
    g_object_set_data(G_OBJECT(row), key, self);
    auto make = [&] { gtk_list_item_set_child(row, std::invoke(self->make)); };
    callNotification("The maker of a row's widget", make);
  }
  static void bind(GtkListItemFactory* /*factory*/, GtkListItem* row) {
    // `show` may destroy the row's view, and perhaps nothing else owns the row and the factory.
    constexpr auto changed = +[](GObject*, GtkListItem* changedRow) {
      auto* const factory = G_OBJECT(g_object_ref(functions(changedRow)->factory));
      update(changedRow);
      g_object_unref(factory);
    };
    g_signal_connect(gtk_list_item_get_item(row), "changed", G_CALLBACK(changed), row);
    update(row);
  }
  static void unbind(GtkListItemFactory* /*factory*/, GtkListItem* row) {
    g_signal_handlers_disconnect_by_data(gtk_list_item_get_item(row), row);
  }
  static RowWidgets* functions(GtkListItem* row) {
    return static_cast<RowWidgets*>(g_object_get_data(G_OBJECT(row), key));
  }
  static void update(GtkListItem* row) {
    RowWidgets* const self = functions(row);
    auto show = [&] {
      std::invoke(self->show, gtk_list_item_get_child(row), elementOf<Element>(gtk_list_item_get_item(row)));
    };
    callNotification("The function that shows a row", show);
  }
};

}  // namespace detail

namespace Gtk4 {

/// Makes a `GListModel` that shows a computed sequence, one row for each element. After a change of an observable
/// property that `compute` read, `compute` runs again in the next turn of `MainLoopAdapter`'s loop. The model then
/// shows the new sequence.
///
/// `compute` returns a `std::vector` or a shared pointer to a vector; a pointer avoids the copy of a long sequence. A
/// null pointer is an empty sequence. `compute` must not refer to an object that is destroyed before the list model.
/// For such an object use the other overload.
///
/// `identity` is a function or a member that returns the identity of an element, for example `&File::name`. The
/// identity needs `==` and `std::hash`. Without `identity`, an element is its own identity. An element with the
/// identity of a former element keeps the item of that element. So selection and focus stay with the item, wherever the
/// row moves.
///
/// A single removal, insertion or move of a block reaches views as one change. An update with moves, and with at most
/// 32 steps of each kind, reaches views step by step. Any other update reaches views as replacements of blocks around
/// the rows with items. The rows of the new sequence between two such blocks reach views as insertions. A changed
/// element updates its item, but changes no row. An element that equals its former value changes nothing.
///
/// Returns a new reference, as GTK's constructors do. An item exists while a view shows its row or the host refers to
/// the item. `element` returns the element of an item. `rowFactory` makes the widgets that show elements. Without
/// `listModel`, a host writes a `GObject` with `G_DEFINE_TYPE_WITH_CODE`, or copies the sequence into a `GListStore`.
///
/// A handler of a signal and the function that shows a row may close the window and release the model. If they run a
/// nested loop, the model keeps its rows during that loop, even if the sequence changes. After the handlers have
/// returned, the model shows the newest sequence.
///
/// An update costs O(n) for n rows. Each row between the unchanged first rows and the unchanged last rows also costs a
/// hash and a comparison of its identity.
///
/// These stop the process: a call of `listModel` outside the main thread, and an exception of a later call of
/// `compute`.
///
/// Thread contract: main-isolated.
///
///     GListModel* songs = Gtk4::listModel([&] { return player.queue.value(); }, &Song::id);
///     GtkListItemFactory* factory = Gtk4::rowFactory<Song>(
///         [] { return gtk_label_new(nullptr); },
///         [](GtkWidget* label, const Song& song) { gtk_label_set_text(GTK_LABEL(label), song.title.c_str()); });
///     GtkWidget* view = gtk_list_view_new(GTK_SELECTION_MODEL(gtk_multi_selection_new(songs)), factory);
template <std::invocable<> Compute, typename Identity = std::identity>
[[nodiscard]] GListModel* listModel(Compute compute, Identity identity = {}) {
  using Rows = detail::ListModelOfRows<detail::ElementOf<Compute>>;
  return Rows::object(std::make_unique<Rows>(std::move(compute), std::move(identity)));
}

/// Like the overload above, for a model that may be destroyed before the list model. After that, the rows stay as they
/// are. `compute` is a member of the model or a function that takes the model. The list model does not keep the model
/// alive.
///
///     GListModel* songs = Gtk4::listModel(player, &Jukebox::songs, &Song::id);
template <typename Model, std::invocable<Model&> Compute, typename Identity = std::identity>
[[nodiscard]] GListModel* listModel(const std::shared_ptr<Model>& model, Compute compute, Identity identity = {}) {
  return listModel(detail::whileAlive(model, std::move(compute)), std::move(identity));
}

/// The element of an item of `listModel`. The reference stays valid until the next turn of the loop, but only while the
/// item exists. Stops the process if the item is not from a `listModel`, or if its element has another type.
template <typename Element>
[[nodiscard]] const Element& element(gpointer item) {
  return detail::elementOf<Element>(item);
}

/// Makes a factory for the rows of a view or of a column that shows a `listModel`. `make` returns a new widget. `show`
/// shows an element in such a widget: when a row appears, and after each change of its element.
///
/// An exception of `make` or `show` stops the process.
///
/// Thread contract: main-isolated.
template <typename Element, std::invocable<> Make, std::invocable<GtkWidget*, const Element&> Show>
[[nodiscard]] GtkListItemFactory* rowFactory(Make make, Show show) {
  using Widgets = detail::RowWidgets<Element, Make, Show>;
  GtkListItemFactory* const factory = gtk_signal_list_item_factory_new();
  auto* const widgets = new Widgets{std::move(make), std::move(show), factory};
  g_object_set_data_full(G_OBJECT(factory), Widgets::key, widgets,
                         [](gpointer owned) { delete static_cast<Widgets*>(owned); });
  g_signal_connect(factory, "setup", G_CALLBACK(&Widgets::setUp), widgets);
  g_signal_connect(factory, "bind", G_CALLBACK(&Widgets::bind), nullptr);
  g_signal_connect(factory, "unbind", G_CALLBACK(&Widgets::unbind), nullptr);
  return factory;
}

}  // namespace Gtk4

}  // namespace Tessaly::inline v1
