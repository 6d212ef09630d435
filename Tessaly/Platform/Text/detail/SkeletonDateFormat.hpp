// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "Tessaly/Platform/Base/Export.hpp"

namespace Tessaly::inline v1::detail {

/// Writes dates as a locale orders the fields of a skeleton, in the system's time zone. Making one takes milliseconds.
///
/// Thread contract: thread-compatible.
class TESSALY_EXPORT SkeletonDateFormat {
 public:
  /// Without a locale identifier the process's locale is used.
  explicit SkeletonDateFormat(std::string_view skeleton, const std::string& localeIdentifier = {});
  ~SkeletonDateFormat();
  SkeletonDateFormat(const SkeletonDateFormat&) = delete;
  SkeletonDateFormat& operator=(const SkeletonDateFormat&) = delete;

  /// Appends the date to a text.
  void append(std::string& text, double secondsSince1970) const;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace Tessaly::inline v1::detail
