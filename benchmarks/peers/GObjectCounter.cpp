// SPDX-License-Identifier: MIT
#include "GObjectCounter.hpp"

namespace Tessaly::Benchmarks::GLibPeers {
namespace {

struct Instance {
  GObject parent;
  std::int64_t value;
};
struct Class {
  GObjectClass parent;
};

GParamSpec* valueProperty = nullptr;

void setProperty(GObject* object, guint, const GValue* value, GParamSpec*) {
  reinterpret_cast<Instance*>(object)->value = g_value_get_int64(value);
}

void getProperty(GObject* object, guint, GValue* value, GParamSpec*) {
  g_value_set_int64(value, reinterpret_cast<Instance*>(object)->value);
}

void initialiseClass(gpointer gclass, gpointer) {
  auto* const objectClass = G_OBJECT_CLASS(gclass);
  objectClass->set_property = &setProperty;
  objectClass->get_property = &getProperty;
  valueProperty = g_param_spec_int64("value", nullptr, nullptr, G_MININT64, G_MAXINT64, 0,
                                     static_cast<GParamFlags>(G_PARAM_READWRITE | G_PARAM_EXPLICIT_NOTIFY));
  g_object_class_install_property(objectClass, 1, valueProperty);
}

GType type() {
  static const GType registered =
      g_type_register_static_simple(G_TYPE_OBJECT, "TessalyBenchmarksCounter", sizeof(Class), &initialiseClass,
                                    sizeof(Instance), nullptr, G_TYPE_FLAG_NONE);
  return registered;
}

}  // namespace

Counter::Counter() : object_(G_OBJECT(g_object_new(type(), nullptr)), &g_object_unref) {}

void Counter::setValue(std::int64_t value) {
  auto* const instance = reinterpret_cast<Instance*>(object_.get());
  if (value == instance->value) return;
  instance->value = value;
  g_object_notify_by_pspec(object_.get(), valueProperty);
}

void Counter::connect(void (*onChange)(std::int64_t* count), std::int64_t* count) {
  g_signal_connect_swapped(object_.get(), "notify::value", G_CALLBACK(onChange), count);
}

}  // namespace Tessaly::Benchmarks::GLibPeers
