// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Base/Error.hpp"

struct UploadError : Tessaly::Error {
  std::string description() const override { return "Upload refused"; }
};

void uploadUnlessCancelled(void (*upload)()) {
  try {
    upload();
  } catch (const Tessaly::CancellationError&) {
    return;  // The host cancelled the task: nothing to report.
  }
}
