// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Tasks/detail/TaskLocalBinding.hpp"

#include "Tessaly/Core/Tasks/detail/TaskRecord.hpp"

namespace Tessaly::inline v1::detail {

const TaskLocalBinding* TaskLocalBinding::find(const void* key) noexcept {
  const TaskLocalBinding* binding = list();
  while (binding != nullptr && binding->key_ != key) binding = binding->next_;
  return binding;
}

TaskLocalBinding* TaskLocalBinding::copyInnermost(const TaskLocalBinding* list) {
  TaskLocalBinding* copies = nullptr;
  TaskLocalBinding* last = nullptr;
  try {
    for (const auto* binding = list; binding != nullptr; binding = binding->next_) {
      const auto* known = copies;
      while (known != nullptr && known->key_ != binding->key_) known = known->next_;
      if (known != nullptr) continue;
      TaskLocalBinding* const copy = binding->copy();
      (last != nullptr ? last->next_ : copies) = copy;
      last = copy;
    }
  } catch (...) {
    destroyCopies(copies);
    throw;
  }
  return copies;
}

void TaskLocalBinding::destroyCopies(TaskLocalBinding* list) noexcept {
  while (list != nullptr) delete std::exchange(list, list->next_);
}

void TaskLocalBinding::push() noexcept { next_ = std::exchange(list(), this); }

void TaskLocalBinding::pop() noexcept { list() = next_; }

}  // namespace Tessaly::inline v1::detail
