// SPDX-License-Identifier: MIT
#include "GLibPeers.hpp"

#include <glib.h>

#include <memory>

namespace Tessaly::Benchmarks::GLibPeers {
namespace {

/// The hops of `mainRoundTrip`, in order.
class RoundTrips {
 public:
  RoundTrips() : pool_(g_thread_pool_new(&toMain, nullptr, 1, TRUE, nullptr)) {}
  RoundTrips(const RoundTrips&) = delete;
  RoundTrips& operator=(const RoundTrips&) = delete;
  ~RoundTrips() { g_thread_pool_free(pool_, TRUE, TRUE); }

  void run(int count) {
    left_ = count;
    g_thread_pool_push(pool_, this, nullptr);
    while (left_ > 0) g_main_context_iteration(nullptr, TRUE);
  }

 private:
  static void toMain(gpointer self, gpointer) { g_idle_add_full(G_PRIORITY_DEFAULT, &onMain, self, nullptr); }
  static gboolean onMain(gpointer self) {
    auto* trips = static_cast<RoundTrips*>(self);
    if (--trips->left_ > 0) g_thread_pool_push(trips->pool_, trips, nullptr);
    return G_SOURCE_REMOVE;
  }

  GThreadPool* pool_;
  int left_ = 0;
};

GSource* attachedTimeout(GMainContext* context, std::chrono::milliseconds delay) {
  GSource* source = g_timeout_source_new(static_cast<guint>(delay.count()));
  g_source_set_callback(source, [](gpointer) -> gboolean { return G_SOURCE_REMOVE; }, nullptr, nullptr);
  g_source_attach(source, context);
  return source;
}

}  // namespace

Batch mainRoundTrip(int count) {
  return [count, trips = std::make_shared<RoundTrips>()] { trips->run(count); };
}

Batch timerCancelled(int count, int others, std::chrono::milliseconds delay) {
  const std::shared_ptr<GMainContext> context(g_main_context_new(), &g_main_context_unref);
  for (int i = 0; i < others; ++i) {
    g_source_unref(attachedTimeout(context.get(), std::chrono::minutes(25) + i * std::chrono::minutes(10) / others));
  }
  return [=] {
    for (int i = 0; i < count; ++i) {
      GSource* source = attachedTimeout(context.get(), delay);
      g_source_destroy(source);
      g_source_unref(source);
    }
  };
}

}  // namespace Tessaly::Benchmarks::GLibPeers
