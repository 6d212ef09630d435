// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <memory>
#include <utility>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1 {

namespace detail {
/// Keeps the object until the process ends, reachable for leak checkers.
TESSALY_EXPORT void keepUntilExit(std::shared_ptr<void> object);
}  // namespace detail

/// Puts a backend of a seam in the place of the one in use, and puts that back at its end. The backend is kept until
/// the process ends, since somebody may be using it at any time.
///
/// Thread contract: thread-compatible. Of two of one seam, the one made later ends first.
///
///     const auto power = std::make_shared<ScriptedPower>();
///     const BackendInstallation<PowerBackend> installation(power);
template <typename Backend>
class BackendInstallation {
 public:
  explicit BackendInstallation(std::shared_ptr<Backend> backend)
      : previous_(Backend::installed().exchange(backend.get(), std::memory_order_acq_rel)) {
    detail::keepUntilExit(std::move(backend));
  }
  ~BackendInstallation() { Backend::installed().store(previous_, std::memory_order_release); }
  BackendInstallation(const BackendInstallation&) = delete;
  BackendInstallation& operator=(const BackendInstallation&) = delete;

 private:
  Backend* previous_;
};

}  // namespace Tessaly::inline v1
