// SPDX-License-Identifier: MIT
// Component: Tessaly::GtkAdapter
#pragma once

#include <gtk/gtk.h>

#include <algorithm>

#include "Tessaly/Adapters/Gtk/detail/ListObjects.hpp"
#include "Tessaly/Core/Base/FatalError.hpp"

namespace Tessaly::inline v1 {

namespace detail {

/// The first rows of another model, whose number grows in steps until all rows are shown. A `GtkSliceListModel` is not
/// enough: it reports an insertion as a replacement of all rows after it.
class IncrementalModel final : public ListModelBody {
 public:
  /// Makes the list model, which owns this object. Takes over the reference to `rows`.
  static GListModel* object(GListModel* rows, guint step) {
    auto* const body = new IncrementalModel(rows, step);
    body->object_ = G_LIST_MODEL(ListModelObject::make(type(), body));
    return body->object_;
  }
  IncrementalModel(const IncrementalModel&) = delete;
  IncrementalModel& operator=(const IncrementalModel&) = delete;
  ~IncrementalModel() override {
    if (source_ != 0) g_source_remove(source_);
    g_signal_handlers_disconnect_by_data(rows_, this);
    g_object_unref(rows_);
  }

  [[nodiscard]] GType itemType() const override { return g_list_model_get_item_type(rows_); }
  [[nodiscard]] guint count() const override { return shown_; }
  [[nodiscard]] GObject* item(guint row) override { return G_OBJECT(g_list_model_get_item(rows_, row)); }

 private:
  /// The step that reaches this number of rows also shows all remaining rows. The number is greater than the number of
  /// widgets that a view of GTK makes: one for each visible row, and one for each of 200 other rows.
  static constexpr guint enough = 512;

  IncrementalModel(GListModel* rows, guint step) : rows_(rows), step_(step), shown_(std::min(total(), step)) {
    g_signal_connect_swapped(rows_, "items-changed", G_CALLBACK(&IncrementalModel::follow), this);
    growLater();
  }

  static void follow(IncrementalModel* self, guint first, guint removed, guint added) {
    const bool wasComplete = self->shown_ == self->total() - added + removed;
    if (first < self->shown_ || wasComplete) self->replace(first, removed, added);
  }
  /// Shows the change of rows of which the first is shown. If many rows were added and few are shown, the rows after
  /// the change are hidden, and come back in steps.
  void replace(guint first, guint removed, guint added) {
    const guint gone = std::min(removed, shown_ - first);
    const guint limit = shown_ >= enough ? added : std::max(step_, gone);
    const bool isTailShown = added <= limit;
    const guint tail = shown_ - first - gone;
    shown_ = first + (isTailShown ? added + tail : limit);
    growLater();
    if (isTailShown) return tell(first, gone, added);
    tell(first, gone + tail, limit);
  }

  void growLater() {
    // The priority is below that of drawing, so the rows of each step are drawn before the next step.
    if (shown_ < total() && source_ == 0) source_ = g_idle_add(G_SOURCE_FUNC(&grow), this);
  }
  static gboolean grow(IncrementalModel* self) {
    const guint former = self->shown_;
    const guint next = std::min(self->total(), former + self->step_);
    self->shown_ = next >= enough ? self->total() : next;
    const bool isLast = self->shown_ == self->total();
    if (isLast) self->source_ = 0;
    self->tell(former, 0, self->shown_ - former);
    return isLast ? G_SOURCE_REMOVE : G_SOURCE_CONTINUE;
  }
  /// A handler may release the model. Then this object is destroyed before the function returns.
  void tell(guint first, guint removed, guint added) {
    GListModel* const object = object_;
    g_object_ref(object);
    if (removed + added > 0) g_list_model_items_changed(object, first, removed, added);
    g_object_unref(object);
  }
  [[nodiscard]] guint total() const { return g_list_model_get_n_items(rows_); }

  static GType type() {
    static const GType type = ListModelObject::type("TessalyIncrementalModel", &addListModelInterface, nullptr);
    return type;
  }

  GListModel* const rows_;
  const guint step_;
  guint shown_;
  GListModel* object_ = nullptr;
  guint source_ = 0;
};

}  // namespace detail

namespace Gtk4 {

/// Makes a list model that shows the rows of another model a few at a time. The new model first shows `step` rows, and
/// then `step` more rows in each turn of the loop. The step that reaches 512 rows also shows all remaining rows.
///
/// A view of GTK makes the widgets of about 200 rows at once, although fewer are visible. With four columns that takes
/// about 0.1 s, and the window does not respond meanwhile. Use this model between a long model and the selection model
/// of a view with costly rows. GTK's property `incremental` has the same purpose, but only models that sort or filter
/// have this property.
///
/// Takes over the reference to `rows`, and returns a new reference, as the constructors of GTK's selection models do.
/// Once the model shows all rows, it adds no cost to an update. If more than `step` rows are added while fewer than 512
/// are shown, the model shows `step` of them, or as many as were removed there. All rows after these appear in steps
/// again. A row that is not shown yet cannot be selected or scrolled to.
///
/// A handler of a signal may release the model. Stops the process if `step` is 0.
///
/// Thread contract: main-isolated.
///
///     GListModel* songs = Gtk4::incrementalModel(Gtk4::listModel([&] { return player.queue.value(); }, &Song::id));
[[nodiscard]] inline GListModel* incrementalModel(GListModel* rows, guint step = 32) {
  if (step == 0) fatalError("The step of an incremental model must not be 0", "Tessaly/IncrementalModel", __LINE__);
  return detail::IncrementalModel::object(rows, step);
}

}  // namespace Gtk4

}  // namespace Tessaly::inline v1
