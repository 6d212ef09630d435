// SPDX-License-Identifier: MIT
#include "Tessaly/SettingsAndObservation/detail/SettingName.hpp"

#include <atomic>
#include <string>

namespace Tessaly::inline v1::detail {

struct SettingName::Copy {
  std::atomic<std::size_t> holders{1};
  std::string text;
};

SettingName::SettingName(Copied, std::string_view text) : copy_(new Copy{.text = std::string(text)}) {
  text_ = copy_->text;
}

void SettingName::retain() const noexcept { copy_->holders.fetch_add(1, std::memory_order_relaxed); }

void SettingName::release() noexcept {
  if (copy_->holders.fetch_sub(1, std::memory_order_acq_rel) == 1) delete copy_;
}

}  // namespace Tessaly::inline v1::detail
