// SPDX-License-Identifier: MIT
#pragma once

#include <glib.h>

#include <algorithm>

namespace keeper {

/// Measures how long the main loop does not get round to a timer of 5 ms.
class Heartbeat {
 public:
  Heartbeat() : source_(g_timeout_add(interval, beat, this)) {}
  Heartbeat(const Heartbeat&) = delete;
  Heartbeat& operator=(const Heartbeat&) = delete;
  ~Heartbeat() { g_source_remove(source_); }

  /// In milliseconds.
  [[nodiscard]] double longestPause() const noexcept { return longest_; }

 private:
  static constexpr guint interval = 5;

  static gboolean beat(gpointer heartbeat) {
    auto* self = static_cast<Heartbeat*>(heartbeat);
    const gint64 now = g_get_monotonic_time();
    self->longest_ = std::max(self->longest_, static_cast<double>(now - self->last_) / 1'000 - interval);
    self->last_ = now;
    return G_SOURCE_CONTINUE;
  }

  gint64 last_ = g_get_monotonic_time();
  double longest_ = 0;
  guint source_;
};

}  // namespace keeper
