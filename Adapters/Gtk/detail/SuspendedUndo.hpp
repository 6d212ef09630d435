// SPDX-License-Identifier: MIT
#pragma once

#include <gtk/gtk.h>

#include <memory>
#include <new>
#include <utility>

#include "Tessaly/Adapters/Gtk/detail/EditableText.hpp"

namespace Tessaly::inline v1::detail {

/// Switches the undo history of a field off, for the life of this object. The end of the last such object for a field
/// restores the choice of the host. The field may be destroyed before this object.
///
/// The restoration waits while the field emits a signal. GTK groups a committed text as one step of the history. A
/// history that is switched on inside this group has no group to end, and GTK 4.18 then reads a null pointer.
class SuspendedUndo {
 public:
  explicit SuspendedUndo(GtkEditable* field) : suspension_(Suspension::of(field)) {}
  SuspendedUndo(const SuspendedUndo&) = delete;
  SuspendedUndo& operator=(const SuspendedUndo&) = delete;
  ~SuspendedUndo() {
    if (suspension_->isEmitting()) Waiting::attach(std::move(suspension_));
  }

 private:
  /// All objects for one field share this one, because only the first of them finds the choice of the host.
  class Suspension {
   public:
    explicit Suspension(GtkEditable* field) : text_(field), hadUndo_(gtk_editable_get_enable_undo(field)) {
      gtk_editable_set_enable_undo(field, FALSE);
    }
    Suspension(const Suspension&) = delete;
    Suspension& operator=(const Suspension&) = delete;
    ~Suspension() {
      if (text_.isThere()) gtk_editable_set_enable_undo(text_.editable(), hadUndo_);
    }

    static std::shared_ptr<Suspension> of(GtkEditable* field) {
      using Reference = std::weak_ptr<Suspension>;
      constexpr const char* key = "tessaly-suspended-undo";
      if (const auto* known = static_cast<const Reference*>(g_object_get_data(G_OBJECT(field), key))) {
        if (std::shared_ptr<Suspension> present = known->lock()) return present;
      }
      auto made = std::make_shared<Suspension>(field);
      constexpr GDestroyNotify end = [](gpointer reference) { delete static_cast<Reference*>(reference); };
      g_object_set_data_full(G_OBJECT(field), key, new Reference(made), end);
      return made;
    }

    [[nodiscard]] bool isEmitting() const {
      return text_.isThere() && g_signal_get_invocation_hint(text_.editable()) != nullptr;
    }

   private:
    EditableText text_;
    const gboolean hadUndo_;
  };

  /// A source that keeps the suspension until the field emits no signal. An idle source would also run in the loop of a
  /// dialog that a handler opens, and so inside the emission.
  struct Waiting {
    GSource source;
    std::shared_ptr<Suspension> suspension;

    static Waiting& of(GSource* source) { return *reinterpret_cast<Waiting*>(source); }
    static gboolean isReady(GSource* source) { return of(source).suspension->isEmitting() ? FALSE : TRUE; }

    static void attach(std::shared_ptr<Suspension> suspension) {
      static GSourceFuncs functions{
          .prepare =
              [](GSource* source, int* timeout) {
                *timeout = -1;
                return isReady(source);
              },
          .check = isReady,
          .dispatch = [](GSource*, GSourceFunc, gpointer) -> gboolean { return G_SOURCE_REMOVE; },
          .finalize = [](GSource* source) { std::destroy_at(&of(source).suspension); },
          .closure_callback = nullptr,
          .closure_marshal = nullptr};
      GSource* const source = g_source_new(&functions, sizeof(Waiting));
      new (&of(source).suspension) std::shared_ptr<Suspension>(std::move(suspension));
      g_source_set_priority(source, G_PRIORITY_HIGH);
      g_source_attach(source, nullptr);
      g_source_unref(source);
    }
  };

  std::shared_ptr<Suspension> suspension_;
};

}  // namespace Tessaly::inline v1::detail
