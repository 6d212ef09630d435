// SPDX-License-Identifier: MIT
#pragma once

#include <glib.h>

namespace Tessaly::inline v1::detail {

/// A call of a member function of `Owner` in a later turn of the main loop. The destruction of this object cancels the
/// call. The called function may destroy the owner and this object.
template <typename Owner>
class LaterCall {
 public:
  LaterCall(Owner& owner, void (Owner::*function)(), int priority)
      : owner_(owner), function_(function), priority_(priority) {}
  LaterCall(const LaterCall&) = delete;
  LaterCall& operator=(const LaterCall&) = delete;
  ~LaterCall() {
    if (source_ != 0) g_source_remove(source_);
  }

  [[nodiscard]] bool isPending() const noexcept { return source_ != 0; }
  /// Requests one call. Does nothing if a call is pending.
  void request() {
    if (isPending()) return;
    constexpr GSourceFunc turn = [](gpointer data) -> gboolean {
      auto* call = static_cast<LaterCall*>(data);
      call->source_ = 0;
      (call->owner_.*call->function_)();
      return G_SOURCE_REMOVE;
    };
    source_ = g_idle_add_full(priority_, turn, this, nullptr);
  }

 private:
  Owner& owner_;
  void (Owner::* const function_)();
  const int priority_;
  guint source_ = 0;
};

}  // namespace Tessaly::inline v1::detail
