// SPDX-License-Identifier: MIT
#pragma once

#include <utility>

namespace Tessaly::inline v1::detail {

/// A counted reference to a task.
template <typename Record>
class TaskReference {
 public:
  TaskReference() noexcept = default;
  /// Takes over the reference that a new record starts with.
  static TaskReference adopt(Record* record) noexcept {
    TaskReference reference;
    reference.record_ = record;
    return reference;
  }
  /// A further reference to a record that somebody else keeps alive.
  static TaskReference sharing(Record& record) noexcept {
    record.retain();
    return adopt(&record);
  }
  TaskReference(const TaskReference& other) noexcept : record_(other.record_) {
    if (record_ != nullptr) record_->retain();
  }
  TaskReference(TaskReference&& other) noexcept : record_(std::exchange(other.record_, nullptr)) {}
  TaskReference& operator=(TaskReference other) noexcept {
    std::swap(record_, other.record_);
    return *this;
  }
  ~TaskReference() {
    if (record_ != nullptr) record_->release();
  }

  [[nodiscard]] Record* get() const noexcept { return record_; }
  Record* operator->() const noexcept { return record_; }
  Record& operator*() const noexcept { return *record_; }
  explicit operator bool() const noexcept { return record_ != nullptr; }
  friend bool operator==(const TaskReference&, const TaskReference&) noexcept = default;

 private:
  Record* record_ = nullptr;
};

}  // namespace Tessaly::inline v1::detail
