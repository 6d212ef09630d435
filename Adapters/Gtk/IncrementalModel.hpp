// SPDX-License-Identifier: MIT
// Component: Tessaly::GtkAdapter
#pragma once

#include <gtk/gtk.h>

#include <algorithm>

#include "Tessaly/Core/Base/FatalError.hpp"

namespace Tessaly::inline v1 {

namespace detail {

/// Grows a `GtkSliceListModel` in steps until it shows all rows of its model. The `GtkSliceListModel` owns this object.
class IncrementalGrowth {
 public:
  /// Makes the `GtkSliceListModel` and the object that grows it. Takes over the reference to `rows`.
  static GListModel* model(GListModel* rows, guint step) {
    GtkSliceListModel* const slice = gtk_slice_list_model_new(rows, 0, step);
    g_object_set_data_full(G_OBJECT(slice), "tessaly-incremental-growth", new IncrementalGrowth(slice, step),
                           [](gpointer owned) { delete static_cast<IncrementalGrowth*>(owned); });
    return G_LIST_MODEL(slice);
  }
  IncrementalGrowth(const IncrementalGrowth&) = delete;
  IncrementalGrowth& operator=(const IncrementalGrowth&) = delete;

 private:
  /// The step that reaches this number of rows also shows all remaining rows. The number is greater than the number of
  /// widgets that a view of GTK makes: one for each visible row, and one for each of 200 other rows.
  static constexpr guint enough = 512;

  IncrementalGrowth(GtkSliceListModel* slice, guint step)
      : slice_(slice), rows_(G_LIST_MODEL(g_object_ref(gtk_slice_list_model_get_model(slice)))), step_(step) {
    g_signal_connect_swapped(rows_, "items-changed", G_CALLBACK(&IncrementalGrowth::follow), this);
    follow(this);
  }
  ~IncrementalGrowth() {
    if (source_ != 0) g_source_remove(source_);
    g_signal_handlers_disconnect_by_data(rows_, this);
    g_object_unref(rows_);
  }

  /// Adapts the slice after "items-changed". The slice handles this signal before this function, because the slice was
  /// connected first. If fewer than `enough` rows remain, this function shrinks the slice, so that the slice grows
  /// again in steps.
  static void follow(IncrementalGrowth* self) {
    const guint count = g_list_model_get_n_items(self->rows_);
    const guint needed = std::max(count, self->step_);
    if (needed < std::min(enough, self->size())) return self->setSize(needed);
    // The priority is below that of drawing, so the rows of each step are drawn before the next step.
    if (count > self->size() && self->source_ == 0) self->source_ = g_idle_add(G_SOURCE_FUNC(&grow), self);
  }
  static gboolean grow(IncrementalGrowth* self) {
    const guint size = self->size();
    const guint next = size >= enough - std::min(enough, self->step_) ? G_MAXUINT : size + self->step_;
    const bool isLast = g_list_model_get_n_items(self->rows_) <= next;
    if (isLast) self->source_ = 0;
    self->setSize(next);
    return isLast ? G_SOURCE_REMOVE : G_SOURCE_CONTINUE;
  }
  /// A handler of "items-changed" may release the slice. Then this function destroys the slice and this object before
  /// it returns.
  void setSize(guint size) {
    GtkSliceListModel* const slice = slice_;
    g_object_ref(slice);
    gtk_slice_list_model_set_size(slice, size);
    g_object_unref(slice);
  }
  [[nodiscard]] guint size() const { return gtk_slice_list_model_get_size(slice_); }

  GtkSliceListModel* const slice_;
  GListModel* const rows_;
  const guint step_;
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
/// Once the model shows all rows, it adds no cost to an update. After `rows` has become shorter than 512 rows, the
/// model shows added rows in steps again. A row that is not shown yet cannot be selected or scrolled to.
///
/// A handler of a signal may release the model. Stops the process if `step` is 0.
///
/// Thread contract: main-isolated.
///
///     GListModel* songs = Gtk4::incrementalModel(Gtk4::listModel([&] { return player.queue.value(); }, &Song::id));
[[nodiscard]] inline GListModel* incrementalModel(GListModel* rows, guint step = 32) {
  if (step == 0) fatalError("The step of an incremental model must not be 0", "Tessaly/IncrementalModel", __LINE__);
  return detail::IncrementalGrowth::model(rows, step);
}

}  // namespace Gtk4

}  // namespace Tessaly::inline v1
