// SPDX-License-Identifier: MIT
#pragma once

#include <gio/gio.h>

#include <cstddef>

namespace Tessaly::inline v1::detail {

/// The C++ part of a `GListModel`: its rows. The `GObject` of the model owns this part.
class ListModelBody {
 public:
  virtual ~ListModelBody() = default;
  [[nodiscard]] virtual GType itemType() const = 0;
  [[nodiscard]] virtual guint count() const = 0;
  /// Returns a new reference to the item of a row.
  [[nodiscard]] virtual GObject* item(guint row) = 0;
};

/// The C++ part of an item of a list model: its element. Each element type has a subclass.
class ListItemBody {
 public:
  virtual ~ListItemBody() = default;
  /// The body with the element. Another one only for an item that stands for another item.
  [[nodiscard]] virtual const ListItemBody& shown() const { return *this; }
};

/// A `GObject` that owns its C++ part, the body. `type` registers a type under `name` in GLib, or returns the type that
/// already has this name.
template <typename Body>
struct BodyObject {
  GObject parent;
  Body* body;

  static GType type(const char* name, void (*addToType)(GType), void (*addToClass)(GType)) {
    // Another shared library of the process may have registered the type already.
    if (const GType known = g_type_from_name(name); known != 0) return known;
    const GTypeInfo info{.class_size = sizeof(GObjectClass),
                         .base_init = nullptr,
                         .base_finalize = nullptr,
                         .class_init = prepare,
                         .class_finalize = nullptr,
                         .class_data = reinterpret_cast<gconstpointer>(addToClass),
                         .instance_size = sizeof(BodyObject),
                         .n_preallocs = 0,
                         .instance_init = nullptr,
                         .value_table = nullptr};
    const GType made = g_type_register_static(G_TYPE_OBJECT, name, &info, GTypeFlags());
    if (addToType != nullptr) addToType(made);
    return made;
  }

  static Body& bodyOf(gpointer object) { return *static_cast<BodyObject*>(object)->body; }

  static GObject* make(GType type, Body* body) {
    auto* object = static_cast<GObject*>(g_object_new(type, nullptr));
    reinterpret_cast<BodyObject*>(object)->body = body;
    return object;
  }

 private:
  static void prepare(gpointer type, gpointer addToClass) {
    G_OBJECT_CLASS(type)->finalize = [](GObject* object) {
      delete reinterpret_cast<BodyObject*>(object)->body;
      G_OBJECT_CLASS(g_type_class_peek(G_TYPE_OBJECT))->finalize(object);
    };
    if (addToClass != nullptr) reinterpret_cast<void (*)(GType)>(addToClass)(G_TYPE_FROM_CLASS(type));
  }
};

using ListItemObject = BodyObject<ListItemBody>;
using ListModelObject = BodyObject<ListModelBody>;

/// The GLib type of the items. An item emits "changed" after its element has changed.
inline GType listItemType() {
  static const GType type = ListItemObject::type("TessalyListItem", nullptr, [](GType made) {
    g_signal_new("changed", made, G_SIGNAL_RUN_LAST, 0, nullptr, nullptr, nullptr, G_TYPE_NONE, 0);
  });
  return type;
}

/// Lets the objects of a type be list models whose C++ part is a `ListModelBody`.
inline void addListModelInterface(GType type) {
  constexpr GInterfaceInitFunc prepare = [](gpointer interface, gpointer) {
    auto* model = static_cast<GListModelInterface*>(interface);
    model->get_item_type = [](GListModel* list) { return ListModelObject::bodyOf(list).itemType(); };
    model->get_n_items = [](GListModel* list) { return ListModelObject::bodyOf(list).count(); };
    model->get_item = [](GListModel* list, guint row) -> gpointer {
      ListModelBody& body = ListModelObject::bodyOf(list);
      return row < body.count() ? body.item(row) : nullptr;
    };
  };
  const GInterfaceInfo info{prepare, nullptr, nullptr};
  g_type_add_interface_static(type, G_TYPE_LIST_MODEL, &info);
}

inline GType listModelType() {
  static const GType type = ListModelObject::type("TessalyListModel", &addListModelInterface, nullptr);
  return type;
}

}  // namespace Tessaly::inline v1::detail
