// SPDX-License-Identifier: MIT
// Component: Tessaly::Base
#pragma once

#include <atomic>
#include <memory>
#include <type_traits>
#include <utility>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1 {

/// A pointer to the installed backend of a seam. Null while the system's backend is in use. A seam is a small interface
/// to one service of the system.
template <typename Backend>
using InstalledBackend = std::atomic<const std::shared_ptr<Backend>*>;

namespace detail {

/// Keeps the object alive until the process ends. Leak checkers find the object reachable.
TESSALY_EXPORT void keepUntilExit(std::shared_ptr<const void> object);
/// Stops the process, because a null pointer was installed.
[[noreturn]] TESSALY_EXPORT void refuseToInstallNothing();

template <typename Backend>
const std::shared_ptr<Backend>& keptUntilExit(std::shared_ptr<Backend> backend) {
  if (backend == nullptr) refuseToInstallNothing();
  auto kept = std::make_shared<const std::shared_ptr<Backend>>(std::move(backend));
  const std::shared_ptr<Backend>& reference = *kept;
  keepUntilExit(std::move(kept));
  return reference;
}

/// The installed backend of a seam, or the system's backend if none is installed. A seam declares two functions. The
/// seam's own source defines `installed()`. The source of the system's backend defines `system()`, and the linker joins
/// the two sources.
template <typename Backend>
decltype(auto) backendInUse() {
  using System = decltype(Backend::system());
  const std::shared_ptr<Backend>* const installed = Backend::installed().load(std::memory_order_acquire);
  if constexpr (std::is_same_v<System, Backend&>) {
    return installed != nullptr ? **installed : Backend::system();
  } else {
    return installed != nullptr ? *installed : Backend::system();
  }
}

}  // namespace detail

/// Replaces the backend of a seam for a scope. The former backend is restored when the scope ends.
///
/// A backend that is installed as a shared pointer is kept alive until the process ends, because another thread may
/// still use the backend. A null pointer stops the process.
///
/// Thread contract: thread-compatible. Of two installations of one seam, the later one must end first.
///
///     const auto power = std::make_shared<ScriptedPower>();
///     const BackendInstallation<PowerBackend> installation(power);
template <typename Backend>
class BackendInstallation {
 public:
  explicit BackendInstallation(std::shared_ptr<Backend> backend)
      : previous_(
            Backend::installed().exchange(&detail::keptUntilExit(std::move(backend)), std::memory_order_acq_rel)) {}
  /// Installs a backend that the caller owns. The backend must outlive every use by any thread.
  explicit BackendInstallation(Backend& backend)
      : BackendInstallation(std::shared_ptr<Backend>(std::shared_ptr<void>(), &backend)) {}
  ~BackendInstallation() { Backend::installed().store(previous_, std::memory_order_release); }
  BackendInstallation(const BackendInstallation&) = delete;
  BackendInstallation& operator=(const BackendInstallation&) = delete;

 private:
  const std::shared_ptr<Backend>* previous_;
};

}  // namespace Tessaly::inline v1
